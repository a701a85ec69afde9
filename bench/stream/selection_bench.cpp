// Volume selection over a model of 10,000 instances and 5.1 million
// triangles of which nothing has been sent: milliseconds to the first batch
// of results and to the last, for ray picks and box selections.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

#include "bench/stream/JitteredGrid.h"
#include "store/Cache.h"
#include "store/Model.h"
#include "stream/ControlFlags.h"
#include "stream/StreamRequest.h"
#include "stream/StreamState.h"
#include "stream/StreamReader.h"
#include "stream/WireTags.h"

namespace {

using namespace QX::Store;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kFaces = 1u << 2;
constexpr uint32_t kBatch = 64;
constexpr double kSpacing = 20;

class NullSink : public Streamer {
 public:
  bool Write(uint8_t* data, size_t size) override {
    bytes.assign(data + header_reserve, data + size - footer_reserve);
    return true;
  }
  Bytes bytes;
};

// Grids of 17 x 17 points (512 triangles).
constexpr uint32_t kGridSide = 17;

// 1,000 meshes, each placed 10 times on a field of 100 x 100 places.
void Build(Model& model) {
  model.Include(model, 0);
  std::vector<MeshKey> meshes;
  for (uint32_t i = 0; i < 1000; ++i) meshes.push_back(InsertJitteredGrid(model, kGridSide, i));
  for (uint32_t i = 0; i < 10000; ++i) {
    double const m[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, (i % 100) * kSpacing, (i / 100) * kSpacing, 0};
    model.InsertInstance(meshes[(i * 7919) % meshes.size()], model.InsertMatrix(m), kNoKey, kNoKey,
                         kNoKey, 0, 0, 0, 7, 0, 0, {});
  }
}

// Results in the records of one pass.
uint32_t ResultsIn(Bytes const& stream) {
  StreamReader reader(stream);
  StreamRecord r;
  uint32_t n = 0;
  while (reader.Next(r))
    if (!r.is_block && r.tag == Tag::Selection) n += GetU32(r.bytes.data() + 4);
  return n;
}

struct Timing {
  double first_ms = 0, last_ms = 0;
  uint32_t results = 0, passes = 0;
};

// Opens the selection and asks for batches until one comes back short.
template <class Command>
Timing Measure(StreamState& state, Command command) {
  NullSink sink;
  sink.chunk_size = 1 << 20;
  StreamRequest request;
  request.kind = RequestKind::Nothing;
  Timing t;
  Clock::time_point const start = Clock::now();
  state.QueueSelection(command);
  for (;;) {
    state.QueueSelection(NextResultsCommand{1, command.selection_id, kBatch});
    sink.bytes.clear();
    state.Stream(sink, request);
    uint32_t const n = ResultsIn(sink.bytes);
    double const ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    if (t.passes++ == 0) t.first_ms = ms;
    t.last_ms = ms;
    t.results += n;
    if (n < kBatch) break;
  }
  state.QueueSelection(EndSelectionCommand{2, command.selection_id});
  return t;
}

RaySelectionCommand Ray(std::array<double, 3> o, std::array<double, 3> d, uint32_t id) {
  double const length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
  for (double& c : d) c /= length;
  // Two unit vectors across the ray, and a tube of half width 0.01.
  std::array<double, 3> u = std::abs(d[2]) < 0.9 ? std::array<double, 3>{-d[1], d[0], 0}
                                                 : std::array<double, 3>{1, 0, 0};
  double const ul = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
  for (double& c : u) c /= ul;
  std::array<double, 3> const v{d[1] * u[2] - d[2] * u[1], d[2] * u[0] - d[0] * u[2],
                                d[0] * u[1] - d[1] * u[0]};
  auto dot = [&](std::array<double, 3> const& n) { return n[0] * o[0] + n[1] * o[1] + n[2] * o[2]; };
  double const w = 0.01;
  RaySelectionCommand c;
  c.rows = {{{u[0], u[1], u[2], w - dot(u)},
             {-u[0], -u[1], -u[2], w + dot(u)},
             {v[0], v[1], v[2], w - dot(v)},
             {-v[0], -v[1], -v[2], w + dot(v)},
             {d[0], d[1], d[2], -dot(d)}}};
  c.origin = {float(o[0]), float(o[1]), float(o[2])};
  c.direction = {float(d[0]), float(d[1]), float(d[2])};
  c.selection_id = id;
  c.flags = kFaces;
  return c;
}

PlaneSelectionCommand Box(std::array<double, 3> lo, std::array<double, 3> hi, uint32_t id) {
  PlaneSelectionCommand c;
  c.rows = {{1, 0, 0, -lo[0]}, {-1, 0, 0, hi[0]}, {0, 1, 0, -lo[1]},
            {0, -1, 0, hi[1]}, {0, 0, 1, -lo[2]}, {0, 0, -1, hi[2]}};
  c.reference = {float(lo[0]), float(lo[1]), float(lo[2])};
  c.selection_id = id;
  c.flags = kFaces;
  return c;
}

void Report(char const* name, Timing const& t) {
  std::printf("%-44s first batch %8.2f ms, last %9.2f ms, %5u results in %4u passes\n", name,
              t.first_ms, t.last_ms, t.results, t.passes);
}

}  // namespace

int main() {
  std::filesystem::path const dir = std::filesystem::temp_directory_path() /
                                    ("qx_selection_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  {
    Cache cache = Cache::Open(nullptr);
    Model model = cache.OpenModel((dir / "field").string().c_str(), false);
    Build(model);
    Clock::time_point const start = Clock::now();
    model.PrepareStream(1);
    std::printf("model: 10000 instances, 5120000 triangles, prepared in %.1f s\n",
                std::chrono::duration<double>(Clock::now() - start).count());
    uint32_t const flags = ControlFlag::StandAlone | ControlFlag::StreamSetupOnly;
    StreamState state(model, &flags);
    NullSink sink;
    StreamRequest request;
    request.kind = RequestKind::Nothing;
    state.Stream(sink, request);  // attaches the model

    double const mid = 50 * kSpacing + 8.3;
    Report("ray pick, straight down onto one instance",
           Measure(state, Ray({mid, mid, 50}, {0, 0, -1}, 1)));
    // From high over one corner down onto an instance 30 places along,
    // over the spheres of those on the way.
    Report("ray pick, slanted over 30 instances",
           Measure(state, Ray({-5, 208.3, 12}, {30 * kSpacing + 13.3, 0, -11.7}, 2)));
    Report("ray along the field, grazing 100 instances",
           Measure(state, Ray({-5, 1008.3, 0.33}, {1, 0, 0}, 3)));
    Report("box around half the field",
           Measure(state, Box({-1, -1, -1}, {1008, 2001, 2}, 4)));
    Report("box over 12 x 12 instances",
           Measure(state, Box({395, 395, -1}, {600, 600, 2}, 5)));
    Report("thin slab through the heights of all",
           Measure(state, Box({-1, -1, 0.64}, {2001, 2001, 0.66}, 6)));
  }
  std::filesystem::remove_all(dir);
  return 0;
}
