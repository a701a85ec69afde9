#pragma once
// Writes small glTF files for the importer tests: one mesh of triangles,
// placed by nodes, with one material, the binary data in a .bin beside it.
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace qx_test {

struct GltfScene {
  std::vector<std::array<float, 3>> positions;
  std::vector<uint16_t> indices;                 // triangles
  std::vector<std::array<float, 4>> colors;      // COLOR_0, linear; none if empty
  std::vector<std::array<float, 3>> placements;  // one node translated by each
  std::string material;                          // JSON of the one material
  std::vector<std::string> extensions;           // names of the extensions used
};

namespace detail {

template <class T>
size_t Append(std::vector<uint8_t>& buffer, std::vector<T> const& values) {
  size_t const offset = buffer.size();
  buffer.resize(offset + values.size() * sizeof(T));
  if (!values.empty()) std::memcpy(buffer.data() + offset, values.data(), values.size() * sizeof(T));
  buffer.resize((buffer.size() + 3) / 4 * 4);
  return offset;
}

inline std::string View(size_t offset, size_t length) {
  return "{\"buffer\":0,\"byteOffset\":" + std::to_string(offset) + ",\"byteLength\":" + std::to_string(length) + "}";
}

inline std::string Accessor(int view, int component, size_t count, char const* type) {
  return "{\"bufferView\":" + std::to_string(view) + ",\"componentType\":" + std::to_string(component) +
         ",\"count\":" + std::to_string(count) + ",\"type\":\"" + type + "\"}";
}

}  // namespace detail

inline void WriteGltf(std::filesystem::path const& path, GltfScene const& scene) {
  std::vector<uint8_t> buffer;
  size_t const positions = detail::Append(buffer, scene.positions);
  size_t const indices = detail::Append(buffer, scene.indices);
  size_t const colors = detail::Append(buffer, scene.colors);
  auto vector = [](std::array<float, 3> const& v) {
    return "[" + std::to_string(v[0]) + "," + std::to_string(v[1]) + "," + std::to_string(v[2]) + "]";
  };

  std::string views = detail::View(positions, scene.positions.size() * 12) + "," +
                      detail::View(indices, scene.indices.size() * 2);
  std::string accessors = detail::Accessor(0, 5126, scene.positions.size(), "VEC3") + "," +
                          detail::Accessor(1, 5123, scene.indices.size(), "SCALAR");
  std::string attributes = "\"POSITION\":0";
  if (!scene.colors.empty()) {
    views += "," + detail::View(colors, scene.colors.size() * 16);
    accessors += "," + detail::Accessor(2, 5126, scene.colors.size(), "VEC4");
    attributes += ",\"COLOR_0\":2";
  }
  std::string nodes, roots;
  for (size_t i = 0; i < scene.placements.size(); ++i) {
    auto const& t = scene.placements[i];
    if (i) nodes += ",", roots += ",";
    nodes += "{\"name\":\"node " + std::to_string(i) + "\",\"mesh\":0,\"translation\":" + vector(t) + "}";
    roots += std::to_string(i);
  }
  std::string used;
  for (auto const& name : scene.extensions) used += (used.empty() ? "\"" : ",\"") + name + "\"";
  std::string const bin = path.stem().string() + ".bin";
  std::ofstream(path.parent_path() / bin, std::ios::binary)
      .write(reinterpret_cast<char const*>(buffer.data()), std::streamsize(buffer.size()));
  std::ofstream(path) << "{\"asset\":{\"version\":\"2.0\"},\"extensionsUsed\":[" << used
                      << "],\"scene\":0,\"scenes\":[{\"nodes\":[" << roots
                      << "]}],\"nodes\":[" << nodes << "],\"meshes\":[{\"primitives\":[{\"attributes\":{"
                      << attributes << "},\"indices\":1,\"material\":0}]}],\"materials\":["
                      << (scene.material.empty() ? "{}" : scene.material) << "],\"accessors\":[" << accessors
                      << "],\"bufferViews\":[" << views << "],\"buffers\":[{\"uri\":\"" << bin
                      << "\",\"byteLength\":" << buffer.size() << "}]}";
}

}  // namespace qx_test
