#include "stream/VolumeSelection.h"

#include <algorithm>
#include <mutex>

#include "files/File.h"
#include "geometry/bounding/MatrixMath.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StreamMesh.h"
#include "geometry/selection/PlaneVolume.h"
#include "geometry/selection/RayVolume.h"
#include "geometry/selection/SphereVolume.h"
#include "store/Instance.h"
#include "store/ModelImpl.h"
#include "store/PagedFile.h"
#include "stream/ControlFlags.h"
#include "stream/StreamState.h"

namespace QX::Store {

using namespace VolumeTest;

SelectionFlags SelectionFlags::Unpack(uint32_t bits) {
  auto bit = [bits](int i) { return (bits >> i & 1) != 0; };
  SelectionFlags f;
  f.whole = bit(0);
  f.respect_visibility = bit(1);
  f.faces = bit(2);
  f.lines = bit(3);
  f.points = bit(4);
  f.no_clipping = bit(5);
  f.wanted_only = bit(6);
  f.any_faces = bit(7);
  f.any_lines = bit(8);
  f.any_points = bit(9);
  f.show_faces = bit(10);
  f.show_lines = bit(11);
  f.show_points = bit(12);
  return f;
}

namespace {

PointD ToPointD(std::array<float, 3> const& p) { return {p[0], p[1], p[2]}; }

// The item's sphere in scene space. Its box is in scene space already, the
// inclusion's matrix applied and padded, so the sphere bounds the mesh.
BoundingSphere SphereOf(StreamInstance const& item) {
  double const r = item.radius;
  return {{item.centre.x, item.centre.y, item.centre.z}, r * r, r};
}

// The sphere around all nodes of an attached model.
BoundingSphere SphereOf(StreamAttachedModel const& attached) {
  BoundingBoxD box;
  for (TreeNodeEntry const& n : attached.nodes) {
    box.min_x = std::min(box.min_x, double(n.centre.x) - n.half.x);
    box.min_y = std::min(box.min_y, double(n.centre.y) - n.half.y);
    box.min_z = std::min(box.min_z, double(n.centre.z) - n.half.z);
    box.max_x = std::max(box.max_x, double(n.centre.x) + n.half.x);
    box.max_y = std::max(box.max_y, double(n.centre.y) + n.half.y);
    box.max_z = std::max(box.max_z, double(n.centre.z) + n.half.z);
  }
  return SphereOfBox(box);
}

// Whether the item shows a class that the selection may count, before any
// volume test: a hidden item doesn't count when visibility is respected.
bool Qualifies(VolumeSelection const& s, StreamInstance const& item) {
  SelectionFlags const& f = s.flags;
  uint32_t const classes = item.flags.classes;
  bool const bounded = item.flags.bounded;
  if (!f.respect_visibility || f.any_faces) return true;
  if ((classes & 1) && (s.shown[0] || bounded)) return true;
  if (f.any_lines) return true;
  if ((classes & 2) && (s.shown[1] || bounded)) return true;
  if (f.any_points) return true;
  return (classes & 4) && (s.shown[2] || bounded);
}

// The classes of the item that the test looks at.
ElementClasses CountingClasses(VolumeSelection const& s, StreamInstance const& item) {
  SelectionFlags const& f = s.flags;
  bool const tested[3] = {f.faces, f.lines, f.points};
  bool const any[3] = {f.any_faces, f.any_lines, f.any_points};
  ElementClasses out{};
  for (int c = 0; c < 3; ++c) {
    bool const visible = (item.flags.classes >> c & 1) && (s.shown[c] || item.flags.bounded);
    out[c] = tested[c] && (!f.respect_visibility || any[c] || visible);
  }
  return out;
}

// The attachment thread widens the bounds as it resolves includes.
BoundingBox SceneBounds(StreamState& state) {
  std::lock_guard lock(state.attach_lock);
  return state.bounds;
}

void Gather(StreamState& state, VolumeSelection& s) {
  if (s.volume->TestBox(ToDouble(SceneBounds(state))) == Outside) return;
  StreamAttachedModel const* model = nullptr;
  bool model_touches = false;
  for (StreamInstance* item : state.items) {
    if (item->attached != model) {
      model = item->attached;
      BoundingSphere sphere = SphereOf(*model);
      model_touches = !model->nodes.empty() && s.volume->TestSphere(sphere) != Outside;
    }
    if (!model_touches) continue;
    if (item->flags.instance_sent && item->flags.data_sent) continue;
    if (!Qualifies(s, *item)) continue;
    BoundingSphere sphere = SphereOf(*item);
    if (s.volume->Rate(sphere) >= 0) s.candidates.push_back(item);
  }
}

std::unique_ptr<VolumeSelection> NewSelection(StreamState& state, uint32_t flags,
                                              std::unique_ptr<SelectionVolume> volume) {
  auto s = std::make_unique<VolumeSelection>();
  s->flags = SelectionFlags::Unpack(flags);
  s->shown = {state.bits.faces_shown || s->flags.show_faces,
              state.bits.lines_shown || s->flags.show_lines,
              state.bits.points_shown || s->flags.show_points};
  s->volume = std::move(volume);
  Gather(state, *s);
  return s;
}

Matrix MatrixOr(ModelImpl const& model, MatrixKey key, Matrix const& fallback) {
  Matrix const* m = model.matrices.Find(key);
  return m != nullptr ? *m : fallback;
}

// The matrix of the item's inclusion, kept in the host model; identity if
// the inclusion isn't known.
Matrix InclusionMatrix(StreamState& state, StreamInstance const& item) {
  MatrixKey key;
  {
    std::lock_guard lock(state.id_lock);
    auto const found = state.inclusions.find(item.attached->inclusion_id);
    if (found == state.inclusions.end()) return kIdentityMatrix;
    key = found->second.matrix;
  }
  Model const& host = state.scene_root ? state.scene_root : state.main_model;
  return MatrixOr(host.Impl(), key, kIdentityMatrix);
}

// Reads the item's mesh data and carries its positions into scene space.
bool LoadPositions(StreamState& state, StreamInstance const& item,
                   std::array<uint64_t, 2>& split) {
  ModelImpl& model = *item.model;
  MeshRecord const* mesh = item.mesh;
  Matrix full = MatrixOr(model, item.instance->matrix, kIdentityMatrix);
  if (mesh->duplicate_of != 0) {
    if (mesh->duplicate_matrix != 0)
      full = Concat(MatrixOr(model, mesh->duplicate_matrix, kIdentityMatrix), full);
    mesh = model.FindMesh(mesh->duplicate_of);
    if (mesh == nullptr) return false;
  }
  full = Concat(full, InclusionMatrix(state, item));
  SelectionScratch& x = state.selections.scratch;
  File* file = model.stream_mesh_pages->OpenFile();
  bool const ok = file != nullptr && ReadStreamMesh(*file, *mesh, x.compressed, x.records) &&
                  ParseMeshPositions(x.records, x.parsed, split);
  x.positions.clear();
  if (ok) {
    x.positions.reserve(x.parsed.size());
    for (auto const& p : x.parsed) x.positions.push_back({p[0], p[1], p[2]});
    TransformPoints(full, x.positions.data(), x.positions.size());
  }
  x.compressed.clear();
  x.records.clear();
  x.parsed.clear();
  return ok;
}

// The test of one candidate: 0 not tested, else the bits of the volume
// tests; `distance` is that of the nearest hit where the volume tracks one.
uint32_t TestCandidate(StreamState& state, VolumeSelection& s, StreamInstance const& item,
                       double& distance) {
  distance = 0;
  bool const on_demand = (state.control_flags & ControlFlag::StreamInstancesOnDemand) != 0;
  if (s.flags.wanted_only && on_demand && !item.flags.wanted) return None;
  ElementClasses const classes = CountingClasses(s, item);
  if (!classes[0] && !classes[1] && !classes[2]) return None;
  std::span<ClipCell const> cells;
  if (!s.flags.no_clipping) cells = state.selections.clip_cells;
  BoundingSphere sphere = SphereOf(item);
  uint32_t const rough = s.volume->TestSphere(sphere);
  if (rough == Outside) return Outside;
  if (rough == Inside && s.volume->StopsAtFirstHit() && cells.empty()) return Inside;
  std::array<uint64_t, 2> split{};
  if (!LoadPositions(state, item, split)) return None;
  SelectionScratch& x = state.selections.scratch;
  uint32_t const code = x.mesh_test.Run(*s.volume, cells, s.flags.whole, classes, x.positions, split);
  x.positions.clear();
  if (code != None && x.mesh_test.HasNearest())
    distance = s.volume->DistanceSquared(x.mesh_test.Nearest());
  return code;
}

}  // namespace

std::unique_ptr<VolumeSelection> OpenSelection(StreamState& state,
                                               PlaneSelectionCommand const& c) {
  return NewSelection(state, c.flags, std::make_unique<PlaneVolume>(c.rows, ToPointD(c.reference)));
}

std::unique_ptr<VolumeSelection> OpenSelection(StreamState& state, RaySelectionCommand const& c) {
  return NewSelection(state, c.flags,
                      std::make_unique<RayVolume>(c.rows, ToPointD(c.origin), ToPointD(c.direction)));
}

std::unique_ptr<VolumeSelection> OpenSelection(StreamState& state,
                                               SphereSelectionCommand const& c) {
  double const r = c.radius;
  return NewSelection(state, c.flags, std::make_unique<SphereVolume>(ToPointD(c.center), r * r, r));
}

void NextResults(StreamState& state, VolumeSelection& s, uint32_t max_results,
                 std::vector<SelectionResult>& out) {
  auto& batch = state.selections.scratch.batch;
  batch.clear();
  while (batch.size() < max_results && s.next < s.candidates.size()) {
    StreamInstance const& item = *s.candidates[s.next++];
    double distance = 0;
    uint32_t const code = TestCandidate(state, s, item, distance);
    bool const result = s.flags.whole ? code == Inside : (code & Inside) != 0;
    if (result) batch.push_back({distance, {item.attached->inclusion_id, item.instance->key}});
  }
  std::stable_sort(batch.begin(), batch.end(),
                   [](auto const& a, auto const& b) { return a.first < b.first; });
  for (auto const& [distance, ids] : batch) out.push_back(ids);
  batch.clear();
}

}  // namespace QX::Store
