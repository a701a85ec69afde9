// Volume selection on a stream state: commands queued between passes and
// answered in the next pass, over a model of cubes in a row.
#include <variant>

#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;

constexpr uint32_t kFlags = ControlFlag::StandAlone | ControlFlag::StreamSetupOnly;
constexpr uint32_t kWhole = 1u << 0;
constexpr uint32_t kRespectVisibility = 1u << 1;
constexpr uint32_t kFaces = 1u << 2;
constexpr uint32_t kNoClipping = 1u << 5;
constexpr uint32_t kAnyFaces = 1u << 7;

// A closed cube of side 2 from (x, y, 0).
qx_test::TestMesh Cube(float x, float y) {
  qx_test::TestMesh mesh;
  for (int i = 0; i < 8; ++i) mesh.points.push_back({x + 2.0f * (i & 1), y + 2.0f * (i >> 1 & 1), 2.0f * (i >> 2 & 1)});
  mesh.data.face_elements.push_back({0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                                     2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5});
  mesh.data.flags = 0;
  return mesh;
}

PlaneSelectionCommand Box(PointD lo, PointD hi, uint32_t selection_id, uint32_t flags = kFaces) {
  PlaneSelectionCommand c;
  c.rows = {{1, 0, 0, -lo.x}, {-1, 0, 0, hi.x}, {0, 1, 0, -lo.y}, {0, -1, 0, hi.y}, {0, 0, 1, -lo.z}, {0, 0, -1, hi.z}};
  c.reference = {float(lo.x), float(lo.y), float(lo.z)};
  c.request_id = 100 + selection_id;
  c.selection_id = selection_id;
  c.flags = flags;
  return c;
}

// A ray towards -x from `o` in a square tube of half width 0.01.
RaySelectionCommand Ray(std::array<float, 3> o, uint32_t selection_id) {
  double const w = 0.01;
  RaySelectionCommand c;
  c.rows = {{{0, 1, 0, w - o[1]}, {0, -1, 0, w + o[1]}, {0, 0, 1, w - o[2]}, {0, 0, -1, w + o[2]}, {-1, 0, 0, o[0]}}};
  c.origin = o;
  c.direction = {-1, 0, 0};
  c.request_id = 200 + selection_id;
  c.selection_id = selection_id;
  c.flags = kFaces;
  return c;
}

NextResultsCommand Next(uint32_t selection_id, uint32_t max_results = 100) {
  return {300 + selection_id, selection_id, max_results};
}

struct Batch {
  uint32_t request_id = 0;
  uint32_t status = 0;
  std::vector<InstanceKey> keys;
  std::vector<uint32_t> inclusions;
};

using Replies = std::vector<std::array<uint32_t, 2>>;
using Command = std::variant<PlaneSelectionCommand, RaySelectionCommand, SphereSelectionCommand, NextResultsCommand,
                             EndSelectionCommand>;

class VolumeSelectionTest : public LiveTest {
 protected:
  // Five cubes in a row at x = 0, 10, .. 40, all of one mesh placed by
  // their matrices; the instance keys are kept in `parts`.
  Model Row(char const* name, uint32_t hidden_part = ~0u) {
    Model model = Open(name);
    model.Include(model, 0);
    qx_test::TestMesh cube = Cube(0, 0);
    MeshKey const mesh = model.InsertMesh(cube.Data());
    for (uint32_t i = 0; i < 5; ++i)
      parts.push_back(model.InsertInstance(mesh, Shifted(model, 10.0 * i, 0), kNoKey, kNoKey, kNoKey, 0, 0, 0,
                                           i == hidden_part ? 0 : 7, 0, 0, {}));
    model.PrepareStream(1);
    return model;
  }

  // The state after its first pass, which attaches the model.
  std::unique_ptr<StreamState> Attached(Model const& model, uint32_t flags = kFlags) {
    auto state = std::make_unique<StreamState>(model, &flags);
    Pass(*state);
    return state;
  }

  // A pass that only answers the commands queued since the last one.
  Records Pass(StreamState& state) { return LiveTest::Pass(state, RequestKind::Nothing); }
  using LiveTest::Pass;

  // Queues the commands and runs a pass that answers them.
  Records Answer(StreamState& state, std::initializer_list<Command> commands) {
    for (Command const& c : commands) std::visit([&](auto const& command) { state.QueueSelection(command); }, c);
    return Pass(state);
  }

  static std::vector<Batch> Batches(Records const& records) {
    std::vector<Batch> out;
    for (ReadRecord const& r : LiveTest::Only(records, Tag::Selection)) {
      Batch& b = out.emplace_back(Batch{r.Word(2), r.Word(3), {}, {}});
      EXPECT_EQ(r.bytes.size(), 16u + 8u * r.Word(1));
      for (uint32_t i = 0; i < r.Word(1); ++i) {
        b.inclusions.push_back(r.Word(4 + 2 * i));
        b.keys.push_back(r.Word(5 + 2 * i));
      }
    }
    return out;
  }

  // (kind word, request id) of each 4 record.
  static Replies RepliesOf(Records const& records) {
    Replies out;
    for (ReadRecord const& r : LiveTest::Only(records, Tag::OpResult)) out.push_back({r.Word(1), r.Word(2)});
    return out;
  }

  std::vector<InstanceKey> Parts(std::initializer_list<int> indices) const {
    std::vector<InstanceKey> keys;
    for (int i : indices) keys.push_back(parts[size_t(i)]);
    return Sorted(keys);
  }

  static std::vector<InstanceKey> Sorted(std::vector<InstanceKey> keys) {
    std::ranges::sort(keys);
    return keys;
  }

  std::vector<InstanceKey> parts;
};

// Each shape and flag over one row whose part 2 is hidden: every selection
// opens with its reply, and its first batch holds exactly its parts.
TEST_F(VolumeSelectionTest, ShapesAndFlagsSelectTheirParts) {
  Model model = Row("row", 2);
  auto state = Attached(model);
  SphereSelectionCommand sphere;
  sphere.center = {21, 1, 1};
  sphere.radius = 9.5f;  // reaches the cubes at 10 and 30 (at 12 and 30.5 from the centre)
  sphere.request_id = 106;
  sphere.selection_id = 6;
  sphere.flags = kFaces;
  struct Case {
    char const* what;
    Command command;
    std::vector<int> parts;
    bool ordered = false;
  } const cases[] = {
      {"ray from beyond the last cube, nearest first", Ray({45, 1, 1}, 1), {4, 3, 2, 1, 0}, true},
      {"ray beside the parts", Ray({45, 5, 1}, 2), {}},
      {"box around three", Box({9, -1, -1}, {33, 3, 3}, 3), {1, 2, 3}},
      {"box around one and a half", Box({9, -1, -1}, {21, 3, 3}, 4), {1, 2}},
      {"the same, whole parts only", Box({9, -1, -1}, {21, 3, 3}, 5, kFaces | kWhole), {1}},
      {"sphere", sphere, {1, 2, 3}},
      {"visible parts only", Box({9, -1, -1}, {33, 3, 3}, 7, kFaces | kRespectVisibility), {1, 3}},
      {"visible or with any faces", Box({9, -1, -1}, {33, 3, 3}, 8, kFaces | kRespectVisibility | kAnyFaces),
       {1, 2, 3}},
      // A new selection under an open id replaces it.
      {"replaced", Box({-1, -1, -1}, {3, 3, 3}, 9), {}},
      {"replacing", Box({39, -1, -1}, {43, 3, 3}, 9), {4}},
  };
  Replies replies;
  for (Case const& c : cases) {
    std::visit([&](auto const& command) {
      state->QueueSelection(command);
      replies.push_back({1, command.request_id});
    }, c.command);
  }
  for (uint32_t id = 1; id <= 9; ++id) state->QueueSelection(Next(id));
  Records const records = Pass(*state);
  Replies answered = RepliesOf(records);
  std::ranges::sort(answered);  // each kind of shape has a queue of its own
  std::ranges::sort(replies);
  EXPECT_EQ(answered, replies);
  auto const batches = Batches(records);
  ASSERT_EQ(batches.size(), 9u);
  for (uint32_t id = 1; id <= 9; ++id) {
    Case const& c = cases[id == 9 ? 9 : id - 1];
    SCOPED_TRACE(c.what);
    Batch const& batch = batches[id - 1];
    EXPECT_EQ(batch.request_id, 300 + id);
    EXPECT_EQ(batch.status, 0u);
    std::vector<InstanceKey> expected;
    for (int part : c.parts) expected.push_back(parts[size_t(part)]);
    EXPECT_EQ(c.ordered ? batch.keys : Sorted(batch.keys), c.ordered ? expected : Sorted(expected));
    EXPECT_EQ(batch.inclusions, std::vector<uint32_t>(expected.size(), 0xFFFFFFFEu));
  }
}

// An included model stands in the scene through its inclusion's matrix. Its
// second grid is a copy of the first moved along, which the store keeps as
// a duplicate with a matrix of its own.
TEST_F(VolumeSelectionTest, IncludedModelsAreSelectedWhereTheyStand) {
  Model part = Open("part");
  InstanceKey copy = 0;
  MeshKey copy_mesh = 0;
  for (float x : {0.0f, 10.0f}) {
    qx_test::TestMesh grid = qx_test::GridMesh(6, x);  // z = x y / 4 over 5 x 7.5
    copy_mesh = part.InsertMesh(grid.Data());
    copy = part.InsertInstance(copy_mesh, Shifted(part, 0, 0), kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
  }
  part.PrepareStream(1);
  ASSERT_NE(part.Impl().FindMesh(copy_mesh)->duplicate_of, 0u);
  Model host = Row("host");
  host.Include(part, Shifted(host, 0, 100));
  auto state = Attached(host);
  // The first ray meets both grids where x y / 4 = 1; the second passes
  // above both, where z stays below 2.5 at y 1.
  auto const batches = Batches(Answer(*state, {Box({9, 99, -1}, {16, 108, 11}, 1), Ray({25, 101, 1}, 2),
                                               Ray({25, 101, 5}, 3), Next(1), Next(2), Next(3)}));
  ASSERT_EQ(batches.size(), 3u);
  EXPECT_EQ(batches[0].keys, std::vector<InstanceKey>{copy});
  EXPECT_EQ(batches[0].inclusions, std::vector<uint32_t>{0xFFFFFFFDu});
  ASSERT_EQ(batches[1].keys.size(), 2u);
  EXPECT_EQ(batches[1].keys[0], copy);  // the nearer of the two
  EXPECT_TRUE(batches[2].keys.empty());
}

// Results come in batches of at most the asked size (0 asked: nothing moves
// on), each candidate once, in the walk order.
TEST_F(VolumeSelectionTest, ResultsComeInBatchesOfTheAskedSize) {
  Model model = Row("batches");
  auto state = Attached(model);
  state->QueueSelection(Box({-1, -1, -1}, {50, 3, 3}, 1));
  std::vector<Batch> batches;
  for (uint32_t size : {0, 2, 2, 2, 2}) {
    for (Batch const& b : Batches(Answer(*state, {Next(1, size)}))) batches.push_back(b);
  }
  std::vector<size_t> sizes;
  std::vector<InstanceKey> all;
  for (Batch const& b : batches) {
    sizes.push_back(b.keys.size());
    all.insert(all.end(), b.keys.begin(), b.keys.end());
    EXPECT_EQ(b.status, 0u);  // still open, even when empty
  }
  EXPECT_EQ(sizes, (std::vector<size_t>{0, 2, 2, 1, 0}));
  std::vector<InstanceKey> walk;
  for (StreamInstance const* item : state->items) walk.push_back(item->instance->key);
  EXPECT_EQ(all, walk);
}

TEST_F(VolumeSelectionTest, InstancesHeldInFullByTheViewerAreLeftOut) {
  Model model = Row("sent");
  auto state = Attached(model, ControlFlag::StandAlone | ControlFlag::NoStreamLimit);
  Pass(*state, RequestKind::Stream);  // everything goes out, mesh data included
  auto const batches = Batches(Answer(*state, {Box({-1, -1, -1}, {50, 3, 3}, 1), Next(1)}));
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_TRUE(batches[0].keys.empty());
}

// The statistics line counts open selections and results; an end closes a
// selection, and is answered even for one that was never open.
TEST_F(VolumeSelectionTest, EndClosesASelection) {
  Model model = Row("end");
  auto state = Attached(model);
  EXPECT_NE(log.lines.back().find(" vs(0 0) "), std::string::npos) << log.lines.back();
  Answer(*state, {Box({-1, -1, -1}, {50, 3, 3}, 1), Box({9, -1, -1}, {33, 3, 3}, 2), Next(1, 4), Next(2)});
  EXPECT_NE(log.lines.back().find(" vs(2 7) "), std::string::npos) << log.lines.back();
  EXPECT_EQ(RepliesOf(Answer(*state, {EndSelectionCommand{400, 1}, EndSelectionCommand{401, 9}})),
            (Replies{{2, 400}, {2, 401}}));
  EXPECT_NE(log.lines.back().find(" vs(1 0) "), std::string::npos) << log.lines.back();
  auto const batches = Batches(Answer(*state, {Next(1)}));
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_EQ(batches[0].status, 1u);
  EXPECT_TRUE(batches[0].keys.empty());
}

TEST_F(VolumeSelectionTest, ClipCellsCutAwayWhatTheyHold) {
  Model model = Row("clip");
  auto state = Attached(model);
  // One cell around the cube at 20.
  state->SetClipCells({{{1, 0, 0, -19}, {-1, 0, 0, 23}, {0, 1, 0, 1}, {0, -1, 0, 3}, {0, 0, 1, 1}, {0, 0, -1, 3}}});
  PlaneSelectionCommand const clipped = Box({9, -1, -1}, {33, 3, 3}, 1);
  PlaneSelectionCommand const whole = Box({9, -1, -1}, {33, 3, 3}, 2, kFaces | kNoClipping);
  auto const batches = Batches(Answer(*state, {clipped, whole, Next(1), Next(2)}));
  ASSERT_EQ(batches.size(), 2u);
  EXPECT_EQ(Sorted(batches[0].keys), Parts({1, 3}));
  EXPECT_EQ(Sorted(batches[1].keys), Parts({1, 2, 3}));
}

TEST_F(VolumeSelectionTest, SceneWithoutInstancesOpensAndAnswersEmpty) {
  Model model = Open("empty");
  model.Include(model, 0);
  model.PrepareStream(1);
  auto state = Attached(model);
  Records const records = Answer(*state, {Box({-1, -1, -1}, {1, 1, 1}, 1), Next(1)});
  EXPECT_EQ(RepliesOf(records), (Replies{{1, 101}}));
  auto const batches = Batches(records);
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_EQ(batches[0].status, 0u);
  EXPECT_TRUE(batches[0].keys.empty());
}

// Attaching a model recomputes the boxes of the items: open selections end,
// and the commands that wait for them are answered as failed. A ray
// selection queued in the same pass still opens.
TEST_F(VolumeSelectionTest, RecomputedBoxesDropOpenSelections) {
  Model model = Row("drop");
  Model other = Open("other");
  other.Include(other, 0);
  qx_test::TestMesh cube = Cube(0, 50);
  other.InsertInstance(other.InsertMesh(cube.Data()), Shifted(other, 0, 0), kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0,
                       0, {});
  other.PrepareStream(1);

  auto state = Attached(model);
  Answer(*state, {Box({-1, -1, -1}, {50, 3, 3}, 1)});
  AttachRequest request;
  request.model = other;
  request.name = "other";
  request.model_id = other.Impl().id;
  state->EnterAttachRequest(std::move(request), 5, 0, 0);
  Records const records = Answer(*state, {Box({-1, -1, -1}, {50, 3, 3}, 2), Ray({45, 1, 1}, 3), Next(1), Next(3),
                                          EndSelectionCommand{400, 1}});
  EXPECT_EQ(RepliesOf(records), (Replies{{0x80000001u, 102}, {0x80000002u, 400}, {1, 203}}));
  auto const batches = Batches(records);
  ASSERT_EQ(batches.size(), 2u);
  EXPECT_EQ(batches[0].request_id, 301u);
  EXPECT_EQ(batches[0].status, 1u);
  EXPECT_EQ(batches[1].request_id, 303u);
  EXPECT_EQ(batches[1].status, 1u);  // answered by the drop, before the ray opened
  EXPECT_EQ(state->selections.open.size(), 1u);
}

}  // namespace
