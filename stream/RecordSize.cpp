#include "stream/RecordSize.h"

#include "files/ByteOrder.h"
#include "stream/WireTags.h"

namespace QX::Store {

namespace {

uint64_t Pad4(uint64_t n) { return (n + 3) & ~uint64_t(3); }

// Size of a fixed record, 0 if the tag has no fixed size.
uint32_t FixedSize(uint32_t tag) {
  switch (tag) {
    case Tag::Context: return 8;
    case Tag::OpResult: case Tag::ImageReuse: case Tag::Removal: return 12;
    case Tag::StateChange: case Tag::PassEnd: case Tag::Inclusion: case Tag::Missing:
    case Tag::TreeHead: return 16;
    case Tag::KeyProperty: case Tag::Head: return 20;
    case Tag::SimpleColor: case Tag::LiveInclusion: return 24;
    case Tag::Extension: return 28;
    case Tag::Bounds: return 32;
    case Tag::BoundsResult: return 36;
    case Tag::TreeNode: case Tag::Override: return 48;
    case Tag::MeshDef: return 68;
    case Tag::Instance: return 72;
    case Tag::Camera: case Tag::Matrix: return 104;
    case Tag::FullMaterial: return 148;
    default: return 0;
  }
}

// Length of the fixed head of a variable record, 0 for an unknown tag.
uint32_t VariableHead(uint32_t tag) {
  switch (tag) {
    case Tag::KeyedBlock: case Tag::Text: return 8;
    case Tag::Group: case Tag::Previews: case Tag::MeshChunk: case Tag::LiveText: return 12;
    case Tag::MeshList: case Tag::Selection: case Tag::MaterialMap: case Tag::PolyPolygon:
    case Tag::Compressed: case Tag::KeyedData: case Tag::ClipRegion: return 16;
    case Tag::Event: return 20;
    case Tag::Background: case Tag::LinePattern: return 24;
    case Tag::Image: return 28;
    case Tag::SmallMesh: return 40;
    case Tag::LargeMesh: return 44;
    case Tag::Material: return 48;
    default: return 0;
  }
}

uint64_t VertexStride(uint32_t stream_flags) {
  uint64_t stride = 12;
  if (stream_flags & 0x10000000u) stride += 12;
  if (stream_flags & 0x20000000u) stride += 8;
  if (stream_flags & 0x40000000u) stride += 4;
  return stride;
}

// Size of a variable record whose whole head is present.
uint64_t VariableSize(uint32_t tag, uint8_t const* p) {
  auto w = [p](int at) { return uint64_t(GetU32(p + at)); };
  switch (tag) {
    case Tag::MeshList: return 16 + 4 * w(8);
    case Tag::Selection: return 16 + 8 * w(4);
    case Tag::MaterialMap: return 16 + 4 * w(12);
    case Tag::KeyedBlock: return 8 + w(4);
    case Tag::Image: return 28 + Pad4(w(24));
    case Tag::Group: return 12 + 4 * w(8);
    case Tag::Background: return 24 + 4 * w(20);
    case Tag::SmallMesh:
      return 40 + w(12) * VertexStride(GetU32(p + 8)) + Pad4(2 * (w(16) + w(20) + w(24))) +
             12 * (w(28) + w(32) + w(36));
    case Tag::LargeMesh: return 44 + 12 * (w(24) + w(28) + w(32));
    case Tag::Text: return 8 + Pad4(w(4));
    case Tag::PolyPolygon: return 16 + 4 * w(8) + 12 * w(12);
    case Tag::Compressed: return 16 + Pad4(w(8));
    case Tag::KeyedData: return 16 + Pad4(w(12));
    case Tag::Event: return 20 + 4 * w(8);
    case Tag::Previews: return 12 + 24 * w(4);
    case Tag::MeshChunk: return 12 + Pad4(w(8));
    case Tag::LiveText: return 12 + Pad4(w(8));
    case Tag::ClipRegion: return w(8);
    case Tag::LinePattern: return 24 + 8 * w(16);
    case Tag::Material: return 48 + 4 * w(36) + 12 * w(40);
    default: return 0;
  }
}

}  // namespace

RecordExtent MeasureRecord(std::span<uint8_t const> rest) {
  if (rest.size() < 4) return {RecordSizeStatus::ShortHead, 0, 4};
  uint32_t const tag = GetU32(rest.data());
  if (uint32_t const fixed = FixedSize(tag)) return {RecordSizeStatus::Ok, fixed, fixed};
  uint32_t const head = VariableHead(tag);
  if (head == 0) return {RecordSizeStatus::UnknownTag, 0, 4};
  if (rest.size() < head) return {RecordSizeStatus::ShortHead, 0, head};
  uint64_t const size = VariableSize(tag, rest.data());
  if (size < head || size % 4 != 0) return {RecordSizeStatus::BadCount, size, head};
  return {RecordSizeStatus::Ok, size, head};
}

}  // namespace QX::Store
