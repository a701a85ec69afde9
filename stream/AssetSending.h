#pragma once
// Sending an object with everything it refers to, each object once per
// stream: the sets of the state remember what went out, so dependencies can
// be named freely. Every Send... appends to the state's out-buffer; flushing
// is the caller's business, except around stored Z blocks.
#include <cstdint>
#include <utility>
#include <vector>

#include "store/Types.h"
#include "stream/StreamItems.h"

namespace QX::Store {

class ModelImpl;
class PagedFile;
class PriorityBuckets;
class StreamState;
struct ImageRecord;
struct KeyedData;
struct MeshSendState;

using KeyedList = std::vector<std::pair<ModelImpl*, KeyedData const*>>;

// Objects of a model, each with what it needs first.
void SendMaterial(StreamState& state, ModelImpl& model, MaterialKey key);
void SendMaterialMap(StreamState& state, ModelImpl& model, MaterialMapKey key);
void SendMatrix(StreamState& state, ModelImpl& model, MatrixKey key);
void SendLinePattern(StreamState& state, ModelImpl& model, LinePatternKey key);
void SendClipRegion(StreamState& state, ModelImpl& model, ClipRegionKey key);
void SendPolyPolygon(StreamState& state, ModelImpl& model, PolyPolygonKey key);
void SendGroup(StreamState& state, ModelImpl& model, GroupKey key);

// Meshes: the definition, a list at the level the stream chose for it.
void SendMeshDefinition(StreamState& state, ModelImpl& model, MeshRecord const& record);
void SendMeshList(StreamState& state, ModelImpl& model, MeshKey key, MeshList const& list);

// Moves an item on a mesh list to `level` (at most the list's last), sending
// the definition of its new mesh; the data of that mesh is noted as due if
// the item had its data.
void SetMeshListLevel(StreamState& state, StreamInstance& item, uint32_t level);

// An item's overrides and instance record; marks it sent.
void SendInstanceItem(StreamState& state, StreamInstance& item);

// Images: the image with the level that goes first, and one level of it.
void SendImage(StreamState& state, ModelImpl& model, ImageKey key);
void SendImageLevel(StreamState& state, ModelImpl& model, ImageRecord const& image,
                    bool want_preview);
// Sends the full level of the images whose preview went out, the most
// important first, while the pass stays within `budget` bytes.
void UpgradeImages(StreamState& state, uint64_t budget);

// Mesh data under the memory budget. False if the pass budget stopped it
// before the last record of the mesh.
bool SendMeshData(StreamState& state, ModelImpl& model, MeshRecord const& record,
                  uint64_t budget, float priority);
// The send state of a mesh that holds data, made on first use.
MeshSendState& MeshSendStateOf(StreamState& state, ModelImpl& model, MeshRecord const& record);
// Makes room for `wanted` by ejecting meshes of lower priority.
void Evict(StreamState& state, MeshSendState& wanted);

// Copies one stored record of a model's stream file to the out-buffer,
// unread; a stored Z block goes out as a chunk of its own. False if the
// bytes can't be fetched.
bool AppendStoredRecord(StreamState& state, ModelImpl& model, PagedFile& file, uint64_t offset,
                        uint32_t size);

// Walks the priority queue, sending each item with all it needs. True if it
// stopped before the queue ran dry.
bool EmitQueue(StreamState& state, PriorityBuckets& queue, uint64_t budget,
               bool with_mesh_data);

// Sends keyed data from the back of `list` (sorted ascending by type word),
// until `limit` bytes went out or the list is empty. Sent pairs leave it.
void SendKeyedData(StreamState& state, KeyedList& list, uint32_t limit);

}  // namespace QX::Store
