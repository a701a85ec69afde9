// The attach requests of a stream state: how they wait, how each is resolved
// to a model and its includes expanded into further requests, and the
// attachment thread that does this beside the passes in live mode.
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "geometry/bounding/BoundingBoxD.h"
#include "files/File.h"
#include "files/FileSystem.h"
#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/BoundingTreeFile.h"
#include "geometry/bounding/MatrixMath.h"
#include "store/CacheImpl.h"
#include "store/ModelImpl.h"
#include "store/ModelIncludes.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLiveResolveTime = std::chrono::nanoseconds(2000000000);
constexpr size_t kManyResolved = 512;

// The box carried through the matrix by its two corners, in double, then float.
BoundingBox CornersThrough(BoundingBox const& box, Matrix const& m) {
  PointD corners[2] = {{box.min_x, box.min_y, box.min_z}, {box.max_x, box.max_y, box.max_z}};
  TransformPoints(m, corners, 2);
  return ScanPoints(corners, 2);
}

// Applies the child's matrix first, then the parent's; in live mode the
// child's coordinates are scaled to the parent's unit as well.
Matrix Compose(StreamState const& state, Matrix const& own, Matrix const& parent, double parent_unit,
               double child_unit) {
  Matrix composed = Concat(own, parent);
  if (state.live_mode && parent_unit != 0 && child_unit != 0 && parent_unit != child_unit) {
    double const s = child_unit / parent_unit;
    Matrix const scale = {s, 0, 0, 0, s, 0, 0, 0, s, 0, 0, 0};
    composed = Concat(scale, composed);
  }
  return composed;
}

// The box of the model's tree: in memory, else from its tree file, in its
// directory or in the bundle it is read from.
BoundingBox TreeBox(ModelImpl& model) {
  BoundingBox box;
  if (model.bounding_tree && model.bounding_tree->root) return model.bounding_tree->root->bounds;
  if (model.file_system == nullptr) return box;
  std::filesystem::path const path = model.FilePath(kStreamBoundingName);
  std::unique_ptr<File> file = model.file_system->NewFile(path);
  if (model.bundle)
    model.file_set.OpenFile(*file, kStreamBoundingName);
  else if (model.file_system->Exists(path))
    file->OpenRead(false);
  if (file->IsOpen()) {
    ReadRootBox(*file, box);
    file->Close();
  }
  return box;
}

Matrix MatrixOf(ModelImpl const& model, MatrixKey key) {
  Matrix const* m = model.matrices.Find(key);
  return m != nullptr ? *m : kIdentityMatrix;
}

// The expansion of one model's includes into requests; runs under the attach lock.
class IncludeExpansion {
 public:
  IncludeExpansion(StreamState& state, AttachRequest const& request, ModelImpl& model)
      : state_(state), request_(request), model_(model) {}

  void Run() {
    unit_ = request_.unit_scale;
    if (unit_ != 0) {
      std::vector<uint8_t> scratch;
      double const own = model_.UnitScale(scratch);
      if (own != 0) unit_ = own;
    }
    stream_id_ = state_.StreamIdOf(model_);
    if (model_.includes.size() == 0) {
      // A model that includes nothing shows its own instances as they stand.
      return SelfInclude(IncludeRecord{0, 0, 0}, kIdentityMatrix);
    }
    for (auto const& entry : model_.includes) {
      IncludeRecord const& include = entry.value;
      Matrix const own = MatrixOf(model_, include.matrix);
      if (include.attached_id == 0)
        SelfInclude(include, own);
      else
        ForeignInclude(include, own);
    }
  }

 private:
  void Widen(BoundingBox const& box, Matrix const& m) {
    if (box.Valid()) Unite(state_.bounds, CornersThrough(box, m));
  }

  void SelfInclude(IncludeRecord const& include, Matrix const& own) {
    BoundingBox const box = TreeBox(model_);
    AttachRequest child;
    child.matrix = Compose(state_, own, request_.matrix, unit_, unit_);
    Widen(box, child.matrix);
    child.model = request_.model;
    child.name = request_.name;
    child.chain = request_.chain;
    child.by_id = child.root = child.matrix_final = true;
    child.unit_scale = -1;
    child.include_key = include.key;
    child.parent_stream_id = stream_id_;
    child.model_id = model_.id;
    child.group = request_.group;
    state_.resolved.push_back(std::move(child));
    ++request_.group->open_requests;
  }

  void ForeignInclude(IncludeRecord const& include, Matrix const& own) {
    AttachedModel const* attached = model_.attached_models.Find(include.attached_id);
    if (attached == nullptr) return;
    ModelId const id = ResolveAttached(model_, include.attached_id, attached->path, known_);
    if (id != kNoModel && InChain(id)) {
      state_.Log("Skipped an include cycle: model %s includes %s", model_.name.c_str(),
                 attached->path.c_str());
      return;
    }
    AttachRequest child;
    child.group = request_.group;
    child.include_key = include.key;
    child.parent_stream_id = stream_id_;
    child.name = attached->path;
    ++request_.group->open_requests;
    if (id == kNoModel) {
      state_.resolved.push_back(std::move(child));
      return;
    }
    child.chain = request_.chain;
    child.chain.push_back(model_.id);
    child.by_id = true;
    child.model_id = id;
    child.order = state_.next_order;
    state_.next_order -= 1;
    child.matrix = request_.matrix;
    child.own_matrix = own;
    child.unit_scale = unit_;
    if (attached->unit_scale != -1.0) {
      child.matrix = Compose(state_, own, request_.matrix, unit_, attached->unit_scale);
      child.matrix_final = true;
      child.unit_scale = -1;
      Widen(attached->bounds, child.matrix);
      child.order = SizeOrder(attached->bounds);
    }
    state_.waiting.push_back(std::move(child));
    std::push_heap(state_.waiting.begin(), state_.waiting.end(), LowerOrder);
  }

  // Whether `id` is this model or one that includes it on the request's way.
  bool InChain(ModelId id) const {
    return id == model_.id ||
           std::find(request_.chain.begin(), request_.chain.end(), id) != request_.chain.end();
  }

  // Larger models first: the product of the box's extents above 0.
  static double SizeOrder(BoundingBox const& box) {
    if (!box.Valid()) return 1.0;
    double order = 1.0;
    bool any = false;
    for (double extent : {double(box.max_x) - box.min_x, double(box.max_y) - box.min_y,
                          double(box.max_z) - box.min_z}) {
      if (extent > 0) order *= extent, any = true;
    }
    return any ? order : 0.0;
  }

  StreamState& state_;
  AttachRequest const& request_;
  ModelImpl& model_;
  ResolvedAttachments known_;
  double unit_ = 1;
  uint32_t stream_id_ = 0;
};

Model FindByName(CacheImpl& cache, std::string const& name) {
  char const* key = cache.ResolveModelPath(name.c_str());
  if (key == nullptr) return {};
  CacheImpl::RegistryEntry const* entry = cache.FindEntry(key);
  return entry != nullptr ? cache.FindModel(entry->id) : Model{};
}

// Finds the model of one request; a model with includes becomes the
// requests of its includes, any other goes to the resolved queue as it is,
// found or missing.
void ResolveRequest(StreamState& state, AttachRequest request) {
  if (!request.model)
    request.model = request.by_id ? state.cache->FindModel(request.model_id)
                                  : FindByName(*state.cache, request.name);
  if (request.model && !request.matrix_final) {
    request.matrix = Compose(state, request.own_matrix, request.matrix, request.unit_scale,
                             request.unit_scale);
    request.matrix_final = true;
  }
  bool const first = !request.by_id && request.include_key == 0;
  std::lock_guard lock(state.attach_lock);
  if (request.model && (first || request.model.Impl().includes.size() != 0)) {
    IncludeExpansion(state, request, request.model.Impl()).Run();
    --request.group->open_requests;
    return;
  }
  state.resolved.push_back(std::move(request));
}

// A model that can't be opened or read becomes a missing model of its
// request: the stream goes on without it.
void ResolveGuarded(StreamState& state, AttachRequest request) {
  AttachRequest missing;
  missing.name = request.name.empty() ? "model " + std::to_string(request.model_id) : request.name;
  missing.group = request.group;
  missing.include_key = request.include_key;
  missing.parent_stream_id = request.parent_stream_id;
  try {
    ResolveRequest(state, std::move(request));
  } catch (std::exception const& e) {
    state.Log("Failed to attach model %s: %s", missing.name.c_str(), e.what());
    std::lock_guard lock(state.attach_lock);
    state.resolved.push_back(std::move(missing));
  }
}

}  // namespace

uint32_t StreamState::StreamIdOf(ModelImpl const& model) {
  std::lock_guard lock(id_lock);
  auto [it, fresh] = stream_model_ids.try_emplace(model.id, next_stream_model);
  if (fresh) model_ids[next_stream_model--] = model.id;
  return it->second;
}

void StreamState::EnterAttachRequest(AttachRequest request, uint32_t attach_id,
                                     uint32_t notify_id, uint8_t hidden) {
  std::lock_guard lock(attach_lock);
  auto& group = attach_groups[attach_id];
  if (!group) {
    group = std::make_unique<AttachGroup>();
    group->attach_id = attach_id;
    group->notify_id = notify_id;
    group->hidden = hidden;
  } else {
    ++group->open_requests;
  }
  request.group = group.get();
  waiting.push_back(std::move(request));
  std::push_heap(waiting.begin(), waiting.end(), LowerOrder);
}

void StreamState::ResolveRequests() { ResolveWaiting(false); }

void StreamState::ResolveWaiting(bool on_thread) {
  Clock::time_point const start = Clock::now();
  size_t count = 0;
  while (true) {
    std::unique_lock<std::mutex> models;
    if (on_thread) models = std::unique_lock(cache->stream_lock);
    AttachRequest request;
    {
      std::lock_guard lock(attach_lock);
      if (waiting.empty()) break;
      std::pop_heap(waiting.begin(), waiting.end(), LowerOrder);
      request = std::move(waiting.back());
      waiting.pop_back();
    }
    ResolveGuarded(*this, std::move(request));
    ++count;
    if (live_mode && Clock::now() - start > kLiveResolveTime) break;
  }
  if (count > kManyResolved) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  if (!live_mode && count != 0) {
    auto const ms = unsigned(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
    if (count == 1)
      Log("Processed 1 model in %u ms.", ms);
    else
      Log("Processed %u models in %u ms.", unsigned(count), ms);
  }
}

void StreamState::RunAttachmentThread() {
  while (!stop_attaching) {
    ResolveWaiting(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace QX::Store
