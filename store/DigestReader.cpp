// Reading _digest.qxi into the tables of a model. The file is untrusted:
// every size is checked against the bytes that the file still holds before
// anything is allocated or read.
#include <algorithm>
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

constexpr uint64_t kReadUnit = 0x100000;

void Raise(uint32_t& counter, uint32_t key) {
  if (key >= counter) counter = key + 1;
}

BoundingBox LoadBox(uint8_t const* p) {
  return BoundingBox{GetF32(p),      GetF32(p + 4),  GetF32(p + 8),
                     GetF32(p + 12), GetF32(p + 16), GetF32(p + 20)};
}

RGBAColor LoadColor(uint8_t const* p) {
  return RGBAColor{GetF32(p), GetF32(p + 4), GetF32(p + 8), GetF32(p + 12)};
}

// Size of the part of a record that tells its whole size; 0 for an unknown tag.
uint32_t FixedHead(uint32_t tag) {
  switch (tag) {
    case kVersionTag: return 8;
    case kView: case kAttachedModelOld: return 12;
    case kCamera: return 104;
    case kBackground: case kLinePattern: return 24;
    case kMaterialMap: case kPolyPolygon: case kClipRegion: case kMeshList: case kTable: return 16;
    case kMaterial: case kAttachedModel: return 48;
    case kMaterialOld: return 44;
    case kFullMaterial: return kFullMaterialSize;
    case kFullMaterialOld: return kFullMaterialOldSize;
    case kInstanceExtension: return 28;
    default: return 0;
  }
}

// Whole size of a record from its fixed head.
uint64_t RecordSize(uint32_t tag, uint8_t const* p) {
  auto word = [p](int offset) { return uint64_t{GetU32(p + offset)}; };
  switch (tag) {
    case kBackground: return 24 + 4 * word(20);
    case kMaterialMap: return 16 + 4 * word(12);
    case kPolyPolygon: return 16 + 4 * word(8) + 12 * word(12);
    case kClipRegion: return std::max<uint64_t>(16, word(8));
    case kMaterial: return 48 + 4 * word(36) + 12 * word(40);
    case kMaterialOld: return 44 + 4 * word(36) + 12 * word(40);
    case kLinePattern: return 24 + 8 * word(16);
    case kMeshList: return 16 + 4 * word(8);
    case kAttachedModel: return 48 + word(16);
    case kAttachedModelOld: return 12 + word(8);
    default: return FixedHead(tag);
  }
}

// Parses the records of one digest in a buffer that it refills from the file.
class DigestParser {
 public:
  DigestParser(ModelImpl& model, File& file, std::vector<uint8_t>& buffer)
      : model_(model), file_(file), buffer_(buffer) {}

  void Run();

 private:
  [[noreturn]] void Corrupt() { ThrowFileCorrupt(model_.logger, file_.Path()); }
  uint64_t Left() const { return end_ - cursor_; }
  bool Refill();
  void Ensure(uint64_t size);
  void Parse(uint32_t tag, uint8_t const* p, uint64_t size);
  void ParseView(uint8_t const* p);
  void ParseCamera(uint8_t const* p);
  void ParseBackground(uint8_t const* p);
  void ParseMaterialMap(uint8_t const* p);
  void ParsePolyPolygon(uint8_t const* p);
  void ParseClipRegion(uint8_t const* p, uint64_t size);
  void ParseMaterial(uint8_t const* p, bool with_line_pattern);
  void ParseFullMaterial(uint8_t const* p);
  void ParseFullMaterialOld(uint8_t const* p);
  void ParseLinePattern(uint8_t const* p);
  void ParseMeshList(uint8_t const* p);
  void ParseAttachedModel(uint8_t const* p);
  void ParseAttachedModelOld(uint8_t const* p);
  void ParseExtension(uint8_t const* p);
  void ParseTable();
  void ParseEntry(uint32_t tag, uint8_t const* p);
  template <class Table>
  void Reserve(Table& table, uint32_t total, uint32_t entry_size);

  ModelImpl& model_;
  File& file_;
  std::vector<uint8_t>& buffer_;
  uint64_t cursor_ = 0;    // next record in the buffer
  uint64_t end_ = 0;       // end of the bytes read into the buffer
  uint64_t unread_ = 0;    // bytes of the file behind what was read
};

// Moves the bytes left to the front and reads the next unit behind them.
bool DigestParser::Refill() {
  uint64_t const left = Left();
  std::copy(buffer_.begin() + cursor_, buffer_.begin() + end_, buffer_.begin());
  cursor_ = 0;
  end_ = left;
  uint64_t const want = std::min(kReadUnit, unread_);
  if (buffer_.size() < end_ + want) buffer_.resize(end_ + want);
  uint64_t const got = want ? file_.Read(buffer_.data() + end_, want) : 0;
  end_ += got;
  unread_ -= std::min(got, unread_);
  return got > 0;
}

// Reads the missing bytes of a record that reaches beyond the buffer.
void DigestParser::Ensure(uint64_t size) {
  if (Left() >= size) return;
  uint64_t const missing = size - Left();
  if (missing > unread_) Corrupt();
  if (buffer_.size() < end_ + missing) buffer_.resize(end_ + missing);
  if (file_.Read(buffer_.data() + end_, missing) != missing) Corrupt();
  end_ += missing;
  unread_ -= missing;
}

void DigestParser::Run() {
  int64_t const file_size = file_.Size();
  if (file_size < 8) Corrupt();
  unread_ = uint64_t(file_size) - 8;
  buffer_.reserve(2 * kReadUnit);
  for (;;) {
    // A refill may bring fewer bytes than a tag: the file's last ones.
    while (Left() < 4) {
      if (Refill()) continue;
      if (Left() != 0) Corrupt();  // a record cut inside its tag
      return;
    }
    uint8_t const* p = buffer_.data() + cursor_;
    uint32_t const tag = GetU32(p);
    uint32_t const head = FixedHead(tag);
    if (head == 0) ThrowUnexpectedCode(model_.logger, file_.Path());
    Ensure(head);
    if (tag == kTable) {
      ParseTable();
      continue;
    }
    uint64_t const size = RecordSize(tag, buffer_.data() + cursor_);
    Ensure(size);
    Parse(tag, buffer_.data() + cursor_, size);
    cursor_ += size;
  }
}

void DigestParser::Parse(uint32_t tag, uint8_t const* p, uint64_t size) {
  switch (tag) {
    case kVersionTag: break;
    case kView: ParseView(p); break;
    case kCamera: ParseCamera(p); break;
    case kBackground: ParseBackground(p); break;
    case kMaterialMap: ParseMaterialMap(p); break;
    case kPolyPolygon: ParsePolyPolygon(p); break;
    case kClipRegion: ParseClipRegion(p, size); break;
    case kMaterial: ParseMaterial(p, true); break;
    case kMaterialOld: ParseMaterial(p, false); break;
    case kFullMaterial: ParseFullMaterial(p); break;
    case kFullMaterialOld: ParseFullMaterialOld(p); break;
    case kLinePattern: ParseLinePattern(p); break;
    case kMeshList: ParseMeshList(p); break;
    case kAttachedModel: ParseAttachedModel(p); break;
    case kAttachedModelOld: ParseAttachedModelOld(p); break;
    case kInstanceExtension: ParseExtension(p); break;
  }
}

void DigestParser::ParseView(uint8_t const* p) {
  ViewKey const key = GetU32(p + 4);
  uint32_t const kind = GetU32(p + 8);
  Raise(model_.next.view, key);
  if (kind == 1) {
    if (model_.views.Contains(key)) Corrupt();
    View view;
    view.key = key;
    model_.views.Insert(key, std::move(view));
  } else if (kind == 0) {
    if (!model_.views.Contains(key)) Corrupt();
    model_.default_view = key;
  }
}

void DigestParser::ParseCamera(uint8_t const* p) {
  View* view = model_.views.Find(GetU32(p + 4));
  if (!view) Corrupt();
  view->projection = GetU32(p + 8);
  for (int i = 0; i < 3; ++i) {
    view->position[i] = GetF64(p + 16 + 8 * i);
    view->target[i] = GetF64(p + 40 + 8 * i);
    view->up[i] = GetF64(p + 64 + 8 * i);
  }
  view->width = GetF64(p + 88);
  view->height = GetF64(p + 96);
}

void DigestParser::ParseBackground(uint8_t const* p) {
  View* view = model_.views.Find(GetU32(p + 4));
  if (!view) Corrupt();
  for (int i = 0; i < 3; ++i) view->background[i] = GetF32(p + 8 + 4 * i);
  uint32_t const n = GetU32(p + 20);
  view->background_images.resize(n);
  for (uint32_t i = 0; i < n; ++i) view->background_images[i] = GetU32(p + 24 + 4 * i);
}

void DigestParser::ParseMaterialMap(uint8_t const* p) {
  MaterialMapKey const key = GetU32(p + 4);
  bool const colors = GetU32(p + 8) == 1;
  uint32_t const n = GetU32(p + 12);
  MaterialMap map;
  if (colors) {
    map.colors.resize(n);
    for (uint32_t i = 0; i < n; ++i) map.colors[i] = GetF32(p + 16 + 4 * i);
  } else {
    map.keys.resize(n);
    for (uint32_t i = 0; i < n; ++i) map.keys[i] = GetU32(p + 16 + 4 * i);
  }
  model_.material_maps.Insert(key, std::move(map));
  Raise(model_.next.material_map, key);
}

void DigestParser::ParsePolyPolygon(uint8_t const* p) {
  PolyPolygon polygon;
  polygon.key = GetU32(p + 4);
  uint32_t const loops = GetU32(p + 8);
  uint32_t const points = GetU32(p + 12);
  polygon.lengths.resize(loops);
  uint64_t total = 0;
  for (uint32_t i = 0; i < loops; ++i) total += polygon.lengths[i] = GetU32(p + 16 + 4 * i);
  if (total != points) Corrupt();
  uint8_t const* q = p + 16 + 4 * uint64_t{loops};
  polygon.points.resize(points);
  for (uint32_t i = 0; i < points; ++i, q += 12)
    polygon.points[i] = Point{GetF32(q), GetF32(q + 4), GetF32(q + 8)};
  Raise(model_.next.poly_polygon, polygon.key);
  model_.poly_polygons.Insert(polygon.key, std::move(polygon));
}

void DigestParser::ParseClipRegion(uint8_t const* p, uint64_t size) {
  ClipRegion region;
  region.key = GetU32(p + 4);
  uint32_t const loops = GetU32(p + 12);
  if (uint64_t{loops} * 12 > size - 16) Corrupt();
  region.loops.resize(loops);
  uint64_t at = 16;
  for (ClipLoop& loop : region.loops) {
    if (size - at < 12) Corrupt();
    uint32_t const n = GetU32(p + at);
    loop.matrix = GetU32(p + at + 4);
    uint32_t const bits = GetU32(p + at + 8);
    loop.first_flag = bits & 1;
    loop.second_flag = (bits >> 1) & 1;
    at += 12;
    if ((size - at) / 4 < n) Corrupt();
    loop.polygons.resize(n);
    for (uint32_t i = 0; i < n; ++i, at += 4) loop.polygons[i] = GetU32(p + at);
  }
  if (at != size) Corrupt();
  Raise(model_.next.clip_region, region.key);
  model_.clip_regions.Insert(region.key, std::move(region));
}

void DigestParser::ParseMaterial(uint8_t const* p, bool with_line_pattern) {
  MaterialKey const key = GetU32(p + 4);
  MaterialRecord record;
  record.color = LoadColor(p + 8);
  record.mirror = GetF32(p + 24);
  record.specular = GetF32(p + 28);
  record.gloss = GetF32(p + 32);
  uint32_t const environment = GetU32(p + 36);
  uint32_t const textures = GetU32(p + 40);
  record.line_pattern = with_line_pattern ? GetU32(p + 44) : kNoKey;
  uint8_t const* q = p + (with_line_pattern ? 48 : 44);
  record.environment.resize(environment);
  for (uint32_t i = 0; i < environment; ++i, q += 4) record.environment[i] = GetU32(q);
  record.textures.resize(textures);
  for (uint32_t i = 0; i < textures; ++i, q += 12)
    record.textures[i] = TextureRef{GetU32(q), GetU32(q + 4), GetU32(q + 8)};
  model_.material_records.push_back(std::move(record));
  model_.materials.Insert(
      key, MaterialEntry{uint32_t(model_.material_records.size() - 1), MaterialKind::Material});
  Raise(model_.next.material, key);
}

void DigestParser::ParseFullMaterial(uint8_t const* p) {
  MaterialKey const key = GetU32(p + 4);
  FullMaterial& full = model_.full_materials.emplace_back();
  std::copy(p + 8, p + kFullMaterialSize, full.begin());
  model_.materials.Insert(
      key, MaterialEntry{uint32_t(model_.full_materials.size() - 1), MaterialKind::Full});
  Raise(model_.next.material, key);
}

// The older full material lacks 16 bytes at offset 108: 12 zero bytes and a
// float of 1.
void DigestParser::ParseFullMaterialOld(uint8_t const* p) {
  MaterialKey const key = GetU32(p + 4);
  FullMaterial& full = model_.full_materials.emplace_back();
  full.fill(0);
  std::copy(p + 8, p + 108, full.begin());
  SetU32(full.data() + 112, std::bit_cast<uint32_t>(1.0f));
  std::copy(p + 108, p + kFullMaterialOldSize, full.begin() + 116);
  model_.materials.Insert(
      key, MaterialEntry{uint32_t(model_.full_materials.size() - 1), MaterialKind::Full});
  Raise(model_.next.material, key);
}

void DigestParser::ParseLinePattern(uint8_t const* p) {
  LinePatternKey const key = GetU32(p + 4);
  LinePattern& pattern = model_.line_pattern_records.emplace_back();
  std::copy(p + 8, p + 16, pattern.value.begin());
  uint32_t const n = GetU32(p + 16);
  pattern.bytes.assign(p + 24, p + 24 + n);
  model_.line_patterns.Insert(key, uint32_t(model_.line_pattern_records.size() - 1));
  Raise(model_.next.line_pattern, key);
}

void DigestParser::ParseMeshList(uint8_t const* p) {
  MeshKey const key = GetU32(p + 4);
  uint32_t const n = GetU32(p + 8);
  std::vector<MeshKey>& list = model_.mesh_lists.emplace_back(n);
  for (uint32_t i = 0; i < n; ++i) list[i] = GetU32(p + 16 + 4 * i);
  model_.meshes.Insert(key, MeshEntry{uint32_t(model_.mesh_lists.size() - 1), MeshKind::List});
  Raise(model_.next.mesh, key);
}

void DigestParser::ParseAttachedModel(uint8_t const* p) {
  uint32_t const n = GetU32(p + 16);
  if (n == 0) Corrupt();
  AttachedModel attached;
  attached.id = GetU32(p + 4);
  attached.unit_scale = GetF64(p + 8);
  attached.bounds = LoadBox(p + 20);
  attached.path.assign(reinterpret_cast<char const*>(p + 48), n);
  model_.attached_models.Insert(attached.id, std::move(attached));
}

void DigestParser::ParseAttachedModelOld(uint8_t const* p) {
  uint32_t const n = GetU32(p + 8);
  if (n == 0) Corrupt();
  AttachedModel attached;
  attached.id = GetU32(p + 4);
  attached.path.assign(reinterpret_cast<char const*>(p + 12), n);
  model_.attached_models.Insert(attached.id, std::move(attached));
}

void DigestParser::ParseExtension(uint8_t const* p) {
  Instance* instance = model_.instances.Find(GetU32(p + 4));
  if (!instance) Corrupt();
  if (!instance->extension) ++model_.instance_extension_count;
  auto extension = std::make_unique<InstanceExtension>();
  for (int i = 0; i < 4; ++i) extension->data.values[i] = GetF32(p + 8 + 4 * i);
  extension->data.word = GetU32(p + 24);
  instance->extension = std::move(extension);
}

// Reserves for the announced total, but never for more entries than the
// rest of the file can hold.
template <class Table>
void DigestParser::Reserve(Table& table, uint32_t total, uint32_t entry_size) {
  uint64_t const possible = (Left() + unread_) / entry_size;
  table.Reserve(table.size() + std::min<uint64_t>(total, possible));
}

// A table record's entries have a fixed size, so they are parsed unit by
// unit as they arrive instead of being gathered in the buffer first.
void DigestParser::ParseTable() {
  uint8_t const* p = buffer_.data() + cursor_;
  uint32_t const total = GetU32(p + 4);
  uint32_t const tag = GetU32(p + 8);
  uint32_t const count = GetU32(p + 12);
  uint32_t const entry_size = EntrySize(tag);
  cursor_ += kTableHeadSize;
  if (entry_size == 0) return;
  if (uint64_t{count} * entry_size > Left() + unread_) Corrupt();
  switch (tag) {
    case kImageEntry: Reserve(model_.images, total, entry_size); break;
    case kGroupEntry: Reserve(model_.groups, total, entry_size); break;
    case kInstanceEntry: Reserve(model_.instances, total, entry_size); break;
    case kMeshEntry:
      Reserve(model_.meshes, total, entry_size);
      model_.mesh_records.reserve(model_.meshes.size() + std::min<uint64_t>(total, count));
      break;
    case kSimpleColorEntry: Reserve(model_.materials, total, entry_size); break;
    case kMatrixEntry: case kMatrixEntryOld: Reserve(model_.matrices, total, entry_size); break;
    case kKeyedDataEntry: Reserve(model_.keyed_data, total, entry_size); break;
    case kIncludeEntry: Reserve(model_.includes, total, entry_size); break;
    case kOverrideEntry: Reserve(model_.instance_overrides, total, entry_size); break;
  }
  for (uint32_t left = count; left > 0;) {
    if (Left() < entry_size && !Refill()) Corrupt();
    if (Left() < entry_size) continue;
    uint32_t const n = uint32_t(std::min<uint64_t>(left, Left() / entry_size));
    uint8_t const* q = buffer_.data() + cursor_;
    for (uint32_t i = 0; i < n; ++i, q += entry_size) ParseEntry(tag, q);
    cursor_ += uint64_t{n} * entry_size;
    left -= n;
  }
}

void DigestParser::ParseEntry(uint32_t tag, uint8_t const* p) {
  uint32_t const key = GetU32(p + 4);
  switch (tag) {
    case kImageEntry: {
      ImageRecord image;
      image.content_hash = GetU64(p + 8);
      image.duplicate_of = GetU32(p + 16);
      image.format = GetU32(p + 20);
      image.stored_offset = GetI64(p + 24);
      image.key = key;
      model_.images.Insert(key, std::move(image));
      Raise(model_.next.image, key);
      break;
    }
    case kGroupEntry: {
      GroupEntry group;
      group.size = GetU32(p + 8);
      group.position = GetI64(p + 16);
      group.key = key;
      model_.groups.Insert(key, std::move(group));
      Raise(model_.next.group, key);
      break;
    }
    case kInstanceEntry: {
      Instance instance;
      instance.key = key;
      instance.mesh = GetU32(p + 8);
      instance.matrix = GetU32(p + 12);
      instance.face_material = GetU32(p + 16);
      instance.line_material = GetU32(p + 20);
      instance.point_material = GetU32(p + 24);
      instance.face_material_map = GetU32(p + 28);
      instance.line_material_map = GetU32(p + 32);
      instance.point_material_map = GetU32(p + 36);
      instance.clip = GetU32(p + 40);
      instance.flags = GetU32(p + 44);
      instance.modifiers = GetU32(p + 48);
      model_.instances.Insert(key, std::move(instance));
      Raise(model_.next.instance, key);
      break;
    }
    case kMeshEntry: {
      MeshRecord& record = model_.mesh_records.emplace_back();
      record.key = key;
      record.stored_offset = GetI64(p + 8);
      record.content_hash = GetU64(p + 16);
      record.duplicate_of = GetU32(p + 24);
      record.duplicate_matrix = GetU32(p + 28);
      record.face_material = GetU32(p + 32);
      record.line_material = GetU32(p + 36);
      record.point_material = GetU32(p + 40);
      record.face_material_map = GetU32(p + 44);
      record.line_material_map = GetU32(p + 48);
      record.point_material_map = GetU32(p + 52);
      record.stream_kib = GetU32(p + 56);
      record.bounds = LoadBox(p + 60);
      model_.meshes.Insert(key, MeshEntry{uint32_t(model_.mesh_records.size() - 1), MeshKind::Record});
      Raise(model_.next.mesh, key);
      break;
    }
    case kSimpleColorEntry:
      model_.simple_colors.push_back(LoadColor(p + 8));
      model_.materials.Insert(
          key, MaterialEntry{uint32_t(model_.simple_colors.size() - 1), MaterialKind::SimpleColor});
      Raise(model_.next.material, key);
      break;
    case kMatrixEntryOld: {
      Matrix matrix;
      for (int i = 0; i < 12; ++i) matrix[i] = GetF32(p + 8 + 4 * i);
      model_.matrices.Insert(key, matrix);
      Raise(model_.next.matrix, key);
      break;
    }
    case kMatrixEntry: {
      Matrix matrix;
      for (int i = 0; i < 12; ++i) matrix[i] = GetF64(p + 8 + 8 * i);
      model_.matrices.Insert(key, matrix);
      Raise(model_.next.matrix, key);
      break;
    }
    case kKeyedDataEntry:
      model_.keyed_data.Insert(key, KeyedData{GetI64(p + 16), GetU32(p + 12), key, GetU32(p + 8)});
      Raise(model_.next.keyed_data, key);
      break;
    case kIncludeEntry:
      model_.includes.Insert(key, IncludeRecord{key, GetU32(p + 8), GetU32(p + 12)});
      Raise(model_.next.include, key);
      break;
    case kOverrideEntry: {
      InstanceOverride value;
      for (int i = 0; i < 3; ++i) {
        value.materials[i] = GetU32(p + 12 + 4 * i);
        value.material_maps[i] = GetU32(p + 24 + 4 * i);
      }
      value.clip = GetU32(p + 36);
      value.flags = GetU32(p + 40);
      value.modifiers = GetU32(p + 44);
      model_.instance_overrides.Insert(InstanceInc{key, GetU32(p + 8)}, value);
      break;
    }
  }
}

}  // namespace

void ModelImpl::ReadDigest(File& file) {
  auto const start = std::chrono::steady_clock::now();
  auto log_time = [&] {
    if (quiet) return;
    auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    Log("read digest ms: %u", unsigned(ms.count()));
  };

  file.Seek(0, kSeekBegin);
  uint8_t head[8];
  uint64_t const got = file.Read(head, sizeof head);
  if (got == 0) {
    dirty = true;
    log_time();
    return;
  }
  if (got < sizeof head) ThrowFileCorrupt(logger, file.Path());
  uint32_t const version = GetU32(head + 4);
  if (GetU32(head) != kVersionTag || version < kOldestVersion) {
    ThrowLogged(logger, "Version mismatched: " + PathToUtf8(file.Path()) + "; Expected " +
                            std::to_string(kDigestVersion) + "; Actual " + std::to_string(version));
  }

  std::vector<uint8_t> buffer;
  DigestParser(*this, file, buffer).Run();

  for (auto const& [key, include] : includes) {
    if (include.attached_id != 0 && !attached_models.Contains(include.attached_id))
      ThrowLogged(logger, "Outdated includes found: " + PathToUtf8(file.Path()));
  }
  ReadMeshTocs(buffer);
  ReadImageTocs(buffer);
  log_time();
}

}  // namespace QX::Store
