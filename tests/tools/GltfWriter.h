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

inline void WriteGltf(std::filesystem::path const& path, GltfScene const& scene) {
  std::vector<uint8_t> buffer;
  std::string views, accessors;
  int count = 0;
  // Appends `values` to the buffer, each a glTF `type` of `component`s, as
  // a view and an accessor of their own.
  auto add = [&](auto const& values, int component, char const* type) {
    size_t const offset = buffer.size(), length = values.size() * sizeof(values[0]);
    buffer.resize((offset + length + 3) / 4 * 4);
    if (length) std::memcpy(buffer.data() + offset, values.data(), length);
    std::string const n = std::to_string(count++), separator = n == "0" ? "" : ",";
    views += separator + "{\"buffer\":0,\"byteOffset\":" + std::to_string(offset) +
             ",\"byteLength\":" + std::to_string(length) + "}";
    accessors += separator + "{\"bufferView\":" + n + ",\"componentType\":" + std::to_string(component) +
                 ",\"count\":" + std::to_string(values.size()) + ",\"type\":\"" + type + "\"}";
  };
  add(scene.positions, 5126, "VEC3");
  add(scene.indices, 5123, "SCALAR");
  if (!scene.colors.empty()) add(scene.colors, 5126, "VEC4");

  std::string nodes, roots, used;
  for (size_t i = 0; i < scene.placements.size(); ++i) {
    auto const& t = scene.placements[i];
    nodes += std::string(i ? "," : "") + "{\"name\":\"node " + std::to_string(i) + "\",\"mesh\":0,\"translation\":[" +
             std::to_string(t[0]) + "," + std::to_string(t[1]) + "," + std::to_string(t[2]) + "]}";
    roots += (i ? "," : "") + std::to_string(i);
  }
  for (auto const& name : scene.extensions) used += (used.empty() ? "\"" : ",\"") + name + "\"";
  std::string const bin = path.stem().string() + ".bin";
  std::ofstream(path.parent_path() / bin, std::ios::binary)
      .write(reinterpret_cast<char const*>(buffer.data()), std::streamsize(buffer.size()));
  std::ofstream(path) << "{\"asset\":{\"version\":\"2.0\"},\"extensionsUsed\":[" << used
                      << "],\"scene\":0,\"scenes\":[{\"nodes\":[" << roots << "]}],\"nodes\":[" << nodes
                      << "],\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":0"
                      << (scene.colors.empty() ? "" : ",\"COLOR_0\":2") << "},\"indices\":1,\"material\":0}]}],"
                      << "\"materials\":[" << (scene.material.empty() ? "{}" : scene.material)
                      << "],\"accessors\":[" << accessors << "],\"bufferViews\":[" << views
                      << "],\"buffers\":[{\"uri\":\"" << bin << "\",\"byteLength\":" << buffer.size() << "}]}";
}

}  // namespace qx_test
