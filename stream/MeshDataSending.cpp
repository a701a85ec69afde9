// The queue walk that sends items, and mesh data under the memory budget:
// a mesh that doesn't fit ejects meshes of lower priority, or is ejected.
#include <algorithm>
#include <limits>

#include "store/ModelImpl.h"
#include "store/PagedFile.h"
#include "stream/AssetSending.h"
#include "stream/BoundingPreviews.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

constexpr uint32_t kTooLarge = KeyKind::DropData | KeyKind::NoData | KeyKind::Mesh;
constexpr uint32_t kEjected = KeyKind::DropData | KeyKind::Mesh;
constexpr uint32_t kNoMeshData = KeyKind::NoData | KeyKind::Mesh;

bool ValidEntry(MeshTocEntry const& e) { return e.offset != ~uint64_t{0} && e.size != ~uint32_t{0}; }

void MarkEjected(StreamState& state, StreamInstance* item) {
  item->flags.ejected = 1;
  item->flags.data_sent = 0;
  if (state.ejected_items.insert(item).second) state.bits.ejected_previews_stale = true;
}

void MarkAllEjected(StreamState& state, MeshSendState& s) {
  for (StreamInstance* item : s.items) MarkEjected(state, item);
}

void Eject(StreamState& state, MeshRecord const& record) {
  MeshSendState& s = state.mesh_progress.at(&record);
  MarkAllEjected(state, s);
  s.ejected_view = state.view.view_serial;
  s.ejected_view_width = float(state.view.view_width);
  s.ejected_priority = s.top_priority;
  s.next_chunk = 0;
  s.frame = 0;
  s.resident = false;
  state.budget.resident -= s.kib;
  state.budget.ejected += s.kib;
  WriteStateChange(state.output.Buffer(), state.StreamIdOf(*s.model), record.key, kEjected);
}

// Orders all meshes by the highest priority of their items, pinned last.
void MakeEvictionOrder(StreamState& state) {
  std::vector<std::pair<float, MeshRecord const*>> ranked;
  for (MeshRecord const* record : state.mesh_order) {
    MeshSendState& s = state.mesh_progress.at(record);
    s.top_priority = 0;
    if (s.pinned != 0)
      s.top_priority = std::numeric_limits<float>::max();
    else
      for (StreamInstance const* item : s.items)
        s.top_priority = std::max(s.top_priority, item->priority);
    ranked.emplace_back(s.top_priority, record);
  }
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](auto const& a, auto const& b) { return a.first < b.first; });
  for (auto const& [priority, record] : ranked) state.budget.eviction_order.push_back(record);
}

// Collects victims below `wanted` until the need falls under the budget.
bool CollectVictims(StreamState& state, MeshSendState const& wanted, uint32_t frame,
                    uint64_t& need, std::vector<MeshRecord const*>& victims) {
  for (MeshRecord const* record : state.budget.eviction_order) {
    MeshSendState const& s = state.mesh_progress.at(record);
    if (!(s.top_priority < wanted.top_priority)) break;
    if (&s == &wanted) continue;
    if (s.frame == frame || !s.resident || s.next_chunk == 0 || s.pinned != 0) continue;
    if (std::find(victims.begin(), victims.end(), record) != victims.end()) continue;
    victims.push_back(record);
    need -= std::min<uint64_t>(need, s.kib);
    if (need < state.budget.available) return true;
  }
  return false;
}

}  // namespace

bool AppendStoredRecord(StreamState& state, ModelImpl& model, PagedFile& file, uint64_t offset,
                        uint32_t size) {
  if (!file.Prefetch(int64_t(offset), size)) return false;
  // Only a record of at least 4 bytes has a tag to look at: a shorter one
  // (a damaged toc) mustn't read past what was fetched.
  uint8_t head[4];
  bool block = false;
  if (size >= sizeof head) {
    if (!file.Read(int64_t(offset), sizeof head, head)) return false;
    block = GetU32(head) == Tag::Compressed;
  }
  StreamOutput& output = state.output;
  output.WriteModelContext(state.StreamIdOf(model));
  if (block) output.FlushChunk(0);
  Bytes& out = output.Buffer();
  size_t const at = out.size();
  out.resize(at + size);
  if (!file.Read(int64_t(offset), size, out.data() + at)) {
    out.resize(at);  // the file shrank under the stream
    return false;
  }
  if (block) output.FlushChunk(0);
  return true;
}

void Evict(StreamState& state, MeshSendState& wanted) {
  MemoryBudget& budget = state.budget;
  uint32_t const frame = state.view.frame_serial;
  if (frame != budget.last_eviction_frame) {
    budget.last_eviction_frame = frame;
    state.BuildPriorities(false, state.items, nullptr);
    budget.eviction_order.clear();
  }
  if (budget.eviction_order.empty()) MakeEvictionOrder(state);
  uint64_t need = budget.resident;
  std::vector<MeshRecord const*> victims;
  if (!CollectVictims(state, wanted, frame, need, victims) &&
      !CollectVictims(state, wanted, 0, need, victims)) {
    state.view.cutoff_priority = wanted.top_priority;
    return;
  }
  for (MeshRecord const* victim : victims) {
    float const top = state.mesh_progress.at(victim).top_priority;
    state.view.cutoff_priority = std::max(state.view.cutoff_priority, top);
    Eject(state, *victim);
  }
}

MeshSendState& MeshSendStateOf(StreamState& state, ModelImpl& model, MeshRecord const& record) {
  auto [it, fresh] = state.mesh_progress.try_emplace(&record);
  if (fresh) {
    it->second.model = &model;
    it->second.kib = record.stream_kib;
    state.mesh_order.push_back(&record);
  }
  return it->second;
}

bool SendMeshData(StreamState& state, ModelImpl& model, MeshRecord const& record,
                  uint64_t budget, float priority) {
  MeshSendState& s = MeshSendStateOf(state, model, record);
  MemoryBudget& memory = state.budget;
  ViewState const& view = state.view;
  s.frame = view.frame_serial;
  s.resident = true;
  if (s.next_chunk == 0) {
    if (s.ejected_priority > 0) {
      if (view.view_serial == s.ejected_view && !(priority > s.ejected_priority) &&
          !(view.view_width < s.ejected_view_width)) {
        for (StreamInstance* item : s.items) item->flags.data_sent = 0;
        return true;
      }
      s.ejected_priority = s.ejected_view_width = 0;
      s.ejected_view = 0;
    }
    uint32_t const stream_model = state.StreamIdOf(model);
    if (s.kib > memory.available) {
      MarkAllEjected(state, s);
      state.output.ReportMissing(stream_model, record.key, kTooLarge);
      return true;
    }
    memory.resident += s.kib;
    if (memory.resident > memory.available) {
      s.resident = false;
      Evict(state, s);
      if (memory.resident <= memory.available) s.resident = true;
      if (memory.resident > memory.available) {
        memory.resident -= s.kib;
        MarkAllEjected(state, s);
        if (s.pinned != 0) state.output.ReportMissing(stream_model, record.key, kTooLarge);
        return true;
      }
    }
    for (StreamInstance* item : s.items) {
      if (!item->flags.ejected) continue;
      item->flags.ejected = 0;
      state.ejected_items.erase(item);
      state.bits.ejected_previews_stale = true;
    }
  }
  Streamer const& sink = *state.output.Sink();
  while (s.next_chunk < record.toc.size()) {
    MeshTocEntry const& entry = record.toc[s.next_chunk++];
    if (entry.size == 0 || !ValidEntry(entry)) continue;
    AppendStoredRecord(state, model, *model.stream_mesh_pages, entry.offset, entry.size);
    if (budget != ~uint64_t{0} && !state.output.SinkAlive()) break;
    if (sink.bytes_sent > budget) break;
  }
  bool const done = s.next_chunk >= record.toc.size();
  if (done) ++state.counters.meshes_with_data;
  return done;
}

bool EmitQueue(StreamState& state, PriorityBuckets& queue, uint64_t budget, bool with_mesh_data) {
  if (queue.Count() == 0) return false;
  bool const culled = (state.control_flags & ControlFlag::StreamCulled) != 0;
  StreamOutput& output = state.output;
  uint64_t const flush_size = FlushSize(*output.Sink());
  PriorityEntry entry;
  while (true) {
    if (!queue.TakeNext(culled, state.view.cutoff_priority, entry)) return false;
    StreamInstance& item = *entry.item;
    ModelImpl& model = *item.model;
    ItemFlags& flags = item.flags;
    if (flags.definition_sent && flags.instance_sent && (flags.data_sent || !with_mesh_data)) {
      if (queue.Count() == 0) return false;
      continue;
    }
    if (!flags.definition_sent) {
      SendMeshDefinition(state, model, *item.first_mesh);
      flags.definition_sent = 1;
    }
    if (item.mesh_list != nullptr && !flags.list_sent) {
      SendMeshList(state, model, item.instance->mesh, *item.mesh_list);
      flags.list_sent = 1;
    }
    if (with_mesh_data && !flags.data_sent) {
      MeshRecord const* data = item.mesh;
      if (data->duplicate_of != 0)
        if (MeshRecord const* base = model.FindMesh(data->duplicate_of)) data = base;
      flags.data_sent = 1;
      bool const has_data = !data->toc.empty() && ValidEntry(data->toc.front());
      if (has_data) {
        if (!SendMeshData(state, model, *data, budget, item.priority)) {
          flags.data_sent = 0;
          queue.Push(&item, item.priority);
        }
      } else {
        output.ReportMissing(state.StreamIdOf(model), item.mesh->key, kNoMeshData);
      }
      if (flags.data_sent && state.previews) PreviewLoaded(state, item);
      model.CloseFiles();
    }
    if (!flags.instance_sent) SendInstanceItem(state, item);
    if (!output.SinkAlive()) return true;
    if (output.Buffer().size() >= flush_size && !output.FlushChunk(0)) return true;
    if (output.Sink()->bytes_sent > budget) return true;
    if (queue.Count() == 0) return false;
  }
}

}  // namespace QX::Store
