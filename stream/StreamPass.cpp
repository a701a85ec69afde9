// StreamState::Stream: the frame of a pass, its phases in their fixed order,
// and the report at its end, which runs however the pass ends.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <thread>

#include "geometry/bounding/BoundingBoxD.h"
#include "store/CacheImpl.h"
#include "store/Logger.h"
#include "store/ModelImpl.h"
#include "store/PagedFile.h"
#include "stream/AssetSending.h"
#include "stream/AttachBatch.h"
#include "stream/BoundingPreviews.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "stream/RequestsById.h"
#include "stream/StreamCommands.h"
#include "stream/StreamRequest.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint64_t kNoLimit = ~uint64_t{0};
constexpr uint64_t kLiveBudget = 0x40000;
constexpr size_t kLiveBatch = 256;
constexpr uint32_t kGroupDoneEvent = 0x1000000B;

unsigned MillisecondsSince(Clock::time_point start) {
  return unsigned(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// Sizes of the sent sets, in the order of the statistics line.
std::array<uint64_t, 11> SentSizes(StreamState const& s) {
  return {s.sent.groups.size(),          s.sent.materials.size(),
          s.sent.line_patterns.size(),   s.sent.matrices.size(),
          s.sent.material_maps.size(),   s.sent.mesh_definitions.size(),
          s.counters.meshes_with_data,   s.image_progress.size(),
          s.counters.images_sent,        s.sent.clip_regions.size(),
          s.sent.poly_polygons.size()};
}

// The instances with stream data of the models that an attach id brought
// in, each model counted once: what a live viewer can expect of the group.
uint32_t InstancesWithData(StreamState& state, uint32_t attach_id) {
  std::unordered_set<ModelImpl const*> counted;
  uint32_t count = 0;
  for (StreamAttachedModel const* attached : state.attached_by_id[attach_id]) {
    if (attached->instances.empty()) continue;
    ModelImpl const& model = *attached->instances.begin()->second.model;
    if (!counted.insert(&model).second) continue;
    for (auto const& entry : model.instances)
      if (HasStreamData(model, entry.value.mesh)) ++count;
  }
  return count;
}

class Pass {
 public:
  Pass(StreamState& state, Streamer& sink, StreamRequest const& request)
      : s_(state),
        sink_(sink),
        request_(request),
        out_(state.output),
        start_(Clock::now()) {
    TakeBaselines();
  }

  void Run();
  // The report at the end of every pass; always leaves the state out of
  // the pass, also when the sink throws.
  void Finish();

 private:
  bool Flag(uint32_t flag) const { return (s_.control_flags & flag) != 0; }
  bool WithMeshData() const {
    RequestKind const k = request_.kind;
    return k != RequestKind::Digest && k != RequestKind::InstanceIdsWithoutMeshData &&
           k != RequestKind::InstanceGroupIncsWithoutMeshData;
  }
  uint32_t RootStreamId() {
    return s_.scene_root ? s_.StreamIdOf(s_.scene_root.Impl()) : kRootStreamModel;
  }

  // What the statistics line counts from.
  void TakeBaselines() {
    instances_ = s_.counters.instances_sent;
    keyed_ = s_.sent.keyed_data.size();
    files_ = s_.files_opened ? *s_.files_opened : 0;
    sizes_ = SentSizes(s_);
  }
  bool IsSelection() const {
    RequestKind const k = request_.kind;
    return k == RequestKind::InstanceIdsWithMeshData || k == RequestKind::InstanceIdsWithoutMeshData ||
           k == RequestKind::InstanceGroupIncsWithMeshData ||
           k == RequestKind::InstanceGroupIncsWithoutMeshData;
  }
  void Attach();
  void ChangeLevels();
  void FirstBounds();
  bool Recompute();
  bool SendPriorityKeyedData();
  void FillQueue();
  bool RunIdleWork();
  void SendGroups();
  void WriteStatistics();

  StreamState& s_;
  Streamer& sink_;
  StreamRequest const& request_;
  StreamOutput& out_;
  uint64_t budget_ = kLiveBudget;
  bool bounds_dirty_ = false;
  std::vector<uint32_t> notices_;  // of the detaches of this pass
  uint32_t instances_ = 0;
  uint64_t keyed_ = 0;
  uint64_t files_ = 0;
  std::array<uint64_t, 11> sizes_{};
  Clock::time_point const start_;
};

void Pass::Attach() {
  if (!s_.live_mode) s_.ResolveRequests();
  std::vector<AttachRequest> batch;
  {
    std::lock_guard lock(s_.attach_lock);
    size_t take = s_.resolved.size();
    if (s_.live_mode && take >= kLiveBatch) take = kLiveBatch;
    for (size_t i = 0; i < take; ++i) {
      AttachRequest& request = s_.resolved.front();
      AttachGroup* group = request.group;
      --group->open_requests;
      if (std::find(s_.pending_groups.begin(), s_.pending_groups.end(), group) ==
          s_.pending_groups.end())
        s_.pending_groups.push_back(group);
      batch.push_back(std::move(request));
      s_.resolved.pop_front();
    }
    for (auto const& [id, group] : s_.attach_groups) group->more_to_come = group->open_requests != 0;
  }
  if (batch.empty()) return;
  DropPreviews(s_);
  Clock::time_point const start = Clock::now();
  uint32_t const attached = AttachBatch(s_, batch);
  if (attached == 0) return;
  bounds_dirty_ = true;
  unsigned const ms = MillisecondsSince(start);
  if (attached == 1)
    s_.Log("Attached 1 model in %u ms.", ms);
  else
    s_.Log("Attached %u models in %u ms.", attached, ms);
}

// Phase 11: items on mesh lists move to the level that the state or an
// override of an item now asks for.
void Pass::ChangeLevels() {
  if (s_.bits.mesh_level_changed)
    for (StreamInstance* item : s_.items)
      if (item->mesh_list != nullptr) SetMeshListLevel(s_, *item, s_.mesh_level);
  s_.bits.mesh_level_changed = false;
  for (auto const& [item, level] : s_.level_overrides)
    if (item->mesh_list != nullptr) SetMeshListLevel(s_, *item, level);
  s_.level_overrides.clear();
  for (auto const& [model, mesh] : s_.meshes_due)
    SendMeshData(s_, *model, *mesh, kNoLimit, std::numeric_limits<float>::max());
  s_.meshes_due.clear();
  for (auto const& [stream_model, list, level] : s_.level_changes)
    WriteKeyProperty(out_.Buffer(), stream_model, list, level, 1);
  s_.level_changes.clear();
}

// The attachment thread widens the bounds as it resolves includes, so they
// are read and written under the attach lock.
void Pass::FirstBounds() {
  std::lock_guard lock(s_.attach_lock);
  if (!s_.bits.bounds_unsent || !s_.bounds.Valid()) return;
  out_.WriteModelContext(RootStreamId());
  WriteBounds(out_.Buffer(), s_.bounds, s_.bounds_weight);
  s_.bits.bounds_unsent = false;
}

bool Pass::Recompute() {
  if (!bounds_dirty_) return false;
  std::lock_guard lock(s_.attach_lock);
  BoundingBox const old_bounds = s_.bounds;
  uint32_t const old_weight = s_.bounds_weight;
  BoundingBox bounds = s_.bounds_sent ? BoundingBox{} : s_.bounds;
  uint32_t weight = 0;
  for (StreamInstance* item : s_.items) {
    if (!TakeNewBox(s_, *item)) weight += item->instance->weight;
    Unite(bounds, item->bounds);
  }
  for (uint32_t notice : notices_) WriteRemovalNotice(out_.Buffer(), notice);
  if (bounds.Valid()) s_.bounds = bounds;
  s_.bounds_weight = weight;
  bool const same = std::memcmp(&old_bounds, &s_.bounds, sizeof old_bounds) == 0;
  if (!same || old_weight != weight) {
    out_.WriteModelContext(RootStreamId());
    WriteBounds(out_.Buffer(), s_.bounds, s_.bounds_weight);
    s_.bounds_sent = true;
  }
  return true;
}

// Phase 15: each pending group's priority keyed data, and its end notice.
// False if the sink died.
bool Pass::SendPriorityKeyedData() {
  Clock::time_point const start = Clock::now();
  uint32_t const limit = budget_ == kNoLimit ? 0xFFFFFFFFu : uint32_t(budget_ / 2);
  std::vector<AttachGroup*> done;
  for (AttachGroup* group : s_.pending_groups) {
    if (!out_.SinkAlive()) return false;
    if (!group->keyed_list.empty()) SendKeyedData(s_, group->keyed_list, limit);
    bool open;
    {
      std::lock_guard lock(s_.attach_lock);
      open = group->open_requests != 0;
    }
    if (!group->keyed_list.empty() || open) continue;
    bool const stand_alone = !s_.live_mode;
    if (group->notify_id != 0) {
      uint32_t const words[1] = {group->attach_id};
      WriteEvent(out_.Buffer(), kRootStreamModel, kGroupDoneEvent, group->notify_id,
                 std::span(words, stand_alone ? 0 : 1));
    }
    if (stand_alone) {
      WriteText(out_.Buffer(), "<PRIORITY_KEYED_DATA_SENT>");
    } else {
      char text[1024];
      std::snprintf(text, sizeof text, "<PRIORITY_KEYED_DATA_SENT count=\"%u\">",
                    InstancesWithData(s_, group->attach_id));
      WriteLiveText(out_.Buffer(), group->attach_id, text);
    }
    done.push_back(group);
  }
  std::lock_guard lock(s_.attach_lock);
  for (AttachGroup* group : done) {
    std::erase(s_.pending_groups, group);
    s_.attach_groups.erase(group->attach_id);
  }
  s_.counters.keyed_ms += MillisecondsSince(start);
  return out_.SinkAlive();
}

void Pass::FillQueue() {
  if (!s_.queue.Empty()) return;
  bool const with_data = WithMeshData();
  bool const on_demand = Flag(ControlFlag::StreamInstancesOnDemand);
  s_.scratch_items.clear();
  for (StreamInstance* item : s_.items) {
    ItemFlags const& f = item->flags;
    bool const done = f.definition_sent && f.instance_sent && (f.data_sent || !with_data);
    if (done || (on_demand && !f.wanted)) continue;
    s_.scratch_items.push_back(item);
  }
  ++s_.view.frame_serial;
  s_.BuildPriorities(false, s_.scratch_items, &s_.queue);
}

// Phases 20 to 24, once the queue ran dry. False if the pass must end.
bool Pass::RunIdleWork() {
  if (!out_.FlushChunk(0)) return false;
  if (budget_ != kNoLimit) budget_ /= 2;
  if (!s_.pending_groups.empty() || sink_.bytes_sent > budget_) return false;
  if (!s_.image_order.empty()) {
    UpgradeImages(s_, budget_);
    if (!out_.FlushChunk(0)) return false;
  }
  if (!s_.idle_keyed.empty() && Flag(ControlFlag::StreamKeyedDataOnIdle) &&
      sink_.bytes_sent < budget_) {
    uint64_t const room = budget_ - sink_.bytes_sent;
    SendKeyedData(s_, s_.idle_keyed, room > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(room));
    if (!out_.FlushChunk(0)) return false;
  }
  SendGroups();
  return true;
}

void Pass::SendGroups() {
  if (s_.group_list.empty() || sink_.bytes_sent > budget_ || !s_.scene_root) return;
  ModelImpl& root = s_.scene_root.Impl();
  uint64_t const flush_size = FlushSize(sink_);
  size_t sent = 0;
  while (sent < s_.group_list.size()) {
    SendGroup(s_, root, s_.group_list[s_.group_list.size() - 1 - sent]);
    ++sent;
    if (out_.Buffer().size() >= flush_size && !out_.FlushChunk(16)) break;
    if (sink_.bytes_sent > budget_) break;
  }
  if (out_.Buffer().size() >= sink_.chunk_size / 2) out_.FlushChunk(16);
  s_.group_list.resize(s_.group_list.size() - sent);
}

void Pass::Run() {
  RequestKind const kind = request_.kind;
  switch (kind) {
    case RequestKind::Nothing: case RequestKind::Digest: case RequestKind::Stream:
    case RequestKind::ComputeInstanceIncBounding: case RequestKind::InstanceIdsWithMeshData:
    case RequestKind::InstanceIdsWithoutMeshData: case RequestKind::InstanceGroupIncsWithMeshData:
    case RequestKind::InstanceGroupIncsWithoutMeshData:
      break;
    case RequestKind::MeshIds: case RequestKind::ImageIds: case RequestKind::DataIds:
    case RequestKind::GroupIds: case RequestKind::MaterialIds: case RequestKind::MatrixIds:
    case RequestKind::MaterialMapIds: case RequestKind::GetKeyInfo:
      return AnswerIdRequest(s_, request_);
    default:
      return;  // report only
  }
  if (!s_.restart_commands.empty()) {
    Restart(s_);
    TakeBaselines();
  }
  if (!s_.bits.initialized) {
    WriteStreamHead(out_.Buffer(), kRootStreamModel);
    s_.bits.initialized = true;
    s_.bits.bounds_unsent = true;
    s_.Log("Stream init.");
  }
  Attach();
  FirstBounds();
  if (Detach(s_, notices_)) bounds_dirty_ = true;
  ApplyWanted(s_);
  bool const recomputed = Recompute();
  AnswerDetaches(s_);
  RunSelectionCommands(s_, recomputed);
  s_.bits.ejected_previews_stale = false;
  bool const invalid = s_.bits.cutoff_changed || s_.bits.culling_changed || recomputed;
  if (invalid) s_.queue.Reset();
  s_.bits.cutoff_changed = s_.bits.culling_changed = false;
  UpdatePreviews(s_, invalid);
  if (kind == RequestKind::ComputeInstanceIncBounding)
    return AnswerInstanceBounding(s_, request_);
  ChangeLevels();
  if (IsSelection()) {
    AnswerInstanceSelection(s_, request_, WithMeshData());
    return RefreshEjectedPreviews(s_);
  }
  if (kind != RequestKind::Digest && kind != RequestKind::Stream) return;
  if (Flag(ControlFlag::StreamSetupOnly)) return;

  budget_ = Flag(ControlFlag::NoStreamLimit) ? kNoLimit : kLiveBudget;
  if (!SendPriorityKeyedData()) return;
  bool const camera_changed = s_.UpdateView(request_);
  FillQueue();
  RefreshInstancePreviews(s_, camera_changed);
  bool const stopped = EmitQueue(s_, s_.queue, budget_, WithMeshData());
  RefreshEjectedPreviews(s_);
  if (!stopped) RunIdleWork();
}

void Pass::Finish() {
  struct EndOfPass {
    StreamState& state;
    ~EndOfPass() {
      state.output.EndPass();
      state.bits.in_stream = false;
    }
  } const end{s_};
  bool const alive = out_.SinkAlive();
  if (!out_.HasPayload() && sink_.bytes_sent == 0 && request_.request_id == 0) {
    bool open;
    {
      std::lock_guard lock(s_.attach_lock);
      open = !s_.attach_groups.empty();
    }
    if (open) {
      sink_.status = alive ? 0 : 1;
      s_.bits.idle_reported = false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } else if (request_.kind == RequestKind::Stream) {
      if (s_.bits.idle_marker_wanted) {
        s_.bits.idle_marker_wanted = false;
        if (s_.live_mode)
          WriteLiveText(out_.Buffer(), 0, "<IDLE_MARKER>");
        else
          WriteText(out_.Buffer(), "<IDLE_MARKER>");
        s_.bits.idle_reported = false;
      }
      sink_.status = 2;
    }
  } else {
    sink_.status = alive ? 0 : 1;
    s_.bits.idle_reported = false;
  }
  if (!s_.bits.idle_reported) {
    if (sink_.status == 2) {
      s_.bits.idle_reported = true;
      for (Model const& model : s_.held_models) {
        model.Impl().stream_mesh_pages->DropPages();
        model.Impl().stream_image_pages->DropPages();
      }
    }
    WritePassEnd(out_.Buffer(), sink_.status, request_.request_id, RequestKeyCode(request_.kind));
    out_.FlushLast();
    s_.counters.total_bytes += sink_.bytes_sent;
    s_.counters.pass_ms = MillisecondsSince(start_);
    WriteStatistics();
  }
}

void Pass::WriteStatistics() {
  std::array<uint64_t, 11> const now = SentSizes(s_);
  unsigned d[11];
  for (size_t i = 0; i < now.size(); ++i) d[i] = unsigned(now[i] - sizes_[i]);
  StreamCounters const& c = s_.counters;
  uint64_t const keyed_now = s_.sent.keyed_data.size();
  uint64_t const files_now = s_.files_opened ? *s_.files_opened : 0;
  static char const* const status_names[] = {"E", "C", "I"};
  s_.Log(
      "i(%u %u) d(%u %u) b: %u Kb: %u bKib: %u mKib: (%u %u) ms(%u %u %u) "
      "(%u %u %u %u %u %u %u %u %u %u %u) vs(%u %u) T: %u F: %u %s -> %s",
      unsigned(s_.item_count - c.instances_sent), c.instances_sent - instances_,
      unsigned(s_.keyed_data_total - keyed_), unsigned(keyed_now - keyed_), sink_.bytes_sent,
      unsigned(c.total_bytes >> 10), unsigned(c.preview_bytes >> 10),
      unsigned(s_.budget.resident), unsigned(s_.budget.ejected), c.pass_ms, out_.LastWriteMs(),
      c.keyed_ms, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7], d[8], d[9], d[10],
      s_.selections.open_noted, s_.selections.results,
      c.waiting_images, unsigned(files_now - files_), RequestKindName(request_.kind),
      sink_.status < 3 ? status_names[sink_.status] : "E");
}

}  // namespace

void StreamState::Stream(Streamer& sink, StreamRequest const& request) {
  if (bits.in_stream) throw Exception("Stream() can not be called recursively.");
  // The attachment thread of this or another live stream of the cache
  // waits while the pass works on the models.
  std::lock_guard models(cache->stream_lock);
  output.BeginPass(sink, control_flags);
  bits.in_stream = true;
  counters.pass_ms = counters.keyed_ms = 0;
  selections.open_noted = selections.results = 0;
  Pass pass(*this, sink, request);
  try {
    pass.Run();
  } catch (...) {
    // The records so far and a T still go out; the caller sees the
    // exception that ended the pass.
    try {
      pass.Finish();
    } catch (...) {
    }
    throw;
  }
  pass.Finish();
}

}  // namespace QX::Store
