// The summary of a model: counts and key ranges per kind, file sizes, and
// the problems found: unknown keys referenced and blocks missing from files.
#include <filesystem>

#include "store/ModelSummary.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using ModelSummaryTest = StoreTest;

// Every kind of reference a model holds resolves: instances, a material map,
// a clip region's polygons and an included model.
TEST_F(ModelSummaryTest, SoundModelHasNoProblems) {
  Model other = Open("other");
  Model model = Open("m");
  for (int i = 0; i < 2; ++i) model.InsertInstance(0, 0, kNoKey, kNoKey, kNoKey, 0, 0, 0, 1, 0, 0, {});
  model.InsertMaterialMap({0, 0});
  uint32_t const one_loop = 4;
  float const square[12] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  model.InsertClipRegion({ClipLoop{{model.InsertPolyPolygon(1, &one_loop, square)}, 0, 0, 0}});
  model.Include(other, 0);
  std::string const text = FormatModelSummary(SummarizeModel(model.Impl()));
  EXPECT_NE(text.find("\n  instances               2  keys 1..2\n"), std::string::npos) << text;
  EXPECT_TRUE(text.ends_with("Problems:\n  none\n")) << text;
}

TEST_F(ModelSummaryTest, ReportsUnknownKeysAndMissingBlocks) {
  uint8_t const bytes[3] = {1, 2, 3};
  {
    Model model = Open("m");
    model.InsertInstance(0, 12345, kNoKey, kNoKey, kNoKey, 0, 0, 0, 1, 0, 0, {});
    model.InsertKeyedData(sizeof bytes, bytes, 7);
    model.InsertGroup({{0, 1}}, {});
    model.Impl().instance_overrides.Insert(InstanceInc{4, 1}, InstanceOverride{});
  }
  std::filesystem::resize_file(FileOf("m", kDataName), 0);
  Model model = Open("m", true);
  ModelSummary const summary = SummarizeModel(model.Impl());
  EXPECT_EQ(summary.problems, (std::vector<std::string>{
                                  "Instance 1: unknown MatrixKey 12345",
                                  "Override of instance 1: unknown IncludeKey 4",
                                  "Group 1: bytes not in _data.qxi",
                                  "Keyed data 2: bytes not in _data.qxi",
                              }));
  EXPECT_EQ(summary.files[3].size, 0);
  std::string const text = FormatModelSummary(summary);
  EXPECT_NE(text.find("Problems:\n  Instance 1: unknown MatrixKey 12345\n"), std::string::npos);
}

}  // namespace
}  // namespace qx_store_test
