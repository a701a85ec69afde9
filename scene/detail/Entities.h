#pragma once
// The database's entities behind the keys. Segments own their children,
// includes and geometry; includes and references point at their targets
// weakly, so that deleting a target leaves them dangling harmlessly.
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "scene/ConditionalExpression.h"
#include "scene/KitSetting.h"
#include "scene/Definitions.h"
#include "scene/Enums.h"
#include "scene/Key.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKits.h"
#include "scene/Shapes.h"
#include "scene/TextAttributeKit.h"
#include "scene/TextKit.h"
#include "scene/VisibilityKit.h"

namespace KZV::detail {

struct SegmentData;
struct ReferenceData;

struct Entity {
  explicit Entity(uint32_t type_code);
  virtual ~Entity() = default;
  uint64_t id;
  uint32_t type;
  std::weak_ptr<SegmentData> owner;
};

struct IncludeData : Entity {
  IncludeData() : Entity(TypeCode::Include) {}
  std::weak_ptr<SegmentData> target;
  std::optional<ConditionalExpression> condition;
};

struct GeometryData : Entity {
  using Entity::Entity;
  std::vector<std::weak_ptr<ReferenceData>> referrers;
  std::map<int64_t, ByteArray> user_data;
};

struct ReferenceData : GeometryData {
  ReferenceData() : GeometryData(TypeCode::Reference) {}
  std::weak_ptr<Entity> target;
  std::optional<ConditionalExpression> condition;
  std::optional<MatrixKit> matrix;
};

// One color per point or face: its type says which field holds it.
struct ColorEntry {
  Material::Type type = Material::Type::None;
  RGBAColor rgba;
  float index = 0;
};

struct ShellData : GeometryData {
  ShellData() : GeometryData(TypeCode::Shell) {}
  PointArray points;
  IntArray face_list;
  size_t face_count = 0;
  std::vector<std::optional<Vector>> normals;
  size_t parameter_stride = 0;
  std::vector<std::optional<FloatArray>> parameters;
  std::vector<ColorEntry> vertex_colors[3];  // by Shell::Component
  std::vector<ColorEntry> face_colors;
  std::optional<MaterialMappingKit> mapping;
};

struct PointsData : GeometryData {  // lines, polygons
  using GeometryData::GeometryData;
  PointArray points;
};

struct MeshData : GeometryData {
  MeshData() : GeometryData(TypeCode::Mesh) {}
  size_t rows = 0, columns = 0;
  PointArray points;
};

struct SphereData : GeometryData {
  SphereData() : GeometryData(TypeCode::Sphere) {}
  Point center;
  float radius = 0;
  Vector axis, ortho;
};

struct CylinderData : GeometryData {
  CylinderData() : GeometryData(TypeCode::Cylinder) {}
  Point first, second;
  float radius = 0;
  CylinderCaps caps = CylinderCaps::None;
};

struct NURBSSurfaceData : GeometryData {
  NURBSSurfaceData() : GeometryData(TypeCode::NURBSSurface) {}
  NURBSSurfaceShape shape;
};

struct ThreePointData : GeometryData {  // circles, circular arcs and wedges
  using GeometryData::GeometryData;
  Point start, middle, end;
};

struct EllipseData : GeometryData {  // ellipses and elliptical arcs
  using GeometryData::GeometryData;
  Point center, major, minor;
  float start = 0, end = 1;
};

struct NURBSCurveData : GeometryData {
  NURBSCurveData() : GeometryData(TypeCode::NURBSCurve) {}
  NURBSCurveShape shape;
};

struct TextData : GeometryData {
  TextData() : GeometryData(TypeCode::Text) {}
  TextKit kit;
};

struct ClipRegion {
  PointArrayArray loops;
  Drawing::ClipSpace space;
  Drawing::ClipOperation operation;
};

// What a segment sets itself; unset attributes are inherited.
struct Attributes {
  std::optional<VisibilityKit> visibility;
  std::optional<DrawingAttributeKit> drawing;
  std::optional<TextAttributeKit> text;
  std::optional<MaterialMappingKit> mapping;
  std::optional<UTF8> palette;
  std::optional<MatrixKit> matrix;
  std::optional<UTF8Array> conditions;
  std::optional<ClipRegion> clip;
  std::optional<CullingKit> culling;
  std::optional<BoundingKit> bounding;
  std::optional<AttributeLockKit> lock;
  std::optional<CameraKit> camera;
};

struct SegmentData : Entity {
  SegmentData() : Entity(TypeCode::Segment) {}
  std::string name;
  std::vector<std::shared_ptr<SegmentData>> children;
  std::vector<std::shared_ptr<IncludeData>> includes;
  std::vector<std::shared_ptr<GeometryData>> geometry;
  Attributes attributes;
  std::map<std::string, ImageDefinition> images;
  std::map<std::string, TextureDefinition> textures;
  std::map<std::string, MaterialPaletteDefinition> palettes;
};

// What a definition handle shares.
struct DefinitionData {
  std::string name;
  std::shared_ptr<void const> content;  // ImageKit, TextureContent or palette
};

struct TextureContent {
  ImageDefinition image;  // empty when the image is named
  std::string image_name;
  std::shared_ptr<TextureOptionsKit const> options;
};

[[noreturn]] void ThrowInvalidKey();

// The segments that have no owner: roots of scenes, and off-screen
// windows, which belong to no scene.
std::vector<std::shared_ptr<SegmentData>>& RootSegments();
std::vector<std::shared_ptr<SegmentData>>& WindowSegments();

// Conversion between keys and entities.
struct KeyAccess {
  template <typename K>
  static K Make(std::shared_ptr<Entity> const& entity) {
    return K(Key(entity));
  }
  static std::shared_ptr<Entity> Lock(Key const& key) { return key.entity_.lock(); }
  template <typename T>
  static std::shared_ptr<T> As(Key const& key) {
    return std::dynamic_pointer_cast<T>(key.entity_.lock());
  }
};

// Adds an entity to a segment and hands out its key.
template <typename K, typename T>
K Adopt(std::shared_ptr<SegmentData> const& segment, std::shared_ptr<T> entity,
        std::vector<std::shared_ptr<T>>& into) {
  entity->owner = segment;
  into.push_back(entity);
  return KeyAccess::Make<K>(std::move(entity));
}

// The entity of a key of the expected kind; throws InvalidObjectException
// for an empty, deleted or mistyped key.
template <typename T>
std::shared_ptr<T> Require(Key const& key) {
  auto entity = KeyAccess::As<T>(key);
  if (!entity) ThrowInvalidKey();
  return entity;
}

}  // namespace KZV::detail
