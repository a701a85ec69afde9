// Loose edges joined into polylines.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "conversion/EdgeStitching.h"

namespace qx_conversion_test {
namespace {

using KZV::Edge;
using KZV::Polyline;
using KZV::StitchEdges;

// Every edge of a polyline begins where the one before ended.
void ExpectConnected(Polyline const& p) {
  for (size_t i = 1; i < p.size(); ++i) EXPECT_EQ(p[i - 1].second, p[i].first);
}

TEST(EdgeStitchingTest, ASquareInAnyOrderIsOneClosedPolyline) {
  std::vector<Edge> edges{{0, 1}, {1, 2}, {2, 3}, {3, 0}};
  std::mt19937 random(7);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(edges.begin(), edges.end(), random);
    for (auto& e : edges)
      if (random() % 2) std::swap(e.first, e.second);
    auto const lines = StitchEdges(edges);
    ASSERT_EQ(1u, lines.size());
    ASSERT_EQ(4u, lines[0].size());
    ExpectConnected(lines[0]);
    EXPECT_EQ(lines[0].front().first, lines[0].back().second);
  }
}

TEST(EdgeStitchingTest, ThreeEdgesAtOnePointGiveTwoPolylines) {
  auto const lines = StitchEdges({{0, 1}, {0, 2}, {0, 3}});
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ(3u, lines[0].size() + lines[1].size());
  for (auto const& l : lines) ExpectConnected(l);
}

TEST(EdgeStitchingTest, ChainsPlacedApartAreJoinedLater) {
  // 0-1 and 2-3 start apart; 1-2 arrives last and links them.
  auto lines = StitchEdges({{0, 1}, {3, 2}, {5, 6}, {1, 2}});
  ASSERT_EQ(2u, lines.size());
  auto const longest = std::max_element(lines.begin(), lines.end(),
                                        [](auto const& a, auto const& b) { return a.size() < b.size(); });
  ASSERT_EQ(3u, longest->size());
  ExpectConnected(*longest);
  uint32_t const ends[2] = {longest->front().first, longest->back().second};
  EXPECT_TRUE((ends[0] == 0 && ends[1] == 3) || (ends[0] == 3 && ends[1] == 0));
}

TEST(EdgeStitchingTest, ALongRunOfShuffledEdgesIsOnePolyline) {
  std::vector<Edge> edges;
  for (uint32_t i = 0; i < 200; ++i) edges.push_back({i, i + 1});
  std::shuffle(edges.begin(), edges.end(), std::mt19937(3));
  auto const lines = StitchEdges(edges);
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(200u, lines[0].size());
  ExpectConnected(lines[0]);
}

TEST(PointIndexTest, EqualPointsShareAnIndexAndNegativeZeroIsZero) {
  KZV::PointIndex index;
  EXPECT_EQ(0u, index.Add({0, 1, 2}));
  EXPECT_EQ(1u, index.Add({1, 1, 2}));
  EXPECT_EQ(0u, index.Add({-0.0f, 1, 2}));
  EXPECT_EQ(2u, index.Points().size() + 0);
}

}  // namespace
}  // namespace qx_conversion_test
