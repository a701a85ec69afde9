// Poly polygons and clip regions. Equal ones are folded at insertion through
// content hashes that live only as long as the model is open.
#include <xxhash.h>

#include <new>

#include "store/Logger.h"
#include "store/ModelImpl.h"

namespace QX::Store {

namespace {

constexpr uint32_t kContentHashSeed = 0x8D06F00D;

// XXH32 fed part by part.
class ContentHash {
 public:
  ContentHash() : state_(XXH32_createState()) {
    if (!state_) throw std::bad_alloc();
    XXH32_reset(state_, kContentHashSeed);
  }
  ~ContentHash() { XXH32_freeState(state_); }
  ContentHash(ContentHash const&) = delete;
  ContentHash& operator=(ContentHash const&) = delete;

  void Feed(void const* bytes, size_t size) {
    if (size != 0) XXH32_update(state_, bytes, size);
  }
  void Feed(uint32_t word) { Feed(&word, sizeof word); }
  uint32_t Digest() const { return XXH32_digest(state_); }

 private:
  XXH32_state_t* state_;
};

// Equal unless one is less or greater than the other: a NaN equals anything.
bool SameCoordinate(float a, float b) { return !(a < b) && !(a > b); }

bool SamePoint(Point const& a, float const* b) {
  return SameCoordinate(a.x, b[0]) && SameCoordinate(a.y, b[1]) && SameCoordinate(a.z, b[2]);
}

bool SamePolyPolygon(PolyPolygon const& stored, uint32_t loop_count, uint32_t const* lengths,
                     uint64_t total, float const* points) {
  if (stored.lengths.size() != loop_count || stored.points.size() != total) return false;
  for (uint32_t i = 0; i < loop_count; ++i)
    if (stored.lengths[i] != lengths[i]) return false;
  for (uint64_t i = 0; i < total; ++i)
    if (!SamePoint(stored.points[i], points + 3 * i)) return false;
  return true;
}

uint32_t HashClipLoops(std::vector<ClipLoop> const& loops) {
  ContentHash hash;
  for (ClipLoop const& loop : loops) {
    for (PolyPolygonKey key : loop.polygons) hash.Feed(key);
    hash.Feed(loop.matrix);
    hash.Feed(loop.first_flag);
    hash.Feed(loop.second_flag);
  }
  return hash.Digest();
}

}  // namespace

PolyPolygonKey Model::InsertPolyPolygon(uint32_t loop_count, uint32_t const* lengths,
                                        float const* points) {
  return Impl().InsertPolyPolygon(loop_count, lengths, points);
}

ClipRegionKey Model::InsertClipRegion(std::vector<ClipLoop> const& loops) {
  return Impl().InsertClipRegion(loops);
}

PolyPolygonKey ModelImpl::InsertPolyPolygon(uint32_t loop_count, uint32_t const* lengths,
                                            float const* points) {
  uint64_t total = 0;
  for (uint32_t i = 0; i < loop_count; ++i) total += lengths[i];
  ContentHash content;
  content.Feed(loop_count);
  content.Feed(lengths, sizeof(uint32_t) * loop_count);
  content.Feed(points, 3 * sizeof(float) * total);
  uint32_t const hash = content.Digest();
  if (auto const found = poly_polygon_hashes.find(hash); found != poly_polygon_hashes.end()) {
    PolyPolygon const& stored = *poly_polygons.Find(found->second);
    if (SamePolyPolygon(stored, loop_count, lengths, total, points)) return stored.key;
  }

  TestWritable();
  PolyPolygonKey const key = next.poly_polygon++;
  PolyPolygon polygon;
  polygon.key = key;
  polygon.lengths.assign(lengths, lengths + loop_count);
  polygon.points.resize(total);
  for (uint64_t i = 0; i < total; ++i)
    polygon.points[i] = Point{points[3 * i], points[3 * i + 1], points[3 * i + 2]};
  poly_polygons.Insert(key, std::move(polygon));
  dirty = true;
  poly_polygon_hashes.emplace(hash, key);
  return key;
}

// Regions under one hash are taken as equal when they have as many loops;
// their contents aren't compared.
ClipRegionKey ModelImpl::InsertClipRegion(std::vector<ClipLoop> const& loops) {
  uint32_t const hash = HashClipLoops(loops);
  if (auto const found = clip_region_hashes.find(hash); found != clip_region_hashes.end()) {
    ClipRegion const& stored = *clip_regions.Find(found->second);
    if (stored.loops.size() == loops.size()) return stored.key;
  }

  TestWritable();
  for (ClipLoop const& loop : loops)
    for (PolyPolygonKey key : loop.polygons) CheckPolyPolygonKey(key);
  ClipRegionKey const key = next.clip_region++;
  clip_regions.Insert(key, ClipRegion{key, loops});
  dirty = true;
  clip_region_hashes.emplace(hash, key);
  return key;
}

}  // namespace QX::Store
