#include "stream/StreamSummary.h"

#include <cstdio>
#include <unordered_map>
#include <unordered_set>

#include "files/File.h"
#include "files/FileSystem.h"
#include "files/ByteOrder.h"
#include "stream/StreamReader.h"
#include "stream/WireTags.h"

namespace QX::Store {

namespace {

bool ContextBound(uint32_t tag) {
  switch (tag) {
    case Tag::MeshList: case Tag::Extension: case Tag::FullMaterial: case Tag::MaterialMap:
    case Tag::Bounds: case Tag::Image: case Tag::Group: case Tag::Instance: case Tag::TreeNode:
    case Tag::SmallMesh: case Tag::LargeMesh: case Tag::SimpleColor: case Tag::PolyPolygon:
    case Tag::ImageReuse: case Tag::TreeHead: case Tag::MeshChunk: case Tag::ClipRegion:
    case Tag::LinePattern: case Tag::Material: case Tag::Matrix:
      return true;
    default:
      return false;
  }
}

uint64_t Pair(uint32_t model, uint32_t key) { return uint64_t(model) << 32 | key; }

// Follows what the stream has defined so far and checks each reference
// against it.
class ReferenceCheck {
 public:
  explicit ReferenceCheck(StreamSummary& summary) : summary_(summary) {}

  void Record(StreamRecord const& r) {
    uint8_t const* p = r.bytes.data();
    if (r.tag == Tag::Context) {
      context_ = GetU32(p + 4);
      has_context_ = true;
      return;
    }
    if (ContextBound(r.tag) && !has_context_) Report(r, "comes before any model context");
    switch (r.tag) {
      case Tag::SimpleColor: case Tag::FullMaterial: case Tag::Material:
        materials_.insert(Pair(context_, GetU32(p + 4)));
        break;
      case Tag::Matrix:
        matrices_.insert(Pair(context_, GetU32(p + 4)));
        break;
      case Tag::MeshDef:
        CheckMaterials(r, GetU32(p + 4), p + 20);
        meshes_.insert(Pair(GetU32(p + 4), GetU32(p + 8)));
        break;
      case Tag::Inclusion:
        inclusion_models_[GetU32(p + 4)] = GetU32(p + 8);
        break;
      case Tag::LiveInclusion:
        inclusion_models_[GetU32(p + 8)] = GetU32(p + 12);
        break;
      case Tag::SmallMesh: case Tag::LargeMesh: case Tag::MeshChunk:
        Need(r, meshes_, context_, GetU32(p + 4), "mesh");
        break;
      case Tag::Instance:
        CheckInstance(r, p);
        break;
      default:
        break;
    }
  }

 private:
  void CheckInstance(StreamRecord const& r, uint8_t const* p) {
    auto const inclusion = inclusion_models_.find(GetU32(p + 4));
    if (inclusion == inclusion_models_.end()) {
      Report(r, "names an inclusion that wasn't announced");
    } else {
      Need(r, meshes_, inclusion->second, GetU32(p + 24), "mesh");
    }
    Need(r, matrices_, context_, GetU32(p + 28), "matrix");
    CheckMaterials(r, context_, p + 32);
  }

  void CheckMaterials(StreamRecord const& r, uint32_t model, uint8_t const* keys) {
    for (int i = 0; i < 3; ++i) {
      uint32_t const key = GetU32(keys + 4 * i);
      if (key != kNoKey) Need(r, materials_, model, key, "material");
    }
  }

  void Need(StreamRecord const& r, std::unordered_set<uint64_t> const& known, uint32_t model,
            uint32_t key, char const* what) {
    if (known.contains(Pair(model, key))) return;
    char text[96];
    std::snprintf(text, sizeof text, "refers to %s %u of stream model %d", what, key,
                  int32_t(model));
    Report(r, text);
  }

  void Report(StreamRecord const& r, std::string const& what) {
    char head[64];
    std::snprintf(head, sizeof head, "offset %llu: record %u ",
                  static_cast<unsigned long long>(r.offset), r.tag);
    summary_.dangling.push_back(head + what);
  }

  StreamSummary& summary_;
  uint32_t context_ = kNoContext;
  bool has_context_ = false;
  std::unordered_set<uint64_t> materials_, matrices_, meshes_;
  std::unordered_map<uint32_t, uint32_t> inclusion_models_;
};

void Count(StreamSummary& s, StreamRecord const& r) {
  ++s.records;
  ++s.records_per_tag[r.tag];
  uint8_t const* p = r.bytes.data();
  switch (r.tag) {
    case Tag::Instance: ++s.instances; break;
    case Tag::MeshDef: ++s.mesh_definitions; break;
    case Tag::SmallMesh: ++s.mesh_records; s.triangles += GetU32(p + 16) / 3; break;
    case Tag::LargeMesh: ++s.mesh_records; s.triangles += GetU32(p + 12) / 3; break;
    case Tag::Image: ++s.images; break;
    case Tag::KeyedData: ++s.keyed_data; break;
    case Tag::Bounds:
      s.bounds = BoundingBox{GetF32(p + 4), GetF32(p + 8), GetF32(p + 12),
                             GetF32(p + 16), GetF32(p + 20), GetF32(p + 24)};
      s.bounds_weight = GetU32(p + 28);
      break;
    default: break;
  }
}

std::string TagName(uint32_t tag) {
  if (tag >= 32 && tag < 127) return std::string("'") + char(tag) + "'";
  return "";
}

}  // namespace

StreamSummary SummarizeStream(std::span<uint8_t const> stream) {
  StreamSummary summary;
  summary.input_bytes = stream.size();
  StreamReader reader(stream);
  ReferenceCheck check(summary);
  StreamRecord record;
  while (reader.Next(record)) {
    Count(summary, record);
    check.Record(record);
  }
  summary.compressed_bytes = reader.CompressedBytes();
  summary.expanded_bytes = reader.ExpandedBytes();
  summary.error = reader.Error();
  return summary;
}

std::optional<StreamSummary> SummarizeStreamFile(FileSystem& files,
                                                 std::filesystem::path const& path) {
  std::unique_ptr<File> file = files.NewFile(path);
  file->OpenRead(false);
  int64_t const size = file->IsOpen() ? file->Size() : -1;
  if (size < 0) return std::nullopt;
  Bytes bytes(static_cast<size_t>(size));
  if (file->Read(bytes.data(), bytes.size()) != bytes.size()) return std::nullopt;
  return SummarizeStream(bytes);
}

std::string FormatSummary(StreamSummary const& s) {
  std::string out;
  char line[256];
  auto add = [&out, &line] { out += line; out += '\n'; };
  std::snprintf(line, sizeof line, "%llu bytes, %llu records",
                static_cast<unsigned long long>(s.input_bytes),
                static_cast<unsigned long long>(s.records));
  add();
  for (auto const& [tag, n] : s.records_per_tag) {
    std::snprintf(line, sizeof line, "  %3u %-3s %llu", tag, TagName(tag).c_str(),
                  static_cast<unsigned long long>(n));
    add();
  }
  std::snprintf(line, sizeof line,
                "instances %llu, meshes %llu (records %llu, triangles %llu), images %llu, "
                "keyed data %llu",
                static_cast<unsigned long long>(s.instances),
                static_cast<unsigned long long>(s.mesh_definitions),
                static_cast<unsigned long long>(s.mesh_records),
                static_cast<unsigned long long>(s.triangles),
                static_cast<unsigned long long>(s.images),
                static_cast<unsigned long long>(s.keyed_data));
  add();
  if (s.bounds) {
    BoundingBox const& b = *s.bounds;
    std::snprintf(line, sizeof line, "bounds (%g %g %g) to (%g %g %g), weight %u", b.min_x,
                  b.min_y, b.min_z, b.max_x, b.max_y, b.max_z, s.bounds_weight);
    add();
  }
  std::snprintf(line, sizeof line, "compressed blocks: %llu bytes, expanded %llu bytes",
                static_cast<unsigned long long>(s.compressed_bytes),
                static_cast<unsigned long long>(s.expanded_bytes));
  add();
  std::snprintf(line, sizeof line, "unresolved references: %zu", s.dangling.size());
  add();
  for (auto const& d : s.dangling) out += "  " + d + '\n';
  if (!s.error.empty()) out += "error: " + s.error + '\n';
  return out;
}

}  // namespace QX::Store
