// Instances: the placements of meshes in a model, and their extensions.
#include "store/Logger.h"
#include "store/ModelImpl.h"

namespace QX::Store {

namespace {

constexpr uint32_t kScreenSpaceModifiers = 0x100 | 0x200;

void CheckOptionalMaterials(ModelImpl const& model, std::array<MaterialKey, 3> const& keys) {
  for (MaterialKey key : keys)
    if (key != kNoKey) model.CheckMaterialKey(key);
}

void CheckOptionalMaterialMaps(ModelImpl const& model, std::array<MaterialMapKey, 3> const& keys) {
  for (MaterialMapKey key : keys)
    if (key != 0) model.CheckMaterialMapKey(key);
}

}  // namespace

InstanceKey Model::InsertInstance(MeshKey mesh, MatrixKey matrix, MaterialKey face,
                                  MaterialKey line, MaterialKey point, MaterialMapKey face_map,
                                  MaterialMapKey line_map, MaterialMapKey point_map,
                                  uint32_t flags, uint32_t modifiers, ClipRegionKey clip,
                                  InstanceExtensionData const& extension) {
  return Impl().InsertInstance(mesh, matrix, face, line, point, face_map, line_map, point_map,
                               flags, modifiers, clip, extension);
}

// Every check comes before the key is taken, so a refused instance changes
// nothing. The matrix isn't checked: the stream engine deals with a missing one.
InstanceKey ModelImpl::InsertInstance(MeshKey mesh, MatrixKey matrix, MaterialKey face,
                                      MaterialKey line, MaterialKey point,
                                      MaterialMapKey face_map, MaterialMapKey line_map,
                                      MaterialMapKey point_map, uint32_t flags,
                                      uint32_t modifiers, ClipRegionKey clip,
                                      InstanceExtensionData const& extension) {
  TestWritable();
  CheckMeshKey(mesh);
  if ((modifiers & kScreenSpaceModifiers) == kScreenSpaceModifiers)
    throw Exception("More than one ScreenSpace modifier specified.");
  CheckOptionalMaterials(*this, {face, line, point});
  CheckOptionalMaterialMaps(*this, {face_map, line_map, point_map});
  if (clip != 0) CheckClipRegionKey(clip);

  InstanceKey const key = next.instance++;
  Instance instance;
  instance.key = key;
  instance.mesh = mesh;
  instance.matrix = matrix;
  instance.face_material = face;
  instance.line_material = line;
  instance.point_material = point;
  instance.face_material_map = face_map;
  instance.line_material_map = line_map;
  instance.point_material_map = point_map;
  instance.clip = clip;
  instance.flags = flags & kInstanceFlagMask;
  instance.modifiers = modifiers;
  instances.Insert(key, std::move(instance));
  if (extension.word != 0) SetInstanceExtension(key, extension);
  dirty = true;
  // A tree built before this instance doesn't hold it.
  InvalidateBoundingTree();
  return key;
}

void ModelImpl::SetInstanceExtension(InstanceKey key, InstanceExtensionData const& extension) {
  TestWritable();
  CheckInstanceKey(key);
  Instance& instance = *instances.Find(key);
  if (instance.extension) {
    instance.extension.reset();
    --instance_extension_count;
  }
  if (extension.word != 0) {
    instance.extension = std::make_unique<InstanceExtension>(InstanceExtension{1, extension});
    ++instance_extension_count;
  }
  dirty = true;
}

}  // namespace QX::Store
