// Parts reached along several include paths: what the walk logs and puts
// into the model, in which order, and with which bytes.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>

#include "ConversionFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKits.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

// FNV-1a, 64 bits.
uint64_t Fingerprint(void const* data, size_t size, uint64_t h = 0xCBF29CE484222325ull) {
  auto const* bytes = static_cast<unsigned char const*>(data);
  for (size_t i = 0; i < size; ++i) h = (h ^ bytes[i]) * 0x100000001B3ull;
  return h;
}

// Every file of a directory, by name.
std::map<std::string, std::string> DirectoryBytes(std::filesystem::path const& directory) {
  std::map<std::string, std::string> files;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    files[std::filesystem::relative(entry.path(), directory).string()] =
        std::string(std::istreambuf_iterator<char>(in), {});
  }
  return files;
}

// The fingerprints of the log lines, of the instances in their order
// (mesh, matrix, materials, clip region, flags) and of the bytes of the
// model directory, after a verbose walk with progress from `start`.
struct Fingerprints {
  size_t lines = 0;
  uint64_t log = 0;
  size_t instances = 0;
  uint64_t rows = 0;
  uint64_t bytes = 0;
  bool operator==(Fingerprints const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Fingerprints const& f) {
  return out << "{" << f.lines << ", 0x" << std::hex << f.log << std::dec << ", " << f.instances << ", 0x"
             << std::hex << f.rows << ", 0x" << f.bytes << std::dec << "}";
}

PointArrayArray Triangle() { return {{{-5, -5, 0}, {5, -5, 0}, {0, 5, 0}}}; }

class WalkPathsTest : public ConversionTest {
 protected:
  // A library of parts and an assembly that includes them along many paths,
  // under matrices, colours, visibility, handedness, clip regions,
  // conditions and references, each setting reaching some paths only.
  WalkPathsTest() {
    SegmentKey const bolt = library.Subsegment("bolt");
    InsertSquare(bolt);
    bolt.InsertLine({{0, 0, 0}, {0, 0, 1}});
    SegmentKey const plate = library.Subsegment("plate");
    plate.InsertShell({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}, {1, 2, 0}}, {4, 0, 1, 2, 3, 3, 3, 2, 4})
        .SetMaterialMapping(MaterialMappingKit().SetFaceColor({0, 0, 1, 1}));
    plate.SetDrawingAttribute(DrawingAttributeKit().SetPolygonHandedness(Drawing::Handedness::Right));
    SegmentKey const bracket = library.Subsegment("bracket");
    bracket.SetModellingMatrix(MatrixKit().Scale(2, 2, 2));
    SegmentKey const arm = bracket.Subsegment("arm");
    arm.SetModellingMatrix(MatrixKit().Rotate(0, 30, 0));
    InsertSquare(arm);
    arm.IncludeSegment(bolt);
    bracket.IncludeSegment(plate);

    root.SetConditions({UTF8("metric")});
    root.SetMaterialMapping(MaterialMappingKit().SetFaceColor({0.5f, 0.5f, 0.5f, 1}));
    SegmentKey const left = root.Subsegment("left");
    left.SetModellingMatrix(MatrixKit().Translate(-10, 0.1f, 0));
    left.SetVisibility(VisibilityKit().SetLines(false));
    right = root.Subsegment("right");
    right.SetModellingMatrix(MatrixKit().Rotate(0, 0, 37));
    right.SetClipRegion(Triangle(), Drawing::ClipSpace::World, Drawing::ClipOperation::Keep);
    right.SetDrawingAttribute(DrawingAttributeKit().SetPolygonHandedness(Drawing::Handedness::None));
    for (int i = 0; i < 3; ++i) {
      SegmentKey const copy = left.Subsegment();
      copy.SetModellingMatrix(MatrixKit().Translate(float(i) * 3.3f, 0, 0.7f));
      copy.IncludeSegment(bracket);
      copy.IncludeSegment(bolt, ConditionalExpression(i == 1 ? "imperial" : "metric"));
    }
    for (int i = 0; i < 2; ++i) {
      SegmentKey const copy = right.Subsegment(i == 0 ? "first" : "");
      copy.SetModellingMatrix(MatrixKit().Rotate(float(i) * 11, 0, 0));
      if (i == 1) copy.SetMaterialMapping(MaterialMappingKit().SetFaceColor({0, 1, 0, 0.5f}));
      copy.IncludeSegment(bracket);
      copy.IncludeSegment(plate);
      copy.ReferenceGeometry(InsertSquare(library)).SetModellingMatrix(MatrixKit().Translate(0, 0, 4));
      copy.ReferenceGeometry(bolt);
    }
  }

  Fingerprints Walk(KeyPath const& start) {
    ConverterOptions options;
    options.Verbose = true;
    Convert(options, &start, true);
    Fingerprints f;
    f.lines = log.lines.size();
    f.log = Fingerprint(nullptr, 0);
    for (auto const& line : log.lines) f.log = Fingerprint(line.data(), line.size() + 1, f.log);
    std::vector<uint32_t> rows;
    for (auto const* instance : Instances())
      rows.insert(rows.end(), {instance->mesh, instance->matrix, instance->face_material, instance->line_material,
                               instance->point_material, instance->clip, instance->flags});
    f.instances = rows.size() / 7;
    f.rows = Fingerprint(rows.data(), rows.size() * 4);
    model = QX::Store::Model();  // writes the model out
    f.bytes = Fingerprint(nullptr, 0);
    for (auto const& [name, bytes] : DirectoryBytes(ModelDirectory())) {
      f.bytes = Fingerprint(name.data(), name.size() + 1, f.bytes);
      f.bytes = Fingerprint(bytes.data(), bytes.size(), f.bytes);
    }
    return f;
  }

  SegmentKey right;
};

// The figures were taken from the walk that asked the scene for each
// attribute along the whole key path at every query: lines, instances and
// model bytes stay exactly as they were.
TEST_F(WalkPathsTest, FromTheRoot) {
  Fingerprints const f = Walk(KeyPath({root}));
  EXPECT_EQ((Fingerprints{109, 0x39b15b6911f7f30f, 27, 0x6bf15774d23bc550, 0x1a326c933a2ef36e}), f);
}

// A start below the top of its path: the settings above the start count,
// clip regions above it don't.
TEST_F(WalkPathsTest, FromASegmentBelowTheTop) {
  Fingerprints const f = Walk(KeyPath({right, root}));
  EXPECT_EQ((Fingerprints{57, 0xa3c7f1743c9d4a54, 16, 0xe8b7fc92dbaf119e, 0x2674dcde9074641f}), f);
}

}  // namespace
}  // namespace qx_conversion_test
