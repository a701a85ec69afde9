#include "stream/AttachBatch.h"

#include <algorithm>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/BoundingTreeFile.h"
#include "geometry/bounding/MatrixMath.h"
#include "store/ModelImpl.h"
#include "stream/AssetRecords.h"
#include "stream/AssetSending.h"
#include "stream/ControlRecords.h"
#include "stream/StreamPreparation.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

constexpr uint32_t kModelEvent = 0x4000009;
constexpr uint32_t kInclusionEvent = 0x400000B;
constexpr uint32_t kPinnedModifiers = 0x10310;
constexpr uint32_t kBoundedModifier = 1u << 12;
constexpr uint32_t kModifier14 = 1u << 14;
constexpr size_t kMissingTextBuffer = 4096;

struct Inclusion {
  AttachRequest* request;
  InclusionEntry entry;
};

bool IsPoint(BoundingBox const& b) {
  return b.min_x == b.max_x && b.min_y == b.max_y && b.min_z == b.max_z;
}

// The box through the inclusion matrix by all eight corners; a point box
// grows by `pad` on each axis so that nothing streams at zero size.
BoundingBox SceneBox(BoundingBox const& box, Matrix const& m, Point const& pad) {
  BoundingBox out = ToFloat(TransformBox(ToDouble(box), m));
  if (IsPoint(out)) {
    out.min_x -= pad.x, out.min_y -= pad.y, out.min_z -= pad.z;
    out.max_x += pad.x, out.max_y += pad.y, out.max_z += pad.z;
  }
  return out;
}

// A view's camera carried through the inclusion matrix, as a live viewer
// sees the scene.
View InScene(View view, Matrix const& m) {
  PointD position{view.position[0], view.position[1], view.position[2]};
  PointD target{view.target[0], view.target[1], view.target[2]};
  PointD up{view.up[0], view.up[1], view.up[2]};
  TransformCamera(position, target, up, view.width, view.height, Expand(m));
  view.position = {position.x, position.y, position.z};
  view.target = {target.x, target.y, target.z};
  view.up = {up.x, up.y, up.z};
  return view;
}

class Attacher {
 public:
  explicit Attacher(StreamState& state)
      : state_(state),
        out_(state.output.Buffer()),
        stand_alone_(!state.live_mode) {}

  uint32_t Run(std::vector<AttachRequest>& batch) {
    for (AttachRequest& request : batch) Place(request);
    WriteMissing();
    for (AttachRequest* root : roots_) SetUpRoot(*root);
    for (Inclusion const& inclusion : inclusions_) Send(*inclusion.request, inclusion.entry);
    SortKeyedLists(state_);
    return uint32_t(inclusions_.size());
  }

 private:
  ModelImpl& Host() {
    return state_.scene_root ? state_.scene_root.Impl() : state_.main_model.Impl();
  }

  // Steps 1 to 5 of one request: ids and the inclusion in the host.
  void Place(AttachRequest& request) {
    if (!request.model) {
      missing_.emplace_back(request.group, request.name);
      state_.Log("Failed to find attached model in search path: %s", request.name.c_str());
      return;
    }
    if (request.model == state_.main_model) return;
    uint32_t const stream_model = state_.StreamIdOf(request.model.Impl());
    if (request.root) roots_.push_back(&request);
    MatrixKey const matrix = state_.next_inclusion_matrix--;
    Host().matrices.Insert(matrix, request.matrix);
    uint32_t const inclusion_id = state_.next_inclusion--;
    InclusionEntry const entry{inclusion_id, stream_model, matrix};
    {
      std::lock_guard lock(state_.id_lock);
      state_.inclusions[inclusion_id] = entry;
      state_.include_keys[inclusion_id] = request.include_key;
    }
    inclusions_.push_back({&request, entry});
    state_.held_models.push_back(request.model);
  }

  void WriteText(AttachGroup const& group, std::string const& text) {
    std::string_view shown(text);
    if (shown.size() >= kMissingTextBuffer) shown = shown.substr(0, kMissingTextBuffer - 1);
    if (stand_alone_)
      QX::Store::WriteText(out_, shown);
    else
      WriteLiveText(out_, group.attach_id, shown);
  }

  void WriteMissing() {
    for (auto const& [group, name] : missing_) WriteText(*group, MissingModelText(name));
  }

  void SetUpRoot(AttachRequest& request) {
    AttachGroup& group = *request.group;
    if (group.root_done) return;
    group.root_done = 1;
    ModelImpl& model = request.model.Impl();
    if (!state_.scene_root) {
      state_.scene_root = request.model;
      // The inclusions made so far stood in the host; their matrices move along.
      for (auto const& entry : state_.main_model.Impl().matrices)
        if (entry.key != 0) model.matrices.Insert(entry.key, entry.value);
    }
    uint32_t const stream_model = state_.StreamIdOf(model);
    uint32_t const words[2] = {stream_model, request.parent_stream_id};
    WriteEvent(out_, kRootStreamModel, kModelEvent, group.attach_id, words);
    WriteKeyProperty(out_, kRootStreamModel, stream_model, group.attach_id, 3);
    if (state_.bits.views_sent) return;
    state_.bits.views_sent = true;
    if (View const* first = model.views.Find(model.default_view)) {
      View const shown = stand_alone_ ? *first : InScene(*first, request.matrix);
      TakeCamera(shown);
      SendView(model, *first, request.matrix);
    }
    for (auto const& entry : model.views)
      if (entry.key != model.default_view) SendView(model, entry.value, request.matrix);
  }

  // The default view's camera becomes the stream's until the viewer sends one.
  void TakeCamera(View const& view) {
    if (view.projection == 0 || view.projection > uint32_t(Projection::Stretched)) return;
    ViewState& v = state_.view;
    v.projection = Projection(view.projection);
    v.position = view.position;
    v.target = view.target;
    v.up = view.up;
    v.field_width = v.view_width = view.width;
    v.field_height = view.height;
  }

  void SendView(ModelImpl& model, View const& view, Matrix const& matrix) {
    // Cameras and backgrounds name their view alone and need no model context.
    if (view.projection != 0) WriteCamera(out_, stand_alone_ ? view : InScene(view, matrix));
    bool const colored = std::any_of(view.background.begin(), view.background.end(),
                                     [](float c) { return c != -1; });
    if (view.background_images.empty() && !colored) return;
    for (ImageKey image : view.background_images) SendImage(state_, model, image);
    WriteBackground(out_, view);
  }

  // Step 8 for one inclusion.
  void Send(AttachRequest& request, InclusionEntry const& e) {
    AttachGroup const& group = *request.group;
    uint32_t const model_words[2] = {e.stream_model, request.parent_stream_id};
    WriteEvent(out_, kRootStreamModel, kModelEvent, group.attach_id, model_words);
    uint32_t const inclusion_words[2] = {e.inclusion_id, request.include_key};
    WriteEvent(out_, e.stream_model, kInclusionEvent, group.attach_id, inclusion_words);
    SendMatrix(state_, Host(), e.matrix);
    if (stand_alone_)
      WriteInclusion(out_, e.inclusion_id, e.stream_model, e.matrix);
    else
      WriteLiveInclusion(out_, group.attach_id, e.inclusion_id, e.stream_model, e.matrix,
                         group.hidden);
    ModelImpl& model = request.model.Impl();
    if (state_.models_seen.insert(e.stream_model).second) {
      WriteKeyProperty(out_, e.stream_model, kNoKey, 0, 2);
      PrepareScratch scratch;
      PrepareCore(model, scratch, true, 1);
    }
    AddInclusion(request, model, e);
  }

  void AddInclusion(AttachRequest& request, ModelImpl& model, InclusionEntry const& e) {
    BoundingTree* tree = model.bounding_tree.get();
    if (tree && tree->root && state_.trees_sent.insert(&model).second) {
      state_.output.WriteModelContext(e.stream_model);
      WriteStreamTree(*tree->root, out_);
    }
    auto [known, fresh] = state_.inclusions_of_model.try_emplace(&model);
    if (fresh) TakeGroupsAndKeyedData(*request.group, model);
    known->second.push_back(e.inclusion_id);
    if (!tree || !tree->root) return;

    Matrix const* matrix = Host().matrices.Find(e.matrix);
    StreamAttachedModel& attached = state_.attached[e.inclusion_id];
    attached.inclusion_id = e.inclusion_id;
    attached.attach_id = request.group->attach_id;
    state_.attached_by_id[attached.attach_id].push_back(&attached);

    BoundingBox const& root = tree->root->bounds;
    Point pad{0.003f, 0.003f, 0.003f};
    if (!IsPoint(root))
      pad = {0.0015f * (root.max_x - root.min_x), 0.0015f * (root.max_y - root.min_y),
             0.0015f * (root.max_z - root.min_z)};
    ItemMaker maker{state_, request, model, attached, matrix ? *matrix : kIdentityMatrix, pad};
    VisitTree(*tree->root, kRootPath, 0,
              [&](uint64_t path, BoundingBox const& box, std::span<BoundingItem* const> items) {
                maker.Node(path, box, items);
              });
  }

  void TakeGroupsAndKeyedData(AttachGroup& group, ModelImpl& model) {
    for (auto const& entry : model.groups) state_.group_list.push_back(entry.key);
    state_.keyed_data_total += uint32_t(model.keyed_data.size());
    for (auto const& entry : model.keyed_data) {
      KeyedData const& data = entry.value;
      if (data.type == 0)
        state_.idle_keyed.emplace_back(&model, &data);
      else if (data.type != 0xFFFFFFFFu)
        group.keyed_list.emplace_back(&model, &data);
    }
  }

  // Makes the items of one inclusion, node by node.
  struct ItemMaker {
    StreamState& state;
    AttachRequest& request;
    ModelImpl& model;
    StreamAttachedModel& attached;
    Matrix const& matrix;
    Point pad;

    void Node(uint64_t path, BoundingBox const& box, std::span<BoundingItem* const> items) {
      if (items.empty()) return;
      TreeNodeEntry node;
      node.path = path;
      BoundingBox const scene = SceneBox(box, matrix, pad);
      SetShape(node, scene);
      attached.nodes.push_back(node);
      for (BoundingItem const* item : items) Item(item->key, uint32_t(attached.nodes.size() - 1));
    }

    void Item(InstanceKey key, uint32_t node) {
      Instance const* instance = model.instances.Find(key);
      MeshEntry const* entry = instance ? model.meshes.Find(instance->mesh) : nullptr;
      if (entry == nullptr) return;
      MeshList const* list = nullptr;
      MeshKey mesh_key = instance->mesh;
      if (entry->kind == MeshKind::List) {
        list = &model.mesh_lists[entry->index];
        if (list->empty()) return;
        uint32_t const last = uint32_t(list->size() - 1);
        uint32_t const level =
            state.list_levels.try_emplace(list, std::min(last, state.mesh_level)).first->second;
        mesh_key = (*list)[level];
        attached.has_lists = true;
      }
      MeshRecord const* mesh = model.FindMesh(mesh_key);
      if (mesh == nullptr) return;

      StreamInstance& item = attached.instances[key];
      item.instance = instance;
      item.model = &model;
      item.first_mesh = item.mesh = mesh;
      item.mesh_list = list;
      item.attached = &attached;
      item.node = node;
      item.bounds = SceneBox(instance->bounds, matrix, pad);
      SetShape(item, item.bounds);
      ++state.item_count;
      state.items.push_back(&item);
      SetFlags(item, *instance);
      // What the mesh holds decides the weight, not what the instance shows.
      item.weight = (mesh->classes & 1) ? 1.0f : 0.01f;
      RegisterImages(item, *instance);
      RegisterMeshData(item, *mesh);
    }

    void SetFlags(StreamInstance& item, Instance const& instance) {
      InstanceOverride const* o = nullptr;
      if (state.scene_root)
        o = state.scene_root.Impl().instance_overrides.Find(InstanceInc{request.include_key, instance.key});
      uint32_t const modifiers = o && o->modifiers != 0 ? o->modifiers : instance.modifiers;
      item.flags.pinned = (modifiers & kPinnedModifiers) != 0;
      item.flags.bounded = (modifiers & kBoundedModifier) != 0;
      item.flags.modifier_14 = (modifiers & kModifier14) != 0;
      uint32_t const flags = o && o->flags != 0xFFFFFFFFu ? o->flags : instance.flags;
      item.flags.classes = request.group->hidden ? 0 : flags & kInstanceFlagMask;
    }

    void AddUser(ModelImpl& owner, ImageKey key, StreamInstance& item) {
      ImageRecord const* image = owner.images.Find(key);
      if (image == nullptr) return;
      auto [it, fresh] = state.image_progress.try_emplace(image);
      if (fresh) {
        it->second.model = &owner;
        state.image_order.push_back(image);
      }
      auto& users = it->second.users;
      if (users.empty() || users.back() != &item) users.push_back(&item);
    }

    void MaterialUsers(ModelImpl& owner, MaterialKey key, StreamInstance& item) {
      MaterialEntry const* entry = key == kNoKey ? nullptr : owner.materials.Find(key);
      if (entry == nullptr) return;
      if (entry->kind == MaterialKind::Material) {
        MaterialRecord const& m = owner.material_records[entry->index];
        for (ImageKey image : m.environment) AddUser(owner, image, item);
        for (TextureRef const& t : m.textures) AddUser(owner, t.image, item);
      } else if (entry->kind == MaterialKind::Full) {
        FullMaterial const& bytes = owner.full_materials[entry->index];
        for (int slot = 0; slot < 6; ++slot)
          if (ImageKey const image = GetU32(bytes.data() + 12 * slot)) AddUser(owner, image, item);
      }
    }

    void MapUsers(ModelImpl& owner, MaterialMapKey key, StreamInstance& item) {
      MaterialMap const* map = key == 0 ? nullptr : owner.material_maps.Find(key);
      if (map == nullptr) return;
      for (MaterialKey material : map->keys) MaterialUsers(owner, material, item);
    }

    void RegisterImages(StreamInstance& item, Instance const& i) {
      MeshRecord const& m = *item.mesh;
      for (MaterialKey k : {m.face_material, m.line_material, m.point_material, i.face_material,
                            i.line_material, i.point_material})
        MaterialUsers(model, k, item);
      for (MaterialMapKey k : {m.face_material_map, m.line_material_map, m.point_material_map,
                               i.face_material_map, i.line_material_map, i.point_material_map})
        MapUsers(model, k, item);
      if (!state.scene_root) return;
      ModelImpl& root = state.scene_root.Impl();
      if (InstanceOverride const* o = root.instance_overrides.Find(InstanceInc{request.include_key, i.key})) {
        for (MaterialKey k : o->materials) MaterialUsers(root, k, item);
        for (MaterialMapKey k : o->material_maps) MapUsers(root, k, item);
      }
    }

    void RegisterMeshData(StreamInstance& item, MeshRecord const& mesh) {
      MeshRecord const* data = &mesh;
      if (mesh.duplicate_of != 0)
        if (MeshRecord const* base = model.FindMesh(mesh.duplicate_of)) data = base;
      MeshSendState& s = MeshSendStateOf(state, model, *data);
      s.items.push_back(&item);
      if (item.flags.pinned) ++s.pinned;
    }
  };

  StreamState& state_;
  Bytes& out_;
  bool stand_alone_;
  std::vector<std::pair<AttachGroup*, std::string>> missing_;
  std::vector<AttachRequest*> roots_;
  std::vector<Inclusion> inclusions_;
};

}  // namespace

void SortKeyedLists(StreamState& state) {
  std::lock_guard lock(state.attach_lock);
  for (auto& [id, group] : state.attach_groups)
    std::stable_sort(group->keyed_list.begin(), group->keyed_list.end(),
                     [](auto const& a, auto const& b) { return a.second->type < b.second->type; });
}

uint32_t AttachBatch(StreamState& state, std::vector<AttachRequest>& batch) {
  return Attacher(state).Run(batch);
}

}  // namespace QX::Store
