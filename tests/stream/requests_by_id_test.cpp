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
  void SetUpState(uint32_t flags = kLiveFlags) {
    model = GridModel("requests", {4, 5, 6});
    uint8_t const bytes[4] = {9, 8, 7, 6};
    hidden_data = model.InsertKeyedData(sizeof bytes, bytes, 0xFFFFFFFFu);
    group = model.InsertGroup({InstanceInc{0, 1}, InstanceInc{0, 2}}, {});
    state = std::make_unique<StreamState>(model, &flags);
    Pass(*state, RequestKind::Nothing);
    id = state->StreamIdOf(model.Impl());
  }

  std::vector<ReadRecord> Ask(RequestKind kind, Pairs const* ids, uint32_t request_id = 77) {
    StreamRequest request;
    request.kind = kind;
    request.ids_ptr = ids;
    request.request_id = request_id;
    return Pass(*state, request);
  }

  // The pass ends with T carrying the request id and the kind's code.
  static void EndsWithItsT(std::vector<ReadRecord> const& records, uint32_t code,
                           uint32_t request_id = 77) {
    ASSERT_FALSE(records.empty());
    ReadRecord const& t = records.back();
    EXPECT_EQ(t.tag, Tag::PassEnd);
    EXPECT_EQ(t.Word(2), request_id);
    EXPECT_EQ(t.Word(3), code);
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
};

TEST_F(Requests, MeshIdsSendDefinitionAndDataOnce) {
  SetUpState();
  Pairs const ids = {{id, 2}};
  std::vector<ReadRecord> const first = Ask(RequestKind::MeshIds, &ids);
  EXPECT_EQ(Count(first, Tag::MeshDef), 1u);
  EXPECT_EQ(Count(first, Tag::SmallMesh), 1u);
  EndsWithItsT(first, 7);
  std::vector<ReadRecord> const again = Ask(RequestKind::MeshIds, &ids);
  EXPECT_EQ(TagsOf(again), std::vector<uint32_t>{Tag::PassEnd});

  Pairs const bad = {{id, 99}, {12345, 1}};
  std::vector<ReadRecord> const missing = Only(Ask(RequestKind::MeshIds, &bad), Tag::Missing);
  ASSERT_EQ(missing.size(), 3u);
  EXPECT_EQ(Words(missing[0], 1), (std::vector<uint32_t>{id, 99, 7}));
  EXPECT_EQ(Words(missing[1], 1), (std::vector<uint32_t>{12345, 12345, 9}));
  EXPECT_EQ(Words(missing[2], 1), (std::vector<uint32_t>{12345, 1, 7}));
}

TEST_F(Requests, DataIdsReachKeyedDataThatPassesNeverSend) {
  SetUpState();
  RunUntilIdle(*state);
  EXPECT_FALSE(state->sent.keyed_data.contains(ObjectId(model.Impl().id, hidden_data)));
  Pairs const ids = {{id, hidden_data}};
  std::vector<ReadRecord> const records = Ask(RequestKind::DataIds, &ids);
  ASSERT_EQ(Count(records, Tag::KeyedData), 1u);
  EXPECT_EQ(Only(records, Tag::KeyedData)[0].Word(2), hidden_data);
  EndsWithItsT(records, 1);

  Pairs const none;
  EXPECT_EQ(TagsOf(Ask(RequestKind::DataIds, &none)), std::vector<uint32_t>{Tag::PassEnd});
  EXPECT_EQ(TagsOf(Ask(RequestKind::DataIds, nullptr)), std::vector<uint32_t>{Tag::PassEnd});
  EXPECT_EQ(log.Count("Requested DATA_IDS but did not provide ids_ptr"), 1);
}

TEST_F(Requests, ObjectsByIdGoOutOnceWithTheirCodes) {
  SetUpState();
  struct Case {
    RequestKind kind;
    uint32_t key;
    uint32_t tag;
    uint32_t code;
  };
  MatrixKey const matrix = model.Impl().instances.Find(3)->matrix;
  for (Case const& c : {Case{RequestKind::MatrixIds, matrix, Tag::Matrix, 4},
                        Case{RequestKind::GroupIds, group, Tag::Group, 10}}) {
    Pairs const ids = {{id, c.key}};
    std::vector<ReadRecord> const first = Ask(c.kind, &ids);
    EXPECT_EQ(Only(first, c.tag).size(), 1u) << RequestKindName(c.kind);
    EndsWithItsT(first, c.code);
    EXPECT_EQ(TagsOf(Ask(c.kind, &ids)), std::vector<uint32_t>{Tag::PassEnd});
  }
  Pairs const unknown = {{id, 4321}};
  std::vector<ReadRecord> const material = Ask(RequestKind::MaterialIds, &unknown);
  ASSERT_EQ(Count(material, Tag::Missing), 1u);
  EXPECT_EQ(Only(material, Tag::Missing)[0].Word(3), 3u);
  EndsWithItsT(material, 3);
}

TEST_F(Requests, KeyInfoListsInstancesWithStreamData) {
  SetUpState();
  StreamRequest request;
  request.kind = RequestKind::GetKeyInfo;
  request.request_id = 5;
  request.key_code = KeyKind::Instance | KeyKind::AllInclusions | KeyKind::CountFirst;
  request.key_id = 0;  // the constructor's attach id
  std::vector<ReadRecord> const records = Pass(*state, request);
  std::vector<ReadRecord> const events = Only(records, Tag::Event);
  ASSERT_EQ(events.size(), 1u);
  ReadRecord const& e = events[0];
  EXPECT_EQ(e.Word(1), 0u);                 // subject: the attach id
  EXPECT_EQ(e.Word(3), request.key_code);   // code
  EXPECT_EQ(e.Word(4), 5u);                 // request id
  EXPECT_EQ(Words(e, 5), (std::vector<uint32_t>{3, id, 1, 2, 3}));

  request.key_code = KeyKind::Data;
  request.key_id = id;
  std::vector<ReadRecord> const data = Only(Pass(*state, request), Tag::Event);
  ASSERT_EQ(data.size(), 1u);
  std::vector<uint32_t> const keys = Words(data[0], 5);
  EXPECT_EQ(keys.size(), model.Impl().keyed_data.size());
  EXPECT_EQ(keys.back(), hidden_data);

  request.key_id = 999;  // no such stream model: m, and no answer
  std::vector<ReadRecord> const unknown = Pass(*state, request);
  EXPECT_EQ(Count(unknown, Tag::Event), 0u);
  EXPECT_EQ(Count(unknown, Tag::Missing), 1u);
}

TEST_F(Requests, InstanceBoundingSumsWeightsOverTheBoxes) {
  SetUpState();
  StreamRequest request;
  request.kind = RequestKind::ComputeInstanceIncBounding;
  request.request_id = 12;
  std::vector<ReadRecord> const all = Only(Pass(*state, request), Tag::BoundsResult);
  ASSERT_EQ(all.size(), 1u);
  uint32_t weights = 0;
  for (auto const& entry : model.Impl().instances) weights += entry.value.weight;
  EXPECT_EQ(all[0].Word(7), weights);
  EXPECT_EQ(all[0].Word(8), 12u);
  float const min_x = GetF32(all[0].bytes.data() + 4), max_x = GetF32(all[0].bytes.data() + 16);
  EXPECT_FLOAT_EQ(min_x, state->items.front()->bounds.min_x);
  EXPECT_GT(max_x, 20.0f);  // the third grid stands at x = 20

  // The tight box of one instance from its stored mesh: the grid itself.
  uint32_t const inclusion = state->items.front()->attached->inclusion_id;
  Pairs const one = {{inclusion, 1}};
  request.incs_ptr = &one;
  request.option_c = 1;
  std::vector<ReadRecord> const tight = Only(Pass(*state, request), Tag::BoundsResult);
  ASSERT_EQ(tight.size(), 1u);
  StreamInstance const* item = ItemOf(*state, model, 1);
  EXPECT_NEAR(GetF32(tight[0].bytes.data() + 4), item->bounds.min_x, 1e-4);
  EXPECT_NEAR(GetF32(tight[0].bytes.data() + 16), item->bounds.max_x, 1e-4);

  Pairs const nothing;
  request.incs_ptr = &nothing;
  std::vector<ReadRecord> const empty = Only(Pass(*state, request), Tag::BoundsResult);
  ASSERT_EQ(empty.size(), 1u);
  EXPECT_GT(GetF32(empty[0].bytes.data() + 4), GetF32(empty[0].bytes.data() + 16));
  EXPECT_EQ(empty[0].Word(7), 0u);
}

TEST_F(Requests, InstanceIdsSendJustTheNamedInstancesOnDemand) {
  SetUpState(kLiveFlags | ControlFlag::StreamInstancesOnDemand);
  EXPECT_EQ(Count(RunUntilIdle(*state), Tag::Instance), 0u);
  Pairs const ids = {{id, 2}};
  std::vector<ReadRecord> const records = Ask(RequestKind::InstanceIdsWithMeshData, &ids);
  ASSERT_EQ(Count(records, Tag::Instance), 1u);
  EXPECT_EQ(Count(records, Tag::SmallMesh), 1u);
  EndsWithItsT(records, 0x20000005);
  EXPECT_TRUE(ItemOf(*state, model, 2)->flags.instance_sent);
  EXPECT_FALSE(ItemOf(*state, model, 1)->flags.instance_sent);

  Pairs const groups = {{state->items.front()->attached->inclusion_id, group}};
  StreamRequest request;
  request.kind = RequestKind::InstanceGroupIncsWithoutMeshData;
  request.incs_ptr = &groups;
  request.request_id = 3;
  std::vector<ReadRecord> const by_group = Pass(*state, request);
  EXPECT_EQ(Count(by_group, Tag::Instance), 1u);  // 1; 2 went out before
  EXPECT_EQ(Count(by_group, Tag::SmallMesh), 0u);
  EndsWithItsT(by_group, 0x40000005, 3);
}

}  // namespace
