// The answers to requests by id. Bad ids never throw: they become m records
// or log lines, and the pass goes on with the next id.
#include "stream/RequestsById.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <unordered_set>

#include "store/CacheImpl.h"
#include "store/ModelImpl.h"
#include "store/ModelIncludes.h"
#include "stream/AssetSending.h"
#include "stream/ControlRecords.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

constexpr uint32_t kNoMeshData = KeyKind::NoData | KeyKind::Mesh;
constexpr uint32_t kAttachIdAsked = KeyKind::AllInclusions;
constexpr uint32_t kCountFirst = KeyKind::CountFirst;
constexpr uint32_t kSeparator = 0xFFFFFFFFu;

void ReportModel(StreamState& state, uint32_t stream_model) {
  state.output.ReportMissing(stream_model, stream_model, KeyKind::Model);
}

// After each object of a request: flush if the out-buffer is full. False
// once the sink is dead.
bool FlushIfFull(StreamState& state) {
  StreamOutput& out = state.output;
  if (out.Buffer().size() >= FlushSize(*out.Sink())) return out.FlushChunk(0);
  return out.SinkAlive();
}

bool ValidToc(MeshRecord const& r) {
  return !r.toc.empty() && r.toc.front().offset != ~uint64_t{0} && r.toc.front().size != ~uint32_t{0};
}

MeshRecord const* DataOf(ModelImpl const& model, MeshRecord const* mesh) {
  if (mesh != nullptr && mesh->duplicate_of != 0)
    if (MeshRecord const* base = model.FindMesh(mesh->duplicate_of)) return base;
  return mesh;
}

void SendMeshById(StreamState& state, ModelImpl& model, uint32_t stream_model, MeshKey key) {
  MeshEntry const* entry = model.meshes.Find(key);
  if (entry == nullptr) return state.output.ReportMissing(stream_model, key, KeyKind::Mesh);
  MeshKey mesh_key = key;
  if (entry->kind == MeshKind::List) {
    MeshList const& list = model.mesh_lists[entry->index];
    if (list.empty()) return state.output.ReportMissing(stream_model, key, kNoMeshData);
    SendMeshList(state, model, key, list);
    mesh_key = list[std::min(state.list_levels[&list], uint32_t(list.size() - 1))];
  }
  MeshRecord const* record = model.FindMesh(mesh_key);
  MeshRecord const* data = DataOf(model, record);
  if (data == nullptr || !ValidToc(*data))
    return state.output.ReportMissing(stream_model, mesh_key, kNoMeshData);
  SendMeshDefinition(state, model, *record);
  SendMeshData(state, model, *data, ~uint64_t{0}, std::numeric_limits<float>::max());
}

void MeshIds(StreamState& state, Pairs const& ids) {
  ++state.view.frame_serial;
  for (auto const& [stream_model, key] : ids) {
    ModelImpl* model = StreamModel(state, stream_model);
    if (model == nullptr) {
      ReportModel(state, stream_model);
      state.output.ReportMissing(stream_model, key, KeyKind::Mesh);
      continue;
    }
    SendMeshById(state, *model, stream_model, key);
  }
}

bool HasLevel(ImageRecord const& image) {
  return std::any_of(image.toc.begin(), image.toc.end(), [](ImageTocEntry const& e) {
    return e.offset != ~uint64_t{0} && e.size != ~uint32_t{0};
  });
}

void ImageIds(StreamState& state, Pairs const& ids, bool previews_only) {
  for (auto const& [stream_model, key] : ids) {
    ModelImpl* model = StreamModel(state, stream_model);
    if (model == nullptr) {
      state.output.ReportMissing(stream_model, 0, KeyKind::Model);
      state.output.ReportMissing(stream_model, key, KeyKind::Image);
    } else {
      SendImage(state, *model, key);
    }
    if (!FlushIfFull(state)) return;
  }
  if (previews_only) return;
  for (auto const& [stream_model, key] : ids) {
    ModelImpl* model = StreamModel(state, stream_model);
    ImageRecord const* image = model != nullptr ? model->images.Find(key) : nullptr;
    if (image != nullptr && HasLevel(*image)) SendImageLevel(state, *model, *image, false);
  }
}

void DataIds(StreamState& state, Pairs const& ids) {
  KeyedList collected;
  for (auto const& [stream_model, key] : ids) {
    ModelImpl* model = StreamModel(state, stream_model);
    if (model == nullptr) ReportModel(state, stream_model);
    KeyedData const* data = model != nullptr ? model->keyed_data.Find(key) : nullptr;
    if (data == nullptr) {
      state.output.ReportMissing(stream_model, key, KeyKind::Data);
      continue;
    }
    collected.emplace_back(model, data);
  }
  SendKeyedData(state, collected, 0xFFFFFFFFu);
}

// Walks groups from `start`, each (model, group) once, following their
// group pairs if `follow`; calls `visit` for each.
template <class Visit>
void WalkGroups(StreamState& state, std::vector<std::pair<ModelImpl*, GroupKey>> work, bool follow,
                Visit visit) {
  std::set<std::pair<ModelImpl*, GroupKey>> seen;
  while (!work.empty()) {
    auto const next = work.back();
    work.pop_back();
    if (!seen.insert(next).second) continue;
    visit(*next.first, next.second);
    if (!follow) continue;
    for (auto const& [include, group] : ReadGroup(*next.first, next.second).groups)
      if (ModelImpl* model = IncludedModel(state, *next.first, include))
        work.emplace_back(model, group);
  }
}

void GroupIds(StreamState& state, Pairs const& ids, bool follow) {
  std::vector<std::pair<ModelImpl*, GroupKey>> start;
  for (auto const& [stream_model, key] : ids) {
    ModelImpl* model = StreamModel(state, stream_model);
    if (model == nullptr) {
      ReportModel(state, stream_model);
      continue;
    }
    start.emplace_back(model, key);
  }
  std::reverse(start.begin(), start.end());  // the walk takes from the back
  std::map<ModelImpl*, std::vector<GroupKey>> found;
  std::vector<ModelImpl*> order;
  WalkGroups(state, start, follow, [&](ModelImpl& model, GroupKey key) {
    auto [it, fresh] = found.try_emplace(&model);
    if (fresh) order.push_back(&model);
    it->second.push_back(key);
  });
  for (ModelImpl* model : order)
    for (GroupKey key : found[model]) {
      SendGroup(state, *model, key);
      if (!FlushIfFull(state)) return;
    }
}

// Materials, matrices and material maps: by model, in the order asked.
template <class Send>
void KeysByModel(StreamState& state, Pairs const& ids, Send send) {
  std::vector<std::pair<uint32_t, std::vector<uint32_t>>> by_model;
  for (auto const& id : ids) {
    uint32_t const stream_model = id.first;
    auto it = std::find_if(by_model.begin(), by_model.end(),
                           [&](auto const& e) { return e.first == stream_model; });
    if (it == by_model.end()) it = by_model.insert(by_model.end(), {stream_model, {}});
    it->second.push_back(id.second);
  }
  for (auto const& [stream_model, keys] : by_model) {
    ModelImpl* model = StreamModel(state, stream_model);
    if (model == nullptr) {
      ReportModel(state, stream_model);
      continue;
    }
    for (uint32_t key : keys) {
      send(state, *model, key);
      if (!FlushIfFull(state)) return;
    }
  }
}

void PushKeys(ModelImpl const& model, uint32_t kind, std::vector<uint32_t>& words) {
  if (kind == KeyKind::Data)
    for (auto const& entry : model.keyed_data) words.push_back(entry.key);
  if (kind == KeyKind::Instance)
    for (auto const& entry : model.instances)
      if (HasStreamData(model, entry.value.mesh)) words.push_back(entry.key);
}

void KeyInfo(StreamState& state, StreamRequest const& request) {
  uint32_t const kind = request.key_code & KeyKind::MissingMask;
  bool const count_first = (request.key_code & kCountFirst) != 0;
  std::vector<uint32_t> words;
  if (request.key_code & kAttachIdAsked) {
    std::unordered_set<uint32_t> counted;
    for (StreamAttachedModel const* attached : state.attached_by_id[request.key_id]) {
      uint32_t const stream_model = state.inclusions[attached->inclusion_id].stream_model;
      ModelImpl* model = StreamModel(state, stream_model);
      if (model == nullptr || !counted.insert(stream_model).second) continue;
      if (counted.size() > 1) words.push_back(kSeparator);
      words.push_back(stream_model);
      PushKeys(*model, kind, words);
    }
    if (count_first)
      words.insert(words.begin(),
                   counted.empty() ? 0 : uint32_t(words.size() - 2 * counted.size() + 1));
  } else {
    ModelImpl* model = StreamModel(state, request.key_id);
    if (model == nullptr) return ReportModel(state, request.key_id);
    PushKeys(*model, kind, words);
    if (count_first) words.insert(words.begin(), uint32_t(words.size()));
  }
  WriteEvent(state.output.Buffer(), request.key_id, request.key_code, request.request_id, words);
}

}  // namespace

char const* RequestKindName(RequestKind kind) {
  static char const* const names[] = {"NOTHING",
                                      "VERSION",
                                      "DIGEST",
                                      "BOUNDINGS",
                                      "STREAM",
                                      "MESH_IDS",
                                      "IMAGE_IDS",
                                      "DATA_IDS",
                                      "GROUP_IDS",
                                      "MATERIAL_IDS",
                                      "MATRIX_IDS",
                                      "MATERIAL_MAP_IDS",
                                      "COMPUTE_INSTANCE_INC_BOUNDING",
                                      "GET_KEY_INFO",
                                      "INSTANCE_IDS_WITH_MESH_DATA",
                                      "INSTANCE_IDS_WITHOUT_MESH_DATA",
                                      "INSTANCE_GROUP_INCS_WITH_MESH_DATA",
                                      "INSTANCE_GROUP_INCS_WITHOUT_MESH_DATA",
                                      "DEBUG_WORST_BOUNDING_RESIDUE"};
  auto const index = uint32_t(kind);
  return index < std::size(names) ? names[index] : "UNKNOWN";
}

uint32_t RequestKeyCode(RequestKind kind) {
  switch (kind) {
    case RequestKind::MeshIds: return 7;
    case RequestKind::ImageIds: return 8;
    case RequestKind::DataIds: return 1;
    case RequestKind::GroupIds: return 10;
    case RequestKind::MaterialIds: return 3;
    case RequestKind::MatrixIds: return 4;
    case RequestKind::MaterialMapIds: return 2;
    case RequestKind::ComputeInstanceIncBounding: return 12;
    case RequestKind::InstanceIdsWithMeshData: return 0x20000005;
    case RequestKind::InstanceIdsWithoutMeshData: return 5;
    case RequestKind::InstanceGroupIncsWithMeshData: return 0x60000005;
    case RequestKind::InstanceGroupIncsWithoutMeshData: return 0x40000005;
    default: return 0;
  }
}

bool HasStreamData(ModelImpl const& model, MeshKey key) {
  MeshEntry const* entry = model.meshes.Find(key);
  if (entry == nullptr) return false;
  if (entry->kind == MeshKind::List) {
    auto const& list = model.mesh_lists[entry->index];
    return !list.empty() && HasStreamData(model, list.front());
  }
  MeshRecord const* mesh = DataOf(model, model.FindMesh(key));
  return mesh != nullptr && ValidToc(*mesh);
}

ModelImpl* IncludedModel(StreamState& state, ModelImpl& model, IncludeKey include) {
  if (include == 0) return &model;
  IncludeRecord const* record = model.includes.Find(include);
  if (record == nullptr) return nullptr;
  if (record->attached_id == 0) return &model;
  AttachedModel const* attached = model.attached_models.Find(record->attached_id);
  if (attached == nullptr) return nullptr;
  ResolvedAttachments known;
  ModelId const id = ResolveAttached(model, record->attached_id, attached->path, known);
  uint32_t stream_model = 0;
  {
    std::lock_guard lock(state.id_lock);
    auto const it = state.stream_model_ids.find(id);
    if (it == state.stream_model_ids.end()) return nullptr;
    stream_model = it->second;
  }
  return StreamModel(state, stream_model);
}

GroupPairs ReadGroup(ModelImpl& model, GroupKey key) {
  GroupPairs pairs;
  GroupEntry* group = model.groups.Find(key);
  if (group == nullptr) return pairs;
  model.LoadGroup(*group);
  std::vector<uint32_t> const& w = group->words;
  size_t at = 1;  // behind the word count
  for (Pairs* out : {&pairs.instances, &pairs.groups}) {
    if (at >= w.size()) break;
    uint64_t const n = w[at++];
    for (uint64_t i = 0; i < n && at + 1 < w.size(); ++i, at += 2)
      out->emplace_back(w[at], w[at + 1]);
  }
  return pairs;
}

ModelImpl* StreamModel(StreamState& state, uint32_t stream_model) {
  ModelId id = kNoModel;
  {
    std::lock_guard lock(state.id_lock);
    auto const it = state.model_ids.find(stream_model);
    if (it == state.model_ids.end()) return nullptr;
    id = it->second;
  }
  if (state.main_model && state.main_model.Impl().id == id) return &state.main_model.Impl();
  for (Model const& model : state.held_models)
    if (model.Impl().id == id) return &model.Impl();
  return nullptr;
}

bool HasRequestList(StreamState& state, StreamRequest const& request) {
  bool const incs = request.kind == RequestKind::InstanceGroupIncsWithMeshData ||
                    request.kind == RequestKind::InstanceGroupIncsWithoutMeshData;
  if (request.kind == RequestKind::ComputeInstanceIncBounding ||
      request.kind == RequestKind::GetKeyInfo)
    return true;
  if ((incs ? request.incs_ptr : request.ids_ptr) != nullptr) return true;
  state.Log("Requested %s but did not provide %s", RequestKindName(request.kind),
            incs ? "incs_ptr" : "ids_ptr");
  return false;
}

void AnswerIdRequest(StreamState& state, StreamRequest const& request) {
  if (!HasRequestList(state, request)) return;
  Pairs const* ids = request.ids_ptr;
  switch (request.kind) {
    case RequestKind::MeshIds: return MeshIds(state, *ids);
    case RequestKind::ImageIds: return ImageIds(state, *ids, request.option_a != 0);
    case RequestKind::DataIds: return DataIds(state, *ids);
    case RequestKind::GroupIds: return GroupIds(state, *ids, request.option_a != 0);
    case RequestKind::MaterialIds: return KeysByModel(state, *ids, SendMaterial);
    case RequestKind::MatrixIds: return KeysByModel(state, *ids, SendMatrix);
    case RequestKind::MaterialMapIds: return KeysByModel(state, *ids, SendMaterialMap);
    case RequestKind::GetKeyInfo: return KeyInfo(state, request);
    default: return;
  }
}

}  // namespace QX::Store
