#include "geometry/mesh/MeshDuplicates.h"

#define XXH_STATIC_LINKING_ONLY
#include <xxhash.h>

#include <Eigen/Geometry>
#include <Eigen/LU>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <span>

#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StoredMesh.h"
#include "store/Logger.h"

namespace QX::Store {
namespace {

using Eigen::Matrix3f;
using Eigen::Matrix4f;
using Eigen::Vector3f;
using Eigen::Vector4f;

constexpr float kTolerance = 1e-5f;

bool NotFinite(float v) { return (std::bit_cast<uint32_t>(v) & 0x7F800000u) == 0x7F800000u; }

Vector3f ToVector(Point const& p) { return {p.x, p.y, p.z}; }

// The smallest and largest value per axis, with the first point having it.
struct Extremes {
  float min[3], max[3];
  uint32_t min_index[3], max_index[3];
};

Extremes ScanPoints(MeshData const& mesh) {
  Extremes e{};
  for (uint32_t i = 0; i < mesh.point_count; ++i) {
    float const v[3] = {mesh.points[i].x, mesh.points[i].y, mesh.points[i].z};
    for (int a = 0; a < 3; ++a) {
      if (NotFinite(v[a])) {
        char text[64];
        std::snprintf(text, sizeof text, "NAN or INF in mesh point: %u", i);
        throw Exception(text);
      }
      if (i == 0) {
        e.min[a] = e.max[a] = v[a];
        e.min_index[a] = e.max_index[a] = 0;
      } else if (v[a] < e.min[a]) {
        e.min[a] = v[a];
        e.min_index[a] = i;
      } else if (v[a] > e.max[a]) {
        e.max[a] = v[a];
        e.max_index[a] = i;
      }
    }
  }
  return e;
}

// Truncation of the signature to an integer, of which the low 32 bits
// count; a value that doesn't fit in 64 bits gives 0.
uint32_t Truncate(float value) {
  if (!(std::fabs(value) < 9.2233720e18f)) return 0;
  return uint32_t(uint64_t(int64_t(value)));
}

// A ratio of coordinate differences that a translation leaves alone.
uint32_t ShapeSignature(Point const* p, uint32_t n) {
  uint32_t const m = (n - 1) / 2;
  Point const &first = p[0], &last = p[n - 1], &mid = p[m];
  float const a = first.x - last.x + first.y - last.y + first.z - last.z;
  float const b = first.x - mid.x + first.y - mid.y + first.z - mid.z + 1.0f;
  return Truncate(a / b * 100000.0f);
}

class Hasher {
 public:
  Hasher() { XXH64_reset(&state_, kMeshHashSeed); }
  void Bytes(void const* data, size_t n) {
    if (n != 0) XXH64_update(&state_, data, n);
  }
  void U32(uint32_t v) {
    uint8_t const bytes[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    Bytes(bytes, 4);
  }
  void List(std::vector<uint8_t> const& bits) {
    U32(uint32_t(bits.size()));
    Bytes(bits.data(), bits.size());
  }
  void Elements(ElementWords const& elements) {
    U32(uint32_t(elements.size()));
    for (auto const& element : elements) {
      U32(uint32_t(element.size()));
      Bytes(element.data(), element.size() * 4);
    }
  }
  uint64_t Digest() { return XXH64_digest(&state_); }

 private:
  XXH64_state_t state_;
};

int MissingCount(ReferencePoints const& reference) {
  int missing = 0;
  for (uint32_t index : reference) missing += index == kNoIndex;
  return missing;
}

// Meshes of a model are compared from their second entry on.
template <typename A, typename B>
bool EqualFromSecond(A const& a, B const& b) {
  for (size_t i = 1; i < a.size(); ++i)
    if (!(a[i] == b[i])) return false;
  return true;
}

bool SameElements(ElementWords const& mine, ElementList const& theirs) {
  if (mine.size() != theirs.size()) return false;
  for (uint32_t e = 0; e < theirs.size(); ++e) {
    std::span<uint32_t const> words = theirs[e];
    if (mine[e].size() != words.size() || !EqualFromSecond(mine[e], words)) return false;
  }
  return true;
}

// Everything but points and normals must be equal.
bool SameContent(MeshData const& mesh, StoredMesh const& other) {
  if (mesh.point_count != other.points.size() || mesh.normal_count != other.normals.size() ||
      mesh.uv_count != other.uvs.size() || mesh.color_count != other.colors.size() ||
      mesh.flags != other.flags || mesh.face_element_bits != other.face_element_bits ||
      mesh.line_element_bits != other.line_element_bits ||
      mesh.point_element_bits != other.point_element_bits)
    return false;
  return EqualFromSecond(std::span(mesh.uvs, mesh.uv_count), other.uvs) &&
         EqualFromSecond(std::span(mesh.colors, mesh.color_count), other.colors) &&
         SameElements(mesh.face_elements, other.face_elements) &&
         SameElements(mesh.line_elements, other.line_elements) &&
         SameElements(mesh.point_elements, other.point_elements);
}

bool IsIdentity(Matrix4f const& t) {
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 4; ++r) {
      float const x = t(r, c);
      bool const ok = r == c ? std::fabs(x - 1) <= std::min(1.0f, std::fabs(x)) * kTolerance
                             : std::fabs(x) <= kTolerance;
      if (!ok) return false;
    }
  return true;
}

bool Near(Vector3f const& a, Point const& b, float tolerance) {
  return !(std::fabs(a.x() - b.x) > tolerance || std::fabs(a.y() - b.y) > tolerance ||
           std::fabs(a.z() - b.z) > tolerance);
}

bool SameUnder(Matrix4f const& t, MeshData const& mesh, StoredMesh const& other,
               float tolerance) {
  for (uint32_t i = 1; i < mesh.point_count; ++i) {
    Vector4f const p = t * Vector4f(other.points[i].x, other.points[i].y, other.points[i].z, 1);
    if (!Near(p.head<3>(), mesh.points[i], tolerance)) return false;
  }
  if (mesh.normal_count == 0) return true;
  Matrix3f const m = t.topLeftCorner<3, 3>().transpose().inverse();
  for (uint32_t i = 1; i < mesh.normal_count; ++i)
    if (!Near(m * ToVector(other.normals[i]), mesh.normals[i], tolerance)) return false;
  return true;
}

bool SameDirectly(MeshData const& mesh, StoredMesh const& other, float tolerance) {
  for (uint32_t i = 1; i < mesh.point_count; ++i)
    if (!Near(ToVector(other.points[i]), mesh.points[i], tolerance)) return false;
  for (uint32_t i = 1; i < mesh.normal_count; ++i)
    if (!Near(ToVector(other.normals[i]), mesh.normals[i], tolerance)) return false;
  return true;
}

Matrix4f ToMatrix(Frame const& frame) { return Eigen::Map<Matrix4f const>(frame.data()); }

}  // namespace

uint64_t MeshContentHash(MeshData const& mesh) {
  Hasher h;
  h.U32(ShapeSignature(mesh.points, mesh.point_count));
  for (uint32_t count : {mesh.point_count, mesh.normal_count, mesh.uv_count, mesh.color_count})
    h.U32(count);
  h.Bytes(mesh.uvs, size_t(mesh.uv_count) * sizeof(UV));
  h.Bytes(mesh.colors, size_t(mesh.color_count) * sizeof(RGBA32));
  h.List(mesh.face_element_bits);
  h.List(mesh.line_element_bits);
  h.List(mesh.point_element_bits);
  h.U32(mesh.flags);
  h.Elements(mesh.face_elements);
  h.Elements(mesh.line_elements);
  h.Elements(mesh.point_elements);
  return h.Digest();
}

ReferencePoints PickReferencePoints(Point const* points, uint32_t count, uint32_t first,
                                    uint32_t second) {
  ReferencePoints reference = {kNoIndex, kNoIndex, kNoIndex, kNoIndex};
  Vector3f const a = ToVector(points[first]), b = ToVector(points[second]);
  Vector3f const ab = a - b;
  float best = 0;
  uint32_t third = kNoIndex;
  for (uint32_t i = 0; i < count; ++i) {
    if (i == first || i == second) continue;
    float const area = (ToVector(points[i]) - b).cross(ab).squaredNorm();
    if (area > best) best = area, third = i;
  }
  if (third == kNoIndex) return reference;
  Vector3f const c = ToVector(points[third]);
  bool const a_first = (c - b).squaredNorm() >= (c - a).squaredNorm();
  reference[0] = a_first ? first : second;
  reference[1] = a_first ? second : first;
  reference[2] = third;
  auto const plane = Eigen::Hyperplane<float, 3>::Through(
      ToVector(points[reference[0]]), ToVector(points[reference[1]]), c);
  best = 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (i == reference[0] || i == reference[1] || i == third) continue;
    float const distance = std::fabs(plane.signedDistance(ToVector(points[i])));
    if (distance > best) best = distance, reference[3] = i;
  }
  return reference;
}

Frame MakeFrame(Point const* points, ReferencePoints const& reference) {
  Vector3f const p0 = ToVector(points[reference[0]]);
  Vector3f const u = p0 - ToVector(points[reference[1]]);
  Vector3f const v = p0 - ToVector(points[reference[2]]);
  Vector3f const w =
      reference[3] == kNoIndex ? Vector3f(u.cross(v)) : Vector3f(p0 - ToVector(points[reference[3]]));
  Frame frame{};
  Vector3f const columns[4] = {u, v, w, p0};
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 3; ++r) frame[size_t(c * 4 + r)] = columns[c][r];
  frame[15] = 1;
  return frame;
}

bool CompareWithCandidate(MeshData const& mesh, MeshRecord const& candidate, File& stored,
                          StoredMesh& scratch, ReferencePoints const& reference,
                          std::array<float, 12>& transform, bool& identity) {
  if (!ReadStoredMesh(stored, candidate, scratch) || !SameContent(mesh, scratch)) return false;
  Matrix4f const f = ToMatrix(MakeFrame(mesh.points, reference));
  Matrix4f const c = ToMatrix(MakeFrame(scratch.points.data(), reference));
  Matrix4f const t = f * c.inverse();
  for (int i = 0; i < 16; ++i)
    if (NotFinite(t.data()[i])) return false;
  float const tolerance =
      (ToVector(mesh.points[reference[0]]) - ToVector(mesh.points[reference[1]])).norm() *
      kTolerance;
  identity = IsIdentity(t);
  if (identity) return SameDirectly(mesh, scratch, tolerance);
  if (!SameUnder(t, mesh, scratch, tolerance)) return false;
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 3; ++r) transform[size_t(c * 3 + r)] = t(r, c);
  return true;
}

bool FindDuplicate(MeshData const& mesh, MeshRecord& record, DuplicateSearch& search) {
  record.content_hash = 0;
  if (mesh.point_count == 0) {
    record.bounds = BoundingBox{0, 0, 0, 0, 0, 0};
    return false;
  }
  Extremes const e = ScanPoints(mesh);
  record.bounds = BoundingBox{e.min[0], e.min[1], e.min[2], e.max[0], e.max[1], e.max[2]};
  if (mesh.point_count < kMinDuplicatePoints) return false;
  float extent[3];
  for (int a = 0; a < 3; ++a) extent[a] = e.max[a] - e.min[a];
  if ((extent[0] == 0) + (extent[1] == 0) + (extent[2] == 0) > 1) return false;

  uint64_t const hash = MeshContentHash(mesh);
  std::vector<MeshKey>& list = search.candidates[hash];
  if (list.empty() || list.size() >= kMaxCandidates) {
    record.content_hash = hash;
    list.push_back(record.key);
    return false;
  }
  int const axis = extent[0] >= extent[1] && extent[0] >= extent[2] ? 0
                   : extent[1] >= extent[0] && extent[1] >= extent[2] ? 1
                                                                      : 2;
  ReferencePoints const reference =
      PickReferencePoints(mesh.points, mesh.point_count, e.min_index[axis], e.max_index[axis]);
  if (MissingCount(reference) > 1) return false;

  std::array<float, 12> transform{};
  bool identity = false;
  MeshRecord const* match = nullptr;
  for (MeshKey key : list) {
    MeshRecord const* candidate = search.find_mesh(key);
    if (candidate && CompareWithCandidate(mesh, *candidate, search.stored, search.scratch,
                                          reference, transform, identity)) {
      match = candidate;
      break;
    }
  }
  if (!match) {
    record.content_hash = hash;
    list.push_back(record.key);
    return false;
  }
  MeshKey const original = match->key;
  Matrix matrix;
  std::copy(transform.begin(), transform.end(), matrix.begin());
  record.duplicate_matrix = identity ? 0 : search.insert_matrix(matrix);
  record.duplicate_of = original;
  search.duplicates[original].push_back(record.key);
  return true;
}

}  // namespace QX::Store
