#pragma once
// The output side of a stream: the out-buffer that writers append to, the
// second buffer that compression fills, the model context of the chunk being
// built, and the hand-over of chunks to the sink.
#include <cstdint>
#include <unordered_map>
#include <unordered_set>

#include "files/ByteOrder.h"
#include "stream/Streamer.h"
#include "stream/WireTags.h"

namespace QX::Store {

// Length of the out-buffer, reserve included, at which a pass flushes.
uint64_t FlushSize(Streamer const& sink);

class StreamOutput {
 public:
  // Starts a pass on `sink`: zeroes its bytes_sent, checks its reserves
  // (throws QX::Store::Exception if one isn't a multiple of 4), and leaves
  // the out-buffer holding just the header reserve.
  void BeginPass(Streamer& sink, uint32_t control_flags);
  // Forgets the sink and empties the out-buffer.
  void EndPass();

  // The out-buffer; writers append records to it.
  Bytes& Buffer() { return out_; }
  Bytes const& Buffer() const { return out_; }
  // True if records stand in the out-buffer behind the header reserve.
  bool HasPayload() const { return out_.size() > header_reserve_; }
  Streamer* Sink() const { return sink_; }
  bool SinkAlive() const { return sink_alive_; }
  // Milliseconds that the last Write took.
  uint32_t LastWriteMs() const { return write_ms_; }

  // Hands the out-buffer to the sink as one chunk, compressed if that pays.
  // `extra_flags` is or-ed into the control flags for this chunk only.
  // Returns whether the sink is alive.
  // A dead sink isn't written to again; the buffer is dropped.
  bool FlushChunk(uint32_t extra_flags);
  // The last flush of a pass, which tries a dead sink once more.
  bool FlushLast();

  // Makes `stream_model` the context of what follows, writing N if needed.
  void WriteModelContext(uint32_t stream_model);
  uint32_t CurrentModel() const { return current_model_; }

  // Writes an m record unless this (masked code, model, key) was reported.
  void ReportMissing(uint32_t stream_model, uint32_t key, uint32_t code);

  // Forgets what was reported missing, and the model context.
  void ForgetReports();

  // Wraps a buffer of d records into a D block that goes out as a chunk of
  // its own. Empties `local`; adds the chunk's length to `counter`.
  void SendKeyedBlock(Bytes& local, uint64_t& counter);

 private:
  Bytes out_;
  Bytes second_;
  Streamer* sink_ = nullptr;
  uint32_t control_flags_ = 0;
  uint32_t header_reserve_ = 0;
  uint32_t current_model_ = kNoContext;
  uint32_t write_ms_ = 0;
  bool sink_alive_ = false;
  std::unordered_map<uint32_t, std::unordered_set<uint64_t>> reported_missing_;
};

}  // namespace QX::Store
