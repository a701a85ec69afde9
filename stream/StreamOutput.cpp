#include "stream/StreamOutput.h"

#include <chrono>

#include "store/Logger.h"
#include "stream/ChunkCompression.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"

namespace QX::Store {

uint64_t FlushSize(Streamer const& sink) {
  uint64_t const twice = 2 * uint64_t(sink.chunk_size);
  return sink.header_reserve + (twice >= 1025 ? twice : 1024);
}

void StreamOutput::BeginPass(Streamer& sink, uint32_t control_flags) {
  sink.bytes_sent = 0;
  if (sink.header_reserve % 4 != 0)
    throw Exception("Used an invalid Streamer header_reserve --- must divide evenly by 4");
  if (sink.footer_reserve % 4 != 0)
    throw Exception("Used an invalid Streamer footer_reserve --- must divide evenly by 4");
  header_reserve_ = sink.header_reserve;
  control_flags_ = control_flags;
  out_.reserve(FlushSize(sink));
  out_.assign(header_reserve_, 0);
  second_.clear();
  sink_ = &sink;
  sink_alive_ = true;
  current_model_ = kNoContext;
}

void StreamOutput::EndPass() {
  sink_ = nullptr;
  out_.clear();
  second_.clear();
}

bool StreamOutput::FlushLast() {
  if (sink_ == nullptr) return false;
  bool const alive = sink_alive_;
  sink_alive_ = true;
  bool const ok = FlushChunk(0);
  sink_alive_ = alive && ok;
  return sink_alive_;
}

bool StreamOutput::FlushChunk(uint32_t extra_flags) {
  if (!HasPayload()) return sink_alive_;
  if (sink_ == nullptr) return false;
  if (!sink_alive_) {
    current_model_ = kNoContext;
    out_.assign(header_reserve_, 0);
    return false;
  }
  std::span<uint8_t const> const payload(out_.data() + header_reserve_,
                                         out_.size() - header_reserve_);
  uint32_t const first = payload.size() >= 4 ? GetU32(payload.data()) : 0;
  Bytes* chunk = &out_;
  // Stored blocks and keyed blocks are complete as they stand.
  if (first != Tag::Compressed && first != Tag::KeyedBlock) {
    bool const aggressive = ((control_flags_ | extra_flags) & ControlFlag::AggressiveCompression) != 0;
    second_.assign(header_reserve_, 0);
    if (AppendCompressedBlock(payload, aggressive, second_)) chunk = &second_;
  }
  chunk->insert(chunk->end(), sink_->footer_reserve, 0);
  sink_->bytes_sent += uint32_t(chunk->size());

  auto const start = std::chrono::steady_clock::now();
  bool ok = false;
  try {
    ok = sink_->Write(chunk->data(), chunk->size());
  } catch (...) {
    // A sink that throws is dead; what it was given is dropped.
    sink_alive_ = false;
    second_.clear();
    out_.assign(header_reserve_, 0);
    current_model_ = kNoContext;
    throw;
  }
  write_ms_ = uint32_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::steady_clock::now() - start)
                           .count());
  if (!ok) sink_alive_ = false;

  current_model_ = kNoContext;
  second_.clear();
  out_.assign(header_reserve_, 0);
  return sink_alive_;
}

void StreamOutput::WriteModelContext(uint32_t stream_model) {
  if (current_model_ == stream_model) return;
  current_model_ = stream_model;
  WriteModelContextRecord(out_, stream_model);
}

void StreamOutput::ReportMissing(uint32_t stream_model, uint32_t key, uint32_t code) {
  uint64_t const pair = uint64_t(stream_model) << 32 | key;
  if (!reported_missing_[code & KeyKind::MissingMask].insert(pair).second) return;
  WriteMissingKey(out_, stream_model, key, code);
}

void StreamOutput::ForgetReports() {
  reported_missing_.clear();
  current_model_ = kNoContext;
}

void StreamOutput::SendKeyedBlock(Bytes& local, uint64_t& counter) {
  if (HasPayload()) FlushChunk(0);
  second_.clear();
  bool const compressed = AppendCompressedBlock(local, true, second_);
  Bytes const& payload = compressed ? second_ : local;
  PutU32(out_, Tag::KeyedBlock);
  PutU32(out_, uint32_t(payload.size()));
  out_.insert(out_.end(), payload.begin(), payload.end());
  second_.clear();
  local.clear();
  counter += out_.size();
  FlushChunk(0);
}

}  // namespace QX::Store
