// The viewer's messages as the engine gets them.
#include <gtest/gtest.h>

#include <cmath>

#include "server/ClientMessage.h"

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

TEST(ClientMessage, CameraCarriesTheFieldsOfAStreamCamera) {
  ClientMessage const m = ParseClientMessage(
      R"({"type":"camera","projection":1,"position":[1,2,3],"target":[4,5,6],"up":[0,0,1],)"
      R"("width":10,"height":7.5,"aspect":1.5,"screen_width":1200,"screen_height":800})");
  auto const& c = std::get<CameraMessage>(m);
  EXPECT_EQ(c.camera.projection, 1);
  EXPECT_EQ(c.camera.position[2], 3);
  EXPECT_EQ(c.camera.target[0], 4);
  EXPECT_EQ(c.camera.up[2], 1);
  EXPECT_EQ(c.camera.height, 7.5);
  EXPECT_EQ(c.aspect, 1.5);
  EXPECT_EQ(c.screen_width, 1200);
}

TEST(ClientMessage, RequestsByIdTakeTheirKindByName) {
  auto const r = std::get<RequestMessage>(ParseClientMessage(
      R"({"type":"request","kind":"GROUP_IDS","request_id":12,"ids":[[4294967293,5],[1,2]],"option_a":true})"));
  EXPECT_EQ(r.kind, RequestKind::GroupIds);
  EXPECT_EQ(r.request_id, 12u);
  EXPECT_EQ(r.ids, (IdPairs{{4294967293u, 5}, {1, 2}}));
  EXPECT_TRUE(r.incs.empty());
  EXPECT_EQ(r.option_a, 1);
  EXPECT_EQ(r.option_b, 0);
  EXPECT_EQ(ErrorOf(R"({"type":"request","kind":"STREAM","request_id":1})"), "unknown request kind \"STREAM\"");
  EXPECT_EQ(ErrorOf(R"({"type":"request","kind":"MESH_IDS","request_id":0})"), "\"request_id\" must not be 0");
  EXPECT_EQ(ErrorOf(R"({"type":"request","kind":"MESH_IDS","request_id":1,"ids":[[1]]})"),
            "\"ids\" must be an array of pairs");
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
  EXPECT_EQ(ErrorOf(R"({"type":"select","shape":"cone","request_id":1,"selection_id":1})"),
            "unknown selection shape \"cone\"");
  EXPECT_EQ(ErrorOf(R"({"type":"select","shape":"sphere","request_id":1,"selection_id":1,"center":[0,0],"radius":1})"),
            "\"center\" must be an array of 3 numbers");
}

TEST(ClientMessage, OtherMessagesAndTheirChecks) {
  EXPECT_EQ(std::get<AckMessage>(ParseClientMessage(R"({"type":"ack","bytes":123456789012})")).bytes, 123456789012u);
  auto const budget = std::get<BudgetMessage>(ParseClientMessage(R"({"type":"budget","mib":512})"));
  EXPECT_EQ(budget.mib, 512u);
  EXPECT_FALSE(budget.cutoff_scale);
  EXPECT_TRUE(std::get<WantedMessage>(ParseClientMessage(R"({"type":"wanted","value":true})")).value);
  EXPECT_EQ(std::get<DetachMessage>(ParseClientMessage(R"({"type":"detach","inclusion_id":4294967294})")).inclusion_id,
            4294967294u);
  EXPECT_EQ(ErrorOf(R"({"type":"budget"})"), "a budget message needs \"mib\", \"cutoff_scale\" or \"mesh_level\"");
  EXPECT_EQ(ErrorOf(R"({"type":"ack","bytes":1.5})"), "\"bytes\" must be a whole number of bytes");
  EXPECT_EQ(ErrorOf(R"({"type":"budget","mib":4294967296})"), "\"mib\" must be a whole number from 0 to 4294967295");
  EXPECT_EQ(ErrorOf(R"({"kind":"camera"})"), "missing member \"type\"");
  EXPECT_EQ(ErrorOf(R"({"type":7})"), "\"type\" must be a string");
}

// Every row holds the points of the tube ahead of the origin and refuses
// those behind it or beside it, whatever the ray's direction.
TEST(ClientMessage, RayTubeHoldsWhatLiesAlongTheRay) {
  auto inside = [](auto const& rows, std::array<double, 3> p) {
    for (auto const& r : rows)
      if (r[0] * p[0] + r[1] * p[1] + r[2] * p[2] + r[3] < 0) return false;
    return true;
  };
  std::array<float, 3> const origin{1, 2, 3};
  for (std::array<float, 3> d : {std::array<float, 3>{0, 0, -1}, {1, 1, 0}, {0.3f, -2, 5}, {-1, 0, 0}}) {
    double const l = std::hypot(d[0], d[1], d[2]);
    auto const rows = RayTubeRows(origin, d, 0.5);
    auto along = [&](double t, double off) {
      // A point t along the ray, pushed `off` across it.
      std::array<double, 3> across = std::fabs(d[0]) < 0.9 * l ? std::array<double, 3>{0, -d[2], d[1]}
                                                             : std::array<double, 3>{-d[1], d[0], 0};
      double const al = std::hypot(across[0], across[1], across[2]);
      return std::array<double, 3>{origin[0] + t * d[0] / l + off * across[0] / al,
                                   origin[1] + t * d[1] / l + off * across[1] / al,
                                   origin[2] + t * d[2] / l + off * across[2] / al};
    };
    EXPECT_TRUE(inside(rows, along(10, 0)));
    EXPECT_TRUE(inside(rows, along(1000, 0.3)));
    EXPECT_FALSE(inside(rows, along(-1, 0)));
    EXPECT_FALSE(inside(rows, along(10, 2)));
  }
}

}  // namespace
