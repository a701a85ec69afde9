#pragma once
// Writers of the records that carry model content into a stream: meshes,
// instances, inclusions, views, materials, matrices, clip regions, groups and
// images. Each appends one whole record to a byte buffer.
#include <cstdint>
#include <span>

#include "store/Types.h"
#include "stream/StreamOutput.h"

namespace QX::Store {

struct ClipRegion;
struct ImagePixels;
struct Instance;
struct InstanceOverride;
struct LinePattern;
struct MaterialMap;
struct MaterialRecord;
struct MeshRecord;
struct PolyPolygon;
struct View;

// M: the definition of a mesh; names its model itself.
void WriteMeshDefinition(Bytes& out, uint32_t stream_model, MeshRecord const& mesh);
// I: an instance as placed by one inclusion, in the tree node `node_path`.
void WriteInstance(Bytes& out, uint32_t inclusion_id, Instance const& instance,
                   uint64_t node_path);
// 2: a mesh list with the level that the stream chose.
void WriteMeshList(Bytes& out, MeshKey key, std::span<MeshKey const> meshes, uint32_t level);
// i: an inclusion, stand-alone form.
void WriteInclusion(Bytes& out, uint32_t inclusion_id, uint32_t stream_model, MatrixKey matrix);
// x: an inclusion, live form.
void WriteLiveInclusion(Bytes& out, uint32_t attach_id, uint32_t inclusion_id,
                        uint32_t stream_model, MatrixKey matrix, uint32_t hidden);
// c: the camera of a view, as given.
void WriteCamera(Bytes& out, View const& view);
// P: the background of a view.
void WriteBackground(Bytes& out, View const& view);
// G: a group from its loaded words (word count, then the block).
void WriteGroup(Bytes& out, GroupKey key, std::span<uint32_t const> words);
// g: an image that reuses the bytes of another.
void WriteImageReuse(Bytes& out, ImageKey key, ImageKey original);
// E: an image block built from the stored bytes of an image.
void WriteStoredImage(Bytes& out, ImageKey key, uint32_t pixel_format, ImagePixels const& image);
// v: an instance override as seen through one inclusion.
void WriteOverride(Bytes& out, uint32_t inclusion_id, InstanceKey key, InstanceOverride const& o);
// 6: the extension of an instance.
void WriteExtension(Bytes& out, Instance const& instance);
// S, 165, 9: the three kinds of material.
void WriteSimpleColor(Bytes& out, MaterialKey key, RGBAColor const& color);
void WriteMaterial(Bytes& out, MaterialKey key, MaterialRecord const& material);
void WriteFullMaterial(Bytes& out, MaterialKey key, std::span<uint8_t const> bytes);
// A: a material map.
void WriteMaterialMap(Bytes& out, MaterialMapKey key, MaterialMap const& map);
// 176: a matrix.
void WriteMatrix(Bytes& out, MatrixKey key, Matrix const& matrix);
// 156: a line pattern.
void WriteLinePattern(Bytes& out, LinePatternKey key, LinePattern const& pattern);
// Y: a poly polygon; y: a clip region.
void WritePolyPolygon(Bytes& out, PolyPolygonKey key, PolyPolygon const& polygon);
void WriteClipRegion(Bytes& out, ClipRegionKey key, ClipRegion const& region);

}  // namespace QX::Store
