// Attaching models to a stream: a model that includes itself, a model that
// includes another one, units, and an included model that can't be found.
#include <filesystem>

#include "geometry/bounding/BoundingTree.h"
#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;

constexpr uint32_t kStandAloneFlags = ControlFlag::StreamCulled | ControlFlag::NoStreamLimit |
                                      ControlFlag::StandAlone | ControlFlag::StreamKeyedDataOnIdle;

class Attach : public LiveTest {
 protected:
  // Gives the model a metadata block that holds only its unit.
  static void SetUnit(Model& model, double unit) {
    Bytes node;
    PutU32(node, 0x4000);
    PutF64(node, unit);
    model.SetKeyedData(kMetadataKey, uint32_t(node.size()), node.data());
  }

  // The box of the part's first item once a stream of the host has run through.
  BoundingBox PartBoxInStream(Model& host, Model& part, uint32_t flags) {
    StreamState state(host, &flags);
    RunUntilIdle(state);
    StreamInstance const* item = ItemOf(state, part, 1);
    return item ? item->bounds : BoundingBox{};
  }
};

TEST_F(Attach, SelfIncludeMakesOneInclusionInModelSpace) {
  Model model = GridModel("self", {4, 4});
  StreamState state(model, &kStandAloneFlags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);

  ASSERT_EQ(state.attached.size(), 1u);
  StreamAttachedModel const& attached = state.attached.begin()->second;
  EXPECT_EQ(attached.inclusion_id, 0xFFFFFFFEu);
  ASSERT_EQ(attached.instances.size(), 2u);
  for (auto const& [key, item] : attached.instances) {
    // Model space is scene space.
    EXPECT_EQ(item.bounds, model.Impl().instances.Find(item.instance->key)->bounds);
    EXPECT_EQ(item.flags.classes, 7u);
  }
  EXPECT_EQ(state.StreamIdOf(model.Impl()), 0xFFFFFFFDu);
  std::vector<ReadRecord> const inclusions = Only(records, Tag::Inclusion);
  ASSERT_EQ(inclusions.size(), 1u);
  EXPECT_EQ(inclusions[0].Word(3), 0xFFFFFFFEu);
  EXPECT_EQ(Count(records, Tag::TreeHead), 1u);
  EXPECT_EQ(log.Count("Processed 1 model in "), 1);
  EXPECT_EQ(log.Count("Attached 1 model in "), 1);
}

TEST_F(Attach, ModelWithoutIncludesStandsAsItsOwnRoot) {
  Model model = GridModel("alone", {4}, false);
  StreamState state(model, &kStandAloneFlags);
  EXPECT_EQ(Count(Pass(state, RequestKind::Digest), Tag::Instance), 1u);
  EXPECT_TRUE(state.scene_root == model);
}

TEST_F(Attach, ForeignModelGetsItsOwnStreamIdAndComposedMatrix) {
  Model part = GridModel("part", {4}, false);
  Model host = GridModel("host", {4});
  double const shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 100, 0};
  host.Include(part, host.InsertMatrix(shift));
  StreamState state(host, &kStandAloneFlags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);

  std::vector<ReadRecord> const inclusions = Only(records, Tag::Inclusion);
  ASSERT_EQ(inclusions.size(), 2u);
  EXPECT_EQ(inclusions[0].Word(2), 0xFFFFFFFDu);  // the host model: -3
  EXPECT_EQ(inclusions[1].Word(1), 0xFFFFFFFDu);  // second inclusion id: -3
  EXPECT_EQ(inclusions[1].Word(2), 0xFFFFFFFCu);  // the part: -4
  EXPECT_EQ(inclusions[1].Word(3), 0xFFFFFFFDu);  // its matrix key in the root: -3
  Matrix const* placed = host.Impl().matrices.Find(0xFFFFFFFDu);
  ASSERT_NE(placed, nullptr);
  EXPECT_DOUBLE_EQ((*placed)[10], 100.0);
  StreamInstance const* part_item = ItemOf(state, part, 1);
  ASSERT_NE(part_item, nullptr);
  EXPECT_FLOAT_EQ(part_item->bounds.min_y, 100.0f);
  EXPECT_EQ(Count(records, Tag::Instance), 2u);
  EXPECT_EQ(Count(records, Tag::TreeHead), 2u);
}

TEST_F(Attach, MissingModelIsReportedWithItsNameEscaped) {
  std::string const name = "gone\"\x01";
  {
    Model part = GridModel(name, {4}, false);
    Model host = GridModel("keeps", {4});
    host.Include(part, 0);
  }
  std::filesystem::remove_all(dir.Path() / name);
  Model host = Open("keeps");
  StreamState state(host, &kStandAloneFlags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);

  std::vector<ReadRecord> const texts = Only(records, Tag::Text);
  ASSERT_FALSE(texts.empty());
  EXPECT_EQ(TextOf(texts[0]), "<MISSING_MODEL data=\"../gone\\\"\\u0001\">");
  EXPECT_EQ(log.Count("Failed to find attached model in search path: ../gone"), 1);
  EXPECT_EQ(Count(records, Tag::Instance), 1u);  // the host's own goes on
}

TEST_F(Attach, LiveStreamAnnouncesInclusionsWithTheirAttachId) {
  Model part = GridModel("live_part", {4}, false);
  Model host = GridModel("live_host", {4});
  host.Include(part, 0);
  StreamState state(host, &kLiveFlags);
  std::vector<ReadRecord> const records = RunUntilIdle(state);
  EXPECT_EQ(Count(records, Tag::Inclusion), 0u);
  std::vector<ReadRecord> const inclusions = Only(records, Tag::LiveInclusion);
  ASSERT_EQ(inclusions.size(), 2u);
  EXPECT_EQ(inclusions[0].Word(1), 0u);  // attach id
  EXPECT_EQ(inclusions[0].Word(5), 0u);  // not hidden
  EXPECT_EQ(Count(records, Tag::Instance), 2u);
  EXPECT_EQ(Count(records, Tag::SmallMesh), 2u);  // one mesh in each model
  EXPECT_EQ(Count(records, Tag::Text), 0u);
  std::vector<ReadRecord> const texts = Only(records, Tag::LiveText);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(TextOf(texts[0]), "<PRIORITY_KEYED_DATA_SENT count=\"2\">");
}

// A part authored in millimetres, included in a host in metres, is scaled
// into the host's unit in a live stream; a stand-alone stream leaves units be.
TEST_F(Attach, IncludedModelIsScaledIntoTheHostsUnit) {
  Model part = GridModel("mm_part", {4}, false);
  SetUnit(part, 0.001);
  Model host = GridModel("m_host", {4});
  SetUnit(host, 1.0);
  host.Include(part, 0);
  BoundingBox const own = part.Impl().bounding_tree->root->bounds;
  ASSERT_GT(own.max_x - own.min_x, 0.5f);

  BoundingBox const live = PartBoxInStream(host, part, kLiveFlags);
  EXPECT_FLOAT_EQ(live.max_x - live.min_x, (own.max_x - own.min_x) * 0.001f);
  EXPECT_FLOAT_EQ(live.max_y, own.max_y * 0.001f);

  BoundingBox const alone = PartBoxInStream(host, part, kStandAloneFlags);
  EXPECT_FLOAT_EQ(alone.max_x - alone.min_x, own.max_x - own.min_x);
}

}  // namespace
