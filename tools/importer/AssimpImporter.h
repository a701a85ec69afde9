#pragma once
// Reads a 3D file (glTF, OBJ, STL, PLY, FBX and the other formats Assimp
// knows) and builds it as a scene of segments.
#include <stdexcept>
#include <string>
#include <vector>

#include "scene/SegmentKey.h"

namespace qx_tool {

// A file that can't be imported; the text says why in plain words.
class ImportError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ImportedScene {
  // The file's node tree: one segment a node, named after it, with the
  // node's transform as modelling matrix. The file's textures are defined
  // here, so export this segment.
  KZV::SegmentKey root;
  // A root segment of its own with one subsegment for each mesh that
  // several nodes place; those nodes include it, so it is drawn only
  // through them. Empty when no mesh is shared.
  KZV::SegmentKey library;
  // What was left out, such as textures that could not be found.
  std::vector<std::string> warnings;
};

class AssimpImporter {
 public:
  // Throws ImportError for a file that is missing, unreadable, of an
  // unknown format, damaged or without any geometry.
  static ImportedScene Import(std::string const& path);
};

}  // namespace qx_tool
