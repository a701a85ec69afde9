#pragma once
// The engine's side of one viewer: a live stream state over the worker's
// model, fed with the viewer's messages, pass by pass. Lives and runs on
// its worker's thread only.
#include <memory>

#include "server/SessionChannel.h"
#include "store/Model.h"

namespace QX::Store {
class StreamState;
}

namespace QX::Server {

class LiveSession {
 public:
  // Live control flags: out-of-view items go last rather than never,
  // keyed data goes out on idle, and all three kinds of previews are on.
  static constexpr uint32_t kControlFlags = 0x163;
  // Bytes that the sink would like in one frame.
  static constexpr uint32_t kChunkSize = 0x10000;

  LiveSession(Store::Model const& model, SessionChannel& channel);
  ~LiveSession();
  LiveSession(LiveSession const&) = delete;
  LiveSession& operator=(LiveSession const&) = delete;

  // Carries out `work` with one pass of the stream.
  void Run(SessionWork work);
  // True while the stream has more to send without new messages.
  bool Streaming() const { return streaming_; }

 private:
  void Apply(ClientMessage const& message);
  void Pass(Store::StreamRequest request);

  Store::Model model_;
  SessionChannel& channel_;
  std::unique_ptr<Store::StreamState> state_;
  std::optional<CameraMessage> camera_;
  bool streaming_ = true;
};

}  // namespace QX::Server
