#include "stream/StreamState.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>

#include "files/OpenFiles.h"
#include "store/CacheImpl.h"
#include "store/Logger.h"
#include "store/ModelImpl.h"
#include "stream/BoundingPreviews.h"
#include "stream/ControlFlags.h"
#include "stream/Priorities.h"

namespace QX::Store {

namespace {

constexpr int64_t kWantedOpenFiles = 2048;

std::string Utf8(std::filesystem::path const& path) {
  std::u8string const text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace

StreamState::StreamState(Model const& model, uint32_t const* flags)
    : main_model(model), next_order(std::numeric_limits<double>::max()) {
  ModelImpl& impl = model.Impl();
  cache = impl.cache;
  if (cache == nullptr) throw Exception("Used an invalid Cache");
  files_opened = &cache->files_opened;
  max_open_files = RaiseOpenFileLimit(kWantedOpenFiles);
  if (flags != nullptr) SetControlFlags(*flags);
  // The mode is fixed here: the attachment thread runs or it doesn't.
  live_mode = (control_flags & ControlFlag::StandAlone) == 0;

  // Other live streams of the cache may be resolving on their threads.
  std::lock_guard models(cache->stream_lock);
  Model const host = cache->FindModel(kEmptyModelId);
  ModelId const host_id = host.Impl().id;
  stream_model_ids[host_id] = kRootStreamModel;
  model_ids[kRootStreamModel] = host_id;

  AttachRequest request;
  request.model = model;
  request.name = Utf8(impl.Base());
  request.model_id = impl.id;
  EnterAttachRequest(std::move(request), 0, 0, 0);
  // From here on the request alone holds the caller's model.
  main_model = host;
  ResolveRequests();

  if (live_mode) {
    stop_attaching = false;
    attach_thread = std::thread([this] { RunAttachmentThread(); });
  }
}

StreamState::~StreamState() {
  if (attach_thread.joinable()) {
    stop_attaching = true;
    attach_thread.join();
  }
  // Dropping the last handle of a model closes it in the cache.
  std::lock_guard models(cache->stream_lock);
  waiting.clear();
  resolved.clear();
  held_models.clear();
  scene_root = Model();
  main_model = Model();
}

void StreamState::Log(char const* format, ...) const {
  Logger* logger = cache != nullptr ? cache->logger : nullptr;
  if (logger == nullptr) return;
  char text[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  logger->Message(text);
}

bool StreamState::UpdateView(StreamRequest const& request) {
  if (!view.Update(request)) return false;
  queue.Reset();
  return true;
}

void StreamState::BuildPriorities(bool mark_all, std::span<StreamInstance* const> list,
                                  PriorityBuckets* target) {
  bool const culled = (control_flags & ControlFlag::StreamCulled) != 0;
  QX::Store::BuildPriorities(view, culled, mark_all, list, target);
  if (target != nullptr) budget.eviction_order.clear();
}

void StreamState::SetControlFlags(uint32_t flags) {
  std::lock_guard models(cache->stream_lock);  // the attachment thread logs too
  if (flags == control_flags) return;
  uint32_t const changed = flags ^ control_flags;
  if (changed & (ControlFlag::StreamCulled | ControlFlag::StreamInstancesOnDemand))
    bits.culling_changed = true;
  if (changed & ControlFlag::StreamModelBoundingPreviews) bits.model_previews_changed = true;
  if (changed & ControlFlag::StreamInstanceBoundingPreviews) bits.instance_previews_changed = true;
  if (changed & ControlFlag::StreamEjectedBoundingPreviews) bits.ejected_previews_changed = true;
  control_flags = flags;
  Log("StreamState::SetControlFlags:%s", ControlFlagNames(flags).c_str());
}

void StreamState::SetLimitMiB(uint32_t mib) {
  std::lock_guard models(cache->stream_lock);  // the attachment thread logs too
  budget.limit = uint32_t(mib * 1024u);  // KiB, a 32-bit product
  budget.available = budget.reserved < budget.limit ? budget.limit - budget.reserved : 0;
  Log("StreamState::SetLimitMiB: %u", mib);
}

void StreamState::SetMeshLevel(uint32_t level) {
  std::lock_guard models(cache->stream_lock);  // the attachment thread logs too
  if (level != mesh_level) {
    mesh_level = level;
    bits.mesh_level_changed = true;
  }
  level_overrides.clear();
  Log("StreamState::SetMeshLevel: %u", level);
}

void StreamState::SetStreamCutoffScale(float scale) {
  std::lock_guard models(cache->stream_lock);  // the attachment thread logs too
  if (!(scale >= 0.0f))
    scale = 0.0f;
  else if (scale > 2.0f)
    scale = 2.0f;
  if (scale != view.cutoff_scale) bits.cutoff_changed = true;
  view.cutoff_scale = scale;
  Log("StreamState::SetStreamCutoffScale: %f", double(scale));
}

}  // namespace QX::Store
