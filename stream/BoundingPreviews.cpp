#include "stream/BoundingPreviews.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/mesh/MeshRecord.h"
#include "store/Instance.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "stream/PriorityBuckets.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

constexpr size_t kInstancePreviews = 128;
constexpr size_t kNodeItems = 1024;
constexpr int kMaxDepth = 64;
constexpr float kSmallestThreshold = 1.1754944e-38f;
constexpr uint32_t kInstanceKind = 0, kModelKind = 1, kEjectedKind = 2;

using Members = std::vector<StreamInstance*>;

BoundingBox Overlap(BoundingBox const& a, BoundingBox const& b) {
  return {std::max(a.min_x, b.min_x), std::max(a.min_y, b.min_y), std::max(a.min_z, b.min_z),
          std::min(a.max_x, b.max_x), std::min(a.max_y, b.max_y), std::min(a.max_z, b.max_z)};
}

std::array<float, 3> Extents(BoundingBox const& b) {
  return {b.max_x - b.min_x, b.max_y - b.min_y, b.max_z - b.min_z};
}

BoundingPreview SinglePreview(StreamInstance* item) {
  BoundingPreview preview;
  preview.bounds = item->bounds;
  preview.members = {item};
  preview.volume = preview.threshold = Volume(item->bounds);
  return preview;
}

// Empties a list, handing its members' indices back; a list that had
// entries changes its version.
// The ejected list keeps no index in its members: `index` is null there.
void Clear(PreviewList& list, uint32_t StreamInstance::*index) {
  if (index != nullptr)
    for (BoundingPreview const& preview : list.previews)
      for (StreamInstance* member : preview.members) member->*index = kNoPreview;
  if (!list.previews.empty()) ++list.version;
  list.previews.clear();
}

// A spatial tree over the items of the model previews: a node keeps what
// fits in none of its eight children.
struct SpatialNode {
  BoundingBox box;
  int depth = 0;
  Members items;
  std::vector<SpatialNode> children;

  void Insert(StreamInstance* item) {
    for (SpatialNode& child : children)
      if (Contains(child.box, item->bounds)) return child.Insert(item);
    items.push_back(item);
    if (children.empty() && items.size() > kNodeItems && depth < kMaxDepth) Split();
  }

  void Split() {
    float const mid[3] = {(box.min_x + box.max_x) * 0.5f, (box.min_y + box.max_y) * 0.5f,
                          (box.min_z + box.max_z) * 0.5f};
    for (int octant = 0; octant < 8; ++octant) {
      SpatialNode child;
      child.depth = depth + 1;
      child.box = box;
      (octant & 1 ? child.box.min_x : child.box.max_x) = mid[0];
      (octant & 2 ? child.box.min_y : child.box.max_y) = mid[1];
      (octant & 4 ? child.box.min_z : child.box.max_z) = mid[2];
      children.push_back(std::move(child));
    }
    Members kept;
    for (StreamInstance* item : std::exchange(items, {})) {
      auto const child = std::find_if(children.begin(), children.end(), [&](SpatialNode const& c) {
        return Contains(c.box, item->bounds);
      });
      if (child != children.end())
        child->Insert(item);
      else
        kept.push_back(item);
    }
    items = std::move(kept);
  }

  template <class Visit>
  void DepthFirst(Visit const& visit) {
    visit(items);
    for (SpatialNode& child : children) child.DepthFirst(visit);
  }
};

// Whether two spheres lie close enough for one preview.
bool Joined(StreamInstance const& a, StreamInstance const& b) {
  float const dx = a.centre.x - b.centre.x, dy = a.centre.y - b.centre.y,
              dz = a.centre.z - b.centre.z;
  float const d2 = dx * dx + dy * dy + dz * dz;
  float const sum = a.radius + b.radius, diff = a.radius - b.radius;
  if (sum * sum < d2) return false;
  if (diff * diff >= d2) return true;
  float const t = (sum - std::sqrt(d2)) / (2 * std::min(a.radius, b.radius));
  return std::fabs(t) > 0.25f;
}

// Adds P to a list, merging it into the first preview that mostly covers it.
void Add(std::vector<BoundingPreview>& list, BoundingPreview&& p, size_t merge_limit) {
  if (p.members.size() < merge_limit) {
    float const volume = Volume(p.bounds);
    std::array<float, 3> const extents = Extents(p.bounds);
    for (BoundingPreview& q : list) {
      BoundingBox const overlap = Overlap(p.bounds, q.bounds);
      if (!overlap.Valid()) continue;
      float const shared = Volume(overlap);
      std::array<float, 3> const e = Extents(overlap);
      bool const counts =
          shared != 0 || ((e[0] == 0) == (extents[0] == 0) && (e[1] == 0) == (extents[1] == 0) &&
                          (e[2] == 0) == (extents[2] == 0));
      if (!counts || shared < 0.85f * volume) continue;
      q.members.insert(q.members.end(), p.members.begin(), p.members.end());
      Unite(q.bounds, p.bounds);
      return;
    }
  }
  list.push_back(std::move(p));
}

// The groups of one node of the spatial tree, added to `working`.
void GroupNode(Members& items, std::vector<BoundingPreview>& working, size_t merge_limit) {
  std::stable_sort(items.begin(), items.end(), [](StreamInstance const* a, StreamInstance const* b) {
    return a->diagonal2 > b->diagonal2;
  });
  std::vector<Members> groups;
  std::vector<StreamInstance*> representatives;
  for (StreamInstance* item : items) {
    size_t r = 0;
    while (r < representatives.size() && !Joined(*item, *representatives[r])) ++r;
    if (r == representatives.size()) {
      representatives.push_back(item);
      groups.push_back({item});
      continue;
    }
    groups[r].push_back(item);
    if (item->radius > representatives[r]->radius) representatives[r] = item;
  }
  for (Members& group : groups) {
    BoundingPreview preview;
    for (StreamInstance* member : group) Unite(preview.bounds, member->bounds);
    preview.members = std::move(group);
    Add(working, std::move(preview), merge_limit);
  }
}

// A quarter of the volume of the union of the largest tenth of the members.
float Threshold(BoundingPreview const& preview) {
  Members sized;
  for (StreamInstance* member : preview.members)
    if (Volume(member->bounds) > 0) sized.push_back(member);
  if (sized.empty()) return 0.25f * Volume(preview.bounds);
  size_t const largest = std::max<size_t>(1, sized.size() / 10);
  std::partial_sort(sized.begin(), sized.begin() + largest, sized.end(),
                    [](StreamInstance const* a, StreamInstance const* b) {
                      return Volume(a->bounds) > Volume(b->bounds);
                    });
  BoundingBox united;
  for (size_t i = 0; i < largest; ++i) Unite(united, sized[i]->bounds);
  return 0.25f * Volume(united);
}

bool WantsModelPreview(StreamInstance const& item, bool only_interesting) {
  ItemFlags const& f = item.flags;
  std::array<float, 3> const e = Extents(item.bounds);
  return !f.data_sent && f.classes != 0 && !f.modifier_14 && (item.mesh->classes & 1) &&
         e[0] * e[1] * e[2] != 0 && (!only_interesting || f.wanted);
}

bool Flag(StreamState const& state, uint32_t flag) { return (state.control_flags & flag) != 0; }

void WriteList(StreamState& state, PreviewList& list, uint32_t kind) {
  if (list.version == list.sent_version) return;
  list.sent_version = list.version;
  std::vector<BoundingBox> boxes;
  for (BoundingPreview const& preview : list.previews)
    if (preview.bounds.Valid()) boxes.push_back(preview.bounds);
  Bytes& out = state.output.Buffer();
  size_t const before = out.size();
  WritePreviews(out, kind, boxes);
  state.counters.preview_bytes += out.size() - before;
  if (kind == kInstanceKind && boxes.empty()) list.previews.clear();
}

}  // namespace

float Volume(BoundingBox const& box) {
  std::array<float, 3> const e = Extents(box);
  if (e[0] == 0 && e[1] == 0 && e[2] == 0) return 0;
  float volume = 1;
  for (float extent : e)
    if (extent > 0) volume *= extent;
  return volume;
}

uint32_t BuildModelPreviews(PreviewList& list, std::vector<StreamInstance*> const& items,
                            BoundingBox const& bounds, bool only_interesting) {
  Clear(list, &StreamInstance::model_preview);
  ++list.version;
  SpatialNode root;
  root.box = bounds;
  size_t n = 0;
  for (StreamInstance* item : items) {
    item->model_preview = kNoPreview;
    if (!WantsModelPreview(*item, only_interesting)) continue;
    root.Insert(item);
    ++n;
  }
  size_t const merge_limit = size_t(double(n) * 0.0005);
  std::vector<BoundingPreview> working;
  root.DepthFirst([&](Members& node_items) { GroupNode(node_items, working, merge_limit); });
  for (auto p = working.rbegin(); p != working.rend(); ++p)
    if (p->bounds.Valid()) Add(list.previews, std::move(*p), merge_limit);

  double mean = 0;
  for (BoundingPreview& preview : list.previews) mean += preview.volume = Volume(preview.bounds);
  if (!list.previews.empty()) mean /= double(list.previews.size());
  std::erase_if(list.previews,
                [&](BoundingPreview const& p) { return double(p.volume) < mean * 0.01; });
  for (uint32_t i = 0; i < list.previews.size(); ++i) {
    BoundingPreview& preview = list.previews[i];
    for (StreamInstance* member : preview.members) member->model_preview = i;
    preview.threshold = Threshold(preview);
  }
  return uint32_t(list.previews.size());
}

void BuildInstancePreviews(PreviewList& list, PriorityBuckets const& queue) {
  bool const had = !list.previews.empty();
  for (BoundingPreview const& preview : list.previews)
    for (StreamInstance* member : preview.members) member->instance_preview = kNoPreview;
  list.previews.clear();
  std::vector<PriorityEntry> gathered;
  for (int bucket = PriorityBuckets::kBuckets - 1; bucket >= 0; --bucket) {
    if (gathered.size() > kInstancePreviews || !(queue.Threshold(bucket) > kSmallestThreshold))
      break;
    for (PriorityEntry const& entry : queue.Waiting(bucket)) gathered.push_back(entry);
  }
  std::stable_sort(gathered.begin(), gathered.end(),
                   [](PriorityEntry const& a, PriorityEntry const& b) {
                     return a.priority > b.priority;
                   });
  if (gathered.size() > kInstancePreviews) gathered.resize(kInstancePreviews);
  for (PriorityEntry const& entry : gathered) {
    entry.item->instance_preview = uint32_t(list.previews.size());
    list.previews.push_back(SinglePreview(entry.item));
  }
  if (had || !list.previews.empty()) ++list.version;
}

void UpdatePreviews(StreamState& state, bool invalid) {
  StateBits& bits = state.bits;
  bool const models = Flag(state, ControlFlag::StreamModelBoundingPreviews);
  bool const instances = Flag(state, ControlFlag::StreamInstanceBoundingPreviews);
  bool const ejected = Flag(state, ControlFlag::StreamEjectedBoundingPreviews);
  bool const models_changed = std::exchange(bits.model_previews_changed, false);
  bool const instances_changed = std::exchange(bits.instance_previews_changed, false);
  bool const ejected_changed = std::exchange(bits.ejected_previews_changed, false);
  if (!models && !instances && !ejected) return DropPreviews(state);
  if (!state.previews) state.previews = std::make_unique<PreviewSet>();
  PreviewSet& set = *state.previews;
  if (!instances) Clear(set.instances, &StreamInstance::instance_preview);
  else if (instances_changed || invalid) set.instances_stale = true;
  if (!ejected) Clear(set.ejected, nullptr);
  else if (ejected_changed || invalid) bits.ejected_previews_stale = true;
  if (!models) return Clear(set.models, &StreamInstance::model_preview);
  if (!models_changed && !invalid) return;
  auto const start = std::chrono::steady_clock::now();
  uint32_t const count = BuildModelPreviews(
      set.models, state.items, state.bounds,
      Flag(state, ControlFlag::StreamOnlyInterestingBoundingPreviews));
  auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - start);
  state.Log("Updated %u bounding previews in %u ms", count, unsigned(ms.count()));
}

void RefreshInstancePreviews(StreamState& state, bool camera_changed) {
  if (!state.previews) return;
  PreviewSet& set = *state.previews;
  if (Flag(state, ControlFlag::StreamInstanceBoundingPreviews) &&
      (set.instances_stale || camera_changed || set.instances.previews.empty())) {
    BuildInstancePreviews(set.instances, state.queue);
    set.instances_stale = false;
  }
  SendPreviews(state);
}

void RefreshEjectedPreviews(StreamState& state) {
  if (!state.previews) return;
  if (state.bits.ejected_previews_stale && Flag(state, ControlFlag::StreamEjectedBoundingPreviews)) {
    state.bits.ejected_previews_stale = false;
    PreviewList& list = state.previews->ejected;
    Clear(list, nullptr);
    Members ejected(state.ejected_items.begin(), state.ejected_items.end());
    std::sort(ejected.begin(), ejected.end(), [](StreamInstance const* a, StreamInstance const* b) {
      return std::pair(a->attached->inclusion_id, a->instance->key) <
             std::pair(b->attached->inclusion_id, b->instance->key);
    });
    for (StreamInstance* item : ejected) list.previews.push_back(SinglePreview(item));
    ++list.version;
  }
  SendPreviews(state);
}

void PreviewLoaded(StreamState& state, StreamInstance& item) {
  PreviewSet& set = *state.previews;
  if (uint32_t const index = std::exchange(item.model_preview, kNoPreview);
      index < set.models.previews.size()) {
    BoundingPreview& preview = set.models.previews[index];
    if (preview.bounds.Valid()) {
      Unite(preview.loaded_bounds, item.bounds);
      // Enough of it has arrived once the loaded part reaches the threshold.
      if (Volume(preview.loaded_bounds) >= preview.threshold) {
        ++set.models.version;
        for (StreamInstance* member : preview.members) member->model_preview = kNoPreview;
        preview.members.clear();
        preview.bounds = BoundingBox{};
      }
    }
  }
  if (uint32_t const index = std::exchange(item.instance_preview, kNoPreview);
      index < set.instances.previews.size()) {
    BoundingPreview& preview = set.instances.previews[index];
    if (preview.bounds.Valid()) {
      ++set.instances.version;
      preview.members.clear();
      preview.bounds = BoundingBox{};
    }
  }
}

void SendPreviews(StreamState& state) {
  if (!state.previews) return;
  WriteList(state, state.previews->models, kModelKind);
  WriteList(state, state.previews->instances, kInstanceKind);
  WriteList(state, state.previews->ejected, kEjectedKind);
}

void DropPreviews(StreamState& state) {
  if (!state.previews) return;
  PreviewSet& set = *state.previews;
  Clear(set.instances, &StreamInstance::instance_preview);
  Clear(set.ejected, nullptr);
  SendPreviews(state);
  for (BoundingPreview const& preview : set.models.previews)
    for (StreamInstance* member : preview.members) member->model_preview = kNoPreview;
  state.previews.reset();
}

}  // namespace QX::Store
