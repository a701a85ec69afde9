#pragma once
// A scene made in code that shows what a page can hold: colored and
// textured shells, lines, curved solids, a NURBS surface, an assembly of
// repeated parts, a reference, a condition, a clip region and texts.
#include "scene/SegmentKey.h"

namespace qx_tool {

struct DemoScene {
  KZV::SegmentKey root;   // the scene to export
  KZV::SegmentKey parts;  // a root segment of parts that the scene includes
};

DemoScene BuildDemoScene();

}  // namespace qx_tool
