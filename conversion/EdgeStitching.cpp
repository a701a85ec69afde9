#include "conversion/EdgeStitching.h"

#include <algorithm>
#include <bit>
#include <map>

namespace KZV {

uint32_t PointIndex::Add(Point const& p) {
  // Adding 0.0 turns -0.0 into 0.0.
  Bits const bits{{std::bit_cast<uint32_t>(p.x + 0.0f), std::bit_cast<uint32_t>(p.y + 0.0f),
                   std::bit_cast<uint32_t>(p.z + 0.0f)}};
  auto [it, added] = index_.emplace(bits, static_cast<uint32_t>(points_.size()));
  if (added) points_.push_back(p);
  return it->second;
}

size_t PointIndex::BitsHash::operator()(Bits const& b) const {
  uint64_t h = 0;
  for (uint32_t w : b.words) h = (h ^ w) * 0x100000001B3ull;
  return static_cast<size_t>(h);
}

namespace {

// A polyline under construction. `front` holds the edges before the first
// one backwards, `back` the first one and those after it; both lists begin
// with the first edge.
struct EdgeChain {
  std::vector<Edge> front, back;

  explicit EdgeChain(Edge e) : front{e}, back{e} {}
  uint32_t FrontEnd() const { return front.back().first; }
  uint32_t BackEnd() const { return back.back().second; }
  size_t Length() const { return front.size() - 1 + back.size(); }

  Polyline Edges() const {
    Polyline edges(front.rbegin(), front.rend());
    edges.insert(edges.end(), back.begin() + 1, back.end());
    return edges;
  }
};

// Chains by the vertices where they end, in a fixed order of vertices.
class EndMap {
 public:
  explicit EndMap(std::vector<EdgeChain>& chains) : chains_(chains) {}

  void Enter(uint32_t chain) {
    ends_[chains_[chain].FrontEnd()].push_back(chain);
    if (chains_[chain].BackEnd() != chains_[chain].FrontEnd()) ends_[chains_[chain].BackEnd()].push_back(chain);
  }

  void Remove(uint32_t chain) {
    for (uint32_t end : {chains_[chain].FrontEnd(), chains_[chain].BackEnd()}) {
      auto it = ends_.find(end);
      if (it == ends_.end()) continue;
      auto& list = it->second;
      list.erase(std::remove(list.begin(), list.end(), chain), list.end());
      if (list.empty()) ends_.erase(it);
    }
  }

  // Takes the first chain listed at `vertex` other than `except` out of the map.
  bool Take(uint32_t vertex, uint32_t except, uint32_t& chain) {
    auto it = ends_.find(vertex);
    if (it == ends_.end()) return false;
    for (uint32_t c : it->second) {
      if (c == except) continue;
      chain = c;
      Remove(c);
      return true;
    }
    return false;
  }

  std::map<uint32_t, std::vector<uint32_t>> const& Ends() const { return ends_; }
  bool Empty() const { return ends_.empty(); }

 private:
  std::vector<EdgeChain>& chains_;
  std::map<uint32_t, std::vector<uint32_t>> ends_;
};

constexpr uint32_t kNone = 0xFFFFFFFFu;

void AddEdge(EdgeChain& chain, uint32_t a, uint32_t b) {
  if (chain.FrontEnd() == a) chain.front.emplace_back(b, a);
  else if (chain.FrontEnd() == b) chain.front.emplace_back(a, b);
  else if (chain.BackEnd() == a) chain.back.emplace_back(a, b);
  else chain.back.emplace_back(b, a);
}

void Join(EdgeChain& dest, EdgeChain const& src) {
  Polyline const edges = src.Edges();
  if (dest.BackEnd() == src.FrontEnd()) {
    dest.back.insert(dest.back.end(), edges.begin(), edges.end());
  } else if (dest.FrontEnd() == src.BackEnd()) {
    dest.front.insert(dest.front.end(), edges.rbegin(), edges.rend());
  } else if (dest.FrontEnd() == src.FrontEnd()) {
    for (auto const& e : edges) dest.front.emplace_back(e.second, e.first);
  } else {
    for (auto it = edges.rbegin(); it != edges.rend(); ++it) dest.back.emplace_back(it->second, it->first);
  }
}

// One join of two chains that meet at an end; false when none is left.
// The scan goes in the order of the map's vertices and resumes at `from`,
// the vertex of the last join, as a scan from the first vertex would find
// the same join: the joined chain's ends were ends of the two chains it was
// made of, so any chain that shares one with it shared one before and was
// not passed over.
bool JoinOnce(std::vector<EdgeChain>& chains, EndMap& map, uint32_t& from) {
  auto const& ends = map.Ends();
  for (auto it = ends.lower_bound(from); it != ends.end(); ++it) {
    uint32_t const vertex = it->first;
    for (uint32_t c : it->second) {
      uint32_t o = kNone;
      if (!map.Take(chains[c].FrontEnd(), c, o) && !map.Take(chains[c].BackEnd(), c, o)) continue;
      map.Remove(c);
      bool const o_longer = chains[o].Length() >= chains[c].Length();
      uint32_t const dest = o_longer ? o : c;
      uint32_t const src = o_longer ? c : o;
      Join(chains[dest], chains[src]);
      map.Enter(dest);
      from = vertex;
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<Polyline> StitchEdges(std::vector<Edge> const& pairs) {
  std::vector<EdgeChain> chains;
  chains.reserve(pairs.size());
  EndMap map(chains);
  for (auto const& [a, b] : pairs) {
    uint32_t chain = kNone;
    if (map.Take(a, kNone, chain) || map.Take(b, kNone, chain)) {
      AddEdge(chains[chain], a, b);
    } else {
      chain = static_cast<uint32_t>(chains.size());
      chains.emplace_back(Edge{a, b});
    }
    map.Enter(chain);
  }
  uint32_t from = 0;
  while (JoinOnce(chains, map, from)) {
  }
  std::vector<Polyline> result;
  while (!map.Empty()) {
    uint32_t const chain = map.Ends().begin()->second.front();
    map.Remove(chain);
    result.push_back(chains[chain].Edges());
  }
  return result;
}

}  // namespace KZV
