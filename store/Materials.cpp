// Materials, material maps and matrices of a model.
#include "store/Logger.h"
#include "store/ModelImpl.h"

namespace QX::Store {

MaterialKey ModelImpl::InsertMaterial(RGBAColor const& color) {
  TestWritable();
  MaterialKey const key = next.material++;
  simple_colors.push_back(color);
  materials.Insert(key, MaterialEntry{uint32_t(simple_colors.size() - 1), MaterialKind::SimpleColor});
  dirty = true;
  return key;
}

MaterialKey ModelImpl::InsertMaterial(Material const& material) {
  if (material.textures.size() > 2) throw Exception("Invalid diffuse texture count.");
  size_t const environment = material.environment.size();
  if (environment != 0 && environment != 1 && environment != 6)
    throw Exception("Invalid environment image count.");
  TestWritable();
  for (ImageKey image : material.environment) CheckImageKey(image);
  for (TextureRef const& texture : material.textures) {
    CheckImageKey(texture.image);
    CheckMatrixKey(texture.matrix);
  }
  if (material.line_pattern != kNoKey) CheckLinePatternKey(material.line_pattern);

  MaterialKey const key = next.material++;
  material_records.push_back(MaterialRecord{material.color, material.mirror, material.specular,
                                            material.gloss, material.line_pattern,
                                            material.environment, material.textures});
  materials.Insert(key, MaterialEntry{uint32_t(material_records.size() - 1), MaterialKind::Material});
  dirty = true;
  return key;
}

// A material of another kind becomes a simple colour; its old payload stays
// unused in its vector.
void ModelImpl::SetMaterial(MaterialKey key, RGBAColor const& color) {
  TestWritable();
  CheckMaterialKey(key);
  MaterialEntry& entry = *materials.Find(key);
  if (entry.kind == MaterialKind::SimpleColor) {
    simple_colors[entry.index] = color;
  } else {
    simple_colors.push_back(color);
    entry = MaterialEntry{uint32_t(simple_colors.size() - 1), MaterialKind::SimpleColor};
  }
  dirty = true;
}

MaterialMapKey ModelImpl::InsertMaterialMap(std::vector<MaterialKey> const& keys) {
  TestWritable();
  MaterialMapKey const key = next.material_map++;
  material_maps.Insert(key, MaterialMap{keys, {}});
  dirty = true;
  return key;
}

MatrixKey ModelImpl::InsertMatrix(double const* twelve) {
  TestWritable();
  MatrixKey const key = next.matrix++;
  Matrix matrix;
  std::copy(twelve, twelve + 12, matrix.begin());
  matrices.Insert(key, matrix);
  dirty = true;
  return key;
}

MatrixKey ModelImpl::InsertMatrix(float const* twelve) {
  double wide[12];
  std::copy(twelve, twelve + 12, wide);
  return InsertMatrix(wide);
}

void ModelImpl::GetMatrix(MatrixKey key, double* twelve) const {
  Matrix const* matrix = matrices.Find(key);
  if (!matrix) throw Exception("Used an invalid MatrixKey");
  std::copy(matrix->begin(), matrix->end(), twelve);
}

}  // namespace QX::Store
