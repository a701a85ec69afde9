// Writing all tables of a model as a new _digest.qxi. The old digest is kept
// as _digest.qxi_old until the new one is complete.
#include <chrono>

#include "files/File.h"
#include "files/FileSystem.h"
#include "files/ByteOrder.h"
#include "store/DigestFormat.h"
#include "store/FileErrors.h"
#include "store/ModelImpl.h"

namespace QX::Store {

using namespace digest;

namespace {

constexpr size_t kFlushSize = 0x100000;

void PutBox(ByteWriter& out, BoundingBox const& box) {
  for (float v : {box.min_x, box.min_y, box.min_z, box.max_x, box.max_y, box.max_z}) out.F32(v);
}

void PutColor(ByteWriter& out, RGBAColor const& color) {
  for (float v : {color.r, color.g, color.b, color.a}) out.F32(v);
}

// Collects records in one reused buffer and hands it to the file in large
// writes. A short write removes nothing; the caller restores the backup.
class DigestWriter {
 public:
  DigestWriter(ModelImpl& model, File& file) : model_(model), file_(file), out_(buffer_) {}

  // Returns false if the file took fewer bytes than given.
  bool Run();

 private:
  void Flush(bool always);
  void Views();
  void MaterialMaps();
  void PolyPolygons();
  void ClipRegions();
  void Materials();
  void LinePatterns();
  void Meshes();
  void AttachedModels();
  void Includes();
  void Images();
  void Instances();
  void Matrices();
  void KeyedDatas();
  void Groups();
  void Overrides();
  void Extensions();

  // Writes `count` entries of one kind as table records of at most the
  // chunk limit each; `each` is called with a callback that writes one entry.
  template <class Each>
  void Table(uint32_t tag, uint64_t count, Each each);

  ModelImpl& model_;
  File& file_;
  std::vector<uint8_t> buffer_;
  ByteWriter out_;
  bool failed_ = false;
};

void DigestWriter::Flush(bool always) {
  if (buffer_.empty() || (!always && buffer_.size() < kFlushSize)) return;
  if (!failed_ && file_.Write(buffer_.data(), buffer_.size()) != buffer_.size()) failed_ = true;
  buffer_.clear();
}

bool DigestWriter::Run() {
  out_.U32(kVersionTag);
  out_.U32(kDigestVersion);
  Views();
  MaterialMaps();
  PolyPolygons();
  ClipRegions();
  Materials();
  LinePatterns();
  Meshes();
  AttachedModels();
  Includes();
  Images();
  Instances();
  Matrices();
  KeyedDatas();
  Groups();
  Overrides();
  if (model_.instance_extension_count != 0) Extensions();
  Flush(true);
  return !failed_;
}

template <class Each>
void DigestWriter::Table(uint32_t tag, uint64_t count, Each each) {
  uint32_t const limit = ChunkLimit(EntrySize(tag));
  uint64_t in_chunk = 0;
  uint64_t written = 0;
  each([&] {
    if (in_chunk == 0) {
      in_chunk = std::min<uint64_t>(limit, count - written);
      out_.U32(kTable);
      out_.U32(uint32_t(count));
      out_.U32(tag);
      out_.U32(uint32_t(in_chunk));
    }
    --in_chunk;
    ++written;
    out_.U32(tag);
  });
  Flush(false);
}

void DigestWriter::Views() {
  for (auto const& [key, view] : model_.views) {
    out_.U32(kView);
    out_.U32(key);
    out_.U32(1);
    if (view.projection != 0) {
      out_.U32(kCamera);
      out_.U32(key);
      out_.U32(view.projection);
      out_.U32(0);
      for (auto const* v : {&view.position, &view.target, &view.up})
        for (double d : *v) out_.F64(d);
      out_.F64(view.width);
      out_.F64(view.height);
    }
    bool const colored = view.background[0] != -1 || view.background[1] != -1 ||
                         view.background[2] != -1;
    if (!view.background_images.empty() || colored) {
      out_.U32(kBackground);
      out_.U32(key);
      for (float c : view.background) out_.F32(c);
      out_.U32(uint32_t(view.background_images.size()));
      for (ImageKey image : view.background_images) out_.U32(image);
    }
    Flush(false);
  }
}

void DigestWriter::MaterialMaps() {
  for (auto const& [key, map] : model_.material_maps) {
    bool const colors = !map.colors.empty();
    out_.U32(kMaterialMap);
    out_.U32(key);
    out_.U32(colors ? 1 : 0);
    if (colors) {
      out_.U32(uint32_t(map.colors.size()));
      for (float c : map.colors) out_.F32(c);
    } else {
      out_.U32(uint32_t(map.keys.size()));
      for (MaterialKey k : map.keys) out_.U32(k);
    }
    Flush(false);
  }
}

void DigestWriter::PolyPolygons() {
  for (auto const& [key, polygon] : model_.poly_polygons) {
    out_.U32(kPolyPolygon);
    out_.U32(key);
    out_.U32(uint32_t(polygon.lengths.size()));
    out_.U32(uint32_t(polygon.points.size()));
    for (uint32_t length : polygon.lengths) out_.U32(length);
    for (Point const& p : polygon.points) {
      out_.F32(p.x);
      out_.F32(p.y);
      out_.F32(p.z);
    }
    Flush(false);
  }
}

void DigestWriter::ClipRegions() {
  for (auto const& [key, region] : model_.clip_regions) {
    uint64_t size = 16;
    for (ClipLoop const& loop : region.loops) size += 12 + 4 * loop.polygons.size();
    out_.U32(kClipRegion);
    out_.U32(key);
    out_.U32(uint32_t(size));
    out_.U32(uint32_t(region.loops.size()));
    for (ClipLoop const& loop : region.loops) {
      out_.U32(uint32_t(loop.polygons.size()));
      out_.U32(loop.matrix);
      out_.U32((loop.first_flag == 1 ? 1u : 0u) | (loop.second_flag == 1 ? 2u : 0u));
      for (PolyPolygonKey polygon : loop.polygons) out_.U32(polygon);
    }
    Flush(false);
  }
}

void DigestWriter::Materials() {
  uint64_t simple = 0;
  for (auto const& [key, entry] : model_.materials) {
    if (entry.kind == MaterialKind::SimpleColor) {
      ++simple;
    } else if (entry.kind == MaterialKind::Material) {
      MaterialRecord const& m = model_.material_records[entry.index];
      out_.U32(kMaterial);
      out_.U32(key);
      PutColor(out_, m.color);
      out_.F32(m.mirror);
      out_.F32(m.specular);
      out_.F32(m.gloss);
      out_.U32(uint32_t(m.environment.size()));
      out_.U32(uint32_t(m.textures.size()));
      out_.U32(m.line_pattern);
      for (ImageKey image : m.environment) out_.U32(image);
      for (TextureRef const& t : m.textures) {
        out_.U32(t.image);
        out_.U32(t.matrix);
        out_.U32(t.word);
      }
    } else {
      out_.U32(kFullMaterial);
      out_.U32(key);
      FullMaterial const& full = model_.full_materials[entry.index];
      out_.Raw(full.data(), full.size());
    }
    Flush(false);
  }
  if (simple == 0) return;
  Table(kSimpleColorEntry, simple, [&](auto entry_head) {
    for (auto const& [key, entry] : model_.materials) {
      if (entry.kind != MaterialKind::SimpleColor) continue;
      entry_head();
      out_.U32(key);
      PutColor(out_, model_.simple_colors[entry.index]);
      Flush(false);
    }
  });
}

void DigestWriter::LinePatterns() {
  for (auto const& [key, index] : model_.line_patterns) {
    LinePattern const& pattern = model_.line_pattern_records[index];
    out_.U32(kLinePattern);
    out_.U32(key);
    out_.Raw(pattern.value.data(), pattern.value.size());
    out_.U32(uint32_t(pattern.bytes.size()));
    out_.U32(0);
    out_.Raw(pattern.bytes.data(), pattern.bytes.size());
    out_.Zeros(7 * pattern.bytes.size());
    Flush(false);
  }
}

void DigestWriter::Meshes() {
  uint64_t records = 0;
  for (auto const& [key, entry] : model_.meshes) {
    if (entry.kind == MeshKind::Record) {
      ++records;
      continue;
    }
    std::vector<MeshKey> const& list = model_.mesh_lists[entry.index];
    out_.U32(kMeshList);
    out_.U32(key);
    out_.U32(uint32_t(list.size()));
    out_.U32(0);
    for (MeshKey mesh : list) out_.U32(mesh);
    Flush(false);
  }
  if (records == 0) return;
  Table(kMeshEntry, records, [&](auto entry_head) {
    for (auto const& [key, entry] : model_.meshes) {
      if (entry.kind != MeshKind::Record) continue;
      MeshRecord const& r = model_.mesh_records[entry.index];
      entry_head();
      out_.U32(key);
      out_.I64(r.stored_offset);
      out_.U64(r.content_hash);
      out_.U32(r.duplicate_of);
      out_.U32(r.duplicate_matrix);
      for (uint32_t v : {r.face_material, r.line_material, r.point_material, r.face_material_map,
                         r.line_material_map, r.point_material_map, r.stream_kib})
        out_.U32(v);
      PutBox(out_, r.bounds);
      out_.U32(0);
      Flush(false);
    }
  });
}

void DigestWriter::AttachedModels() {
  for (auto const& [key, attached] : model_.attached_models) {
    out_.U32(kAttachedModel);
    out_.U32(attached.id);
    out_.F64(attached.unit_scale);
    out_.U32(uint32_t(attached.path.size()));
    PutBox(out_, attached.bounds);
    out_.U32(0);
    out_.Raw(attached.path.data(), attached.path.size());
    Flush(false);
  }
}

void DigestWriter::Includes() {
  if (model_.includes.empty()) return;
  Table(kIncludeEntry, model_.includes.size(), [&](auto entry_head) {
    for (auto const& [key, include] : model_.includes) {
      entry_head();
      out_.U32(key);
      out_.U32(include.attached_id);
      out_.U32(include.matrix);
      Flush(false);
    }
  });
}

void DigestWriter::Images() {
  if (model_.images.empty()) return;
  Table(kImageEntry, model_.images.size(), [&](auto entry_head) {
    for (auto const& [key, image] : model_.images) {
      entry_head();
      out_.U32(key);
      out_.U64(image.content_hash);
      out_.U32(image.duplicate_of);
      out_.U32(image.format);
      out_.I64(image.stored_offset);
      Flush(false);
    }
  });
}

void DigestWriter::Instances() {
  if (model_.instances.empty()) return;
  Table(kInstanceEntry, model_.instances.size(), [&](auto entry_head) {
    for (auto const& [key, i] : model_.instances) {
      entry_head();
      for (uint32_t v : {key, i.mesh, i.matrix, i.face_material, i.line_material,
                         i.point_material, i.face_material_map, i.line_material_map,
                         i.point_material_map, i.clip, i.flags, i.modifiers})
        out_.U32(v);
      Flush(false);
    }
  });
}

void DigestWriter::Matrices() {
  if (model_.matrices.empty()) return;
  Table(kMatrixEntry, model_.matrices.size(), [&](auto entry_head) {
    for (auto const& [key, matrix] : model_.matrices) {
      entry_head();
      out_.U32(key);
      for (double v : matrix) out_.F64(v);
      Flush(false);
    }
  });
}

void DigestWriter::KeyedDatas() {
  if (model_.keyed_data.empty()) return;
  Table(kKeyedDataEntry, model_.keyed_data.size(), [&](auto entry_head) {
    for (auto const& [key, data] : model_.keyed_data) {
      entry_head();
      out_.U32(key);
      out_.U32(data.type);
      out_.U32(data.size);
      out_.I64(data.position);
      Flush(false);
    }
  });
}

void DigestWriter::Groups() {
  if (model_.groups.empty()) return;
  Table(kGroupEntry, model_.groups.size(), [&](auto entry_head) {
    for (auto const& [key, group] : model_.groups) {
      entry_head();
      out_.U32(key);
      out_.U32(group.size);
      out_.U32(0);
      out_.I64(group.position);
      Flush(false);
    }
  });
}

void DigestWriter::Overrides() {
  if (model_.instance_overrides.empty()) return;
  Table(kOverrideEntry, model_.instance_overrides.size(), [&](auto entry_head) {
    for (auto const& [inc, o] : model_.instance_overrides) {
      entry_head();
      out_.U32(inc.include);
      out_.U32(inc.key);
      for (MaterialKey m : o.materials) out_.U32(m);
      for (MaterialMapKey m : o.material_maps) out_.U32(m);
      out_.U32(o.clip);
      out_.U32(o.flags);
      out_.U32(o.modifiers);
      Flush(false);
    }
  });
}

void DigestWriter::Extensions() {
  for (auto const& [key, instance] : model_.instances) {
    if (!instance.extension) continue;
    out_.U32(kInstanceExtension);
    out_.U32(key);
    for (float v : instance.extension->data.values) out_.F32(v);
    out_.U32(instance.extension->data.word);
    Flush(false);
  }
}

}  // namespace

void ModelImpl::WriteDigest() {
  TestWritable();
  auto const start = std::chrono::steady_clock::now();
  std::filesystem::path const digest = FilePath(kDigestName);
  std::filesystem::path backup = digest;
  backup.replace_extension(".qxi_old");

  if (!file_system->Rename(digest, backup)) ThrowUnableToRename(logger, digest);
  std::unique_ptr<File> file = file_system->NewFile(digest);
  file->OpenWrite(true, true);
  if (!file->IsOpen()) {
    file_system->Rename(backup, digest);
    ThrowUnableToOpen(logger, digest);
  }
  if (!DigestWriter(*this, *file).Run()) {
    // Leave no partial digest that could pass for a whole one.
    file->Close();
    file_system->Remove(digest);
    file_system->Rename(backup, digest);
    ThrowLogged(logger, "Unable to write data: " + PathToUtf8(digest));
  }
  dirty = false;
  file_system->Remove(backup);
  file->Close();
  auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - start);
  Log("Write digest: %u ms.", unsigned(ms.count()));
}

}  // namespace QX::Store
