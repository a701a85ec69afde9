// The priority queue and the priority run of a pass, over a million items.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "stream/Priorities.h"
#include "stream/PriorityBuckets.h"
#include "stream/StreamItems.h"
#include "stream/StreamRequest.h"
#include "stream/ViewState.h"

namespace {

using namespace QX::Store;

constexpr int kItems = 1000000;
constexpr int kNodes = 10000;

std::vector<float> RandomPriorities() {
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> dist(0, 1000);
  std::vector<float> priorities(kItems);
  for (float& p : priorities) p = dist(rng);
  return priorities;
}

void Push(benchmark::State& state) {
  std::vector<float> const priorities = RandomPriorities();
  PriorityBuckets queue;
  for (auto _ : state) {
    queue.Reset();
    queue.SetRange(1000, 0.01f);
    for (float p : priorities) queue.Push(nullptr, p);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kItems);
}
BENCHMARK(Push)->Unit(benchmark::kMillisecond);

void PushAndTake(benchmark::State& state) {
  std::vector<float> const priorities = RandomPriorities();
  PriorityBuckets queue;
  for (auto _ : state) {
    queue.Reset();
    queue.SetRange(1000, 0.01f);
    for (float p : priorities) queue.Push(nullptr, p);
    PriorityEntry e;
    while (queue.TakeNext(true, -1, e)) benchmark::DoNotOptimize(e);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kItems);
}
BENCHMARK(PushAndTake)->Unit(benchmark::kMillisecond);

void BuildWithCamera(benchmark::State& state) {
  std::mt19937 rng(2);
  std::uniform_real_distribution<float> place(-100, 100);
  StreamAttachedModel attached;
  attached.nodes.resize(kNodes);
  for (auto& node : attached.nodes) {
    float const x = place(rng), y = place(rng), z = place(rng);
    SetShape(node, BoundingBox{x - 5, y - 5, z - 5, x + 5, y + 5, z + 5});
  }
  std::vector<StreamInstance> items(kItems);
  std::vector<StreamInstance*> list;
  for (int i = 0; i < kItems; ++i) {
    StreamInstance& item = items[i];
    item.node = uint32_t(i % kNodes);
    item.attached = &attached;
    item.flags.classes = 1;
    Point const& c = attached.nodes[item.node].centre;
    SetShape(item, BoundingBox{c.x - 1, c.y - 1, c.z - 1, c.x + 1, c.y + 1, c.z + 1});
    list.push_back(&item);
  }
  StreamCamera camera;
  camera.position[2] = 300;
  camera.up[1] = 1;
  camera.width = camera.height = 200;
  StreamRequest request;
  request.camera = &camera;
  ViewState view;
  view.Update(request);
  PriorityBuckets queue;
  for (auto _ : state) {
    ++view.frame_serial;
    BuildPriorities(view, false, false, list, &queue);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kItems);
}
BENCHMARK(BuildWithCamera)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
