#pragma once
// Everything that one viewer's stream remembers, from its first byte to its
// last: what was sent, what is still due, what the viewer sees and what the
// memory budget allows. Models are only read; all that changes lives here.
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/Model.h"
#include "store/Types.h"
#include "stream/AttachRequest.h"
#include "stream/PriorityBuckets.h"
#include "stream/SelectionCommands.h"
#include "stream/SendStates.h"
#include "stream/StreamItems.h"
#include "stream/StreamOutput.h"
#include "stream/VolumeSelection.h"
#include "stream/ViewState.h"

namespace QX::Store {

class CacheImpl;
struct ImageRecord;
struct PreviewSet;
struct KeyedData;
struct StreamRequest;

// (cache model id, key) of an object, for the sets of what went out.
inline uint64_t ObjectId(ModelId model, uint32_t key) { return uint64_t(model) << 32 | key; }

struct SentSets {
  std::unordered_set<uint64_t> groups, materials, line_patterns, matrices, clip_regions,
      poly_polygons, material_maps, keyed_data, images, instances, overrides;
  std::unordered_set<MeshRecord const*> mesh_definitions;
  std::unordered_set<MeshList const*> mesh_lists;
};

struct InclusionEntry {
  uint32_t inclusion_id = 0;
  uint32_t stream_model = 0;
  MatrixKey matrix = 0;
};

// The viewer's mark on one instance of an inclusion.
struct WantedMark {
  uint32_t inclusion_id = 0;
  InstanceKey instance = 0;
  bool wanted = false;
};

struct DetachCommand {
  uint32_t inclusion_id = 0;
  uint32_t notice_id = 0;
};

struct StreamCounters {
  uint32_t instances_sent = 0;
  uint32_t images_sent = 0;
  uint32_t waiting_images = 0;
  uint64_t total_bytes = 0;
  uint64_t preview_bytes = 0;
  uint32_t meshes_with_data = 0;
  uint32_t pass_ms = 0;
  uint32_t keyed_ms = 0;
};

// The memory budget for mesh data, in KiB.
struct MemoryBudget {
  uint64_t limit = ~uint64_t(0);
  uint64_t available = ~uint64_t(0);
  uint64_t reserved = 0;
  uint64_t resident = 0;
  uint64_t ejected = 0;
  uint32_t last_eviction_frame = 0;
  std::vector<MeshRecord const*> eviction_order;  // ascending by top_priority
};

struct StateBits {
  bool initialized = false;  // V went out
  bool views_sent = false;
  bool idle_reported = false;
  bool idle_marker_wanted = false;
  bool in_stream = false;
  bool faces_shown = true;
  bool lines_shown = true;
  bool points_shown = true;
  bool culling_changed = false;
  bool model_previews_changed = false;
  bool instance_previews_changed = false;
  bool ejected_previews_changed = false;
  bool mesh_level_changed = false;
  bool cutoff_changed = false;
  bool ejected_previews_stale = false;
  bool bounds_unsent = false;
};

class StreamState {
 public:
  // Builds the state for `model`; `control_flags` may be null. The model's
  // attach request is entered and resolved at once; in live mode (without
  // StandAlone) the attachment thread starts.
  StreamState(Model const& model, uint32_t const* control_flags);
  ~StreamState();
  StreamState(StreamState const&) = delete;
  StreamState& operator=(StreamState const&) = delete;

  // The setters take effect at the next pass.
  void SetControlFlags(uint32_t flags);
  void SetLimitMiB(uint32_t mib);
  void SetMeshLevel(uint32_t level);
  void SetStreamCutoffScale(float scale);

  // Takes the camera of a request; a change of the frustum empties the queue
  // of the pass. True if the frustum changed.
  bool UpdateView(StreamRequest const& request);
  // Priorities of `list` under the state's view and flags; with a queue, the
  // queue is refilled and the order of the last eviction is forgotten.
  void BuildPriorities(bool mark_all, std::span<StreamInstance* const> list,
                       PriorityBuckets* target);

  // Attachment: enters a request under its attach id, and moves waiting
  // requests to the resolved queue, highest order first. A live caller may
  // enter requests from any thread; ResolveRequests runs on the thread of
  // the passes, which holds the cache's stream lock.
  void EnterAttachRequest(AttachRequest request, uint32_t attach_id, uint32_t notify_id,
                          uint8_t hidden);
  void ResolveRequests();

  // One pass: sends what the request and the limits allow, and ends with a
  // T record. Throws only for misuse: a recursive call or bad reserves.
  void Stream(Streamer& sink, StreamRequest const& request);

  // Volume selection: each command waits for the next pass of a kind that
  // reaches the phases, and is answered in that pass's stream (4 or 53).
  // Call between passes, on the thread that calls Stream.
  void QueueSelection(PlaneSelectionCommand command);
  void QueueSelection(RaySelectionCommand command);
  void QueueSelection(SphereSelectionCommand command);
  void QueueSelection(NextResultsCommand command);
  void QueueSelection(EndSelectionCommand command);
  // The clip cells of all selections that don't ask to ignore them.
  void SetClipCells(std::vector<ClipCell> cells);

  // The stream model id of a model, given on first sight (-3 first).
  uint32_t StreamIdOf(ModelImpl const& model);

  void Log(char const* format, ...) const __attribute__((format(printf, 2, 3)));

  // Models.
  Model main_model;  // the host model _empty after construction
  Model scene_root;
  std::vector<Model> held_models;  // every attached model, kept open for the stream
  CacheImpl* cache = nullptr;
  uint64_t const* files_opened = nullptr;  // the cache's count, for the statistics
  int64_t max_open_files = 0;

  // Buffers and sink.
  StreamOutput output;
  Bytes text_buffer;
  std::vector<uint32_t> key_words;

  // Scene.
  BoundingBox bounds;  // inverted until something widens it
  uint32_t bounds_weight = 0;
  uint32_t keyed_data_total = 0;
  bool bounds_sent = false;

  // What went out and how far.
  SentSets sent;
  std::unordered_map<MeshRecord const*, MeshSendState> mesh_progress;
  std::unordered_map<ImageRecord const*, ImageSendState> image_progress;
  // The send states in the order of their making, so that walks over them
  // don't depend on where records lie in memory.
  std::vector<MeshRecord const*> mesh_order;
  std::vector<ImageRecord const*> image_order;

  // Id maps, guarded by id_lock.
  std::mutex id_lock;
  std::unordered_map<ModelId, uint32_t, KeyHasher> stream_model_ids;
  std::unordered_map<uint32_t, ModelId, KeyHasher> model_ids;
  std::unordered_map<uint32_t, IncludeKey, KeyHasher> include_keys;  // by inclusion id
  std::unordered_map<uint32_t, InclusionEntry, KeyHasher> inclusions;
  uint32_t next_stream_model = kFirstOtherStreamModel;
  uint32_t next_inclusion = kFirstInclusionId;

  // Attachment; heap, queue and groups are guarded by attach_lock.
  std::mutex attach_lock;
  std::vector<AttachRequest> waiting;  // heap by order
  std::deque<AttachRequest> resolved;
  std::unordered_map<uint32_t, std::unique_ptr<AttachGroup>, KeyHasher> attach_groups;
  std::vector<AttachGroup*> pending_groups;
  std::thread attach_thread;
  std::atomic<bool> stop_attaching{false};
  double next_order;  // counts down from the largest double
  MatrixKey next_inclusion_matrix = 0xFFFFFFFEu;  // keys of inclusion matrices in the host

  // Items.
  std::unordered_map<uint32_t, StreamAttachedModel, KeyHasher> attached;  // by inclusion id
  uint64_t item_count = 0;
  std::unordered_map<ModelImpl const*, std::vector<uint32_t>> inclusions_of_model;
  std::unordered_map<uint32_t, std::vector<StreamAttachedModel*>, KeyHasher> attached_by_id;
  std::vector<StreamInstance*> items;  // all items, in the order of attachment
  std::unordered_set<ModelImpl const*> trees_sent;
  std::unordered_set<uint32_t> models_seen;  // stream model ids that got their 3 record
  // Meshes that other meshes duplicate, with their number, per model.
  std::unordered_map<ModelImpl const*, std::unordered_map<MeshKey, uint32_t>> duplicate_counts;

  // Priority.
  PriorityBuckets queue;
  PriorityBuckets selection_queue;
  std::vector<StreamInstance*> scratch_items;

  // Keyed data and groups.
  std::vector<std::pair<ModelImpl*, KeyedData const*>> idle_keyed;
  std::vector<GroupKey> group_list;

  // Commands that wait for the next pass; whoever fills them does so
  // between passes, on the thread of the passes.
  std::vector<uint32_t> restart_commands;
  std::vector<DetachCommand> detach_commands;
  std::vector<uint32_t> detach_replies;
  std::unordered_map<MeshRecord const*, BoundingBox> mesh_boxes;
  std::unordered_map<MeshList const*, BoundingBox> list_boxes;
  bool wanted_apply = false;  // the next pass gives every item wanted_value
  bool wanted_value = false;
  std::vector<WantedMark> wanted_marks;  // applied behind wanted_apply
  SelectionCommands selection_commands;
  SelectionTable selections;  // open selections and clip cells

  // Previews, made on first need; and the items that the budget holds out.
  std::unique_ptr<PreviewSet> previews;
  std::unordered_set<StreamInstance*> ejected_items;

  // Levels of mesh lists.
  std::unordered_map<MeshList const*, uint32_t> list_levels;
  std::unordered_map<StreamInstance*, uint32_t> level_overrides;
  uint32_t mesh_level = 0;
  // Lists whose level changed in this pass, as (stream model, list key,
  // level), and the meshes whose data became due by such a change.
  std::vector<std::array<uint32_t, 3>> level_changes;
  std::vector<std::pair<ModelImpl*, MeshRecord const*>> meshes_due;

  ViewState view;
  StreamCounters counters;
  MemoryBudget budget;

  uint32_t control_flags = 0;
  StateBits bits;
  // Fixed at construction: without StandAlone the attachment thread runs.
  // The thread reads this, never `control_flags`.
  bool live_mode = false;

 private:
  void RunAttachmentThread();
  // Resolves waiting requests; on the attachment thread each one under the
  // cache's stream lock.
  void ResolveWaiting(bool on_thread);
};

}  // namespace QX::Store
