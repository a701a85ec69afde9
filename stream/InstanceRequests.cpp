// Requests about instances: the box of a set of them, and instances pushed
// into the stream ahead of everything else.
#include <algorithm>
#include <array>
#include <set>
#include <unordered_map>

#include "files/File.h"
#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/MatrixMath.h"
#include "geometry/mesh/StreamMesh.h"
#include "store/ModelImpl.h"
#include "stream/AssetSending.h"
#include "stream/ControlRecords.h"
#include "stream/RequestsById.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

constexpr uint32_t kNoInstanceItem = KeyKind::NoData | KeyKind::Instance;

StreamInstance* FindItem(StreamState& state, uint32_t inclusion_id, InstanceKey key) {
  auto const attached = state.attached.find(inclusion_id);
  if (attached == state.attached.end()) return nullptr;
  auto const item = attached->second.instances.find(key);
  return item == attached->second.instances.end() ? nullptr : &item->second;
}

// The box of the positions of an item's mesh in scene space, from its
// stored stream records; only the classes in `classes` count.
class TightBox {
 public:
  explicit TightBox(StreamState& state) : state_(state) {}

  bool Add(StreamInstance const& item, uint32_t classes, BoundingBox& box) {
    ModelImpl& model = *item.model;
    MeshRecord const* data = item.mesh;
    Matrix matrix = FullMatrix(item);
    if (data->duplicate_of != 0) {
      MeshRecord const* base = model.FindMesh(data->duplicate_of);
      Matrix const* carry = model.matrices.Find(data->duplicate_matrix);
      if (base == nullptr) return Failed("Failed to extract mesh data from MeshID: (%u,%u)", item);
      if (carry != nullptr) matrix = Concat(*carry, matrix);
      data = base;
    }
    File* file = model.EnsureOpen(*model.stream_meshes_file, kStreamMeshesName, false);
    if (file == nullptr || !ReadStreamMesh(*file, *data, scratch_, records_))
      return Failed("Failed to extract mesh data from MeshID: (%u,%u)", item);
    if (!ParseMeshPositions(records_, positions_, split_))
      return Failed("Failed to parse mesh data from MeshID: (%u,%u)", item);
    Add(classes & 1, 0, split_[0], matrix, box);
    Add(classes & 2, split_[0], split_[1], matrix, box);
    Add(classes & 4, split_[1], positions_.size(), matrix, box);
    return true;
  }

 private:
  bool Failed(char const* format, StreamInstance const& item) {
    state_.Log(format, item.model->id, item.mesh->key);
    return false;
  }

  void Add(bool counts, uint64_t from, uint64_t to, Matrix const& m, BoundingBox& box) {
    if (!counts || from >= to) return;
    std::vector<PointD> points;
    points.reserve(to - from);
    for (uint64_t i = from; i < to && i < positions_.size(); ++i)
      points.push_back({positions_[i][0], positions_[i][1], positions_[i][2]});
    TransformPoints(m, points.data(), points.size());
    Unite(box, ScanPoints(points.data(), points.size()));
  }

  // The instance's matrix, then its inclusion's; cached per inclusion.
  Matrix FullMatrix(StreamInstance const& item) {
    uint32_t const inclusion_id = item.attached->inclusion_id;
    if (inclusion_id != cached_inclusion_) {
      cached_inclusion_ = inclusion_id;
      inclusion_matrix_ = kIdentityMatrix;
      MatrixKey const key = state_.inclusions[inclusion_id].matrix;
      ModelImpl& host = state_.scene_root ? state_.scene_root.Impl() : state_.main_model.Impl();
      if (Matrix const* m = host.matrices.Find(key)) inclusion_matrix_ = *m;
    }
    Matrix const* own = item.model->matrices.Find(item.instance->matrix);
    return own != nullptr ? Concat(*own, inclusion_matrix_) : inclusion_matrix_;
  }

  StreamState& state_;
  std::vector<uint8_t> scratch_, records_;
  std::vector<std::array<double, 3>> positions_;
  std::array<uint64_t, 2> split_{};
  uint32_t cached_inclusion_ = 0;
  Matrix inclusion_matrix_ = kIdentityMatrix;
};

// The classes of an item that count for a box or selection.
uint32_t CountingClasses(StreamState const& state, StreamInstance const& item, bool drawn_only) {
  if (!drawn_only) return 7;
  StateBits const& bits = state.bits;
  uint32_t const shown = (bits.faces_shown ? 1 : 0) | (bits.lines_shown ? 2 : 0) |
                         (bits.points_shown ? 4 : 0);
  return item.flags.classes & (item.flags.bounded ? 7 : shown);
}

// Expands (inclusion id, group key) pairs into the instances they hold,
// as (stream model id, instance key), sorted and without duplicates.
Pairs ExpandGroupIncs(StreamState& state, Pairs const& incs, bool follow) {
  std::vector<std::pair<ModelImpl*, GroupKey>> work;
  for (auto const& [inclusion_id, group] : incs) {
    uint32_t stream_model = 0;
    {
      std::lock_guard lock(state.id_lock);
      auto const it = state.inclusions.find(inclusion_id);
      if (it == state.inclusions.end()) continue;
      stream_model = it->second.stream_model;
    }
    if (ModelImpl* model = StreamModel(state, stream_model)) work.emplace_back(model, group);
  }
  std::set<std::pair<ModelImpl*, GroupKey>> seen;
  std::set<std::pair<uint32_t, uint32_t>> found;
  while (!work.empty()) {
    auto const [model, group] = work.back();
    work.pop_back();
    if (!seen.insert({model, group}).second) continue;
    GroupPairs const pairs = ReadGroup(*model, group);
    for (auto const& [include, instance] : pairs.instances)
      if (ModelImpl* owner = IncludedModel(state, *model, include))
        found.insert({state.StreamIdOf(*owner), instance});
    if (!follow) continue;
    for (auto const& [include, inner] : pairs.groups)
      if (ModelImpl* owner = IncludedModel(state, *model, include)) work.emplace_back(owner, inner);
  }
  return Pairs(found.begin(), found.end());
}

}  // namespace

void AnswerInstanceBounding(StreamState& state, StreamRequest const& request) {
  bool const drawn_only = request.option_a != 0;
  bool const with_marked = request.option_b != 0;
  bool const tight = request.option_c != 0;
  BoundingBox box;
  uint32_t count = 0;
  TightBox meshes(state);
  auto const accumulate = [&](StreamInstance const& item) {
    if (!with_marked && item.flags.modifier_14) return;
    if (drawn_only && item.flags.classes == 0) return;
    if (!tight) {
      Unite(box, item.bounds);
    } else {
      uint32_t const classes = CountingClasses(state, item, drawn_only);
      if (classes == 0 || !meshes.Add(item, classes, box)) return;
    }
    count += item.instance->weight;
  };
  if (request.incs_ptr != nullptr) {
    for (auto const& [inclusion_id, key] : *request.incs_ptr)
      if (StreamInstance const* item = FindItem(state, inclusion_id, key)) accumulate(*item);
  } else {
    for (StreamInstance const* item : state.items) accumulate(*item);
  }
  WriteBoundsResult(state.output.Buffer(), box, count, request.request_id);
}

void AnswerInstanceSelection(StreamState& state, StreamRequest const& request,
                             bool with_mesh_data) {
  if (!HasRequestList(state, request)) return;
  bool const by_groups = request.kind == RequestKind::InstanceGroupIncsWithMeshData ||
                         request.kind == RequestKind::InstanceGroupIncsWithoutMeshData;
  Pairs const pairs =
      by_groups ? ExpandGroupIncs(state, *request.incs_ptr, request.option_a != 0) : *request.ids_ptr;
  std::vector<StreamInstance*>& list = state.scratch_items;
  list.clear();
  for (auto const& [stream_model, key] : pairs) {
    ModelImpl* model = StreamModel(state, stream_model);
    if (model == nullptr) {
      state.output.ReportMissing(stream_model, stream_model, KeyKind::Model);
      state.output.ReportMissing(stream_model, key, KeyKind::Instance);
      continue;
    }
    bool any = false;
    for (uint32_t inclusion_id : state.inclusions_of_model[model]) {
      StreamInstance* item = FindItem(state, inclusion_id, key);
      if (item == nullptr) continue;
      any = true;
      ItemFlags const& f = item->flags;
      if (!(f.definition_sent && f.instance_sent && (f.data_sent || !with_mesh_data)))
        list.push_back(item);
    }
    if (!any)
      state.output.ReportMissing(stream_model, key,
                                 model->instances.Find(key) ? kNoInstanceItem : KeyKind::Instance);
  }
  ++state.view.frame_serial;
  state.BuildPriorities(true, list, &state.selection_queue);
  EmitQueue(state, state.selection_queue, ~uint64_t{0}, with_mesh_data);
}

}  // namespace QX::Store
