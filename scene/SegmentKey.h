#pragma once
// A segment: a named node of the scene tree that holds geometry, child
// segments, includes, references, attributes and named definitions.
#include "scene/Enums.h"
#include "scene/GeometryKey.h"
#include "scene/Shapes.h"
#include "scene/UTF8.h"

namespace KZV {

class AttributeLockKit;
class BoundingKit;
class CameraKit;
class ConditionalExpression;
class CullingKit;
class DrawingAttributeKit;
class ImageDefinition;
class ImageKit;
class IncludeKey;
class MaterialKit;
class MaterialMappingKit;
class MaterialPaletteDefinition;
class MatrixKit;
class ReferenceKey;
class SearchResults;
class ShellKey;
class TextAttributeKit;
class TextKit;
class TextureDefinition;
class TextureOptionsKit;
class VisibilityKit;
class SegmentKey;
using SegmentKeyArray = std::vector<SegmentKey>;
using IncludeKeyArray = std::vector<IncludeKey>;

class SegmentKey : public Key {
 public:
  SegmentKey() = default;
  explicit SegmentKey(Key const& key) : Key(key) {}

  UTF8 Name() const;
  SegmentKey Owner() const;  // empty for a root segment

  // Structure. Children and includes are kept in the order of creation.
  SegmentKey Subsegment(char const* name = nullptr) const;
  size_t ShowSubsegments(SegmentKeyArray& out) const;
  IncludeKey IncludeSegment(SegmentKey const& target) const;
  IncludeKey IncludeSegment(SegmentKey const& target, ConditionalExpression const& condition) const;
  size_t ShowIncludes(IncludeKeyArray& out) const;
  ReferenceKey ReferenceGeometry(Key const& target) const;
  ReferenceKey ReferenceGeometry(Key const& target, ConditionalExpression const& condition) const;

  // Geometry. Entries are kept in the order of insertion.
  ShellKey InsertShell(PointArray const& points, IntArray const& face_list) const;
  LineKey InsertLine(PointArray const& points) const;
  PolygonKey InsertPolygon(PointArray const& points) const;
  MeshKey InsertMesh(size_t rows, size_t columns, PointArray const& points) const;
  SphereKey InsertSphere(Point const& center, float radius, Vector const& axis, Vector const& ortho) const;
  CylinderKey InsertCylinder(Point const& first, Point const& second, float radius, CylinderCaps caps) const;
  NURBSSurfaceKey InsertNURBSSurface(NURBSSurfaceShape const& shape) const;
  // Circles and circular arcs and wedges pass through three points, in order.
  CircleKey InsertCircle(Point const& start, Point const& middle, Point const& end) const;
  CircularArcKey InsertCircularArc(Point const& start, Point const& middle, Point const& end) const;
  CircularWedgeKey InsertCircularWedge(Point const& start, Point const& middle, Point const& end) const;
  // An ellipse runs from the end of its major axis towards that of its
  // minor axis. An arc covers the fractions [start, end] of the turn.
  EllipseKey InsertEllipse(Point const& center, Point const& major, Point const& minor) const;
  EllipticalArcKey InsertEllipticalArc(Point const& center, Point const& major, Point const& minor,
                                       float start, float end) const;
  NURBSCurveKey InsertNURBSCurve(NURBSCurveShape const& shape) const;
  TextKey InsertText(TextKit const& kit) const;

  // Tessellation into this segment. The deviation is the largest distance
  // between a curve and its chords; a value not above 0 asks for the
  // default, 1/200 of the curve's radius (32 chords a full circle). Solids
  // come out clockwise seen from outside; a text gives its glyphs, clockwise
  // seen from +z.
  LineKey InsertLineFromGeometry(Key const& curve, float deviation = -1.0f) const;
  ShellKey InsertShellFromGeometry(Key const& surface) const;

  // Geometry of a type code, Search::Type::Geometry, Lines or Everything,
  // in the order of insertion. Only Search::Space::SegmentOnly is known.
  size_t Find(Search::Type type, Search::Space space, SearchResults& out) const;
  size_t Find(size_t count, Search::Type const* types, Search::Space space, SearchResults& out) const;
  // Deletes what the type selects from this segment.
  void Flush(Search::Type type, Search::Space space) const;

  // Attributes set on this segment alone. A Set merges the kit's settings
  // into those already there; an Unset removes them all.
  SegmentKey const& SetVisibility(VisibilityKit const& kit) const;
  bool ShowVisibility(VisibilityKit& out) const;
  SegmentKey const& SetDrawingAttribute(DrawingAttributeKit const& kit) const;
  bool ShowDrawingAttribute(DrawingAttributeKit& out) const;
  SegmentKey const& SetTextAttribute(TextAttributeKit const& kit) const;
  bool ShowTextAttribute(TextAttributeKit& out) const;
  SegmentKey const& SetMaterialMapping(MaterialMappingKit const& kit) const;
  bool ShowMaterialMapping(MaterialMappingKit& out) const;
  SegmentKey const& SetMaterialPalette(char const* name) const;
  bool ShowMaterialPalette(UTF8& out) const;
  SegmentKey const& SetModellingMatrix(MatrixKit const& kit) const;
  bool ShowModellingMatrix(MatrixKit& out) const;
  SegmentKey const& SetConditions(UTF8Array const& names) const;
  bool ShowConditions(UTF8Array& out) const;
  // One clip region a segment: loops of points in this segment's coordinates.
  SegmentKey const& SetClipRegion(PointArrayArray const& loops, Drawing::ClipSpace space,
                                  Drawing::ClipOperation operation) const;
  bool ShowClipRegion(PointArrayArray& loops, Drawing::ClipSpace& space, Drawing::ClipOperation& operation) const;
  SegmentKey const& SetCulling(CullingKit const& kit) const;
  bool ShowCulling(CullingKit& out) const;
  SegmentKey const& SetBounding(BoundingKit const& kit) const;
  bool ShowBounding(BoundingKit& out) const;
  SegmentKey const& SetAttributeLock(AttributeLockKit const& kit) const;
  bool ShowAttributeLock(AttributeLockKit& out) const;
  SegmentKey const& SetCamera(CameraKit const& kit) const;
  bool ShowCamera(CameraKit& out) const;
  void UnsetEverything() const;

  // Named definitions, found from a path's leaf upwards.
  ImageDefinition DefineImage(char const* name, ImageKit const& image) const;
  TextureDefinition DefineTexture(char const* name, ImageDefinition const& image,
                                  TextureOptionsKit const& options) const;
  TextureDefinition DefineTexture(char const* name, char const* image_name,
                                  TextureOptionsKit const& options) const;
  MaterialPaletteDefinition DefineMaterialPalette(char const* name, std::vector<MaterialKit> const& entries) const;
};

// A segment that belongs to no scene, made by Database::CreateOffScreenWindow.
class OffScreenWindowKey : public SegmentKey {
 public:
  OffScreenWindowKey() = default;
  explicit OffScreenWindowKey(Key const& key) : SegmentKey(key) {}
};

}  // namespace KZV
