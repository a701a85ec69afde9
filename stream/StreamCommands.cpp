// Restart, detach, the wanted marks and new boxes: commands that a pass
// carries out at fixed points, so that the structures of a pass never
// change under it and their records stand in the right place.
#include "stream/StreamCommands.h"

#include <algorithm>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/MatrixMath.h"
#include "store/CacheImpl.h"
#include "store/ModelImpl.h"
#include "stream/AssetSending.h"
#include "stream/AttachBatch.h"
#include "stream/BoundingPreviews.h"
#include "stream/ControlRecords.h"
#include "stream/RequestsById.h"
#include "stream/StreamState.h"
#include "stream/VolumeSelection.h"

namespace QX::Store {

namespace {

constexpr uint32_t kDetachDone = 3;
constexpr uint32_t kRestartDone = 4;

void EraseModel(std::unordered_set<uint64_t>& set, ModelId id) {
  std::erase_if(set, [id](uint64_t entry) { return ModelId(entry >> 32) == id; });
}

void ForgetIds(StreamState& state) {
  std::lock_guard lock(state.id_lock);
  state.stream_model_ids.clear();
  state.model_ids.clear();
  state.include_keys.clear();
  state.inclusions.clear();
  state.next_stream_model = kFirstOtherStreamModel;
  state.next_inclusion = kFirstInclusionId;
}

void ForgetRequests(StreamState& state) {
  std::lock_guard lock(state.attach_lock);
  state.waiting.clear();
  state.resolved.clear();
  state.attach_groups.clear();
  state.pending_groups.clear();
}

void ResetCounters(StreamState& state) {
  state.view = ViewState{.cutoff_scale = state.view.cutoff_scale};
  state.counters = StreamCounters{};
  MemoryBudget& budget = state.budget;
  budget.last_eviction_frame = 0;
  budget.resident = budget.ejected = budget.reserved = 0;
  budget.available = budget.limit;
  budget.eviction_order.clear();
}

void ClearBits(StreamState& state) {
  StateBits const kept = state.bits;
  state.bits = StateBits{};
  state.bits.in_stream = kept.in_stream;
  state.bits.faces_shown = kept.faces_shown;
  state.bits.lines_shown = kept.lines_shown;
  state.bits.points_shown = kept.points_shown;
  state.wanted_apply = state.wanted_value = false;
}

// Takes an item out of the image and mesh send states that name it.
void Unregister(StreamState& state, StreamInstance& item) {
  for (auto& [image, progress] : state.image_progress) std::erase(progress.users, &item);
  MeshRecord const* data = item.mesh;
  if (data->duplicate_of != 0)
    if (MeshRecord const* base = item.model->FindMesh(data->duplicate_of)) data = base;
  auto const s = state.mesh_progress.find(data);
  if (s == state.mesh_progress.end()) return;
  std::erase(s->second.items, &item);
  if (item.flags.pinned && s->second.pinned != 0) --s->second.pinned;
}

void RemoveKeyedData(StreamState& state, ModelImpl const& model) {
  auto const of_model = [&](auto const& pair) { return pair.first == &model; };
  state.keyed_data_total -= std::min<uint32_t>(state.keyed_data_total,
                                               uint32_t(model.keyed_data.size()));
  std::erase_if(state.idle_keyed, of_model);
  std::lock_guard lock(state.attach_lock);
  for (auto& [id, group] : state.attach_groups) std::erase_if(group->keyed_list, of_model);
}

// Steps 4 to 7 of one detach, once the inclusion is known to be attached.
// True if its model left the stream with it.
bool DetachInclusion(StreamState& state, uint32_t inclusion_id) {
  bool model_left = false;
  WriteStateChange(state.output.Buffer(), kRootStreamModel, inclusion_id, KeyKind::Inclusion);
  uint32_t stream_model = 0;
  {
    std::lock_guard lock(state.id_lock);
    stream_model = state.inclusions[inclusion_id].stream_model;
  }
  ModelImpl* model = StreamModel(state, stream_model);
  if (model != nullptr) {
    auto const of_model = state.inclusions_of_model.find(model);
    if (of_model != state.inclusions_of_model.end()) {
      std::erase(of_model->second, inclusion_id);
      if (of_model->second.empty() && model != &state.main_model.Impl()) {
        state.inclusions_of_model.erase(of_model);
        WriteStateChange(state.output.Buffer(), stream_model, stream_model, KeyKind::Model);
        RemoveKeyedData(state, *model);
        ForgetModel(state, *model);
        model_left = true;
      }
    }
  }
  StreamAttachedModel& attached = state.attached.at(inclusion_id);
  for (auto& [key, item] : attached.instances) {
    Unregister(state, item);
    state.ejected_items.erase(&item);
    state.level_overrides.erase(&item);
    state.sent.overrides.erase(uint64_t(inclusion_id) << 32 | key);
  }
  std::erase_if(state.items, [&](StreamInstance* item) { return item->attached == &attached; });
  state.item_count -= std::min<uint64_t>(state.item_count, attached.instances.size());
  std::erase(state.attached_by_id[attached.attach_id], &attached);
  {
    std::lock_guard lock(state.id_lock);
    state.inclusions.erase(inclusion_id);
    state.include_keys.erase(inclusion_id);
  }
  state.attached.erase(inclusion_id);
  // Both queues may name the items that went.
  state.queue.Reset();
  state.selection_queue.Reset();
  return model_left;
}

}  // namespace

void Restart(StreamState& state) {
  if (state.restart_commands.empty()) return;
  DropPreviews(state);
  DropSelections(state);
  state.scene_root = Model();
  state.bounds = BoundingBox{};
  state.bounds_weight = state.keyed_data_total = 0;
  state.bounds_sent = false;

  state.output.ForgetReports();
  state.sent = SentSets{};
  state.mesh_progress.clear();
  state.mesh_order.clear();
  state.image_progress.clear();
  state.image_order.clear();
  state.level_changes.clear();
  state.meshes_due.clear();
  state.trees_sent.clear();
  state.models_seen.clear();
  state.list_levels.clear();
  state.duplicate_counts.clear();
  ForgetIds(state);

  state.attached.clear();
  state.items.clear();
  state.item_count = 0;
  state.inclusions_of_model.clear();
  state.attached_by_id.clear();
  state.mesh_boxes.clear();
  state.idle_keyed.clear();
  state.group_list.clear();
  state.ejected_items.clear();
  state.level_overrides.clear();
  state.queue.Reset();
  state.selection_queue.Reset();
  ForgetRequests(state);
  ForgetSelections(state);
  state.detach_commands.clear();
  state.detach_replies.clear();
  state.wanted_marks.clear();

  ResetCounters(state);
  ClearBits(state);
  for (uint32_t id : state.restart_commands)
    WriteOperationResult(state.output.Buffer(), kRestartDone, false, id);
  state.restart_commands.clear();

  state.held_models.clear();
  state.next_inclusion_matrix = 0xFFFFFFFEu;
  state.main_model = state.cache->FindModel(kEmptyModelId);
  std::lock_guard lock(state.id_lock);
  state.stream_model_ids[state.main_model.Impl().id] = kRootStreamModel;
  state.model_ids[kRootStreamModel] = state.main_model.Impl().id;
}

bool Detach(StreamState& state, std::vector<uint32_t>& notices) {
  if (state.detach_commands.empty()) return false;
  DropPreviews(state);
  bool detached = false, models_left = false;
  for (DetachCommand const& command : state.detach_commands) {
    if (std::find(notices.begin(), notices.end(), command.notice_id) == notices.end())
      notices.push_back(command.notice_id);
    if (!state.attached.contains(command.inclusion_id)) {
      state.output.ReportMissing(kRootStreamModel, command.inclusion_id, KeyKind::Inclusion);
      continue;
    }
    detached = true;
    models_left |= DetachInclusion(state, command.inclusion_id);
  }
  state.detach_commands.clear();
  if (models_left) SortKeyedLists(state);
  return detached;
}

void ForgetModel(StreamState& state, ModelImpl& model) {
  SentSets& sent = state.sent;
  for (auto* set : {&sent.groups, &sent.materials, &sent.line_patterns, &sent.matrices,
                    &sent.clip_regions, &sent.poly_polygons, &sent.material_maps,
                    &sent.keyed_data, &sent.images, &sent.instances})
    EraseModel(*set, model.id);
  for (MeshRecord const& record : model.mesh_records) {
    sent.mesh_definitions.erase(&record);
    state.mesh_boxes.erase(&record);
    auto const s = state.mesh_progress.find(&record);
    if (s == state.mesh_progress.end()) continue;
    if (s->second.resident && s->second.next_chunk != 0)
      state.budget.resident -= std::min<uint64_t>(state.budget.resident, s->second.kib);
    state.mesh_progress.erase(s);
    std::erase(state.mesh_order, &record);
  }
  state.budget.eviction_order.clear();
  for (MeshList const& list : model.mesh_lists) {
    sent.mesh_lists.erase(&list);
    state.list_levels.erase(&list);
  }
  uint32_t const stream_model = state.StreamIdOf(model);
  std::erase_if(state.meshes_due, [&](auto const& due) { return due.first == &model; });
  std::erase_if(state.level_changes, [&](auto const& c) { return c[0] == stream_model; });
  for (auto const& entry : model.images) {
    auto const s = state.image_progress.find(&entry.value);
    if (s == state.image_progress.end()) continue;
    if (s->second.preview_sent && !s->second.main_sent && state.counters.waiting_images != 0)
      --state.counters.waiting_images;
    state.image_progress.erase(s);
    std::erase(state.image_order, &entry.value);
  }
  state.trees_sent.erase(&model);
  state.models_seen.erase(stream_model);
}

void ApplyWanted(StreamState& state) {
  bool changed = false;
  if (state.wanted_apply) {
    for (StreamInstance* item : state.items) item->flags.wanted = state.wanted_value;
    state.wanted_apply = state.wanted_value = false;
    changed = true;
  }
  for (WantedMark const& mark : state.wanted_marks) {
    auto const attached = state.attached.find(mark.inclusion_id);
    if (attached == state.attached.end()) continue;
    auto const item = attached->second.instances.find(mark.instance);
    if (item == attached->second.instances.end()) continue;
    item->second.flags.wanted = mark.wanted;
    changed = true;
  }
  state.wanted_marks.clear();
  // What is due changed: the queue is collected anew.
  if (changed) state.bits.culling_changed = true;
}

bool TakeNewBox(StreamState& state, StreamInstance& item) {
  BoundingBox const* box = nullptr;
  if (item.mesh_list != nullptr) {
    auto const found = state.list_boxes.find(item.mesh_list);
    if (found != state.list_boxes.end()) box = &found->second;
  } else if (!state.mesh_boxes.empty()) {
    auto const found = state.mesh_boxes.find(item.mesh);
    if (found != state.mesh_boxes.end()) box = &found->second;
  }
  if (box == nullptr) return false;
  Matrix matrix = kIdentityMatrix;
  if (Matrix const* own = item.model->matrices.Find(item.instance->matrix)) matrix = *own;
  uint32_t const inclusion = item.attached->inclusion_id;
  ModelImpl& host = state.scene_root ? state.scene_root.Impl() : state.main_model.Impl();
  if (Matrix const* placed = host.matrices.Find(state.inclusions[inclusion].matrix))
    matrix = Concat(matrix, *placed);
  item.bounds = ToFloat(TransformBox(ToDouble(*box), matrix));
  SetShape(item, item.bounds);
  if (!item.flags.definition_sent) {
    SendMeshDefinition(state, *item.model, *item.first_mesh);
    item.flags.definition_sent = 1;
  }
  if (!item.flags.instance_sent) SendInstanceItem(state, item);
  return true;
}

void AnswerDetaches(StreamState& state) {
  for (uint32_t id : state.detach_replies)
    WriteOperationResult(state.output.Buffer(), kDetachDone, false, id);
  state.detach_replies.clear();
}

}  // namespace QX::Store
