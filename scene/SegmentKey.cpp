#include "scene/SegmentKey.h"

#include "export/value_types/Exceptions.h"
#include "scene/ConditionalExpression.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialKit.h"
#include "scene/ReferenceKey.h"
#include "scene/SearchResults.h"
#include "scene/ShellKey.h"
#include "scene/TextureOptionsKit.h"
#include "scene/detail/Entities.h"
#include "scene/detail/Tessellate.h"

namespace KZV {

using detail::KeyAccess;
using detail::Require;
using detail::SegmentData;

namespace {

std::shared_ptr<SegmentData> Segment(SegmentKey const& key) { return Require<SegmentData>(key); }

std::shared_ptr<SegmentData> LiveSegment(SegmentKey const& key) { return KeyAccess::As<SegmentData>(key); }

template <typename K, typename T>
K AddGeometry(SegmentKey const& key, std::shared_ptr<T> geometry) {
  auto segment = Segment(key);
  return detail::Adopt<K, detail::GeometryData>(segment, std::move(geometry), segment->geometry);
}

bool Selects(Search::Type type, uint32_t code) {
  switch (type) {
    case Search::Type::Geometry:
    case Search::Type::Everything:
      return TypeCode::IsGeometry(code);
    case Search::Type::Lines:
      return code == TypeCode::Line;
    default:
      return static_cast<uint32_t>(type) == code;
  }
}

void CheckSpace(Search::Space space) {
  if (space != Search::Space::SegmentOnly)
    throw InvalidSpecificationException("Only the segment itself can be searched.");
}

template <typename T>
std::shared_ptr<detail::DefinitionData const> MakeDefinition(char const* name, T content) {
  auto data = std::make_shared<detail::DefinitionData>();
  data->name = name ? name : "";
  data->content = std::make_shared<T const>(std::move(content));
  return data;
}

}  // namespace

UTF8 SegmentKey::Name() const {
  auto segment = LiveSegment(*this);
  return segment ? UTF8(segment->name) : UTF8();
}

SegmentKey SegmentKey::Owner() const {
  auto segment = LiveSegment(*this);
  return segment ? KeyAccess::Make<SegmentKey>(segment->owner.lock()) : SegmentKey();
}

SegmentKey SegmentKey::Subsegment(char const* name) const {
  auto segment = Segment(*this);
  auto child = std::make_shared<SegmentData>();
  child->name = name ? name : "";
  return detail::Adopt<SegmentKey>(segment, std::move(child), segment->children);
}

size_t SegmentKey::ShowSubsegments(SegmentKeyArray& out) const {
  out.clear();
  if (auto segment = LiveSegment(*this))
    for (auto const& child : segment->children) out.push_back(KeyAccess::Make<SegmentKey>(child));
  return out.size();
}

IncludeKey SegmentKey::IncludeSegment(SegmentKey const& target) const {
  auto segment = Segment(*this);
  auto include = std::make_shared<detail::IncludeData>();
  include->target = Segment(target);
  return detail::Adopt<IncludeKey>(segment, std::move(include), segment->includes);
}

IncludeKey SegmentKey::IncludeSegment(SegmentKey const& target, ConditionalExpression const& condition) const {
  return IncludeSegment(target).SetConditionalExpression(condition);
}

size_t SegmentKey::ShowIncludes(IncludeKeyArray& out) const {
  out.clear();
  if (auto segment = LiveSegment(*this))
    for (auto const& include : segment->includes) out.push_back(KeyAccess::Make<IncludeKey>(include));
  return out.size();
}

ReferenceKey SegmentKey::ReferenceGeometry(Key const& target) const {
  auto entity = KeyAccess::Lock(target);
  if (!entity || !(entity->type == TypeCode::Segment || TypeCode::IsGeometry(entity->type)))
    detail::ThrowInvalidKey();
  auto reference = std::make_shared<detail::ReferenceData>();
  reference->target = entity;
  if (auto geometry = std::dynamic_pointer_cast<detail::GeometryData>(entity))
    geometry->referrers.push_back(reference);
  return AddGeometry<ReferenceKey>(*this, std::move(reference));
}

ReferenceKey SegmentKey::ReferenceGeometry(Key const& target, ConditionalExpression const& condition) const {
  return ReferenceGeometry(target).SetConditionalExpression(condition);
}

ShellKey SegmentKey::InsertShell(PointArray const& points, IntArray const& face_list) const {
  auto shell = std::make_shared<detail::ShellData>();
  for (size_t i = 0; i < face_list.size(); i += size_t(face_list[i]) + 1) {
    int const n = face_list[i];
    if (n < 1 || i + size_t(n) >= face_list.size())
      throw InvalidSpecificationException("The face list of a shell is malformed.");
    for (int k = 1; k <= n; ++k)
      if (face_list[i + k] < 0 || size_t(face_list[i + k]) >= points.size())
        throw IndexOutOfRangeException("A face of a shell refers to a point it doesn't have.");
    ++shell->face_count;
  }
  shell->points = points;
  shell->face_list = face_list;
  return AddGeometry<ShellKey>(*this, std::move(shell));
}

LineKey SegmentKey::InsertLine(PointArray const& points) const {
  auto line = std::make_shared<detail::PointsData>(TypeCode::Line);
  line->points = points;
  return AddGeometry<LineKey>(*this, std::move(line));
}

PolygonKey SegmentKey::InsertPolygon(PointArray const& points) const {
  auto polygon = std::make_shared<detail::PointsData>(TypeCode::Polygon);
  polygon->points = points;
  return AddGeometry<PolygonKey>(*this, std::move(polygon));
}

MeshKey SegmentKey::InsertMesh(size_t rows, size_t columns, PointArray const& points) const {
  if (rows * columns != points.size())
    throw InvalidSpecificationException("A mesh needs rows times columns points.");
  auto mesh = std::make_shared<detail::MeshData>();
  mesh->rows = rows;
  mesh->columns = columns;
  mesh->points = points;
  return AddGeometry<MeshKey>(*this, std::move(mesh));
}

SphereKey SegmentKey::InsertSphere(Point const& center, float radius, Vector const& axis,
                                   Vector const& ortho) const {
  auto sphere = std::make_shared<detail::SphereData>();
  sphere->center = center;
  sphere->radius = radius;
  sphere->axis = axis;
  sphere->ortho = ortho;
  return AddGeometry<SphereKey>(*this, std::move(sphere));
}

CylinderKey SegmentKey::InsertCylinder(Point const& first, Point const& second, float radius,
                                       CylinderCaps caps) const {
  auto cylinder = std::make_shared<detail::CylinderData>();
  cylinder->first = first;
  cylinder->second = second;
  cylinder->radius = radius;
  cylinder->caps = caps;
  return AddGeometry<CylinderKey>(*this, std::move(cylinder));
}

NURBSSurfaceKey SegmentKey::InsertNURBSSurface(NURBSSurfaceShape const& shape) const {
  if (shape.u_count * shape.v_count != shape.points.size() || shape.u_count <= shape.u_degree ||
      shape.v_count <= shape.v_degree)
    throw InvalidSpecificationException("A NURBS surface needs more points than its degree in each direction.");
  auto surface = std::make_shared<detail::NURBSSurfaceData>();
  surface->shape = shape;
  return AddGeometry<NURBSSurfaceKey>(*this, std::move(surface));
}

namespace {

template <typename K>
K AddThreePoint(SegmentKey const& key, uint32_t code, Point const& start, Point const& middle, Point const& end) {
  detail::Circle circle;
  if (!detail::CircleThroughPoints(start, middle, end, circle))
    throw InvalidSpecificationException("The three points of a circle lie on one line.");
  auto curve = std::make_shared<detail::ThreePointData>(code);
  curve->start = start;
  curve->middle = middle;
  curve->end = end;
  return AddGeometry<K>(key, std::move(curve));
}

template <typename K>
K AddEllipse(SegmentKey const& key, uint32_t code, Point const& center, Point const& major, Point const& minor,
             float start, float end) {
  auto curve = std::make_shared<detail::EllipseData>(code);
  curve->center = center;
  curve->major = major;
  curve->minor = minor;
  curve->start = start;
  curve->end = end;
  return AddGeometry<K>(key, std::move(curve));
}

}  // namespace

CircleKey SegmentKey::InsertCircle(Point const& start, Point const& middle, Point const& end) const {
  return AddThreePoint<CircleKey>(*this, TypeCode::Circle, start, middle, end);
}

CircularArcKey SegmentKey::InsertCircularArc(Point const& start, Point const& middle, Point const& end) const {
  return AddThreePoint<CircularArcKey>(*this, TypeCode::CircularArc, start, middle, end);
}

CircularWedgeKey SegmentKey::InsertCircularWedge(Point const& start, Point const& middle, Point const& end) const {
  return AddThreePoint<CircularWedgeKey>(*this, TypeCode::CircularWedge, start, middle, end);
}

EllipseKey SegmentKey::InsertEllipse(Point const& center, Point const& major, Point const& minor) const {
  return AddEllipse<EllipseKey>(*this, TypeCode::Ellipse, center, major, minor, 0, 1);
}

EllipticalArcKey SegmentKey::InsertEllipticalArc(Point const& center, Point const& major, Point const& minor,
                                                 float start, float end) const {
  return AddEllipse<EllipticalArcKey>(*this, TypeCode::EllipticalArc, center, major, minor, start, end);
}

NURBSCurveKey SegmentKey::InsertNURBSCurve(NURBSCurveShape const& shape) const {
  if (shape.points.size() <= shape.degree || shape.degree == 0)
    throw InvalidSpecificationException("A NURBS curve needs more points than its degree.");
  auto curve = std::make_shared<detail::NURBSCurveData>();
  curve->shape = shape;
  return AddGeometry<NURBSCurveKey>(*this, std::move(curve));
}

TextKey SegmentKey::InsertText(TextKit const& kit) const {
  auto text = std::make_shared<detail::TextData>();
  text->kit = kit;
  return AddGeometry<TextKey>(*this, std::move(text));
}

size_t SegmentKey::Find(Search::Type type, Search::Space space, SearchResults& out) const {
  return Find(1, &type, space, out);
}

size_t SegmentKey::Find(size_t count, Search::Type const* types, Search::Space space, SearchResults& out) const {
  CheckSpace(space);
  KeyArray found;
  if (auto segment = LiveSegment(*this))
    for (auto const& geometry : segment->geometry)
      for (size_t i = 0; i < count; ++i)
        if (Selects(types[i], geometry->type)) {
          found.push_back(KeyAccess::Make<Key>(geometry));
          break;
        }
  out = SearchResults(std::move(found));
  return out.GetCount();
}

void SegmentKey::Flush(Search::Type type, Search::Space space) const {
  CheckSpace(space);
  auto segment = LiveSegment(*this);
  if (!segment) return;
  std::erase_if(segment->geometry, [type](auto const& g) { return Selects(type, g->type); });
  if (type == Search::Type::Everything) {
    segment->children.clear();
    segment->includes.clear();
  }
}

// Attributes.

#define KZV_SEGMENT_KIT(Kit, field, SetName, ShowName)                         \
  SegmentKey const& SegmentKey::SetName(Kit const& kit) const {                \
    auto& slot = Segment(*this)->attributes.field;                             \
    if (slot) {                                                                \
      slot->Merge(kit);                                                        \
    } else {                                                                   \
      slot = kit;                                                              \
    }                                                                          \
    return *this;                                                              \
  }                                                                            \
  bool SegmentKey::ShowName(Kit& out) const {                                  \
    auto segment = LiveSegment(*this);                                         \
    return segment && detail::ShowSetting(segment->attributes.field, out);     \
  }

KZV_SEGMENT_KIT(VisibilityKit, visibility, SetVisibility, ShowVisibility)
KZV_SEGMENT_KIT(DrawingAttributeKit, drawing, SetDrawingAttribute, ShowDrawingAttribute)
KZV_SEGMENT_KIT(TextAttributeKit, text, SetTextAttribute, ShowTextAttribute)
KZV_SEGMENT_KIT(MaterialMappingKit, mapping, SetMaterialMapping, ShowMaterialMapping)
#undef KZV_SEGMENT_KIT

#define KZV_SEGMENT_VALUE(Type, field, SetName, ShowName)                  \
  SegmentKey const& SegmentKey::SetName(Type const& value) const {         \
    Segment(*this)->attributes.field = value;                              \
    return *this;                                                          \
  }                                                                        \
  bool SegmentKey::ShowName(Type& out) const {                             \
    auto segment = LiveSegment(*this);                                     \
    return segment && detail::ShowSetting(segment->attributes.field, out); \
  }

KZV_SEGMENT_VALUE(MatrixKit, matrix, SetModellingMatrix, ShowModellingMatrix)
KZV_SEGMENT_VALUE(UTF8Array, conditions, SetConditions, ShowConditions)
KZV_SEGMENT_VALUE(CullingKit, culling, SetCulling, ShowCulling)
KZV_SEGMENT_VALUE(BoundingKit, bounding, SetBounding, ShowBounding)
KZV_SEGMENT_VALUE(AttributeLockKit, lock, SetAttributeLock, ShowAttributeLock)
KZV_SEGMENT_VALUE(CameraKit, camera, SetCamera, ShowCamera)
#undef KZV_SEGMENT_VALUE

SegmentKey const& SegmentKey::SetMaterialPalette(char const* name) const {
  Segment(*this)->attributes.palette = UTF8(name);
  return *this;
}

bool SegmentKey::ShowMaterialPalette(UTF8& out) const {
  auto segment = LiveSegment(*this);
  return segment && detail::ShowSetting(segment->attributes.palette, out);
}

SegmentKey const& SegmentKey::SetClipRegion(PointArrayArray const& loops, Drawing::ClipSpace space,
                                            Drawing::ClipOperation operation) const {
  Segment(*this)->attributes.clip = detail::ClipRegion{loops, space, operation};
  return *this;
}

bool SegmentKey::ShowClipRegion(PointArrayArray& loops, Drawing::ClipSpace& space,
                                Drawing::ClipOperation& operation) const {
  auto segment = LiveSegment(*this);
  if (!segment || !segment->attributes.clip) return false;
  loops = segment->attributes.clip->loops;
  space = segment->attributes.clip->space;
  operation = segment->attributes.clip->operation;
  return true;
}

void SegmentKey::UnsetEverything() const { Segment(*this)->attributes = detail::Attributes{}; }

ImageDefinition SegmentKey::DefineImage(char const* name, ImageKit const& image) const {
  ImageDefinition definition(MakeDefinition(name, image));
  Segment(*this)->images[definition.Name().str()] = definition;
  return definition;
}

TextureDefinition SegmentKey::DefineTexture(char const* name, ImageDefinition const& image,
                                            TextureOptionsKit const& options) const {
  auto options_copy = std::make_shared<TextureOptionsKit const>(options);
  TextureDefinition definition(MakeDefinition(name, detail::TextureContent{image, {}, options_copy}));
  Segment(*this)->textures[definition.Name().str()] = definition;
  return definition;
}

TextureDefinition SegmentKey::DefineTexture(char const* name, char const* image_name,
                                            TextureOptionsKit const& options) const {
  auto options_copy = std::make_shared<TextureOptionsKit const>(options);
  TextureDefinition definition(
      MakeDefinition(name, detail::TextureContent{{}, image_name ? image_name : "", options_copy}));
  Segment(*this)->textures[definition.Name().str()] = definition;
  return definition;
}

MaterialPaletteDefinition SegmentKey::DefineMaterialPalette(char const* name,
                                                            std::vector<MaterialKit> const& entries) const {
  MaterialPaletteDefinition definition(MakeDefinition(name, entries));
  Segment(*this)->palettes[definition.Name().str()] = definition;
  return definition;
}

}  // namespace KZV
