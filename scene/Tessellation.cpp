// SegmentKey's operations that turn curves into lines and surfaces into
// shells.
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "scene/detail/Entities.h"
#include "scene/detail/Tessellate.h"

namespace KZV {

LineKey SegmentKey::InsertLineFromGeometry(Key const& curve, float deviation) const {
  auto entity = detail::Require<detail::GeometryData>(curve);
  return InsertLine(detail::TessellateCurve(*entity, deviation));
}

ShellKey SegmentKey::InsertShellFromGeometry(Key const& surface) const {
  auto entity = detail::Require<detail::GeometryData>(surface);
  detail::Faces faces = detail::TessellateSurface(*entity);
  return InsertShell(faces.points, faces.face_list);
}

}  // namespace KZV
