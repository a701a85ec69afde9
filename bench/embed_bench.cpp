// Throughput of the base64 encoder and of embedding a 100 MB stream in a
// page, with the peak memory of the embedding relative to the page.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "export/Base64.h"
#include "export/TemplateEmbedding.h"

namespace {

constexpr size_t kStreamBytes = 100u << 20;

std::vector<uint8_t> RandomStream() {
  std::vector<uint8_t> data(kStreamBytes);
  std::mt19937_64 random(1);
  for (size_t i = 0; i + 8 <= data.size(); i += 8) {
    uint64_t const word = random();
    std::memcpy(&data[i], &word, 8);
  }
  return data;
}

int64_t PeakRssBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return int64_t{usage.ru_maxrss} * 1024;
}

// Runs first, before anything else has raised the process's peak memory.
void BM_EmbedPage(benchmark::State& state) {
  auto const dir = std::filesystem::temp_directory_path() / "qx-embed-bench";
  std::filesystem::create_directories(dir);
  auto const stream = dir / "stream.qxs", page_template = dir / "t.html", page = dir / "page.html";
  {
    std::vector<uint8_t> const data = RandomStream();
    std::ofstream(stream, std::ios::binary).write(reinterpret_cast<char const*>(data.data()), data.size());
    std::ofstream(page_template) << "<html><body><!-- QX_MODEL_DATA --></body></html>";
  }
  int64_t const rss_before = PeakRssBytes();
  for (auto _ : state) {
    uint32_t const result = KZVI::EmbedStreamInTemplate(stream.c_str(), page_template.c_str(),
                                                        page.c_str(), nullptr);
    if (result != 0) state.SkipWithError("embedding failed");
  }
  double const page_bytes = static_cast<double>(std::filesystem::file_size(page));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kStreamBytes);
  state.counters["peak_mem_per_page"] = static_cast<double>(PeakRssBytes() - rss_before) / page_bytes;
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_EmbedPage)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Base64Blocks(benchmark::State& state) {
  std::vector<uint8_t> const data = RandomStream();
  std::vector<char> out(KZVI::Base64BlockBound(4096));
  for (auto _ : state) {
    KZVI::Base64State coder;
    for (size_t at = 0; at < data.size(); at += 4096) {
      size_t const n = std::min<size_t>(4096, data.size() - at);
      benchmark::DoNotOptimize(KZVI::Base64EncodeBlock(data.data() + at, n, out.data(), coder));
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kStreamBytes);
}
BENCHMARK(BM_Base64Blocks)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
