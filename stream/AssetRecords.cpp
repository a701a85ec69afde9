#include "stream/AssetRecords.h"

#include "geometry/mesh/MeshRecord.h"
#include "store/ClipRegion.h"
#include "store/ImageRecord.h"
#include "store/Instance.h"
#include "store/MaterialRecord.h"
#include "store/View.h"
#include "stream/WireTags.h"

namespace QX::Store {

namespace {

void PutBox(Bytes& out, BoundingBox const& b) {
  for (float v : {b.min_x, b.min_y, b.min_z, b.max_x, b.max_y, b.max_z}) PutF32(out, v);
}

void PutColor(Bytes& out, RGBAColor const& c) {
  for (float v : {c.r, c.g, c.b, c.a}) PutF32(out, v);
}

}  // namespace

void WriteMeshDefinition(Bytes& out, uint32_t stream_model, MeshRecord const& mesh) {
  PutU32(out, Tag::MeshDef);
  PutU32(out, stream_model);
  PutU32(out, mesh.key);
  PutU32(out, mesh.duplicate_of);
  PutU32(out, mesh.duplicate_matrix);
  for (uint32_t v : {mesh.face_material, mesh.line_material, mesh.point_material,
                     mesh.face_material_map, mesh.line_material_map, mesh.point_material_map})
    PutU32(out, v);
  PutBox(out, mesh.bounds);
}

void WriteInstance(Bytes& out, uint32_t inclusion_id, Instance const& i, uint64_t node_path) {
  PutU32(out, Tag::Instance);
  PutU32(out, inclusion_id);
  PutU32(out, i.key);
  PutU32(out, 0);
  PutU64(out, node_path);
  for (uint32_t v : {i.mesh, i.matrix, i.face_material, i.line_material, i.point_material,
                     i.face_material_map, i.line_material_map, i.point_material_map, i.clip,
                     i.flags, i.modifiers, 0u})
    PutU32(out, v);
}

void WriteMeshList(Bytes& out, MeshKey key, std::span<MeshKey const> meshes, uint32_t level) {
  PutU32(out, Tag::MeshList);
  PutU32(out, key);
  PutU32(out, uint32_t(meshes.size()));
  PutU32(out, level);
  for (MeshKey mesh : meshes) PutU32(out, mesh);
}

void WriteInclusion(Bytes& out, uint32_t inclusion_id, uint32_t stream_model, MatrixKey matrix) {
  PutU32(out, Tag::Inclusion);
  PutU32(out, inclusion_id);
  PutU32(out, stream_model);
  PutU32(out, matrix);
}

void WriteLiveInclusion(Bytes& out, uint32_t attach_id, uint32_t inclusion_id,
                        uint32_t stream_model, MatrixKey matrix, uint32_t hidden) {
  PutU32(out, Tag::LiveInclusion);
  PutU32(out, attach_id);
  PutU32(out, inclusion_id);
  PutU32(out, stream_model);
  PutU32(out, matrix);
  PutU32(out, hidden);
}

void WriteCamera(Bytes& out, View const& view) {
  PutU32(out, Tag::Camera);
  PutU32(out, view.key);
  PutU32(out, view.projection);
  PutU32(out, 0);
  for (auto const* v : {&view.position, &view.target, &view.up})
    for (double d : *v) PutF64(out, d);
  PutF64(out, view.width);
  PutF64(out, view.height);
}

void WriteBackground(Bytes& out, View const& view) {
  PutU32(out, Tag::Background);
  PutU32(out, view.key);
  for (float c : view.background) PutF32(out, c);
  PutU32(out, uint32_t(view.background_images.size()));
  for (ImageKey image : view.background_images) PutU32(out, image);
}

void WriteGroup(Bytes& out, GroupKey key, std::span<uint32_t const> words) {
  PutU32(out, Tag::Group);
  PutU32(out, key);
  PutU32(out, uint32_t(words.size()));
  for (uint32_t w : words) PutU32(out, w);
}

void WriteImageReuse(Bytes& out, ImageKey key, ImageKey original) {
  PutU32(out, Tag::ImageReuse);
  PutU32(out, key);
  PutU32(out, original);
}

void WriteStoredImage(Bytes& out, ImageKey key, uint32_t pixel_format, ImagePixels const& image) {
  PutU32(out, Tag::Image);
  PutU32(out, key);
  PutU32(out, image.format);
  PutU32(out, pixel_format);
  PutU32(out, image.width);
  PutU32(out, image.height);
  PutU32(out, uint32_t(image.bytes.size()));
  PutBytes(out, image.bytes.data(), image.bytes.size());
  PadTo4(out, 0);
}

void WriteOverride(Bytes& out, uint32_t inclusion_id, InstanceKey key, InstanceOverride const& o) {
  PutU32(out, Tag::Override);
  PutU32(out, inclusion_id);
  PutU32(out, key);
  for (MaterialKey m : o.materials) PutU32(out, m);
  for (MaterialMapKey m : o.material_maps) PutU32(out, m);
  PutU32(out, o.clip);
  PutU32(out, o.flags);
  PutU32(out, o.modifiers);
}

void WriteExtension(Bytes& out, Instance const& instance) {
  PutU32(out, Tag::Extension);
  PutU32(out, instance.key);
  for (float v : instance.extension->data.values) PutF32(out, v);
  PutU32(out, instance.extension->data.word);
}

void WriteSimpleColor(Bytes& out, MaterialKey key, RGBAColor const& color) {
  PutU32(out, Tag::SimpleColor);
  PutU32(out, key);
  PutColor(out, color);
}

void WriteMaterial(Bytes& out, MaterialKey key, MaterialRecord const& m) {
  PutU32(out, Tag::Material);
  PutU32(out, key);
  PutColor(out, m.color);
  PutF32(out, m.mirror);
  PutF32(out, m.specular);
  PutF32(out, m.gloss);
  PutU32(out, uint32_t(m.environment.size()));
  PutU32(out, uint32_t(m.textures.size()));
  PutU32(out, m.line_pattern);
  for (ImageKey image : m.environment) PutU32(out, image);
  for (TextureRef const& t : m.textures) {
    PutU32(out, t.image);
    PutU32(out, t.matrix);
    PutU32(out, t.word);
  }
}

void WriteFullMaterial(Bytes& out, MaterialKey key, std::span<uint8_t const> bytes) {
  PutU32(out, Tag::FullMaterial);
  PutU32(out, key);
  PutBytes(out, bytes.data(), bytes.size());
}

void WriteMaterialMap(Bytes& out, MaterialMapKey key, MaterialMap const& map) {
  bool const colors = !map.colors.empty();
  PutU32(out, Tag::MaterialMap);
  PutU32(out, key);
  PutU32(out, colors ? 1 : 0);
  if (colors) {
    PutU32(out, uint32_t(map.colors.size()));
    for (float c : map.colors) PutF32(out, c);
  } else {
    PutU32(out, uint32_t(map.keys.size()));
    for (MaterialKey k : map.keys) PutU32(out, k);
  }
}

void WriteMatrix(Bytes& out, MatrixKey key, Matrix const& matrix) {
  PutU32(out, Tag::Matrix);
  PutU32(out, key);
  for (double v : matrix) PutF64(out, v);
}

void WriteLinePattern(Bytes& out, LinePatternKey key, LinePattern const& pattern) {
  PutU32(out, Tag::LinePattern);
  PutU32(out, key);
  PutBytes(out, pattern.value.data(), pattern.value.size());
  PutU32(out, uint32_t(pattern.bytes.size()));
  PutU32(out, 0);
  PutBytes(out, pattern.bytes.data(), pattern.bytes.size());
  out.resize(out.size() + 7 * pattern.bytes.size(), 0);
}

void WritePolyPolygon(Bytes& out, PolyPolygonKey key, PolyPolygon const& polygon) {
  PutU32(out, Tag::PolyPolygon);
  PutU32(out, key);
  PutU32(out, uint32_t(polygon.lengths.size()));
  PutU32(out, uint32_t(polygon.points.size()));
  for (uint32_t length : polygon.lengths) PutU32(out, length);
  for (Point const& p : polygon.points) {
    PutF32(out, p.x);
    PutF32(out, p.y);
    PutF32(out, p.z);
  }
}

void WriteClipRegion(Bytes& out, ClipRegionKey key, ClipRegion const& region) {
  uint64_t size = 16;
  for (ClipLoop const& loop : region.loops) size += 12 + 4 * loop.polygons.size();
  PutU32(out, Tag::ClipRegion);
  PutU32(out, key);
  PutU32(out, uint32_t(size));
  PutU32(out, uint32_t(region.loops.size()));
  for (ClipLoop const& loop : region.loops) {
    PutU32(out, uint32_t(loop.polygons.size()));
    PutU32(out, loop.matrix);
    PutU32(out, (loop.first_flag == 1 ? 1u : 0u) | (loop.second_flag == 1 ? 2u : 0u));
    for (PolyPolygonKey polygon : loop.polygons) PutU32(out, polygon);
  }
}

}  // namespace QX::Store
