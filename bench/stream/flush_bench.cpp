// Throughput of chunk flushing: a chunk of text records compressed with LZ4
// HC or zstd and handed to a sink that drops it.
#include <benchmark/benchmark.h>

#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "stream/StreamOutput.h"

namespace {

using namespace QX::Store;

class NullSink : public Streamer {
 public:
  bool Write(uint8_t*, size_t) override { return true; }
};

void FlushChunk(benchmark::State& state) {
  uint32_t const flags = state.range(0) ? ControlFlag::AggressiveCompression : 0;
  Bytes records;
  for (uint32_t i = 0; records.size() < 0x80000; ++i) {
    WriteMissingKey(records, 0xFFFFFFFD, i, 7);
    WriteText(records, "<PRIORITY_KEYED_DATA_SENT>");
  }
  NullSink sink;
  sink.chunk_size = 0x40000;
  StreamOutput out;
  out.BeginPass(sink, flags);
  for (auto _ : state) {
    out.Buffer().insert(out.Buffer().end(), records.begin(), records.end());
    benchmark::DoNotOptimize(out.FlushChunk(0));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(records.size()));
}
BENCHMARK(FlushChunk)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
