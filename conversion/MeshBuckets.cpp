// Geometry of a segment path pooled into few meshes, shared by the paths
// that reach the segment alike.
#include "conversion/SceneConverter.h"

namespace KZV {

using QX::Store::MeshData;

// Pools of one segment path: meshes of like kind share one bucket, their
// tuple words raised past the arrays already there.
namespace {

bool PointsOnly(MeshData const& mesh) { return mesh.face_elements.empty() && mesh.line_elements.empty(); }

}  // namespace

void SceneConverter::AddToBucket(MeshData const& mesh, bool is_text) {
  auto alike = [&](MeshBucket const& b) {
    MeshData const& m = b.mesh;
    // A points-only mesh goes to the cloud splitter alone, never merged with faces or lines.
    bool const same_kind = !options_.SplitPointClouds || PointsOnly(m) == PointsOnly(mesh);
    return same_kind && b.is_text == is_text && m.face_material_map == 0 && m.flags == mesh.flags &&
           m.face_material == mesh.face_material && m.line_material == mesh.line_material &&
           m.point_material == mesh.point_material && (b.normals.empty() == (mesh.normal_count == 0)) &&
           (b.uvs.empty() == (mesh.uv_count == 0)) && (b.colors.empty() == (mesh.color_count == 0));
  };
  MeshBucket* bucket = nullptr;
  if (mesh.face_material_map == 0) {
    for (auto& b : buckets_) {
      if (alike(b)) {
        bucket = &b;
        break;
      }
    }
  }
  if (!bucket) {
    bucket = &buckets_.emplace_back();
    bucket->is_text = is_text;
    bucket->mesh.flags = mesh.flags;
  }
  uint32_t const offsets[4] = {static_cast<uint32_t>(bucket->points.size()),
                               static_cast<uint32_t>(bucket->normals.size()),
                               static_cast<uint32_t>(bucket->uvs.size()),
                               static_cast<uint32_t>(bucket->colors.size())};
  auto const* points = reinterpret_cast<Point const*>(mesh.points);
  bucket->points.insert(bucket->points.end(), points, points + mesh.point_count);
  bucket->normals.insert(bucket->normals.end(), mesh.normals, mesh.normals + mesh.normal_count);
  bucket->uvs.insert(bucket->uvs.end(), mesh.uvs, mesh.uvs + mesh.uv_count);
  bucket->colors.insert(bucket->colors.end(), mesh.colors, mesh.colors + mesh.color_count);

  // The arrays that the words of a tuple index, in order.
  uint32_t tuple_offsets[4];
  uint32_t stride = 0;
  tuple_offsets[stride++] = offsets[0];
  if (mesh.normal_count) tuple_offsets[stride++] = offsets[1];
  if (mesh.uv_count) tuple_offsets[stride++] = offsets[2];
  if (mesh.color_count) tuple_offsets[stride++] = offsets[3];
  auto append = [&](QX::Store::ElementWords const& from, QX::Store::ElementWords& to, uint32_t tuple) {
    for (auto const& element : from) {
      auto& target = to.emplace_back();
      target.reserve(element.size());
      uint32_t position = 0;
      for (uint32_t word : element) {
        if (word == QX::Store::kNoIndex) { target.push_back(word); position = 0; continue; }
        target.push_back(word + tuple_offsets[position % tuple]);
        ++position;
      }
    }
  };
  append(mesh.face_elements, bucket->mesh.face_elements, stride);
  append(mesh.line_elements, bucket->mesh.line_elements, mesh.color_count ? 2 : 1);
  append(mesh.point_elements, bucket->mesh.point_elements, stride);
  bucket->mesh.face_material = mesh.face_material;
  bucket->mesh.line_material = mesh.line_material;
  bucket->mesh.point_material = mesh.point_material;
  bucket->mesh.face_material_map = mesh.face_material_map;
  bucket->mesh.line_material_map = mesh.line_material_map;
  bucket->mesh.point_material_map = mesh.point_material_map;
}

void SceneConverter::InsertSegmentInstances(Path const& path, SegmentKey const& segment,
                                            PathAttributes& cells) {
  VisibilityMasks const visibility = cells.Visibility.Get();
  if (options_.HonorVisibility && visibility.elements == 0) {
    buckets_.clear();
    return;
  }
  uint64_t const handedness = cells.Handedness.Get();
  ClipRegionSet& clip = cells.ClipRegions.Get();
  GeometryMeshKey const key{visibility.elements, handedness, segment};
  auto found = segment_meshes_.find(key);
  if (found != segment_meshes_.end() && options_.HonorVisibility) {
    uint32_t classes = 0;
    for (auto const& entry : found->second) classes |= entry.second;
    if (!(classes & visibility.elements)) {
      buckets_.clear();
      return;
    }
  }
  std::vector<std::pair<uint32_t, uint32_t>> remembered;
  for (size_t b = 0; b < buckets_.size(); ++b) {
    MeshBucket& bucket = buckets_[b];
    bool is_text = bucket.is_text;
    if (found != segment_meshes_.end()) {
      if (b >= found->second.size()) break;
      auto const [mesh, classes] = found->second[b];
      if (!(classes & visibility.elements)) continue;
      is_text = (classes & 8) != 0;
      mesh_keys_.push_back(mesh);
    } else {
      MeshData& mesh = bucket.mesh;
      uint32_t const classes = ClassBits(mesh, is_text);
      if (options_.HonorVisibility && !(classes & visibility.elements)) continue;
      Log("Inserting mesh.");
      mesh.points = reinterpret_cast<QX::Store::Point const*>(bucket.points.data());
      mesh.point_count = static_cast<uint32_t>(bucket.points.size());
      mesh.normals = bucket.normals.data();
      mesh.normal_count = static_cast<uint32_t>(bucket.normals.size());
      mesh.uvs = bucket.uvs.data();
      mesh.uv_count = static_cast<uint32_t>(bucket.uvs.size());
      mesh.colors = bucket.colors.data();
      mesh.color_count = static_cast<uint32_t>(bucket.colors.size());
      InsertWorkMesh(mesh);
      for (uint32_t k : mesh_keys_) remembered.emplace_back(k, classes);
      if (mesh_keys_.empty()) continue;
    }
    Log("Inserting mesh instance.");
    CreateInstances(cells.MatrixId.Get(), cells.Materials.Get(), visibility.elements, visibility.lights, is_text,
                    clip, path);
    mesh_keys_.clear();
    instance_keys_.clear();
  }
  if (found == segment_meshes_.end()) segment_meshes_.emplace(key, std::move(remembered));
  buckets_.clear();
}

}  // namespace KZV
