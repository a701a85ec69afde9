// The selection commands of a pass, their replies, and the entries by
// which a caller queues them between passes.
#include <span>
#include <utility>

#include "files/ByteOrder.h"
#include "stream/ControlRecords.h"
#include "stream/StreamState.h"
#include "stream/VolumeSelection.h"
#include "stream/WireTags.h"

namespace QX::Store {

namespace {

constexpr uint32_t kSelectionOpened = 1;
constexpr uint32_t kSelectionEnded = 2;

// Record 53: the results of a selection, or status 1 for a selection that
// isn't open.
void WriteSelectionResults(Bytes& out, uint32_t request_id, bool missing,
                           std::span<SelectionResult const> results) {
  PutU32(out, Tag::Selection);
  PutU32(out, uint32_t(results.size()));
  PutU32(out, request_id);
  PutU32(out, missing ? 1 : 0);
  for (auto const& [inclusion, instance] : results) {
    PutU32(out, inclusion);
    PutU32(out, instance);
  }
}

template <class Command>
void Open(StreamState& state, Command const& command) {
  state.selections.open[command.selection_id] = OpenSelection(state, command);
  WriteOperationResult(state.output.Buffer(), kSelectionOpened, false, command.request_id);
}

void Next(StreamState& state, NextResultsCommand const& command) {
  SelectionTable& table = state.selections;
  auto const found = table.open.find(command.selection_id);
  if (found == table.open.end()) {
    WriteSelectionResults(state.output.Buffer(), command.request_id, true, {});
    return;
  }
  std::vector<SelectionResult> results;
  NextResults(state, *found->second, command.max_results, results);
  WriteSelectionResults(state.output.Buffer(), command.request_id, false, results);
  table.results += uint32_t(results.size());
}

void End(StreamState& state, EndSelectionCommand const& command) {
  state.selections.open.erase(command.selection_id);
  WriteOperationResult(state.output.Buffer(), kSelectionEnded, false, command.request_id);
}

// Runs each command of a queue in order, noting the open selections after
// each, and empties the queue.
template <class Command, class Run>
void RunQueue(StreamState& state, std::vector<Command>& queue, Run run) {
  for (Command const& command : queue) {
    run(state, command);
    state.selections.open_noted = uint32_t(state.selections.open.size());
  }
  queue.clear();
}

}  // namespace

void RunSelectionCommands(StreamState& state, bool recomputed) {
  if (recomputed) DropSelections(state);
  SelectionCommands& q = state.selection_commands;
  RunQueue(state, q.planes, Open<PlaneSelectionCommand>);
  RunQueue(state, q.rays, Open<RaySelectionCommand>);
  RunQueue(state, q.spheres, Open<SphereSelectionCommand>);
  RunQueue(state, q.next_results, Next);
  RunQueue(state, q.ends, End);
}

void DropSelections(StreamState& state) {
  SelectionCommands& q = state.selection_commands;
  Bytes& out = state.output.Buffer();
  for (auto const& c : q.planes) WriteOperationResult(out, kSelectionOpened, true, c.request_id);
  for (auto const& c : q.spheres) WriteOperationResult(out, kSelectionOpened, true, c.request_id);
  for (auto const& c : q.ends) WriteOperationResult(out, kSelectionEnded, true, c.request_id);
  for (auto const& c : q.next_results) WriteSelectionResults(out, c.request_id, true, {});
  q.planes.clear();
  q.spheres.clear();
  q.ends.clear();
  q.next_results.clear();
  state.selections.open.clear();
}

void ForgetSelections(StreamState& state) {
  state.selection_commands = {};
  state.selections.open.clear();
  state.selections.clip_cells.clear();
}

void StreamState::QueueSelection(PlaneSelectionCommand command) {
  selection_commands.planes.push_back(std::move(command));
}

void StreamState::QueueSelection(RaySelectionCommand command) {
  selection_commands.rays.push_back(command);
}

void StreamState::QueueSelection(SphereSelectionCommand command) {
  selection_commands.spheres.push_back(command);
}

void StreamState::QueueSelection(NextResultsCommand command) {
  selection_commands.next_results.push_back(command);
}

void StreamState::QueueSelection(EndSelectionCommand command) {
  selection_commands.ends.push_back(command);
}

void StreamState::SetClipCells(std::vector<ClipCell> cells) {
  selections.clip_cells = std::move(cells);
}

}  // namespace QX::Store
