// The polylines of StitchEdges, edge for edge, against a plain model of the
// stitching that rescans its whole map of chain ends after every join. The
// stitcher resumes its scan instead; a resume point set too late would join
// other chains first and give other polylines.
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>

#include "conversion/EdgeStitching.h"

namespace qx_conversion_test {
namespace {

using KZV::Edge;
using KZV::Polyline;

class ModelStitcher {
 public:
  std::vector<Polyline> Run(std::vector<Edge> const& pairs) {
    for (auto const& [a, b] : pairs) Place(a, b);
    while (JoinFirst()) {
    }
    std::vector<Polyline> result;
    while (!ends_.empty()) {
      size_t const c = ends_.begin()->second.front();
      Remove(c);
      result.emplace_back(chains_[c].begin(), chains_[c].end());
    }
    return result;
  }

 private:
  uint32_t Front(size_t c) const { return chains_[c].front().first; }
  uint32_t Back(size_t c) const { return chains_[c].back().second; }

  void Enter(size_t c) {
    ends_[Front(c)].push_back(c);
    if (Back(c) != Front(c)) ends_[Back(c)].push_back(c);
  }
  void Remove(size_t c) {
    for (uint32_t v : {Front(c), Back(c)}) {
      auto it = ends_.find(v);
      if (it == ends_.end()) continue;
      std::erase(it->second, c);
      if (it->second.empty()) ends_.erase(it);
    }
  }
  bool Take(uint32_t v, size_t except, size_t& c) {
    auto it = ends_.find(v);
    if (it == ends_.end()) return false;
    for (size_t x : it->second)
      if (x != except) return c = x, Remove(x), true;
    return false;
  }

  void Place(uint32_t a, uint32_t b) {
    size_t c = SIZE_MAX;
    if (Take(a, SIZE_MAX, c) || Take(b, SIZE_MAX, c)) {
      if (Front(c) == a) chains_[c].push_front({b, a});
      else if (Front(c) == b) chains_[c].push_front({a, b});
      else if (Back(c) == a) chains_[c].push_back({a, b});
      else chains_[c].push_back({b, a});
    } else {
      c = chains_.size();
      chains_.push_back({{a, b}});
    }
    Enter(c);
  }

  bool JoinFirst() {
    for (auto const& [vertex, listed] : ends_) {
      for (size_t c : listed) {
        size_t o = SIZE_MAX;
        if (!Take(Front(c), c, o) && !Take(Back(c), c, o)) continue;
        Remove(c);
        bool const o_longer = chains_[o].size() >= chains_[c].size();
        size_t const dest = o_longer ? o : c, src = o_longer ? c : o;
        Join(chains_[dest], chains_[src]);
        Enter(dest);
        return true;
      }
    }
    return false;
  }

  static void Join(std::deque<Edge>& dest, std::deque<Edge> const& src) {
    if (dest.back().second == src.front().first) {
      dest.insert(dest.end(), src.begin(), src.end());
    } else if (dest.front().first == src.back().second) {
      dest.insert(dest.begin(), src.begin(), src.end());
    } else if (dest.front().first == src.front().first) {
      for (auto const& [a, b] : src) dest.push_front({b, a});
    } else {
      for (auto it = src.rbegin(); it != src.rend(); ++it) dest.push_back({it->second, it->first});
    }
  }

  std::vector<std::deque<Edge>> chains_;
  std::map<uint32_t, std::vector<size_t>> ends_;
};

TEST(EdgeStitchingOrderTest, PolylinesAreThoseOfAScanFromTheStartAfterEveryJoin) {
  std::mt19937 random(11);
  // Few vertices give branch points, rings and many joins; many give the
  // long loose runs of outlines. Vertex numbers far apart are renumbered
  // inside the stitcher, and must come out as they went in.
  for (uint32_t stride : {1u, 40503u}) {
    for (uint32_t vertices : {3u, 8u, 20u, 60u, 400u}) {
      for (int round = 0; round < 40; ++round) {
        std::vector<Edge> pairs(1 + random() % (2 * vertices));
        for (auto& [a, b] : pairs) a = random() % vertices * stride, b = random() % vertices * stride;
        SCOPED_TRACE(testing::Message() << vertices << " vertices " << stride << " apart, round " << round);
        ASSERT_EQ(ModelStitcher().Run(pairs), KZV::StitchEdges(pairs));
      }
    }
  }
}

}  // namespace
}  // namespace qx_conversion_test
