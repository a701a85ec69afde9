#pragma once
// PLY files of points only (scans), read by ourselves because Assimp drops
// their colours: positions and, where the vertices carry them, colours.
#include <optional>
#include <string>
#include <vector>

#include "scene/Types.h"

namespace qx_tool {

struct PlyPointCloud {
  KZV::PointArray points;
  KZV::RGBAColorArray colors;  // empty, or one a point
};

// The points of a PLY file whose only non-empty element is `vertex` with
// scalar properties x, y, z (colours as red/green/blue[/alpha] or
// diffuse_red/green/blue[/alpha]); nullopt for any other PLY, which Assimp
// reads. Throws ImportError for a point cloud whose data is cut short or
// damaged.
std::optional<PlyPointCloud> ReadPlyPointCloud(std::string const& path);

}  // namespace qx_tool
