// Meshes once per geometry, instances once per path, clip regions once per
// path, and the pooling of a segment path's geometry.
#include <cstring>

#include "conversion/SceneConverter.h"
#include "scene/KeyPath.h"
#include "scene/ShellKey.h"
#include "store/Model.h"

namespace KZV {

using QX::Store::MeshData;

namespace {

uint32_t ClassBits(MeshData const& mesh, bool is_text) {
  uint32_t classes = 0;
  if (!mesh.face_elements.empty()) classes |= is_text ? 8 : 1;
  if (!mesh.line_elements.empty()) classes |= 2;
  if (!mesh.point_elements.empty()) classes |= 4;
  return classes;
}

}  // namespace

// Clip regions of segments above the export's root don't count.
ClipRegionSet SceneConverter::ComputeClipRegions(KeyPath const& key_path) const {
  ClipRegionSet clip;
  KeyArray const& keys = key_path.Keys();
  size_t i = 0;
  while (i < keys.size() && keys[i] != root_) ++i;
  if (i == keys.size()) {
    key_path.ShowNetClipRegions(clip.regions, clip.spaces, clip.operations, clip.matrices);
  } else {
    KeyPath const below_root(i + 1, keys.data());
    below_root.ShowNetClipRegions(clip.regions, clip.spaces, clip.operations, clip.matrices);
  }
  return clip;
}

void SceneConverter::InsertGeometryInstance(KeyPath const& key_path, GeometryKey const& geometry,
                                            PathAttributes& cells, Lazy<uint32_t>& matrix_id,
                                            MaterialMappingKit const* own_mapping) {
  VisibilityMasks const visibility = cells.Visibility.Get();
  uint64_t const handedness = cells.Handedness.Get();
  ClipRegionSet& clip = cells.ClipRegions.Get();
  bool is_text = false;
  uint32_t const classes =
      FindOrConvertMeshes(visibility.elements, geometry, cells, key_path, handedness, is_text);
  if (mesh_keys_.empty()) return;
  if (!(options_.HonorVisibility && !(classes & visibility.elements))) {
    Log("Inserting mesh instance.");
    if (own_mapping) {
      MaterialSet own = cells.Materials.Get();
      ApplyMapping(own, key_path, *own_mapping, cells.Palette);
      CreateInstances(matrix_id.Get(), own, visibility.elements, visibility.lights, is_text, clip, key_path);
    } else {
      CreateInstances(matrix_id.Get(), cells.Materials.Get(), visibility.elements, visibility.lights, is_text,
                      clip, key_path);
    }
  }
  mesh_keys_.clear();
  instance_keys_.clear();
}

uint32_t SceneConverter::FindOrConvertMeshes(uint32_t visibility, GeometryKey const& geometry, PathAttributes& cells,
                                             KeyPath const& key_path, uint64_t handedness, bool& is_text) {
  // Lines and point clouds look alike under every handedness.
  if (geometry.Type() == TypeCode::Line ||
      (geometry.Type() == TypeCode::Shell && ShellKey(geometry).GetFaceCount() == 0))
    handedness = 0;
  GeometryMeshKey const key{visibility, handedness, geometry};
  auto found = geometry_meshes_.find(key);
  if (found != geometry_meshes_.end()) {
    mesh_keys_.insert(mesh_keys_.end(), found->second.mesh_keys.begin(), found->second.mesh_keys.end());
    is_text = geometry.HasType(TypeCode::Text);
    return found->second.classes;
  }
  MeshData* mesh =
      ConvertGeometry(visibility, geometry, cells.Palette, cells.TextAttributes, key_path, handedness, is_text);
  if (!mesh) return 0;
  uint32_t const classes = ClassBits(*mesh, is_text);
  InsertWorkMesh(*mesh);
  work_points_.clear();
  if (mesh_keys_.empty()) return 0;
  geometry_meshes_.emplace(key, GeometryMeshes{mesh_keys_, classes});
  if (options_.ExportUserData) ExportUserData(geometry);
  return classes;
}

void SceneConverter::InsertWorkMesh(MeshData const& mesh) {
  mesh_keys_.push_back(model_->InsertMesh(mesh));
  if (auto* s = options_.Statistics) {
    s->meshes += 1;
    s->points += mesh.point_count;
    for (auto const& element : mesh.face_elements) s->faces += element.size() / (3 * Stride(mesh));
    s->lines += mesh.line_elements.size();
  }
}

void SceneConverter::ExportUserData(GeometryKey const& geometry) {
  Int64Array indices;
  ByteArrayArray data;
  geometry.ShowUserData(indices, data);
  ByteArray bytes;
  for (size_t i = 0; i < indices.size() && i < data.size(); ++i) {
    bytes.resize(8 + data[i].size());
    std::memcpy(bytes.data(), &indices[i], 8);
    if (!data[i].empty()) std::memcpy(bytes.data() + 8, data[i].data(), data[i].size());
    uint32_t const data_key = model_->InsertKeyedData(static_cast<uint32_t>(bytes.size()), bytes.data(), 0);
    for (uint32_t mesh : mesh_keys_) user_data_pairs_.emplace_back(mesh, data_key);
  }
}

uint32_t SceneConverter::InsertClipRegion(ClipRegionSet& clip) {
  std::vector<QX::Store::ClipLoop> loops;
  std::vector<uint32_t> lengths;
  std::vector<float> points;
  for (size_t r = 0; r < clip.regions.size(); ++r) {
    QX::Store::ClipLoop loop;
    if (clip.spaces[r] == Drawing::ClipSpace::World) loop.matrix = InsertMatrix(clip.matrices[r]);
    if (clip.spaces[r] == Drawing::ClipSpace::Window) loop.second_flag = 1;
    if (clip.operations[r] == Drawing::ClipOperation::Remove) loop.first_flag = 1;
    lengths.clear();
    points.clear();
    for (PointArray const& ring : clip.regions[r]) {
      lengths.push_back(static_cast<uint32_t>(ring.size()));
      for (Point const& p : ring) points.insert(points.end(), {p.x, p.y, p.z});
    }
    loop.polygons.push_back(
        model_->InsertPolyPolygon(static_cast<uint32_t>(lengths.size()), lengths.data(), points.data()));
    loops.push_back(std::move(loop));
  }
  return model_->InsertClipRegion(loops);
}

void SceneConverter::CreateInstances(uint32_t matrix_key, MaterialSet const& materials, uint32_t visibility,
                                     uint32_t lights, bool is_text, ClipRegionSet& clip, KeyPath const& key_path) {
  uint32_t const face = (visibility & 1) ? InsertMaterial(is_text ? materials.text : materials.face, key_path) : 0;
  uint32_t const line = (visibility & 2) ? InsertMaterial(is_text ? materials.text : materials.line, key_path) : 0;
  uint32_t const point = (visibility & 4) ? InsertMaterial(materials.point, key_path) : 0;
  if (!clip.regions.empty() && clip.key == 0) clip.key = InsertClipRegion(clip);
  uint32_t const flags = ((visibility & 9) ? 1 : 0) | (visibility & 2) | (visibility & 4);
  uint32_t const modifiers = lights == 0 ? 0x800 : 0;
  for (uint32_t mesh : mesh_keys_) {
    last_instance_ = model_->InsertInstance(mesh, matrix_key, face, line, point, 0, 0, 0, flags, modifiers,
                                            clip.key, QX::Store::InstanceExtensionData{});
    instance_keys_.push_back(last_instance_);
  }
  if (options_.Statistics) options_.Statistics->instances += mesh_keys_.size();
}

// Pools of one segment path: meshes of like kind share one bucket, their
// tuple words raised past the arrays already there.
void SceneConverter::AddToBucket(MeshData const& mesh, bool is_text) {
  auto alike = [&](MeshBucket const& b) {
    MeshData const& m = b.mesh;
    return b.is_text == is_text && m.face_material_map == 0 && m.flags == mesh.flags &&
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

void SceneConverter::InsertSegmentInstances(KeyPath const& key_path, SegmentKey const& segment,
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
                    clip, key_path);
    mesh_keys_.clear();
    instance_keys_.clear();
  }
  if (found == segment_meshes_.end()) segment_meshes_.emplace(key, std::move(remembered));
  buckets_.clear();
}

void SceneConverter::FinishModel() {
  if (!user_data_pairs_.empty()) {
    model_->SetKeyedData(user_data_key_, static_cast<uint32_t>(user_data_pairs_.size() * 8),
                         user_data_pairs_.data());
  }
  if (options_.GroupAllInstances) {
    std::vector<QX::Store::InstanceInc> instances;
    for (uint32_t i = 0; i < last_instance_; ++i) instances.push_back({0, i});
    model_->SetGroup(1, instances, {});
  }
}

}  // namespace KZV
