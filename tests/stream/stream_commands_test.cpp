// Commands that wait for the next pass: restart, detach with its replies,
// the wanted marks, and bounding previews as the flags and data change them.
#include <gtest/gtest.h>

#include "stream/BoundingPreviews.h"
#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;

class Commands : public LiveTest {
 protected:
  // A host with three grids of its own that includes `part` twice.
  void SetUpTwice() {
    part = GridModel("cmd_part", {4, 5}, false);
    host = GridModel("cmd_host", {4, 5, 6});
    double const shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 100, 0};
    host.Include(part, 0);
    host.Include(part, host.InsertMatrix(shift));
    state = std::make_unique<StreamState>(host, &kLiveFlags);
    RunUntilIdle(*state);
  }

  std::vector<uint32_t> InclusionsOf(Model const& model) {
    return state->inclusions_of_model[&model.Impl()];
  }

  Model part, host;
  std::unique_ptr<StreamState> state;
};

TEST_F(Commands, RestartBeginsWithVAndResendsFromScratch) {
  SetUpTwice();
  state->restart_commands = {41, 42};
  std::vector<ReadRecord> const records = Pass(*state, RequestKind::Stream);
  std::vector<uint32_t> const tags = TagsOf(records);
  ASSERT_GE(tags.size(), 3u);
  EXPECT_EQ(tags[0], Tag::OpResult);
  EXPECT_EQ(records[0].Word(1), 4u);
  EXPECT_EQ(records[0].Word(2), 41u);
  EXPECT_EQ(tags[1], Tag::OpResult);
  EXPECT_EQ(tags[2], Tag::Head);
  EXPECT_TRUE(state->attached.empty());
  EXPECT_TRUE(state->sent.materials.empty());
  EXPECT_FALSE(state->scene_root);

  // Nothing is attached until a request comes; then it all goes out again.
  AttachRequest request;
  request.name = PathOf("cmd_host");
  state->EnterAttachRequest(std::move(request), 7, 0, 0);
  std::vector<ReadRecord> const again = RunUntilIdle(*state);
  EXPECT_EQ(Count(again, Tag::Instance), 5u);
  EXPECT_EQ(Count(again, Tag::SmallMesh), 5u);
  EXPECT_EQ(state->StreamIdOf(host.Impl()), 0xFFFFFFFDu);  // ids begin anew
}

TEST_F(Commands, RestartOfAnEmptyStreamWritesItsReplyAHeadAndT) {
  Model model = GridModel("cmd_empty", {4});
  uint32_t const flags = kLiveFlags | ControlFlag::StreamSetupOnly;
  StreamState empty(model, &flags);
  empty.restart_commands = {5};
  std::vector<ReadRecord> const records = Pass(empty, RequestKind::Nothing);
  EXPECT_EQ(TagsOf(records), (std::vector<uint32_t>{Tag::OpResult, Tag::Head, Tag::PassEnd}));
}

TEST_F(Commands, DetachOfOneInclusionKeepsTheModel) {
  SetUpTwice();
  std::vector<uint32_t> const inclusions = InclusionsOf(part);
  ASSERT_EQ(inclusions.size(), 2u);
  size_t const items = state->items.size();
  state->detach_commands = {{inclusions[1], 900}, {12345, 901}};
  state->detach_replies = {17};
  std::vector<ReadRecord> const records = Pass(*state, RequestKind::Stream);

  std::vector<ReadRecord> const changes = Only(records, Tag::StateChange);
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].Word(2), inclusions[1]);
  EXPECT_EQ(changes[0].Word(3), 11u);
  std::vector<ReadRecord> const notices = Only(records, Tag::Removal);
  ASSERT_EQ(notices.size(), 2u);
  EXPECT_EQ(notices[0].Word(1), 900u);
  EXPECT_EQ(notices[1].Word(1), 901u);
  std::vector<ReadRecord> const missing = Only(records, Tag::Missing);
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(missing[0].Word(2), 12345u);
  std::vector<ReadRecord> const replies = Only(records, Tag::OpResult);
  ASSERT_EQ(replies.size(), 1u);
  EXPECT_EQ(replies[0].Word(1), 3u);
  EXPECT_EQ(replies[0].Word(2), 17u);

  EXPECT_EQ(state->items.size(), items - 2);
  EXPECT_EQ(InclusionsOf(part).size(), 1u);
  // The shared meshes stay in the budget's send states, with one item fewer.
  for (auto const& [record, progress] : state->mesh_progress) {
    if (progress.model == &part.Impl()) {
      EXPECT_EQ(progress.items.size(), 1u);
    }
  }
}

TEST_F(Commands, DetachOfTheLastInclusionForgetsTheModel) {
  SetUpTwice();
  uint32_t const part_id = state->StreamIdOf(part.Impl());
  for (uint32_t inclusion : InclusionsOf(part)) state->detach_commands.push_back({inclusion, 1});
  std::vector<ReadRecord> const records = Pass(*state, RequestKind::Stream);
  std::vector<ReadRecord> const changes = Only(records, Tag::StateChange);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(changes[2].Word(1), part_id);
  EXPECT_EQ(changes[2].Word(3), 9u);
  EXPECT_EQ(state->inclusions_of_model.count(&part.Impl()), 0u);
  for (auto const& [record, progress] : state->mesh_progress)
    EXPECT_NE(progress.model, &part.Impl());

  // Attached again, it goes out whole, under its old stream model id.
  AttachRequest request;
  request.name = PathOf("cmd_part");
  state->EnterAttachRequest(std::move(request), 3, 0, 0);
  std::vector<ReadRecord> const again = RunUntilIdle(*state);
  EXPECT_EQ(state->StreamIdOf(part.Impl()), part_id);
  EXPECT_EQ(Count(again, Tag::SmallMesh), 2u);
  EXPECT_EQ(Count(again, Tag::Instance), 2u);
}

TEST_F(Commands, OnDemandStreamSendsExactlyTheWantedInstances) {
  Model model = GridModel("cmd_wanted", {4, 5, 6, 7});
  uint32_t const flags = kLiveFlags | ControlFlag::StreamInstancesOnDemand;
  StreamState wanted(model, &flags);
  EXPECT_EQ(Count(RunUntilIdle(wanted), Tag::Instance), 0u);
  uint32_t const inclusion = wanted.items.front()->attached->inclusion_id;
  wanted.wanted_marks = {{inclusion, 2, true}, {inclusion, 4, true}};
  std::vector<ReadRecord> const some = RunUntilIdle(wanted);
  std::vector<ReadRecord> const instances = Only(some, Tag::Instance);
  ASSERT_EQ(instances.size(), 2u);
  EXPECT_TRUE(ItemOf(wanted, model, 2)->flags.instance_sent);
  EXPECT_TRUE(ItemOf(wanted, model, 4)->flags.instance_sent);
  EXPECT_FALSE(ItemOf(wanted, model, 1)->flags.instance_sent);

  wanted.wanted_apply = wanted.wanted_value = true;
  EXPECT_EQ(Count(RunUntilIdle(wanted), Tag::Instance), 2u);  // the other two
}

class Previews : public LiveTest {};

TEST_F(Previews, NoFlagNoRecordAndNoSet) {
  Model model = GridModel("pv_none", {4, 5});
  StreamState state(model, &kLiveFlags);
  EXPECT_EQ(Count(RunUntilIdle(state), Tag::Previews), 0u);
  EXPECT_EQ(state.previews, nullptr);
}

TEST_F(Previews, InstancePreviewsShowTheQueueAndGoWithTheData) {
  Model model = GridModel("pv_instances", {40, 41, 42, 43});
  uint32_t const flags = kLiveFlags | ControlFlag::StreamInstanceBoundingPreviews |
                         ControlFlag::StreamModelBoundingPreviews;
  StreamState state(model, &flags);
  std::vector<ReadRecord> const records = RunUntilIdle(state);
  std::vector<ReadRecord> const previews = Only(records, Tag::Previews);
  ASSERT_FALSE(previews.empty());
  // The first instance list holds the four queued items.
  auto const first = std::find_if(previews.begin(), previews.end(),
                                  [](ReadRecord const& r) { return r.Word(2) == 0; });
  ASSERT_NE(first, previews.end());
  EXPECT_EQ(first->Word(1), 4u);
  auto const model_list = std::find_if(previews.begin(), previews.end(),
                                       [](ReadRecord const& r) { return r.Word(2) == 1; });
  ASSERT_NE(model_list, previews.end());
  EXPECT_GE(model_list->Word(1), 1u);
  // Once the data is there, the last instance list is empty.
  auto const last = std::find_if(previews.rbegin(), previews.rend(),
                                 [](ReadRecord const& r) { return r.Word(2) == 0; });
  EXPECT_EQ(last->Word(1), 0u);
  for (StreamInstance const* item : state.items) EXPECT_EQ(item->instance_preview, kNoPreview);
  EXPECT_GT(state.counters.preview_bytes, 0u);

  // Turning the flags off sends empty lists and drops the set.
  state.SetControlFlags(kLiveFlags);
  Pass(state, RequestKind::Stream);
  EXPECT_EQ(state.previews, nullptr);
}

TEST_F(Previews, EjectedItemsGetPreviews) {
  Model model = GridModel("pv_ejected", {330, 4});
  uint32_t const flags = kLiveFlags | ControlFlag::StreamEjectedBoundingPreviews;
  StreamState state(model, &flags);
  state.SetLimitMiB(1);
  std::vector<ReadRecord> const records = RunUntilIdle(state);
  std::vector<ReadRecord> const previews = Only(records, Tag::Previews);
  auto const ejected = std::find_if(previews.begin(), previews.end(),
                                    [](ReadRecord const& r) { return r.Word(2) == 2; });
  ASSERT_NE(ejected, previews.end());
  EXPECT_EQ(ejected->Word(1), 1u);  // the mesh larger than the budget
}

TEST_F(Previews, ModelPreviewsGroupTouchingItems) {
  Model model = GridModel("pv_groups", {4});
  StreamState state(model, &kLiveFlags);
  Pass(state, RequestKind::Nothing);
  // Three items: two that overlap, one far away.
  std::vector<StreamInstance> items(3);
  std::vector<StreamInstance*> list;
  MeshRecord faces;
  faces.classes = 1;
  float const x[3] = {0, 0.5f, 50};
  for (int i = 0; i < 3; ++i) {
    items[i].bounds = {x[i], 0, 0, x[i] + 1, 1, 1};
    SetShape(items[i], items[i].bounds);
    items[i].flags.classes = 1;
    items[i].mesh = &faces;
    list.push_back(&items[i]);
  }
  PreviewList previews;
  EXPECT_EQ(BuildModelPreviews(previews, list, BoundingBox{0, 0, 0, 51, 1, 1}, false), 2u);
  EXPECT_EQ(items[0].model_preview, items[1].model_preview);
  EXPECT_NE(items[0].model_preview, items[2].model_preview);
}

}  // namespace
