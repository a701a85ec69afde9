#include "tools/importer/AssimpImporter.h"

#include <assimp/GltfMaterial.h>
#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <unordered_map>
#include <utility>

#include "scene/Database.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKits.h"
#include "scene/ShellKey.h"
#include "scene/TextureOptionsKit.h"
#include "tools/importer/ImportedImage.h"
#include "tools/importer/PlyPointCloud.h"

namespace qx_tool {
namespace {

namespace fs = std::filesystem;
using KZV::MaterialSetting;
using Channel = KZV::Material::Channel;

// Assimp's matrices act on column vectors, the scene's on row vectors: the
// scene's matrix is the transpose.
KZV::MatrixKit ToMatrix(aiMatrix4x4 const& m) {
  float const elements[16] = {m.a1, m.b1, m.c1, m.d1, m.a2, m.b2, m.c2, m.d2,
                              m.a3, m.b3, m.c3, m.d3, m.a4, m.b4, m.c4, m.d4};
  KZV::MatrixKit kit;
  kit.SetElements(16, elements);
  return kit;
}

// Exactly the identity: Assimp's own test allows 0.01 in every element,
// which would drop the placements of a model a few millimetres across.
bool IsExactIdentity(aiMatrix4x4 const& m) {
  return m == aiMatrix4x4();
}

// glTF gives colours in linear light; the scene holds display (sRGB)
// colours, as the other formats give them.
float LinearToDisplay(float c) {
  c = std::clamp(c, 0.0f, 1.0f);
  return c <= 0.0031308f ? 12.92f * c : 1.055f * std::pow(c, 1.0f / 2.4f) - 0.055f;
}

KZV::RGBAColor DisplayColor(aiColor4D const& c, bool linear) {
  if (!linear) return {c.r, c.g, c.b, c.a};
  return {LinearToDisplay(c.r), LinearToDisplay(c.g), LinearToDisplay(c.b), c.a};
}

// The vertices of a mesh that one piece of geometry uses: all of them, or
// those of a list of indices.
struct VertexSelection {
  std::vector<unsigned> const* indices;
  size_t count;
  unsigned operator[](size_t i) const { return indices ? (*indices)[i] : static_cast<unsigned>(i); }
};

template <class T, class Convert>
std::vector<T> Gather(VertexSelection const& selection, Convert convert) {
  std::vector<T> out;
  out.reserve(selection.count);
  for (size_t i = 0; i < selection.count; ++i) out.push_back(convert(selection[i]));
  return out;
}

KZV::PointArray GatherPoints(aiMesh const& mesh, VertexSelection const& selection) {
  return Gather<KZV::Point>(selection, [&](unsigned i) {
    aiVector3D const& v = mesh.mVertices[i];
    return KZV::Point(v.x, v.y, v.z);
  });
}

void SetVertexAttributes(KZV::ShellKey& shell, aiMesh const& mesh, VertexSelection const& selection,
                         KZV::Shell::Component color_component, bool linear_colors) {
  if (mesh.HasNormals()) {
    shell.SetVertexNormalsByRange(0, Gather<KZV::Vector>(selection, [&](unsigned i) {
      aiVector3D const& n = mesh.mNormals[i];
      return KZV::Vector(n.x, n.y, n.z);
    }));
  }
  if (mesh.HasTextureCoords(0)) {
    KZV::FloatArray uvs;
    uvs.reserve(2 * selection.count);
    for (size_t i = 0; i < selection.count; ++i) {
      aiVector3D const& uv = mesh.mTextureCoords[0][selection[i]];
      uvs.push_back(uv.x);
      uvs.push_back(uv.y);
    }
    shell.SetVertexParametersByRange(0, selection.count, uvs, 2);
  }
  if (mesh.HasVertexColors(0)) {
    shell.SetVertexRGBAColorsByRange(color_component, 0, Gather<KZV::RGBAColor>(selection, [&](unsigned i) {
      return DisplayColor(mesh.mColors[0][i], linear_colors);
    }));
  }
}

// The primitives of one mesh, sorted by kind. Line segments that continue
// one another are joined into polylines.
struct MeshPrimitives {
  KZV::IntArray face_list;
  std::vector<std::vector<unsigned>> polylines;
  std::vector<unsigned> points;
  size_t bad_faces = 0;

  explicit MeshPrimitives(aiMesh const& mesh) {
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
      aiFace const& face = mesh.mFaces[f];
      unsigned const* const begin = face.mIndices;
      unsigned const* const end = begin + face.mNumIndices;
      if (face.mNumIndices == 0 ||
          std::any_of(begin, end, [&](unsigned i) { return i >= mesh.mNumVertices; })) {
        ++bad_faces;
      } else if (face.mNumIndices >= 3) {
        face_list.push_back(static_cast<int>(face.mNumIndices));
        face_list.insert(face_list.end(), begin, end);
      } else if (face.mNumIndices == 2) {
        AddSegment(face.mIndices[0], face.mIndices[1]);
      } else {
        points.push_back(face.mIndices[0]);
      }
    }
    // A mesh without faces is a point cloud of all its vertices.
    if (mesh.mNumFaces == 0) {
      points.resize(mesh.mNumVertices);
      for (unsigned i = 0; i < mesh.mNumVertices; ++i) points[i] = i;
    }
  }

  void AddSegment(unsigned from, unsigned to) {
    if (polylines.empty() || polylines.back().back() != from) polylines.push_back({from});
    polylines.back().push_back(to);
  }
};

class SceneBuilder {
 public:
  SceneBuilder(aiScene const& scene, fs::path directory, bool linear_colors, ImportedScene& out)
      : scene_(scene),
        directory_(std::move(directory)),
        linear_colors_(linear_colors),
        out_(out),
        mappings_(scene.mNumMaterials) {}

  void Build(std::string const& name) {
    out_.root = NewRoot(name);
    library_name_ = name + " shared meshes";
    CountMeshUses();
    AddNodes();
  }

 private:
  // The files that Assimp reads wind the front of a face counter-clockwise,
  // which is right-handed: normals computed from the faces then point to
  // the front.
  static KZV::SegmentKey NewRoot(std::string const& name) {
    KZV::SegmentKey const root = KZV::Database::CreateRootSegment(name.c_str());
    root.SetDrawingAttribute(KZV::DrawingAttributeKit().SetPolygonHandedness(KZV::Drawing::Handedness::Right));
    return root;
  }

  void CountMeshUses() {
    uses_.assign(scene_.mNumMeshes, 0);
    ForEachNode([&](aiNode const& node) {
      for (unsigned i = 0; i < node.mNumMeshes; ++i)
        if (node.mMeshes[i] < scene_.mNumMeshes) ++uses_[node.mMeshes[i]];
    });
  }

  template <class Visit>
  void ForEachNode(Visit visit) const {
    std::vector<aiNode const*> stack{scene_.mRootNode};
    while (!stack.empty()) {
      aiNode const* node = stack.back();
      stack.pop_back();
      visit(*node);
      for (unsigned i = 0; i < node->mNumChildren; ++i) stack.push_back(node->mChildren[i]);
    }
  }

  // Depth first with a stack of its own, so that deep trees can't exhaust
  // the call stack.
  void AddNodes() {
    std::vector<std::pair<aiNode const*, KZV::SegmentKey>> stack{{scene_.mRootNode, out_.root}};
    while (!stack.empty()) {
      auto [node, owner] = stack.back();
      stack.pop_back();
      KZV::SegmentKey const segment = owner.Subsegment(node->mName.C_Str());
      if (!IsExactIdentity(node->mTransformation)) segment.SetModellingMatrix(ToMatrix(node->mTransformation));
      for (unsigned i = 0; i < node->mNumMeshes; ++i) PlaceMesh(node->mMeshes[i], segment);
      for (unsigned i = node->mNumChildren; i-- > 0;) stack.emplace_back(node->mChildren[i], segment);
    }
  }

  // A mesh placed once goes into a subsegment of its node; one placed by
  // several nodes is built once in the library and included by each.
  void PlaceMesh(unsigned index, KZV::SegmentKey const& node_segment) {
    if (index >= scene_.mNumMeshes) return;
    if (uses_[index] == 1) {
      BuildMesh(index, node_segment.Subsegment(MeshName(index).c_str()));
      return;
    }
    auto found = shared_.find(index);
    if (found == shared_.end()) {
      if (out_.library.Empty()) out_.library = NewRoot(library_name_);
      KZV::SegmentKey const segment = out_.library.Subsegment(MeshName(index).c_str());
      BuildMesh(index, segment);
      found = shared_.emplace(index, segment).first;
    }
    node_segment.IncludeSegment(found->second);
  }

  std::string MeshName(unsigned index) const {
    aiString const& name = scene_.mMeshes[index]->mName;
    return name.length > 0 ? name.C_Str() : "mesh " + std::to_string(index);
  }

  void BuildMesh(unsigned index, KZV::SegmentKey const& segment) {
    aiMesh const& mesh = *scene_.mMeshes[index];
    if (mesh.mMaterialIndex < scene_.mNumMaterials) segment.SetMaterialMapping(Mapping(mesh.mMaterialIndex));
    MeshPrimitives const primitives(mesh);
    if (primitives.bad_faces > 0) {
      out_.warnings.push_back("mesh " + MeshName(index) + ": left out " + std::to_string(primitives.bad_faces) +
                              " faces with vertex indices out of range");
    }
    if (!primitives.face_list.empty()) {
      VertexSelection const all{nullptr, mesh.mNumVertices};
      KZV::ShellKey shell = segment.InsertShell(GatherPoints(mesh, all), primitives.face_list);
      SetVertexAttributes(shell, mesh, all, KZV::Shell::Component::Faces, linear_colors_);
    }
    for (auto const& polyline : primitives.polylines)
      segment.InsertLine(GatherPoints(mesh, {&polyline, polyline.size()}));
    if (!primitives.points.empty()) {
      VertexSelection const points{&primitives.points, primitives.points.size()};
      KZV::ShellKey cloud = segment.InsertShell(GatherPoints(mesh, points), {});
      SetVertexAttributes(cloud, mesh, points, KZV::Shell::Component::Vertices, linear_colors_);
    }
  }

  KZV::MaterialMappingKit const& Mapping(unsigned index) {
    if (!mappings_[index]) mappings_[index] = MakeMapping(*scene_.mMaterials[index]);
    return *mappings_[index];
  }

  KZV::MaterialMappingKit MakeMapping(aiMaterial const& material) {
    KZV::MaterialMappingKit kit;
    if (auto const color = DiffuseColor(material)) {
      kit.SetFaceColor(*color);
      kit.SetLineColor(MaterialSetting::Color(*color));
      kit.SetVertexChannel(Channel::DiffuseColor, MaterialSetting::Color(*color));
    }
    if (auto const texture = DiffuseTexture(material))
      kit.SetFaceChannel(Channel::DiffuseTexture, MaterialSetting::TextureName(texture->c_str()));
    aiColor3D specular;
    if (material.Get(AI_MATKEY_COLOR_SPECULAR, specular) == AI_SUCCESS && !specular.IsBlack())
      kit.SetFaceChannel(Channel::Specular, MaterialSetting::Color(KZV::RGBColor{specular.r, specular.g, specular.b}));
    // Assimp gives glossiness as a Phong exponent, also for rough metals.
    float shininess = 0;
    if (material.Get(AI_MATKEY_SHININESS, shininess) == AI_SUCCESS && shininess > 0)
      kit.SetFaceChannel(Channel::Gloss, MaterialSetting::Number(shininess));
    return kit;
  }

  // The diffuse color with the material's opacity as alpha. Opaque and
  // masked glTF materials ignore the alpha of their color; transmission
  // (glass) makes a material see-through whatever its alpha mode.
  std::optional<KZV::RGBAColor> DiffuseColor(aiMaterial const& material) const {
    aiColor4D diffuse;
    if (material.Get(AI_MATKEY_COLOR_DIFFUSE, diffuse) != AI_SUCCESS) return std::nullopt;
    float opacity = 1;
    if (material.Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS) diffuse.a = opacity;
    aiString alpha_mode;
    if (material.Get(AI_MATKEY_GLTF_ALPHAMODE, alpha_mode) == AI_SUCCESS && alpha_mode != aiString("BLEND"))
      diffuse.a = 1;
    float transmission = 0;
    if (material.Get(AI_MATKEY_TRANSMISSION_FACTOR, transmission) == AI_SUCCESS)
      diffuse.a *= 1 - kTransmittedLight * std::clamp(transmission, 0.0f, 1.0f);
    diffuse.a = std::clamp(diffuse.a, 0.0f, 1.0f);
    return DisplayColor(diffuse, linear_colors_);
  }

  // The name of the texture definition of the material's diffuse texture;
  // each texture file is defined once, on the root.
  std::optional<std::string> DiffuseTexture(aiMaterial const& material) {
    aiString path;
    if (material.GetTexture(aiTextureType_DIFFUSE, 0, &path) != AI_SUCCESS &&
        material.GetTexture(aiTextureType_BASE_COLOR, 0, &path) != AI_SUCCESS)
      return std::nullopt;
    auto [found, added] = textures_.try_emplace(path.C_Str());
    if (added) found->second = DefineTexture(path.C_Str(), material.GetName().C_Str());
    return found->second;
  }

  std::optional<std::string> DefineTexture(std::string const& path, std::string const& material) {
    std::string problem;
    std::optional<KZV::ImageKit> image = LoadImage(path, problem);
    if (!image) {
      out_.warnings.push_back("material " + material + ": texture left out: " + problem);
      return std::nullopt;
    }
    std::string const number = std::to_string(++texture_count_);
    KZV::ImageDefinition const definition = out_.root.DefineImage(("image " + number).c_str(), *image);
    KZV::TextureOptionsKit options;
    options.SetParameterizationSource(KZV::Material::Texture::Parameterization::UV)
        .SetTiling(KZV::Material::Texture::Tiling::Repeat);
    std::string name = "texture " + number;
    out_.root.DefineTexture(name.c_str(), definition, options);
    return name;
  }

  std::optional<KZV::ImageKit> LoadImage(std::string const& path, std::string& problem) const {
    if (aiTexture const* embedded = scene_.GetEmbeddedTexture(path.c_str())) return EmbeddedImage(*embedded, problem);
    std::optional<ImportedImage> file = ReadImageFile(FindTextureFile(path).string(), problem);
    if (!file) return std::nullopt;
    KZV::ImageKit kit;
    kit.SetFormat(file->header.format).SetSize(file->header.width, file->header.height).SetData(file->bytes);
    return kit;
  }

  // An embedded texture is a file's encoded bytes, or raw texels when
  // Assimp has decoded it already.
  static std::optional<KZV::ImageKit> EmbeddedImage(aiTexture const& texture, std::string& problem) {
    auto const* bytes = reinterpret_cast<uint8_t const*>(texture.pcData);
    KZV::ImageKit kit;
    if (texture.mHeight == 0) {
      auto const header = ReadImageHeader(bytes, texture.mWidth);
      if (!header) {
        problem = "embedded image of format '" + std::string(texture.achFormatHint) + "' is not PNG, JPEG or BMP";
        return std::nullopt;
      }
      kit.SetFormat(header->format).SetSize(header->width, header->height);
      kit.SetData(KZV::ByteArray(bytes, bytes + texture.mWidth));
    } else {
      size_t const size = size_t{texture.mWidth} * texture.mHeight * sizeof(aiTexel);
      kit.SetFormat(KZV::Image::Format::BGRA).SetSize(texture.mWidth, texture.mHeight);
      kit.SetData(KZV::ByteArray(bytes, bytes + size));
    }
    return kit;
  }

  // Texture paths may be written with backslashes, or lead to a folder
  // that only existed where the file was made; then the file beside the
  // model with the same name serves.
  fs::path FindTextureFile(std::string path) const {
    std::replace(path.begin(), path.end(), '\\', '/');
    fs::path const written(path);
    fs::path const beside = written.is_absolute() ? written : directory_ / written;
    std::error_code error;
    if (fs::is_regular_file(beside, error)) return beside;
    fs::path const by_name = directory_ / written.filename();
    return fs::is_regular_file(by_name, error) ? by_name : beside;
  }

  // The share of light that fully transmissive glass lets through; the rest
  // keeps it visible as a tinted pane.
  static constexpr float kTransmittedLight = 0.8f;

  aiScene const& scene_;
  fs::path const directory_;
  bool const linear_colors_;
  ImportedScene& out_;
  std::string library_name_;
  std::vector<unsigned> uses_;
  std::unordered_map<unsigned, KZV::SegmentKey> shared_;
  std::vector<std::optional<KZV::MaterialMappingKit>> mappings_;
  std::unordered_map<std::string, std::optional<std::string>> textures_;
  unsigned texture_count_ = 0;
};

// A scan as one shell of points, coloured where the file gives colours.
ImportedScene PointCloudScene(PlyPointCloud const& cloud, std::string const& name) {
  ImportedScene out;
  out.root = KZV::Database::CreateRootSegment(name.c_str());
  KZV::ShellKey shell = out.root.Subsegment("points").InsertShell(cloud.points, {});
  if (!cloud.colors.empty()) shell.SetVertexRGBAColorsByRange(KZV::Shell::Component::Vertices, 0, cloud.colors);
  return out;
}

bool IsGltf(fs::path const& file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return std::tolower(c); });
  return extension == ".gltf" || extension == ".glb";
}

void CheckReadableFile(std::string const& path) {
  std::error_code error;
  fs::file_status const status = fs::status(path, error);
  if (!fs::exists(status)) throw ImportError("no such file: " + path);
  if (fs::is_directory(status)) throw ImportError(path + " is a directory, not a 3D file");
  if (!std::ifstream(path, std::ios::binary)) throw ImportError("cannot read " + path);
  if (fs::file_size(path, error) == 0) throw ImportError(path + " is empty");
}

}  // namespace

// Assimp 5.2.5 loses the bones of skinned glTF meshes. Sanitizer builds
// look this hook up and ignore leaks inside libassimp; elsewhere it is
// never called.
extern "C" char const* __lsan_default_suppressions() { return "leak:libassimp.so\n"; }

ImportedScene AssimpImporter::Import(std::string const& path) {
  CheckReadableFile(path);
  if (std::optional<PlyPointCloud> cloud = ReadPlyPointCloud(path))
    return PointCloudScene(*cloud, fs::path(path).filename().string());
  Assimp::Importer importer;
  aiScene const* scene = importer.ReadFile(path, 0);
  if (!scene) throw ImportError("cannot import " + path + ": " + importer.GetErrorString());
  if (!scene->mRootNode || scene->mNumMeshes == 0) throw ImportError(path + " holds no geometry");
  ImportedScene out;
  fs::path const file(path);
  SceneBuilder(*scene, file.parent_path(), IsGltf(file), out).Build(file.filename().string());
  return out;
}

}  // namespace qx_tool
