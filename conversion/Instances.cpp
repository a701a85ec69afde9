// Meshes once per geometry, instances once per path, clip regions once per
// path.
#include <cstring>

#include "conversion/PointCloudMeshBuilder.h"
#include "conversion/SceneConverter.h"
#include "scene/KeyPath.h"
#include "scene/ShellKey.h"
#include "store/Model.h"

namespace KZV {

using QX::Store::MeshData;

uint32_t SceneConverter::ClassBits(MeshData const& mesh, bool is_text) {
  uint32_t classes = 0;
  if (!mesh.face_elements.empty()) classes |= is_text ? 8 : 1;
  if (!mesh.line_elements.empty()) classes |= 2;
  if (!mesh.point_elements.empty()) classes |= 4;
  return classes;
}

// Clip regions of segments above the export's root don't count. A walk
// that starts at the root, as most do, has the root on top of every path;
// only a start path that reaches higher has to be cut.
ClipRegionSet SceneConverter::ComputeClipRegions(Path const& path) const {
  ClipRegionSet clip;
  KeyArray const& keys = path.KeyPath().Keys();
  size_t i = 0;
  while (i < keys.size() && keys[i] != root_) ++i;
  if (i + 1 >= keys.size()) {
    path.ShowNetClipRegions(clip.regions, clip.spaces, clip.operations, clip.matrices);
  } else {
    KeyPath const below_root(i + 1, keys.data());
    below_root.ShowNetClipRegions(clip.regions, clip.spaces, clip.operations, clip.matrices);
  }
  return clip;
}

void SceneConverter::InsertGeometryInstance(Path const& path, GeometryKey const& geometry,
                                            PathAttributes& cells, Lazy<uint32_t>& matrix_id,
                                            MaterialMappingKit const* own_mapping) {
  VisibilityMasks const visibility = cells.Visibility.Get();
  uint64_t const handedness = cells.Handedness.Get();
  ClipRegionSet& clip = cells.ClipRegions.Get();
  bool is_text = false;
  uint32_t const classes =
      FindOrConvertMeshes(visibility.elements, geometry, cells, path, handedness, is_text);
  if (mesh_keys_.empty()) return;
  if (!(options_.HonorVisibility && !(classes & visibility.elements))) {
    Log("Inserting mesh instance.");
    if (own_mapping) {
      MaterialSet own = cells.Materials.Get();
      ApplyMapping(own, path, *own_mapping, cells.Palette);
      CreateInstances(matrix_id.Get(), own, visibility.elements, visibility.lights, is_text, clip, path);
    } else {
      CreateInstances(matrix_id.Get(), cells.Materials.Get(), visibility.elements, visibility.lights, is_text,
                      clip, path);
    }
  }
  mesh_keys_.clear();
  instance_keys_.clear();
}

uint32_t SceneConverter::FindOrConvertMeshes(uint32_t visibility, GeometryKey const& geometry, PathAttributes& cells,
                                             Path const& path, uint64_t handedness, bool& is_text) {
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
      ConvertGeometry(visibility, geometry, cells.Palette, cells.TextAttributes, path, handedness, is_text);
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
  if (options_.SplitPointClouds && mesh.face_elements.empty() && mesh.line_elements.empty()) {
    SplitWorkPointCloud(mesh);
    return;
  }
  mesh_keys_.push_back(model_->InsertMesh(mesh));
  if (auto* s = options_.Statistics) {
    s->meshes += 1;
    s->points += mesh.point_count;
    for (auto const& element : mesh.face_elements) s->faces += element.size() / (3 * Stride(mesh));
    s->lines += mesh.line_elements.size();
  }
}

// The points (and colours: then every tuple is a point and a colour index)
// that the point elements name, gathered for the splitter.
void SceneConverter::SplitWorkPointCloud(MeshData const& mesh) {
  bool const colored = mesh.color_count > 0;
  size_t const stride = colored ? 2 : 1;
  for (auto const& element : mesh.point_elements)
    for (size_t w = 0; w + stride <= element.size(); w += stride) {
      if (element[w] >= mesh.point_count || (colored && element[w + 1] >= mesh.color_count)) continue;
      cloud_points_.push_back(mesh.points[element[w]]);
      if (colored) cloud_colors_.push_back(mesh.colors[element[w + 1]]);
    }
  if (!QX::Store::SplitPointCloud(*model_, cloud_points_.data(), colored ? cloud_colors_.data() : nullptr,
                                  cloud_points_.size(), mesh_keys_))
    mesh_keys_.clear();
  if (auto* s = options_.Statistics) {
    s->meshes += mesh_keys_.size();
    s->points += cloud_points_.size();
  }
  cloud_points_.clear();
  cloud_colors_.clear();
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
                                     uint32_t lights, bool is_text, ClipRegionSet& clip, Path const& path) {
  uint32_t const face = (visibility & 1) ? InsertMaterial(is_text ? materials.text : materials.face, path) : 0;
  uint32_t const line = (visibility & 2) ? InsertMaterial(is_text ? materials.text : materials.line, path) : 0;
  uint32_t const point = (visibility & 4) ? InsertMaterial(materials.point, path) : 0;
  if (!clip.regions.empty() && clip.key == 0) clip.key = InsertClipRegion(clip);
  uint32_t const flags = ((visibility & 9) ? 1 : 0) | (visibility & 2) | (visibility & 4);
  uint32_t const modifiers = lights == 0 ? 0x800 : 0;
  for (uint32_t mesh : mesh_keys_) {
    last_instance_ = model_->InsertInstance(mesh, matrix_key, face, line, point, 0, 0, 0, flags, modifiers,
                                            clip.key, QX::Store::InstanceExtensionData{});
    instance_keys_.push_back(last_instance_);
    if (assembly_tree_) AddToAssembly(last_instance_);
  }
  if (options_.Statistics) options_.Statistics->instances += mesh_keys_.size();
}

void SceneConverter::FinishModel() {
  if (assembly_tree_) assembly_tree_->Write(*model_);
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
