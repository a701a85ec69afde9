#include "conversion/SceneConverter.h"

#include <exception>
#include <string>

#include "scene/ConditionalExpression.h"
#include "scene/Database.h"
#include "scene/Helpers.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/ReferenceKey.h"
#include "scene/SearchResults.h"
#include "scene/SegmentKits.h"
#include "scene/ShellKey.h"
#include "scene/VisibilityKit.h"
#include "store/Logger.h"
#include "store/Model.h"

namespace KZV {

PathAttributes::PathAttributes(SceneConverter& c, SceneConverter::Path const& path)
    : NetMatrix([&path] {
        MatrixKit kit;
        path.ShowNetModellingMatrix(kit);
        return kit;
      }),
      MatrixId([this, &c] { return c.InsertMatrix(NetMatrix.Get()); }),
      TextAttributes([&path] {
        TextAttributeKit kit;
        path.ShowNetTextAttribute(kit);
        return kit;
      }),
      Palette([&c, &path] { return c.MakePalette(path); }),
      Materials([this, &c, &path] { return c.MakeMaterialSet(path, Palette); }),
      Visibility([&c, &path] { return c.ComputeVisibility(path); }),
      Handedness([&c, &path] { return c.ComputeHandedness(path); }),
      ClipRegions([&c, &path] { return c.ComputeClipRegions(path); }) {}

SceneConverter::SceneConverter(SegmentKey const& root, ConverterOptions const& options,
                               QX::Store::Logger& logger, QX::Store::Model& model, uint32_t inclusion)
    : options_(options), logger_(&logger), model_(&model), inclusion_(inclusion), root_(root) {
  OffScreenWindowOptionsKit window_options;
  window_options.SetDriver(Window::Driver::Default);
  scratch_ = Database::CreateOffScreenWindow(100, 100, window_options);
  work_mesh_.Reset();
  work_mesh_.flags = QX::Store::kFreshMeshFlags;
  if (options_.BuildAssemblyTree) {
    assembly_tree_ = std::make_unique<AssemblyTree>();
    uint32_t root_node = 0;
    assembly_tree_->CreateRoot(root_node);
    assembly_tree_->SetName(root_node, model_->Name());
    node_stack_.emplace_back([root_node] { return root_node; });
  }

  auto const& c = options_.DefaultColor;
  model_->SetMaterial(0, QX::Store::RGBAColor{c[0], c[1], c[2], c[3]});
  materials_.emplace(DefaultMaterial(), 0);
  MatrixFloats identity;
  identity.values = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  matrices_.emplace(identity, 0);

  if (options_.ExportUserData) user_data_key_ = model_->InsertKeyedData(0, nullptr, 0);
  if (options_.GroupAllInstances) model_->InsertGroup({}, {});
}

SceneConverter::~SceneConverter() noexcept(false) {
  // While an exception unwinds, the model keeps what it has and the scratch
  // window still goes.
  struct DeleteScratch {
    OffScreenWindowKey& window;
    ~DeleteScratch() { window.Delete(); }
  } const scratch{scratch_};
  if (std::uncaught_exceptions() == 0) FinishModel();
}

void SceneConverter::Log(char const* text) const {
  if (options_.Verbose) logger_->Message(text);
}

bool SceneConverter::ShouldEnter(Path const& path) {
  SegmentKey const segment(path.Peek());
  CameraKit camera;
  if (segment.ShowCamera(camera)) return false;

  CullingKit culling;
  bool state = false;
  Vector direction;
  if (segment.ShowCulling(culling) && culling.ShowVector(state, direction)) {
    double product = 1.0;
    for (float v : {direction.x, direction.y, direction.z})
      if (v != 0.0f) product *= v;
    if (product > 0) return false;
  }

  if (options_.HonorVisibility) {
    BoundingKit bounding;
    AttributeLockKit locks;
    VisibilityKit visibility;
    bool excluded = false, locked = false;
    if (segment.ShowBounding(bounding) && bounding.ShowExclusion(excluded) && excluded &&
        segment.ShowAttributeLock(locks) && locks.ShowLock(AttributeLock::Type::Visibility, locked) && locked &&
        segment.ShowVisibility(visibility)) {
      bool on = false;
      bool const any_on = (visibility.ShowFaces(on) && on) || (visibility.ShowLines(on) && on) ||
                          (visibility.ShowVertices(on) && on) || (visibility.ShowText(on) && on);
      if (!any_on) return false;
    }
  }
  if (assembly_tree_) OpenAssemblyNode(segment);
  return true;
}

void SceneConverter::Visit(Path const& path) {
  UpdateBySegPath(path, SegmentKey(path.Peek()), true);
}

VisibilityMasks SceneConverter::ComputeVisibility(Path const& path) const {
  VisibilityMasks masks;
  VisibilityKit kit;
  if (!path.ShowNetVisibility(kit)) return masks;
  bool on = false;
  if (kit.ShowFaces(on)) masks.elements = on ? 15 : 14;
  if (kit.ShowLines(on) && !on) masks.elements &= ~2u;
  if (kit.ShowVertices(on) && !on) masks.elements &= ~4u;
  if (kit.ShowText(on) && !on) masks.elements &= ~8u;
  if (kit.ShowFaceLights(on)) masks.lights = on ? 15 : 14;
  if (kit.ShowEdgeLights(on) && !on) masks.lights &= ~2u;
  if (kit.ShowMarkerLights(on) && !on) masks.lights &= ~4u;
  return masks;
}

// 0 left, 1 right, 2 none; a path without the attribute counts as left.
uint64_t SceneConverter::ComputeHandedness(Path const& path) const {
  DrawingAttributeKit kit;
  Drawing::Handedness value{};
  if (!path.ShowNetDrawingAttribute(kit) || !kit.ShowPolygonHandedness(value)) return 0;
  switch (static_cast<uint32_t>(value)) {
    case 0: return 2;
    case 1: return 0;
    case 2: return 1;
    default:
      KZVI::DBI::Warning("Encountered corrupted polygon handedness value during export.", Info::Code::Warning);
      return 0;
  }
}

void SceneConverter::LogPath(KeyPath const& key_path) const {
  std::string text = "UpdateBySegPath: ";
  auto const& keys = key_path.Keys();
  auto name_of = [](SegmentKey const& s) {
    UTF8 const name = s.Name();
    return name.Empty() ? std::string("(ANON)") : name.str();
  };
  for (auto it = keys.rbegin(); it != keys.rend(); ++it) {
    if (it->Type() == TypeCode::Segment) text += "/" + name_of(SegmentKey(*it));
    else if (it->Type() == TypeCode::Include) text += "/@{" + name_of(IncludeKey(*it).GetTarget()) + "}";
  }
  logger_->Message(text.c_str());
}

void SceneConverter::UpdateBySegPath(Path const& path, SegmentKey segment,
                                     bool follow_references) {
  if (options_.Verbose) LogPath(path.KeyPath());
  PathAttributes cells(*this, path);
  if (!options_.SkipLines && options_.GeometryMode == 1) MergeLines(segment);

  SearchResults found;
  segment.Find(Search::Type::Geometry, Search::Space::SegmentOnly, found);
  uint32_t const mode = options_.GeometryMode;
  bool pooled = false;
  for (auto it = found.GetIterator(); it.IsValid(); it.Next()) {
    GeometryKey const geometry(it.GetItem());
    if (geometry.Type() == TypeCode::Reference) {
      if (follow_references) FollowReference(path, ReferenceKey(geometry), cells);
      continue;
    }
    ConvertEntry(path, geometry, cells, cells.MatrixId, mode, pooled);
  }
  if (mode == 2 && pooled) InsertSegmentInstances(path, segment, cells);
  if (assembly_tree_) CloseAssemblyNode(segment);
}

// One geometry of a segment, or a geometry that a reference points at.
void SceneConverter::ConvertEntry(Path const& path, GeometryKey const& geometry, PathAttributes& cells,
                                  Lazy<uint32_t>& matrix_id, uint32_t mode, bool& pooled) {
  std::optional<MaterialMappingKit> own_mapping;
  if (geometry.Type() == TypeCode::Shell) {
    MaterialMappingKit kit;
    if (ShellKey(geometry).ShowMaterialMapping(kit)) own_mapping = kit;
  }
  if (mode == 2 && !own_mapping) {
    bool is_text = false;
    uint64_t const handedness = cells.Handedness.Get();
    QX::Store::MeshData* mesh = ConvertGeometry(cells.Visibility.Get().elements, geometry, cells.Palette,
                                                cells.TextAttributes, path, handedness, is_text);
    if (mesh) AddToBucket(*mesh, is_text);
    pooled = true;
    return;
  }
  if (options_.HonorVisibility && cells.Visibility.Get().elements == 0) return;
  InsertGeometryInstance(path, geometry, cells, matrix_id, own_mapping ? &*own_mapping : nullptr);
}

void SceneConverter::FollowReference(Path const& path, ReferenceKey const& reference,
                                     PathAttributes& attributes) {
  ConditionalExpression condition;
  if (reference.ShowConditionalExpression(condition)) {
    UTF8Array conditions;
    path.ShowNetConditions(conditions);
    if (!condition.IsSatisfiedBy(conditions)) return;
  }
  Log("FollowReference");

  // The reference's own matrix acts first, then the path's.
  Lazy<MatrixKit> reference_matrix([&reference, &attributes] {
    MatrixKit own;
    reference.ShowModellingMatrix(own);
    return own * attributes.NetMatrix.Get();
  });
  Lazy<uint32_t> reference_matrix_id([this, &reference_matrix] { return InsertMatrix(reference_matrix.Get()); });

  KeyArray targets;
  if (reference.ShowTargets(targets, true) == 0) return;
  // A referenced geometry is never pooled: a pool takes the path's matrix,
  // and this geometry needs the reference's on top of it.
  uint32_t const mode = options_.GeometryMode == 2 ? 0 : options_.GeometryMode;
  bool pooled = false;
  for (Key const& target : targets) {
    if (target.Type() == TypeCode::Segment) {
      // The target's pools are its own: the referring segment's wait aside.
      std::vector<MeshBucket> referring;
      referring.swap(buckets_);
      if (assembly_tree_) ShouldEnter(path);
      UpdateBySegPath(path, SegmentKey(target), false);
      buckets_.swap(referring);
      continue;
    }
    if (target.Type() == TypeCode::Reference) continue;
    ConvertEntry(path, GeometryKey(target), attributes, reference_matrix_id, mode, pooled);
  }
}

}  // namespace KZV
