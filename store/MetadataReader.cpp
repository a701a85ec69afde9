// Walks a metadata block item by item. Each item is there only if a bit of
// its record's flags says so; a read past the end of the block, a format or
// version newer than this reader knows, or a malformed record fails the
// whole parse, which then yields nothing.
#include "store/MetadataReader.h"

#include <cstring>

#include "files/ByteOrder.h"

namespace QX::Store {

namespace {

// Thrown inside the reader only; the two entry points turn it into false.
struct BadBlock {};

constexpr uint32_t Bit(unsigned n) { return 1u << n; }

// The newest version this reader knows is 22.1.2.
void VersionGate(uint32_t major, uint32_t minor, uint32_t const* patch) {
  if (major > 22) throw BadBlock{};
  if (major == 22 && minor > 1) throw BadBlock{};
  if (patch && major == 22 && minor == 1 && *patch > 2) throw BadBlock{};
}

class Cursor {
 public:
  Cursor(std::span<uint8_t const> block, MetadataSwitches switches) : block_(block), switches_(switches) {}

  uint8_t U8() { return *Take(1); }
  uint32_t U32() { return GetU32(Take(4)); }
  uint64_t U64() { return GetU64(Take(8)); }
  float F32() { return GetF32(Take(4)); }
  double F64() { return GetF64(Take(8)); }
  bool Switch() { return U8() != 0; }

  // Up to and including a zero byte; a text cut off by the end of the block
  // loses its last byte.
  std::string Text() {
    if (at_ == block_.size()) throw BadBlock{};
    uint8_t const* begin = block_.data() + at_;
    size_t const left = block_.size() - at_;
    void const* zero = std::memchr(begin, 0, left);
    size_t const length = zero ? size_t(static_cast<uint8_t const*>(zero) - begin) : left - 1;
    at_ += zero ? length + 1 : left;
    return std::string(reinterpret_cast<char const*>(begin), length);
  }

  // F, and G if bit 30 of F is set.
  std::pair<uint32_t, uint32_t> Flags() {
    uint32_t const f = U32();
    return {f, (f & Bit(30)) ? U32() : 0};
  }

  std::vector<uint32_t> Words() {
    uint32_t const n = U32();
    if (n > (block_.size() - at_) / 4) throw BadBlock{};
    std::vector<uint32_t> words(n);
    for (uint32_t& w : words) w = U32();
    return words;
  }

  void Skip(size_t n) { Take(n); }

  void Matrix() { Skip(12 * (switches_.wide_matrices ? 8 : 4)); }

  MetadataSwitches const& Switches() const { return switches_; }

 private:
  uint8_t const* Take(size_t n) {
    if (n > block_.size() - at_) throw BadBlock{};
    uint8_t const* p = block_.data() + at_;
    at_ += n;
    return p;
  }

  std::span<uint8_t const> block_;
  MetadataSwitches switches_;
  size_t at_ = 0;
};

// The fields that nodes, leaves and the leaf of a view share.
struct NodeHead {
  uint32_t id = 0xFFFFFFFFu;
  std::string name;
  bool active = true;
  bool marked = false;
};

NodeHead ReadNodeHead(Cursor& in, uint32_t f, uint32_t g) {
  NodeHead head;
  if (f & Bit(0)) head.id = in.U32();
  if (f & Bit(1)) head.name = in.Text();
  if (f & Bit(2)) {
    uint8_t const state = in.U8();
    head.active = (state & 2) != 0;
    head.marked = (state & 1) != 0;
  }
  if (f & Bit(3)) in.Matrix();
  if (f & Bit(8)) in.U32();
  if (f & Bit(25)) in.Text();
  if (f & Bit(26)) in.U32();
  if (g & Bit(4)) in.U32();
  if (g & Bit(5)) in.Text();
  if (f & Bit(29)) {
    // Attributes: a key, a size and that many bytes each. Only stepped over.
    for (uint32_t n = in.U32(); n > 0; --n) {
      in.U64();
      in.Skip(in.U32());
    }
  }
  return head;
}

MetadataLeaf ReadLeaf(Cursor& in) {
  auto const [f, g] = in.Flags();
  NodeHead const head = ReadNodeHead(in, f, g);
  if (f & Bit(17)) in.U32();
  if (!(f & Bit(18))) throw BadBlock{};
  return MetadataLeaf{head.id, head.marked, in.U32()};
}

void ReadPart(Cursor& in) {
  uint32_t const e = in.U32();
  in.U32();  // id
  if (e & Bit(0)) in.Text();
  if (e & Bit(2)) in.U32();
  uint32_t count = 1;
  if (e & Bit(4)) {
    count = in.U32();
    if (count == 0) throw BadBlock{};
  }
  for (; count > 0; --count) ReadLeaf(in);
  in.U32();
  in.U32();
  if (e & Bit(1)) {
    for (uint32_t n = in.U32(); n > 0; --n) {
      in.U32();
      in.U8();
      in.U32();
    }
  }
}

void ReadFilter(Cursor& in) {
  uint32_t const e = in.U32();
  in.Switch();
  if (e & Bit(0)) in.Text();
  in.Switch();
  for (unsigned bit : {1u, 2u}) {
    if (e & Bit(bit)) {
      in.Switch();
      in.Words();
    }
  }
}

// A view marked as an annotation view by its flags gets the marker in its
// name; one that came with the marker in its name gets the flag.
void ApplyAnnotationRule(MetadataView& view) {
  if (view.flags & 0x100) {
    view.name += " # Annotation View";
    view.view_flags |= kAnnotationView;
  } else if (view.name.find("# Annotation View") != std::string::npos) {
    view.view_flags |= kAnnotationView;
  }
}

void DeriveViewFlags(MetadataView& view) {
  uint32_t const e = view.flags;
  if (view.has_camera) view.view_flags |= kOwnCamera;
  for (auto const& [bit, flag] : {std::pair{0x400u, 0x2000000u}, {0x800u, 0x1000000u}, {0x1000u, 0x800000u},
                                 {0x2000u, 0x400000u}}) {
    if (!(e & bit)) view.view_flags |= flag;
  }
  if (e & 0x4000) view.view_flags |= 0x200000;
  if (e & 0x8000) view.view_flags |= 0x100000;
  if (e & 0x10000) view.view_flags |= 0x100;
  if (view.has_camera) {
    view.projection = (e & 0x8000) ? 1 : 2;
    if (!(view.camera[9] >= 0) || !(view.camera[10] >= 0)) view.view_flags |= kBadCameraSize;
  }
}

MetadataView ReadView(Cursor& in) {
  MetadataView view;
  view.flags = in.U32();
  view.id = in.U32();
  if (view.flags & Bit(0)) view.name = in.Text();
  ApplyAnnotationRule(view);
  if (view.flags & Bit(1)) {
    for (double& v : view.camera) v = in.F32();
    view.has_camera = !(view.flags & 0x200);
    if (!view.has_camera) view.camera = {};
  }
  if (view.flags & Bit(2)) in.Words();
  if (view.flags & Bit(3)) ReadLeaf(in);
  if (view.flags & Bit(4)) in.Words();
  if (view.flags & Bit(5)) in.Words();
  if (view.flags & Bit(6)) {
    for (uint32_t n = in.U32(); n > 0; --n) {
      in.U32();
      in.Matrix();
    }
  }
  if (view.flags & Bit(7)) {
    for (uint32_t n = in.U32(); n > 0; --n) {
      std::array<double, 4> plane;
      for (double& v : plane) v = in.F32();
      view.planes.push_back(plane);
    }
  }
  DeriveViewFlags(view);
  return view;
}

uint8_t ReadKind(Cursor& in) {
  uint8_t kind = in.U8();
  if (!in.Switches().new_kinds && (kind & 6) == 6) kind = uint8_t((kind & ~6) | 0x20);
  return kind;
}

void ReadNode(Cursor& in, MetadataNode& node) {
  auto const [f, g] = in.Flags();
  if (f & Bit(21)) {
    uint32_t const major = in.U32();
    VersionGate(major, in.U32(), nullptr);
  }
  if (g & Bit(3)) {
    for (uint32_t n = in.U32(); n > 0; --n) {
      in.Text();
      in.U32();
    }
  }
  NodeHead head = ReadNodeHead(in, f, g);
  node.id = head.id;
  node.name = std::move(head.name);
  node.active = head.active;
  node.marked = head.marked;
  if (f & Bit(22)) node.kind = ReadKind(in);
  if (f & Bit(4)) node.children = in.Words();
  if (f & Bit(5)) {
    in.U32();
    if (f & Bit(6)) in.Skip(8);
  }
  if (f & Bit(7)) {
    for (uint32_t n = in.U32(); n > 0; --n) node.leaves.push_back(ReadLeaf(in));
  }
  if (f & Bit(19)) in.Skip(8);
  if (f & Bit(9)) in.Skip(8);
  if (f & Bit(15)) {
    for (uint32_t n = in.U32(); n > 0; --n) node.views.push_back(ReadView(in));
  }
  if (f & Bit(16)) {
    for (uint32_t n = in.U32(); n > 0; --n, ++node.parts) ReadPart(in);
  }
  if (f & Bit(14)) node.unit = in.F64();
  if (f & Bit(24)) {
    node.has_box = true;
    for (double& v : node.box) v = in.F64();
  }
  if (f & Bit(27)) {
    for (uint32_t n = in.U32(); n > 0; --n) {
      uint32_t const e = in.U32();
      in.U32();
      if (e & Bit(0)) in.Text();
    }
  }
  if (f & Bit(28)) {
    for (uint32_t n = in.U32(); n > 0; --n) ReadFilter(in);
  }
}

void ReadHead(Cursor& in, MetadataHead& head) {
  uint32_t const f = in.U32();
  if (!(f & Bit(23))) throw BadBlock{};
  head.format = in.U32();
  if (head.format >= 6) throw BadBlock{};
  if (head.format >= 4) {
    for (uint32_t& v : head.version) v = in.U32();
    VersionGate(head.version[0], head.version[1], &head.version[2]);
  }
  uint32_t const g = (f & Bit(30)) ? in.U32() : 0;
  head.root_key = in.U32();
  head.first_switch = in.Switch();
  head.second_switch = head.format != 0 ? in.Switch() : true;
  if (head.format >= 3 && (g & Bit(2))) head.text = in.Text();
  if (head.format >= 3) in.U32();
}

}  // namespace

bool ParseHead(std::span<uint8_t const> block, MetadataHead& head) {
  Cursor in(block, {});
  try {
    ReadHead(in, head);
    return true;
  } catch (BadBlock const&) {
    head = {};
    return false;
  }
}

bool ParseNode(std::span<uint8_t const> block, MetadataNode& node, MetadataSwitches switches) {
  Cursor in(block, switches);
  try {
    ReadNode(in, node);
    return true;
  } catch (BadBlock const&) {
    node = {};
    return false;
  }
}

}  // namespace QX::Store
