// Building the bounding tree over many instance boxes of random sizes placed
// in clusters, on one thread and on all hardware threads.
#include <benchmark/benchmark.h>

#include <random>
#include <thread>
#include <vector>

#include "geometry/bounding/BoundingTree.h"

namespace {

using QX::Store::BoundingItem;

std::vector<BoundingItem> ClusteredBoxes(size_t count) {
  std::mt19937 gen(20261122);
  std::uniform_real_distribution<float> centre(-10000, 10000), unit(0, 1);
  std::normal_distribution<float> spread(0, 300);
  std::vector<std::array<float, 3>> groups(200);
  for (auto& g : groups) g = {centre(gen), centre(gen), centre(gen)};
  std::vector<BoundingItem> items(count);
  for (size_t i = 0; i < count; ++i) {
    auto const& g = groups[gen() % groups.size()];
    float const x = g[0] + spread(gen), y = g[1] + spread(gen), z = g[2] + spread(gen);
    // Mostly small parts, a few large ones.
    float const size = 0.5f + 200.0f * unit(gen) * unit(gen) * unit(gen);
    auto const weight = static_cast<uint32_t>(1 + 64 * unit(gen) * unit(gen));
    items[i] = {static_cast<uint32_t>(i + 1), weight,
                {x, y, z, x + size * unit(gen), y + size * unit(gen), z + size * unit(gen)}};
  }
  return items;
}

// range(0): boxes; range(1): threads, 0 for all hardware threads.
void BuildTree(benchmark::State& state) {
  auto const items = ClusteredBoxes(static_cast<size_t>(state.range(0)));
  QX::Store::ClusterOptions options;
  options.threads = static_cast<uint32_t>(state.range(1));
  for (auto _ : state) {
    auto tree = QX::Store::MakeBoundingTree(items, options);
    benchmark::DoNotOptimize(tree.get());
  }
  state.counters["threads"] =
      options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
}

BENCHMARK(BuildTree)
    ->ArgsProduct({{10000, 100000, 1000000}, {1, 0}})
    ->Unit(benchmark::kSecond)
    ->Iterations(1)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
