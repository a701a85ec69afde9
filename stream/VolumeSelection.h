#pragma once
// Volume selection on the engine's side: a viewer that holds only part of a
// model asks what lies in a volume; the engine gathers the stream instances
// that can touch it and haven't been sent in full, and hands back those
// that really do in batches, testing their stored mesh data.
#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "geometry/selection/ClipCells.h"
#include "geometry/selection/MeshHitTest.h"
#include "geometry/selection/SelectionVolume.h"
#include "store/Types.h"
#include "stream/SelectionCommands.h"

namespace QX::Store {

class StreamState;
struct StreamInstance;

// The `flags` word of a selection command, bit by bit.
struct SelectionFlags {
  bool whole = false;               // 0: all that was tested must lie inside
  bool respect_visibility = false;  // 1: hidden classes don't count
  bool faces = false, lines = false, points = false;  // 2-4: classes tested
  bool no_clipping = false;         // 5: the state's clip cells are ignored
  bool wanted_only = false;         // 6: only wanted instances, when streaming on demand
  bool any_faces = false, any_lines = false, any_points = false;     // 7-9
  bool show_faces = false, show_lines = false, show_points = false;  // 10-12

  static SelectionFlags Unpack(uint32_t bits);
};

// One open selection.
struct VolumeSelection {
  SelectionFlags flags;
  // Per class: the stream's switch of that class, or the command's show bit.
  std::array<bool, 3> shown{};
  std::unique_ptr<SelectionVolume> volume;
  // The instances that may touch the volume, in the walk order; `next` is
  // the index of the first one not yet tested.
  std::vector<StreamInstance*> candidates;
  size_t next = 0;
};

// (inclusion id, instance key) of a result.
using SelectionResult = std::array<uint32_t, 2>;

// Buffers of the mesh tests, shared by all selections and emptied after
// each candidate.
struct SelectionScratch {
  MeshHitTest mesh_test;
  std::vector<uint8_t> compressed;
  std::vector<uint8_t> records;
  std::vector<std::array<double, 3>> parsed;
  std::vector<PointD> positions;
  std::vector<std::pair<double, SelectionResult>> batch;
};

// What a stream state holds of volume selection besides the command queues.
struct SelectionTable {
  std::unordered_map<uint32_t, std::unique_ptr<VolumeSelection>> open;  // by selection id
  // Convex cells whose content is cut away from meshes before testing.
  std::vector<ClipCell> clip_cells;
  SelectionScratch scratch;
  // For the statistics line: selections open after the last command of
  // this pass, and results handed out in it.
  uint32_t open_noted = 0;
  uint32_t results = 0;
};

// A new selection of the volume of a command, with its candidates gathered.
std::unique_ptr<VolumeSelection> OpenSelection(StreamState& state,
                                               PlaneSelectionCommand const& command);
std::unique_ptr<VolumeSelection> OpenSelection(StreamState& state,
                                               RaySelectionCommand const& command);
std::unique_ptr<VolumeSelection> OpenSelection(StreamState& state,
                                               SphereSelectionCommand const& command);

// Tests candidates until `max_results` of them are results or none are
// left, and appends the results to `out` nearest first; equal distances
// keep the order of the candidates.
void NextResults(StreamState& state, VolumeSelection& selection, uint32_t max_results,
                 std::vector<SelectionResult>& out);

// Runs the commands that wait, in their fixed order, between the
// recomputation of the bounds and the invalidation of a pass. A pass that
// recomputed the item boxes first drops every open selection.
void RunSelectionCommands(StreamState& state, bool recomputed);

// Ends every open selection: the plane, sphere, next-results and end
// commands that wait are answered as failed and dropped; ray commands stay.
void DropSelections(StreamState& state);

// Forgets all of volume selection, queues and clip cells included, without
// answering anything; for a restart of the stream, after DropSelections.
void ForgetSelections(StreamState& state);

}  // namespace QX::Store
