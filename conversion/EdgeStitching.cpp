#include "conversion/EdgeStitching.h"

#include <algorithm>
#include <bit>

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

constexpr uint32_t kNone = 0xFFFFFFFFu;

// Chains by the vertices where they end, vertices being numbered 0 to
// count - 1. Each vertex has a list of chains in the order they were
// entered, linked through two slots per chain, one for each of its ends, so
// that entering and removing allocate nothing.
class EndMap {
 public:
  EndMap(std::vector<EdgeChain>& chains, size_t vertex_count, size_t chain_count)
      : chains_(chains), head_(vertex_count, kNone), tail_(vertex_count, kNone), slots_(2 * chain_count) {}

  void Enter(uint32_t chain) {
    Link(2 * chain, chains_[chain].FrontEnd());
    if (chains_[chain].BackEnd() != chains_[chain].FrontEnd()) Link(2 * chain + 1, chains_[chain].BackEnd());
  }

  void Remove(uint32_t chain) {
    Unlink(2 * chain);
    Unlink(2 * chain + 1);
  }

  // Takes the first chain listed at `vertex` other than `except` out of the map.
  bool Take(uint32_t vertex, uint32_t except, uint32_t& chain) {
    for (uint32_t slot = head_[vertex]; slot != kNone; slot = slots_[slot].next) {
      if (slot / 2 == except) continue;
      chain = slot / 2;
      Remove(chain);
      return true;
    }
    return false;
  }

  // The chains listed at `vertex`: a list slot and the next one of each.
  uint32_t First(uint32_t vertex) const { return head_[vertex]; }
  uint32_t Next(uint32_t slot) const { return slots_[slot].next; }
  size_t VertexCount() const { return head_.size(); }
  bool Empty() const { return listed_ == 0; }

 private:
  struct Slot {
    uint32_t vertex = kNone, previous = kNone, next = kNone;
  };

  void Link(uint32_t slot, uint32_t vertex) {
    slots_[slot] = {vertex, tail_[vertex], kNone};
    (tail_[vertex] == kNone ? head_[vertex] : slots_[tail_[vertex]].next) = slot;
    tail_[vertex] = slot;
    ++listed_;
  }

  void Unlink(uint32_t slot) {
    Slot& s = slots_[slot];
    if (s.vertex == kNone) return;
    (s.previous == kNone ? head_[s.vertex] : slots_[s.previous].next) = s.next;
    (s.next == kNone ? tail_[s.vertex] : slots_[s.next].previous) = s.previous;
    s = Slot{};
    --listed_;
  }

  std::vector<EdgeChain>& chains_;
  std::vector<uint32_t> head_, tail_;
  std::vector<Slot> slots_;
  size_t listed_ = 0;
};

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
  for (uint32_t vertex = from; vertex < map.VertexCount(); ++vertex) {
    for (uint32_t slot = map.First(vertex); slot != kNone; slot = map.Next(slot)) {
      uint32_t const c = slot / 2;
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

// The vertices of `pairs` numbered densely in their order: `pairs` is
// rewritten in these numbers and the original numbers are returned by
// number. Vertices that are dense already, as indices of points are, keep
// their numbers and give an empty list.
std::vector<uint32_t> NumberDensely(std::vector<Edge>& pairs, size_t& count) {
  uint32_t largest = 0;
  for (auto const& [a, b] : pairs) largest = std::max({largest, a, b});
  if (largest < 2 * pairs.size() + 64) {
    count = pairs.empty() ? 0 : size_t(largest) + 1;
    return {};
  }
  std::vector<uint32_t> original;
  original.reserve(2 * pairs.size());
  for (auto const& [a, b] : pairs) original.insert(original.end(), {a, b});
  std::sort(original.begin(), original.end());
  original.erase(std::unique(original.begin(), original.end()), original.end());
  auto const number = [&](uint32_t v) {
    return uint32_t(std::lower_bound(original.begin(), original.end(), v) - original.begin());
  };
  for (auto& [a, b] : pairs) a = number(a), b = number(b);
  count = original.size();
  return original;
}

}  // namespace

std::vector<Polyline> StitchEdges(std::vector<Edge> const& input) {
  std::vector<Edge> pairs = input;
  size_t vertex_count = 0;
  std::vector<uint32_t> const original = NumberDensely(pairs, vertex_count);
  std::vector<EdgeChain> chains;
  chains.reserve(pairs.size());
  EndMap map(chains, vertex_count, pairs.size());
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
  for (uint32_t vertex = 0; !map.Empty(); ++vertex) {
    while (map.First(vertex) != kNone) {
      uint32_t const chain = map.First(vertex) / 2;
      map.Remove(chain);
      result.push_back(chains[chain].Edges());
      if (original.empty()) continue;
      for (auto& [a, b] : result.back()) a = original[a], b = original[b];
    }
  }
  return result;
}

}  // namespace KZV
