// Materials, matrices, clip regions, groups, mesh definitions and instances:
// each goes out once per stream, after everything it names.
#include "stream/AssetSending.h"

#include <algorithm>
#include <array>
#include <unordered_set>
#include <vector>

#include "store/ModelImpl.h"
#include "stream/AssetRecords.h"
#include "stream/ControlRecords.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

// True the first time (model, key) is named to `set`.
bool FirstTime(std::unordered_set<uint64_t>& set, ModelImpl const& model, uint32_t key) {
  return set.insert(ObjectId(model.id, key)).second;
}

// Writes the model's context and returns the out-buffer.
Bytes& InContext(StreamState& state, ModelImpl const& model) {
  state.output.WriteModelContext(state.StreamIdOf(model));
  return state.output.Buffer();
}

void Missing(StreamState& state, ModelImpl const& model, uint32_t key, uint32_t code) {
  state.output.ReportMissing(state.StreamIdOf(model), key, code);
}

void SendMaterials(StreamState& state, ModelImpl& model, std::initializer_list<MaterialKey> keys) {
  for (MaterialKey key : keys)
    if (key != kNoKey) SendMaterial(state, model, key);
}

void SendMaterialMaps(StreamState& state, ModelImpl& model,
                      std::initializer_list<MaterialMapKey> keys) {
  for (MaterialMapKey key : keys)
    if (key != 0) SendMaterialMap(state, model, key);
}

// The number of meshes that duplicate each mesh of the model, counted once.
uint32_t DuplicateCount(StreamState& state, ModelImpl const& model, MeshKey key) {
  if (model.mesh_duplicate_count == 0) return 0;
  auto [it, fresh] = state.duplicate_counts.try_emplace(&model);
  if (fresh)
    for (MeshRecord const& record : model.mesh_records)
      if (record.duplicate_of != 0) ++it->second[record.duplicate_of];
  auto const found = it->second.find(key);
  return found == it->second.end() ? 0 : found->second;
}

void SendOverride(StreamState& state, ModelImpl& root, uint32_t inclusion_id, IncludeKey include,
                  InstanceKey key) {
  InstanceOverride const* o = root.instance_overrides.Find(InstanceInc{include, key});
  if (o == nullptr || !state.sent.overrides.insert(uint64_t(inclusion_id) << 32 | key).second)
    return;
  for (MaterialKey m : o->materials)
    if (m != kNoKey) SendMaterial(state, root, m);
  for (MaterialMapKey m : o->material_maps)
    if (m != 0) SendMaterialMap(state, root, m);
  if (o->clip != 0) SendClipRegion(state, root, o->clip);
  // An override names its inclusion itself: it needs no model context.
  WriteOverride(state.output.Buffer(), inclusion_id, key, *o);
}

void SendInstance(StreamState& state, StreamInstance& item) {
  ModelImpl& model = *item.model;
  Instance const& i = *item.instance;
  uint32_t const inclusion_id = item.attached->inclusion_id;
  // An instance goes out once per model; the viewer places it under each
  // inclusion of its model.
  if (!FirstTime(state.sent.instances, model, i.key)) return;
  if (i.extension && i.extension->type == 1) WriteExtension(InContext(state, model), i);
  SendMaterials(state, model, {i.face_material, i.line_material, i.point_material});
  SendMaterialMaps(state, model, {i.face_material_map, i.line_material_map, i.point_material_map});
  SendMatrix(state, model, i.matrix);
  if (i.clip != 0) SendClipRegion(state, model, i.clip);
  uint64_t const path = item.attached->nodes[item.node].path;
  WriteInstance(InContext(state, model), inclusion_id, i, path);
}

}  // namespace

void SendMaterial(StreamState& state, ModelImpl& model, MaterialKey key) {
  if (!FirstTime(state.sent.materials, model, key)) return;
  MaterialEntry const* entry = model.materials.Find(key);
  if (entry == nullptr) return Missing(state, model, key, KeyKind::Material);
  switch (entry->kind) {
    case MaterialKind::SimpleColor:
      WriteSimpleColor(InContext(state, model), key, model.simple_colors[entry->index]);
      break;
    case MaterialKind::Material: {
      MaterialRecord const& m = model.material_records[entry->index];
      for (ImageKey image : m.environment) SendImage(state, model, image);
      for (TextureRef const& t : m.textures) {
        SendMatrix(state, model, t.matrix);
        SendImage(state, model, t.image);
      }
      if (m.line_pattern != kNoKey) SendLinePattern(state, model, m.line_pattern);
      WriteMaterial(InContext(state, model), key, m);
      break;
    }
    case MaterialKind::Full: {
      FullMaterial const& bytes = model.full_materials[entry->index];
      // Six texture slots of (image, matrix, word) lead the bytes.
      for (int slot = 0; slot < 6; ++slot) {
        ImageKey const image = GetU32(bytes.data() + 12 * slot);
        if (image == 0) continue;
        SendMatrix(state, model, GetU32(bytes.data() + 12 * slot + 4));
        SendImage(state, model, image);
      }
      WriteFullMaterial(InContext(state, model), key, bytes);
      break;
    }
  }
}

void SendMaterialMap(StreamState& state, ModelImpl& model, MaterialMapKey key) {
  if (!FirstTime(state.sent.material_maps, model, key)) return;
  MaterialMap const* map = model.material_maps.Find(key);
  if (map == nullptr) return Missing(state, model, key, KeyKind::MaterialMap);
  for (MaterialKey material : map->keys) SendMaterial(state, model, material);
  WriteMaterialMap(InContext(state, model), key, *map);
}

void SendMatrix(StreamState& state, ModelImpl& model, MatrixKey key) {
  if (!FirstTime(state.sent.matrices, model, key)) return;
  Matrix const* matrix = model.matrices.Find(key);
  if (matrix == nullptr) return Missing(state, model, key, KeyKind::Matrix);
  WriteMatrix(InContext(state, model), key, *matrix);
}

void SendLinePattern(StreamState& state, ModelImpl& model, LinePatternKey key) {
  if (!FirstTime(state.sent.line_patterns, model, key)) return;
  uint32_t const* index = model.line_patterns.Find(key);
  if (index == nullptr) return Missing(state, model, key, KeyKind::LinePattern);
  WriteLinePattern(InContext(state, model), key, model.line_pattern_records[*index]);
}

void SendClipRegion(StreamState& state, ModelImpl& model, ClipRegionKey key) {
  if (!FirstTime(state.sent.clip_regions, model, key)) return;
  ClipRegion const* region = model.clip_regions.Find(key);
  if (region == nullptr) return Missing(state, model, key, KeyKind::ClipRegion);
  for (ClipLoop const& loop : region->loops) {
    for (PolyPolygonKey polygon : loop.polygons) SendPolyPolygon(state, model, polygon);
    SendMatrix(state, model, loop.matrix);
  }
  WriteClipRegion(InContext(state, model), key, *region);
}

void SendPolyPolygon(StreamState& state, ModelImpl& model, PolyPolygonKey key) {
  if (!FirstTime(state.sent.poly_polygons, model, key)) return;
  PolyPolygon const* polygon = model.poly_polygons.Find(key);
  if (polygon == nullptr) return Missing(state, model, key, KeyKind::PolyPolygon);
  WritePolyPolygon(InContext(state, model), key, *polygon);
}

void SendGroup(StreamState& state, ModelImpl& model, GroupKey key) {
  if (!FirstTime(state.sent.groups, model, key)) return;
  GroupEntry* group = model.groups.Find(key);
  if (group == nullptr) {
    state.Log("Request for unknown group (%u)", key);
    return Missing(state, model, key, KeyKind::Group);
  }
  if (group->words.empty()) model.LoadGroup(*group);
  if (group->words.size() <= 1) return Missing(state, model, key, KeyKind::Group);
  WriteGroup(InContext(state, model), key, group->words);
}

namespace {

void SendOneMeshDefinition(StreamState& state, ModelImpl& model, MeshRecord const& record) {
  if (!state.sent.mesh_definitions.insert(&record).second) return;
  SendMaterials(state, model, {record.face_material, record.line_material, record.point_material});
  SendMaterialMaps(state, model, {record.face_material_map, record.line_material_map,
                                  record.point_material_map});
  if (record.duplicate_of != 0) SendMatrix(state, model, record.duplicate_matrix);
  uint32_t const stream_model = state.StreamIdOf(model);
  Bytes& out = state.output.Buffer();
  WriteMeshDefinition(out, stream_model, record);
  if (record.duplicate_of != 0) return;
  if (uint32_t const copies = DuplicateCount(state, model, record.key))
    WriteKeyProperty(out, stream_model, record.key, copies, 2);
}

}  // namespace

// A duplicate's base goes first, and its base before it. The chain is
// walked, not recursed, and ends at a mesh already sent or already in it:
// a damaged model may chain a thousand duplicates, or make a ring of them.
void SendMeshDefinition(StreamState& state, ModelImpl& model, MeshRecord const& record) {
  std::vector<MeshRecord const*> chain{&record};
  std::unordered_set<MeshRecord const*> in_chain{&record};
  for (MeshRecord const* mesh = &record; mesh->duplicate_of != 0;) {
    mesh = model.FindMesh(mesh->duplicate_of);
    if (mesh == nullptr || state.sent.mesh_definitions.count(mesh) != 0 ||
        !in_chain.insert(mesh).second)
      break;
    chain.push_back(mesh);
  }
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) SendOneMeshDefinition(state, model, **it);
}

void SendMeshList(StreamState& state, ModelImpl& model, MeshKey key, MeshList const& list) {
  if (list.empty() || !state.sent.mesh_lists.insert(&list).second) return;
  uint32_t const last = uint32_t(list.size() - 1);
  uint32_t const level =
      state.list_levels.try_emplace(&list, std::min(last, state.mesh_level)).first->second;
  if (MeshRecord const* mesh = model.FindMesh(list[level]))
    SendMeshDefinition(state, model, *mesh);
  WriteMeshList(InContext(state, model), key, list, level);
}

void SetMeshListLevel(StreamState& state, StreamInstance& item, uint32_t level) {
  MeshList const& list = *item.mesh_list;
  ModelImpl& model = *item.model;
  uint32_t const l = std::min(level, uint32_t(list.size() - 1));
  uint32_t& stored = state.list_levels[&list];
  if (stored != l) {
    stored = l;
    std::array<uint32_t, 3> const change = {state.StreamIdOf(model), item.instance->mesh, l};
    if (state.sent.mesh_lists.contains(&list) &&
        std::find(state.level_changes.begin(), state.level_changes.end(), change) ==
            state.level_changes.end())
      state.level_changes.push_back(change);
  }
  MeshRecord const* mesh = model.FindMesh(list[l]);
  if (mesh == nullptr || mesh == item.mesh) return;
  item.mesh = mesh;
  SendMeshDefinition(state, model, *mesh);
  MeshRecord const* data = mesh;
  if (mesh->duplicate_of != 0)
    if (MeshRecord const* base = model.FindMesh(mesh->duplicate_of)) data = base;
  MeshSendState& s = MeshSendStateOf(state, model, *data);
  if (std::find(s.items.begin(), s.items.end(), &item) == s.items.end()) s.items.push_back(&item);
  if (item.flags.data_sent) state.meshes_due.emplace_back(&model, data);
}

void SendInstanceItem(StreamState& state, StreamInstance& item) {
  ModelImpl* root = state.scene_root ? &state.scene_root.Impl() : nullptr;
  if (root != nullptr && root->instance_overrides.size() != 0) {
    auto const inclusions = state.inclusions_of_model.find(item.model);
    if (inclusions != state.inclusions_of_model.end())
      for (uint32_t inclusion_id : inclusions->second)
        SendOverride(state, *root, inclusion_id, state.include_keys[inclusion_id],
                     item.instance->key);
  }
  SendInstance(state, item);
  item.flags.instance_sent = 1;
  ++state.counters.instances_sent;
}

}  // namespace QX::Store
