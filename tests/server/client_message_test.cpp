// The viewer's messages as the engine gets them, through the strict JSON
// reader: what they carry, and what is refused with which message.
#include <gtest/gtest.h>

#include <cmath>

#include "server/ClientMessage.h"
#include "server/JsonValue.h"

namespace {

using namespace QX::Server;
using QX::Store::RequestKind;

std::string ErrorOf(std::string_view text) {
  try {
    ParseClientMessage(text);
  } catch (ProtocolError const& error) {
    return error.what();
  }
  return "<accepted>";
}

std::string JsonErrorOf(std::string_view text, JsonLimits const& limits) {
  try {
    ParseJson(text, limits);
  } catch (JsonError const& error) {
    return error.what();
  }
  return "<accepted>";
}

TEST(JsonValue, ReadsEveryKindOfValueAndQuotesText) {
  JsonValue const v = ParseJson(R"( {"a": [1, -2.5e2, 0.125], "b": {"c": true, "d": false, "e": null},
                                    "s": "q\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00"} )");
  ASSERT_EQ(v.kind, JsonValue::Kind::Object);
  JsonValue const& a = *v.Find("a");
  ASSERT_EQ(a.items.size(), 3u);
  EXPECT_EQ(a.items[1].number, -250.0);
  EXPECT_EQ(a.items[2].number, 0.125);
  EXPECT_TRUE(v.Find("b")->Find("c")->boolean);
  EXPECT_EQ(v.Find("b")->Find("e")->kind, JsonValue::Kind::Null);
  EXPECT_EQ(v.Find("s")->text, "q\"\\/\b\f\n\r\t\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(v.Find("missing"), nullptr);
  EXPECT_EQ(JsonQuote("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
  EXPECT_EQ(ParseJson(JsonQuote("x\"\n\t\\y")).text, "x\"\n\t\\y");
}

TEST(JsonValue, LimitsSizeDepthAndCount) {
  JsonLimits size, depth, count;
  size.max_bytes = 10;
  depth.max_depth = 3;
  count.max_values = 4;
  EXPECT_EQ(JsonErrorOf("[1,2,3,4,5,6]", size), "message of 13 bytes is longer than 10");
  EXPECT_EQ(JsonErrorOf("[[[1]]]", depth), "<accepted>");
  EXPECT_NE(JsonErrorOf("[[[[1]]]]", depth).find("nested deeper than 3"), std::string::npos);
  EXPECT_EQ(JsonErrorOf("[1,2,3]", count), "<accepted>");
  EXPECT_NE(JsonErrorOf("[1,2,3,4]", count).find("too many values"), std::string::npos);
  // Deep nesting fails by the limit, not by the stack.
  EXPECT_NE(JsonErrorOf(std::string(50000, '['), {}).find("nested deeper"), std::string::npos);
}

// Text that is not exactly JSON, or JSON that is no message of the protocol:
// each refused with its own message.
TEST(ClientMessage, RefusesWhatIsNotAMessage) {
  std::pair<char const*, char const*> const cases[] = {
      {"", "bad JSON at byte 0: unexpected end of text"},
      {"{", "bad JSON at byte 1: expected a member name"},
      {"{\"a\":1,}", "bad JSON at byte 7: expected a member name"},
      {"{\"a\":1 \"b\":2}", "bad JSON at byte 7: expected ',' or '}'"},
      {"[1 2]", "bad JSON at byte 3: expected ',' or ']'"},
      {"{'a':1}", "bad JSON at byte 1: expected a member name"},
      {"{\"a\":1,\"a\":2}", "repeated member name"},
      {"01", "unexpected text after the value"},
      {"1.", "expected a digit"},
      {"-", "expected a digit"},
      {"1e999", "number out of range"},
      {"NaN", "expected a digit"},
      {"tru", "expected true"},
      {"\"abc", "unterminated string"},
      {"\"a\nb\"", "control character in a string"},
      {"\"\\x\"", "bad escape"},
      {"\"\\u12x\"", "bad \\u escape"},
      {"\"\\u12\"", "short \\u escape"},
      {"\"\\udc00\"", "lone low surrogate"},
      {"\"\\ud800x\"", "expected \\u"},
      {"{} {}", "unexpected text after the value"},
      {R"({"kind":"camera"})", "missing member \"type\""},
      {R"({"type":7})", "\"type\" must be a string"},
      {R"({"type":"budget"})", "a budget message needs \"mib\", \"cutoff_scale\" or \"mesh_level\""},
      {R"({"type":"ack","bytes":1.5})", "\"bytes\" must be a whole number of bytes"},
      {R"({"type":"budget","mib":4294967296})", "\"mib\" must be a whole number from 0 to 4294967295"},
      {R"({"type":"request","kind":"STREAM","request_id":1})", "unknown request kind \"STREAM\""},
      {R"({"type":"request","kind":"MESH_IDS","request_id":0})", "\"request_id\" must not be 0"},
      {R"({"type":"request","kind":"MESH_IDS","request_id":1,"ids":[[1]]})", "\"ids\" must be an array of pairs"},
      {R"({"type":"select","shape":"cone","request_id":1,"selection_id":1})", "unknown selection shape \"cone\""},
      {R"({"type":"select","shape":"sphere","request_id":1,"selection_id":1,"center":[0,0],"radius":1})",
       "\"center\" must be an array of 3 numbers"},
  };
  for (auto [text, error] : cases) EXPECT_TRUE(ErrorOf(text).ends_with(error)) << text << ": " << ErrorOf(text);
}

TEST(ClientMessage, MessagesCarryTheirFields) {
  auto const c = std::get<CameraMessage>(ParseClientMessage(
      R"({"type":"camera","projection":1,"position":[1,2,3],"target":[4,5,6],"up":[0,0,1],)"
      R"("width":10,"height":7.5,"aspect":1.5,"screen_width":1200,"screen_height":800})"));
  EXPECT_EQ(c.camera.projection, 1);
  EXPECT_EQ(c.camera.position[2], 3);
  EXPECT_EQ(c.camera.target[0], 4);
  EXPECT_EQ(c.camera.up[2], 1);
  EXPECT_EQ(c.camera.height, 7.5);
  EXPECT_EQ(c.aspect, 1.5);
  EXPECT_EQ(c.screen_width, 1200);

  auto const r = std::get<RequestMessage>(ParseClientMessage(
      R"({"type":"request","kind":"GROUP_IDS","request_id":12,"ids":[[4294967293,5],[1,2]],"option_a":true})"));
  EXPECT_EQ(r.kind, RequestKind::GroupIds);
  EXPECT_EQ(r.request_id, 12u);
  EXPECT_EQ(r.ids, (IdPairs{{4294967293u, 5}, {1, 2}}));
  EXPECT_TRUE(r.incs.empty());
  EXPECT_EQ(r.option_a, 1);
  EXPECT_EQ(r.option_b, 0);

  EXPECT_EQ(std::get<AckMessage>(ParseClientMessage(R"({"type":"ack","bytes":123456789012})")).bytes, 123456789012u);
  auto const budget = std::get<BudgetMessage>(ParseClientMessage(R"({"type":"budget","mib":512})"));
  EXPECT_EQ(budget.mib, 512u);
  EXPECT_FALSE(budget.cutoff_scale);
  EXPECT_TRUE(std::get<WantedMessage>(ParseClientMessage(R"({"type":"wanted","value":true})")).value);
  EXPECT_EQ(std::get<DetachMessage>(ParseClientMessage(R"({"type":"detach","inclusion_id":4294967294})")).inclusion_id,
            4294967294u);
}

TEST(ClientMessage, SelectionsBecomeTheEngineCommands) {
  auto const plane = std::get<QX::Store::PlaneSelectionCommand>(ParseClientMessage(
      R"({"type":"select","shape":"planes","request_id":1,"selection_id":2,"flags":5,)"
      R"("planes":[[1,0,0,-1],[0,1,0,2]],"reference":[0,0,0]})"));
  EXPECT_EQ(plane.rows.size(), 2u);
  EXPECT_EQ(plane.rows[1][3], 2);
  EXPECT_EQ(plane.flags, 5u);
  auto const sphere = std::get<QX::Store::SphereSelectionCommand>(ParseClientMessage(
      R"({"type":"select","shape":"sphere","request_id":3,"selection_id":4,"center":[1,2,3],"radius":2})"));
  EXPECT_EQ(sphere.radius, 2.0f);
  EXPECT_EQ(sphere.flags, 0x1Cu) << "all three classes by default";
  auto const next = std::get<QX::Store::NextResultsCommand>(
      ParseClientMessage(R"({"type":"next_results","request_id":5,"selection_id":4,"max_results":100})"));
  EXPECT_EQ(next.max_results, 100u);
}

// Every row holds the points of the tube ahead of the origin and refuses
// those behind it or beside it, whatever the ray's direction.
TEST(ClientMessage, RayTubeHoldsWhatLiesAlongTheRay) {
  std::array<float, 3> const origin{1, 2, 3};
  for (std::array<float, 3> d : {std::array<float, 3>{0, 0, -1}, {1, 1, 0}, {0.3f, -2, 5}, {-1, 0, 0}}) {
    auto const rows = RayTubeRows(origin, d, 0.5);
    double const l = std::hypot(d[0], d[1], d[2]);
    std::array<double, 3> across = std::fabs(d[0]) < 0.9 * l ? std::array<double, 3>{0, -d[2], d[1]}
                                                             : std::array<double, 3>{-d[1], d[0], 0};
    double const al = std::hypot(across[0], across[1], across[2]);
    // Whether the point t along the ray, pushed `off` across it, is inside.
    auto inside = [&](double t, double off) {
      for (auto const& r : rows) {
        double sum = r[3];
        for (int k = 0; k < 3; ++k) sum += r[k] * (origin[k] + t * d[k] / l + off * across[k] / al);
        if (sum < 0) return false;
      }
      return true;
    };
    EXPECT_TRUE(inside(10, 0));
    EXPECT_TRUE(inside(1000, 0.3));
    EXPECT_FALSE(inside(-1, 0));
    EXPECT_FALSE(inside(10, 2));
  }
}

}  // namespace
