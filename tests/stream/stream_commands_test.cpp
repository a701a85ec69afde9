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
  // A host with three grids of its own that includes `part` twice, streamed
  // until idle.
  void SetUpTwice() {
    part = GridModel("cmd_part", {4, 5}, false);
    host = GridModel("cmd_host", {4, 5, 6});
    host.Include(part, 0);
    host.Include(part, Shifted(host, 0, 100));
    state = std::make_unique<StreamState>(host, &kLiveFlags);
    RunUntilIdle(*state);
  }

  std::vector<uint32_t> InclusionsOf(Model const& model) { return state->inclusions_of_model[&model.Impl()]; }

  // Attaches `name` again and streams until idle.
  Records Reattach(char const* name) {
    AttachRequest request;
    request.name = PathOf(name);
    state->EnterAttachRequest(std::move(request), 7, 0, 0);
    return RunUntilIdle(*state);
  }

  Model part, host;
  std::unique_ptr<StreamState> state;
};

// A restart answers first, then begins a new stream from nothing: nothing
// is attached until a request comes, and then it all goes out again.
TEST_F(Commands, RestartBeginsWithVAndResendsFromScratch) {
  SetUpTwice();
  state->restart_commands = {41, 42};
  Records const records = Pass(*state, RequestKind::Stream);
  std::vector<uint32_t> const tags = TagsOf(records);
  ASSERT_GE(tags.size(), 3u);
  EXPECT_EQ(std::vector<uint32_t>(tags.begin(), tags.begin() + 3),
            (std::vector<uint32_t>{Tag::OpResult, Tag::OpResult, Tag::Head}));
  EXPECT_EQ(Words({records[0].Word(1), records[0].Word(2)}), Words({4, 41}));
  EXPECT_TRUE(state->attached.empty());
  EXPECT_TRUE(state->sent.materials.empty());
  EXPECT_FALSE(state->scene_root);

  Records const again = Reattach("cmd_host");
  EXPECT_EQ(Count(again, Tag::Instance), 5u);
  EXPECT_EQ(Count(again, Tag::SmallMesh), 5u);
  EXPECT_EQ(state->StreamIdOf(host.Impl()), 0xFFFFFFFDu);  // ids begin anew

  Model model = GridModel("cmd_empty", {4});
  uint32_t const flags = kLiveFlags | ControlFlag::StreamSetupOnly;
  StreamState empty(model, &flags);
  empty.restart_commands = {5};
  EXPECT_EQ(TagsOf(Pass(empty, RequestKind::Nothing)), (std::vector<uint32_t>{Tag::OpResult, Tag::Head, Tag::PassEnd}));
}

// Detaching one inclusion of two keeps the model and the meshes' send
// states, with one item fewer; an unknown inclusion is reported missing.
TEST_F(Commands, DetachOfOneInclusionKeepsTheModel) {
  SetUpTwice();
  std::vector<uint32_t> const inclusions = InclusionsOf(part);
  ASSERT_EQ(inclusions.size(), 2u);
  size_t const items = state->items.size();
  state->detach_commands = {{inclusions[1], 900}, {12345, 901}};
  state->detach_replies = {17};
  Records const records = Pass(*state, RequestKind::Stream);
  auto const words = [&](uint32_t tag, size_t first, size_t last) {
    std::vector<uint32_t> out;
    for (ReadRecord const& r : Only(records, tag))
      for (size_t i = first; i <= last; ++i) out.push_back(r.Word(i));
    return out;
  };
  EXPECT_EQ(words(Tag::StateChange, 2, 3), (std::vector<uint32_t>{inclusions[1], 11}));
  EXPECT_EQ(words(Tag::Removal, 1, 1), (std::vector<uint32_t>{900, 901}));
  EXPECT_EQ(words(Tag::Missing, 2, 2), std::vector<uint32_t>{12345});
  EXPECT_EQ(words(Tag::OpResult, 1, 2), (std::vector<uint32_t>{3, 17}));
  EXPECT_EQ(state->items.size(), items - 2);
  EXPECT_EQ(InclusionsOf(part).size(), 1u);
  for (auto const& [record, progress] : state->mesh_progress) {
    if (progress.model == &part.Impl()) {
      EXPECT_EQ(progress.items.size(), 1u);
    }
  }
}

// Detaching the last inclusion forgets the model; attached again, it goes
// out whole, under its old stream model id.
TEST_F(Commands, DetachOfTheLastInclusionForgetsTheModel) {
  SetUpTwice();
  uint32_t const part_id = state->StreamIdOf(part.Impl());
  for (uint32_t inclusion : InclusionsOf(part)) state->detach_commands.push_back({inclusion, 1});
  Records const changes = Only(Pass(*state, RequestKind::Stream), Tag::StateChange);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(changes[2].Word(1), part_id);
  EXPECT_EQ(changes[2].Word(3), 9u);
  EXPECT_EQ(state->inclusions_of_model.count(&part.Impl()), 0u);
  for (auto const& [record, progress] : state->mesh_progress) EXPECT_NE(progress.model, &part.Impl());

  Records const again = Reattach("cmd_part");
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
  EXPECT_EQ(Count(RunUntilIdle(wanted), Tag::Instance), 2u);
  for (InstanceKey key : {1u, 2u, 3u, 4u}) EXPECT_EQ(ItemOf(wanted, model, key)->flags.instance_sent, key % 2 == 0);
  wanted.wanted_apply = wanted.wanted_value = true;
  EXPECT_EQ(Count(RunUntilIdle(wanted), Tag::Instance), 2u);  // the other two
}

using Previews = LiveTest;

// The preview list of a kind (0 instances, 1 models, 2 ejected): first or last.
ReadRecord const* ListOf(Records const& records, uint32_t kind, bool last = false) {
  ReadRecord const* found = nullptr;
  for (ReadRecord const& r : records)
    if (r.tag == Tag::Previews && r.Word(2) == kind && (last || found == nullptr)) found = &r;
  return found;
}

TEST_F(Previews, InstancePreviewsShowTheQueueAndGoWithTheData) {
  Model model = GridModel("pv_instances", {40, 41, 42, 43});
  StreamState none(model, &kLiveFlags);
  EXPECT_EQ(Count(RunUntilIdle(none), Tag::Previews), 0u);
  EXPECT_EQ(none.previews, nullptr);

  uint32_t const flags =
      kLiveFlags | ControlFlag::StreamInstanceBoundingPreviews | ControlFlag::StreamModelBoundingPreviews;
  StreamState state(model, &flags);
  Records const records = RunUntilIdle(state);
  ASSERT_NE(ListOf(records, 0), nullptr);
  EXPECT_EQ(ListOf(records, 0)->Word(1), 4u);  // the four queued items
  ASSERT_NE(ListOf(records, 1), nullptr);
  EXPECT_GE(ListOf(records, 1)->Word(1), 1u);
  EXPECT_EQ(ListOf(records, 0, true)->Word(1), 0u);  // once the data is there
  for (StreamInstance const* item : state.items) EXPECT_EQ(item->instance_preview, kNoPreview);
  EXPECT_GT(state.counters.preview_bytes, 0u);

  // Turning the flags off drops the set.
  state.SetControlFlags(kLiveFlags);
  Pass(state, RequestKind::Stream);
  EXPECT_EQ(state.previews, nullptr);
}

TEST_F(Previews, EjectedItemsGetPreviews) {
  Model model = GridModel("pv_ejected", {330, 4});
  uint32_t const flags = kLiveFlags | ControlFlag::StreamEjectedBoundingPreviews;
  StreamState state(model, &flags);
  state.SetLimitMiB(1);
  Records const records = RunUntilIdle(state);
  ReadRecord const* ejected = ListOf(records, 2);
  ASSERT_NE(ejected, nullptr);
  EXPECT_EQ(ejected->Word(1), 1u);  // the mesh larger than the budget
}

// Of three items, two overlap and one stands far away: two model previews.
TEST_F(Previews, ModelPreviewsGroupTouchingItems) {
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
