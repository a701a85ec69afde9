#include "geometry/mesh/MeshData.h"

namespace QX::Store {

void MeshData::Reset() {
  face_elements.clear();
  line_elements.clear();
  point_elements.clear();
  face_element_bits.clear();
  line_element_bits.clear();
  point_element_bits.clear();
  points = nullptr;
  normals = nullptr;
  uvs = nullptr;
  colors = nullptr;
  point_count = normal_count = uv_count = color_count = 0;
  face_material = line_material = point_material = 0;
  face_material_map = line_material_map = point_material_map = 0;
  flags = kResetMeshFlags;
}

}  // namespace QX::Store
