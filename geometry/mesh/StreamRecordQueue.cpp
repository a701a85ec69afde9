#include "geometry/mesh/StreamRecordQueue.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>

#include "files/Cores.h"
#include "geometry/mesh/ByteIO.h"
#include "geometry/mesh/CompressedRecord.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StreamMesh.h"

namespace QX::Store {
namespace {

// Queued bytes beyond which the queue is written out: bounds the memory of
// a model with large meshes while leaving every thread enough to do.
constexpr size_t kFlushBytes = size_t(64) << 20;

}  // namespace

StreamRecordQueue::StreamRecordQueue(File& stream, File& toc, uint32_t effort, unsigned threads, Logger* logger)
    : stream_(stream),
      toc_(toc),
      effort_(effort),
      threads_(threads ? threads : UsableCores()),
      logger_(logger) {}

void StreamRecordQueue::Add(MeshRecord& mesh, uint32_t kind, std::span<uint8_t const> bytes) {
  mesh.stream_kib += uint32_t(bytes.size() >> 10);
  entries_.push_back({&mesh, kind, {bytes.begin(), bytes.end()}, {}});
  queued_bytes_ += bytes.size();
}

void StreamRecordQueue::EndMesh(MeshRecord& mesh) {
  entries_.push_back({&mesh, 0, {}, {}});
  if (queued_bytes_ >= kFlushBytes) Flush();
}

void StreamRecordQueue::Flush() {
  CompressAll();
  WriteAll();
  entries_.clear();
  queued_bytes_ = 0;
}

// Workers take the records in turn; each record is compressed by exactly
// one of them, into its own entry.
void StreamRecordQueue::CompressAll() {
  std::vector<Entry*> work;
  for (Entry& e : entries_)
    if (e.kind != 0 && e.bytes.size() > kRawRecordLimit) work.push_back(&e);
  std::atomic<size_t> next{0};
  std::mutex failure_lock;
  std::exception_ptr failure;
  auto compress = [&] {
    try {
      RecordCompressor compressor;
      for (size_t i = next++; i < work.size(); i = next++)
        compressor.Compress(work[i]->bytes, work[i]->compressed, kZstdMethod, effort_);
    } catch (...) {
      std::lock_guard<std::mutex> const lock(failure_lock);
      failure = std::current_exception();
      next = work.size();
    }
  };
  unsigned const helpers = work.empty() ? 0 : unsigned(std::min<size_t>(threads_, work.size())) - 1;
  {
    std::vector<std::jthread> pool;
    for (unsigned t = 0; t < helpers; ++t) pool.emplace_back(compress);
    compress();
  }
  if (failure) std::rethrow_exception(failure);
}

void StreamRecordQueue::WriteAll() {
  for (Entry& e : entries_) {
    if (e.kind == 0) {
      WriteMeshTocRecord(toc_, *e.mesh, logger_);
      continue;
    }
    int64_t const offset = detail::SeekToEnd(stream_, logger_);
    std::span<uint8_t const> const written = e.compressed.empty() ? e.bytes : e.compressed;
    detail::WriteAll(stream_, written, logger_);
    e.mesh->toc.push_back({uint64_t(offset), uint32_t(written.size()), e.kind});
  }
}

}  // namespace QX::Store
