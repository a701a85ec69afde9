// Requests by id on a live stream: for each kind, the records it answers
// with, what it doesn't send twice, and the T that carries its request id.
#include <gtest/gtest.h>

#include "stream/RequestsById.h"
#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;

class Requests : public LiveTest {
 protected:
  // A live state on a model of three grids, set up by a first pass.
  void SetUp() override { SetUpState(kLiveFlags, "requests"); }
  void SetUpState(uint32_t flags, char const* name) {
    model = GridModel(name, {4, 5, 6});
    uint8_t const bytes[4] = {9, 8, 7, 6};
    hidden_data = model.InsertKeyedData(sizeof bytes, bytes, 0xFFFFFFFFu);
    group = model.InsertGroup({InstanceInc{0, 1}, InstanceInc{0, 2}}, {});
    state = std::make_unique<StreamState>(model, &flags);
    Pass(*state, RequestKind::Nothing);
    id = state->StreamIdOf(model.Impl());
    inclusion = state->items.front()->attached->inclusion_id;
  }

  // The records of a request for `ids`, which must end with a T carrying
  // the request id and the kind's code.
  Records Ask(RequestKind kind, Pairs const* ids, uint32_t code) {
    StreamRequest request;
    request.kind = kind;
    request.ids_ptr = ids;
    request.request_id = 77;
    Records const records = Pass(*state, request);
    EXPECT_EQ(records.back().tag, Tag::PassEnd);
    EXPECT_EQ(Words(records.back(), 2), (std::vector<uint32_t>{77, code}));
    return records;
  }

  static std::vector<uint32_t> Words(ReadRecord const& r, size_t from) {
    std::vector<uint32_t> out;
    for (size_t i = from; i < r.bytes.size() / 4; ++i) out.push_back(r.Word(i));
    return out;
  }

  Model model;
  std::unique_ptr<StreamState> state;
  DataKey hidden_data = 0;
  GroupKey group = 0;
  uint32_t id = 0;
  uint32_t inclusion = 0;
};

// Each kind sends its object once, answers a second request with just its
// T, and reports what it can't find.
TEST_F(Requests, ObjectsByIdGoOutOnceWithTheirCodes) {
  MatrixKey const matrix = model.Impl().instances.Find(3)->matrix;
  struct Case {
    RequestKind kind;
    uint32_t key, tag, code;
  } const cases[] = {{RequestKind::MeshIds, 2, Tag::SmallMesh, 7},
                     {RequestKind::MatrixIds, matrix, Tag::Matrix, 4},
                     {RequestKind::GroupIds, group, Tag::Group, 10}};
  for (Case const& c : cases) {
    SCOPED_TRACE(RequestKindName(c.kind));
    Pairs const ids = {{id, c.key}};
    Records const first = Ask(c.kind, &ids, c.code);
    EXPECT_EQ(Count(first, c.tag), 1u);
    EXPECT_EQ(Count(first, Tag::MeshDef), c.kind == RequestKind::MeshIds ? 1u : 0u);
    EXPECT_EQ(TagsOf(Ask(c.kind, &ids, c.code)), std::vector<uint32_t>{Tag::PassEnd});
  }
  Pairs const bad = {{id, 99}, {12345, 1}};
  Records const missing = Only(Ask(RequestKind::MeshIds, &bad, 7), Tag::Missing);
  ASSERT_EQ(missing.size(), 3u);
  EXPECT_EQ(Words(missing[0], 1), (std::vector<uint32_t>{id, 99, 7}));
  EXPECT_EQ(Words(missing[1], 1), (std::vector<uint32_t>{12345, 12345, 9}));
  EXPECT_EQ(Words(missing[2], 1), (std::vector<uint32_t>{12345, 1, 7}));
  Pairs const unknown = {{id, 4321}};
  Records const material = Only(Ask(RequestKind::MaterialIds, &unknown, 3), Tag::Missing);
  ASSERT_EQ(material.size(), 1u);
  EXPECT_EQ(material[0].Word(3), 3u);
}

TEST_F(Requests, DataIdsReachKeyedDataThatPassesNeverSend) {
  RunUntilIdle(*state);
  EXPECT_FALSE(state->sent.keyed_data.contains(ObjectId(model.Impl().id, hidden_data)));
  Pairs const ids = {{id, hidden_data}};
  Records const keyed = Only(Ask(RequestKind::DataIds, &ids, 1), Tag::KeyedData);
  ASSERT_EQ(keyed.size(), 1u);
  EXPECT_EQ(keyed[0].Word(2), hidden_data);
  Pairs const none;
  EXPECT_EQ(TagsOf(Ask(RequestKind::DataIds, &none, 1)), std::vector<uint32_t>{Tag::PassEnd});
  EXPECT_EQ(TagsOf(Ask(RequestKind::DataIds, nullptr, 1)), std::vector<uint32_t>{Tag::PassEnd});
  EXPECT_EQ(log.Count("Requested DATA_IDS but did not provide ids_ptr"), 1);
}

TEST_F(Requests, KeyInfoListsInstancesWithStreamData) {
  StreamRequest request;
  request.kind = RequestKind::GetKeyInfo;
  request.request_id = 5;
  request.key_code = KeyKind::Instance | KeyKind::AllInclusions | KeyKind::CountFirst;
  request.key_id = 0;  // the constructor's attach id
  Records const events = Only(Pass(*state, request), Tag::Event);
  ASSERT_EQ(events.size(), 1u);
  // Subject, count, code, request id, then the count and (model, key) pairs.
  EXPECT_EQ(Words(events[0], 1), (std::vector<uint32_t>{0, 5, request.key_code, 5, 3, id, 1, 2, 3}));

  request.key_code = KeyKind::Data;
  request.key_id = id;
  Records const data = Only(Pass(*state, request), Tag::Event);
  ASSERT_EQ(data.size(), 1u);
  std::vector<uint32_t> const keys = Words(data[0], 5);
  EXPECT_EQ(keys.size(), model.Impl().keyed_data.size());
  EXPECT_EQ(keys.back(), hidden_data);

  request.key_id = 999;  // no such stream model: m, and no answer
  Records const unknown = Pass(*state, request);
  EXPECT_EQ(Count(unknown, Tag::Event), 0u);
  EXPECT_EQ(Count(unknown, Tag::Missing), 1u);
}

TEST_F(Requests, InstanceBoundingSumsWeightsOverTheBoxes) {
  StreamRequest request;
  request.kind = RequestKind::ComputeInstanceIncBounding;
  request.request_id = 12;
  auto const bounds = [&] {
    Records const results = Only(Pass(*state, request), Tag::BoundsResult);
    EXPECT_EQ(results.size(), 1u);
    return results.at(0);
  };
  auto const x = [](ReadRecord const& r, size_t at) { return GetF32(r.bytes.data() + at); };
  ReadRecord const all = bounds();
  uint32_t weights = 0;
  for (auto const& entry : model.Impl().instances) weights += entry.value.weight;
  EXPECT_EQ(all.Word(7), weights);
  EXPECT_EQ(all.Word(8), 12u);
  EXPECT_FLOAT_EQ(x(all, 4), state->items.front()->bounds.min_x);
  EXPECT_GT(x(all, 16), 20.0f);  // the third grid stands at x = 20

  // The tight box of one instance from its stored mesh: the grid itself.
  Pairs const one = {{inclusion, 1}};
  request.incs_ptr = &one;
  request.option_c = 1;
  ReadRecord const tight = bounds();
  EXPECT_NEAR(x(tight, 4), ItemOf(*state, model, 1)->bounds.min_x, 1e-4);
  EXPECT_NEAR(x(tight, 16), ItemOf(*state, model, 1)->bounds.max_x, 1e-4);

  Pairs const nothing;
  request.incs_ptr = &nothing;
  ReadRecord const empty = bounds();
  EXPECT_GT(x(empty, 4), x(empty, 16));
  EXPECT_EQ(empty.Word(7), 0u);
}

TEST_F(Requests, InstanceIdsSendJustTheNamedInstancesOnDemand) {
  state.reset();
  SetUpState(kLiveFlags | ControlFlag::StreamInstancesOnDemand, "on_demand");
  EXPECT_EQ(Count(RunUntilIdle(*state), Tag::Instance), 0u);
  Pairs const ids = {{id, 2}};
  Records const records = Ask(RequestKind::InstanceIdsWithMeshData, &ids, 0x20000005);
  EXPECT_EQ(Count(records, Tag::Instance), 1u);
  EXPECT_EQ(Count(records, Tag::SmallMesh), 1u);
  EXPECT_TRUE(ItemOf(*state, model, 2)->flags.instance_sent);
  EXPECT_FALSE(ItemOf(*state, model, 1)->flags.instance_sent);

  Pairs const groups = {{inclusion, group}};
  StreamRequest request;
  request.kind = RequestKind::InstanceGroupIncsWithoutMeshData;
  request.incs_ptr = &groups;
  request.request_id = 3;
  Records const by_group = Pass(*state, request);
  EXPECT_EQ(Count(by_group, Tag::Instance), 1u);  // 1; 2 went out before
  EXPECT_EQ(Count(by_group, Tag::SmallMesh), 0u);
  EXPECT_EQ(Words(by_group.back(), 2), (std::vector<uint32_t>{3, 0x40000005}));
}

}  // namespace
