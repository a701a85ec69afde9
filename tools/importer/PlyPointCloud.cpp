#include "tools/importer/PlyPointCloud.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tools/importer/AssimpImporter.h"

namespace qx_tool {
namespace {

enum class Encoding { Ascii, LittleEndian, BigEndian };

struct Property {
  std::string name;
  size_t size = 0;     // bytes in binary files
  bool integer = true;
  bool is_signed = false;
  double scale = 1;    // what a colour value is divided by to fall in 0..1
};

struct Element {
  std::string name;
  uint64_t count = 0;
  std::vector<Property> properties;
  bool has_list = false;
};

struct Header {
  Encoding encoding = Encoding::Ascii;
  std::vector<Element> elements;
  size_t data_start = 0;
};

std::optional<Property> ScalarType(std::string const& type) {
  struct Known {
    char const* names[2];
    size_t size;
    bool integer, is_signed;
  };
  static constexpr Known kTypes[] = {
      {{"char", "int8"}, 1, true, true},      {{"uchar", "uint8"}, 1, true, false},
      {{"short", "int16"}, 2, true, true},    {{"ushort", "uint16"}, 2, true, false},
      {{"int", "int32"}, 4, true, true},      {{"uint", "uint32"}, 4, true, false},
      {{"float", "float32"}, 4, false, true}, {{"double", "float64"}, 8, false, true}};
  for (Known const& k : kTypes) {
    if (type != k.names[0] && type != k.names[1]) continue;
    Property p;
    p.size = k.size;
    p.integer = k.integer;
    p.is_signed = k.is_signed;
    if (k.integer && !k.is_signed) p.scale = double((uint64_t(1) << (8 * k.size)) - 1);
    return p;
  }
  return std::nullopt;
}

// Parses the header; nullopt when it isn't a PLY header we understand.
std::optional<Header> ParseHeader(std::string const& bytes) {
  size_t const end = bytes.find("end_header");
  if (bytes.rfind("ply", 0) != 0 || end == std::string::npos || end > (1 << 16)) return std::nullopt;
  size_t const line_end = bytes.find('\n', end);
  if (line_end == std::string::npos) return std::nullopt;
  Header header;
  header.data_start = line_end + 1;
  std::istringstream lines(bytes.substr(0, end));
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string keyword;
    words >> keyword;
    if (keyword == "format") {
      std::string format;
      words >> format;
      if (format == "binary_little_endian") header.encoding = Encoding::LittleEndian;
      else if (format == "binary_big_endian") header.encoding = Encoding::BigEndian;
      else if (format != "ascii") return std::nullopt;
    } else if (keyword == "element") {
      Element element;
      if (!(words >> element.name >> element.count)) return std::nullopt;
      header.elements.push_back(std::move(element));
    } else if (keyword == "property") {
      if (header.elements.empty()) return std::nullopt;
      std::string type, name;
      words >> type;
      if (type == "list") {
        header.elements.back().has_list = true;
        continue;
      }
      std::optional<Property> property = ScalarType(type);
      if (!property || !(words >> name)) return std::nullopt;
      property->name = name;
      header.elements.back().properties.push_back(*property);
    }
  }
  return header;
}

// Where each wanted property sits in a vertex; -1 where it is missing.
struct Layout {
  int position[3] = {-1, -1, -1};
  int color[4] = {-1, -1, -1, -1};

  explicit Layout(Element const& vertex) {
    static char const* const kPosition[] = {"x", "y", "z"};
    static char const* const kColor[] = {"red", "green", "blue", "alpha"};
    for (int i = 0; i < int(vertex.properties.size()); ++i) {
      std::string const& name = vertex.properties[i].name;
      for (int a = 0; a < 3; ++a)
        if (name == kPosition[a]) position[a] = i;
      for (int c = 0; c < 4; ++c)
        if (name == kColor[c] || name == std::string("diffuse_") + kColor[c]) color[c] = i;
    }
  }
  bool HasPositions() const { return position[0] >= 0 && position[1] >= 0 && position[2] >= 0; }
  bool HasColors() const { return color[0] >= 0 && color[1] >= 0 && color[2] >= 0; }
};

double ReadBinary(char const* at, Property const& p, Encoding encoding) {
  unsigned char raw[8];
  std::memcpy(raw, at, p.size);
  if (encoding == Encoding::BigEndian) std::reverse(raw, raw + p.size);
  uint64_t bits = 0;
  for (size_t i = 0; i < p.size; ++i) bits |= uint64_t(raw[i]) << (8 * i);
  if (!p.integer) return p.size == 4 ? double(std::bit_cast<float>(uint32_t(bits))) : std::bit_cast<double>(bits);
  if (!p.is_signed) return double(bits);
  unsigned const shift = unsigned(64 - 8 * p.size);
  return double(int64_t(bits << shift) >> shift);
}

class CloudBuilder {
 public:
  CloudBuilder(Element const& vertex, uint64_t reserve) : vertex_(vertex), layout_(vertex) {
    cloud_.points.reserve(reserve);
    if (layout_.HasColors()) cloud_.colors.reserve(reserve);
  }

  // One vertex from the values of all its properties.
  void Add(double const* values) {
    auto const at = [&](int index) { return values[index]; };
    cloud_.points.emplace_back(float(at(layout_.position[0])), float(at(layout_.position[1])),
                               float(at(layout_.position[2])));
    if (!layout_.HasColors()) return;
    float channel[4] = {0, 0, 0, 1};
    for (int c = 0; c < 4; ++c) {
      int const index = layout_.color[c];
      if (index < 0) continue;
      double const value = at(index) / vertex_.properties[index].scale;
      channel[c] = float(std::clamp(value, 0.0, 1.0));
    }
    cloud_.colors.push_back({channel[0], channel[1], channel[2], channel[3]});
  }

  PlyPointCloud Take() { return std::move(cloud_); }

 private:
  Element const& vertex_;
  Layout const layout_;
  PlyPointCloud cloud_;
};

PlyPointCloud ReadBinaryVertices(std::string const& bytes, Header const& header, Element const& vertex,
                                 std::string const& path) {
  size_t stride = 0;
  for (Property const& p : vertex.properties) stride += p.size;
  uint64_t const available = bytes.size() - header.data_start;
  if (stride == 0 || vertex.count > available / stride) throw ImportError(path + ": the point data is cut short");
  CloudBuilder builder(vertex, vertex.count);
  std::vector<double> values(vertex.properties.size());
  char const* at = bytes.data() + header.data_start;
  for (uint64_t v = 0; v < vertex.count; ++v) {
    for (size_t i = 0; i < values.size(); ++i) {
      values[i] = ReadBinary(at, vertex.properties[i], header.encoding);
      at += vertex.properties[i].size;
    }
    builder.Add(values.data());
  }
  return builder.Take();
}

PlyPointCloud ReadAsciiVertices(std::string const& bytes, Header const& header, Element const& vertex,
                                std::string const& path) {
  size_t const per_vertex = vertex.properties.size();
  uint64_t const available = bytes.size() - header.data_start;
  // Each value takes at least two characters, a digit and a separator.
  if (vertex.count > available / (2 * per_vertex)) throw ImportError(path + ": the point data is cut short");
  CloudBuilder builder(vertex, vertex.count);
  std::vector<double> values(per_vertex);
  char const* at = bytes.data() + header.data_start;
  char const* const end = bytes.data() + bytes.size();
  for (uint64_t v = 0; v < vertex.count; ++v) {
    for (double& value : values) {
      while (at < end && std::isspace(static_cast<unsigned char>(*at))) ++at;
      if (at < end && *at == '+') ++at;
      auto const [next, error] = std::from_chars(at, end, value);
      if (error != std::errc()) throw ImportError(path + ": damaged point data at point " + std::to_string(v));
      at = next;
    }
    builder.Add(values.data());
  }
  return builder.Take();
}

}  // namespace

std::optional<PlyPointCloud> ReadPlyPointCloud(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  char magic[4] = {};
  if (!in.read(magic, 4) || std::memcmp(magic, "ply", 3) != 0) return std::nullopt;
  in.seekg(0);
  std::string const bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::optional<Header> const header = ParseHeader(bytes);
  if (!header) return std::nullopt;
  Element const* vertex = nullptr;
  for (Element const& element : header->elements) {
    if (element.name == "vertex" && !vertex) vertex = &element;
    else if (element.count > 0) return std::nullopt;
  }
  if (!vertex || vertex->count == 0 || vertex->has_list || !Layout(*vertex).HasPositions()) return std::nullopt;
  if (header->encoding == Encoding::Ascii) return ReadAsciiVertices(bytes, *header, *vertex, path);
  return ReadBinaryVertices(bytes, *header, *vertex, path);
}

}  // namespace qx_tool
