// Partition of large random point clouds: seconds and peak memory per size,
// with memory as a multiple of the cloud's own point array.
// Usage: cloud_bench [MILLIONS...]   (default 1 10 50)
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "geometry/bounding/CloudNode.h"

namespace {

double PeakMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024;  // kilobytes on Linux
}

void Run(uint64_t count) {
  std::vector<QX::Store::Point> points(count);
  std::mt19937 generator(1);
  std::uniform_real_distribution<float> unit(0, 100);
  for (auto& p : points) p = {unit(generator), unit(generator), unit(generator)};
  double const before = PeakMiB();
  auto const start = std::chrono::steady_clock::now();
  size_t nodes = 0;
  {
    QX::Store::CloudNode const root = QX::Store::BuildCloudTree(points.data(), count);
    QX::Store::WalkCloudTree(root, [&](auto) { ++nodes; });
  }
  double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  double const input = double(count) * sizeof(QX::Store::Point) / (1 << 20);
  std::printf("%9llu points: %7.2f s, %6zu nodes, peak %8.1f MiB = input + %.2fx input (%.1f MiB)\n",
              static_cast<unsigned long long>(count), seconds, nodes, PeakMiB(), (PeakMiB() - before) / input,
              input);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<uint32_t> millions{1, 10, 50};
  if (argc > 1) millions.clear();
  for (int i = 1; i < argc; ++i) millions.push_back(std::strtoull(argv[i], nullptr, 10));
  for (uint64_t m : millions) Run(m * 1000000);
}
