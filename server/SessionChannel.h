#pragma once
// What one viewer's connection and the worker that streams to it share: the
// messages that wait for the worker, the newest camera, and the count of
// bytes sent and acknowledged that flow control rests on. Both sides call
// in from their own threads; one mutex guards it all.
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "server/ClientMessage.h"

namespace QX::Server {

// One binary frame: the bytes of one Write of the stream.
using Frame = std::shared_ptr<std::vector<uint8_t> const>;

struct FlowLimits {
  // The worker goes on with the stream only while fewer bytes than this are
  // unacknowledged and fewer wait in the connection to be written; a new
  // message may run a pass up to twice this.
  uint64_t window = 4u << 20;
  // Messages other than camera and ack that may wait for the worker.
  size_t max_waiting = 64;
};

// The work a worker takes for one pass.
struct SessionWork {
  std::optional<CameraMessage> camera;  // a new camera, if one came
  std::optional<ClientMessage> message;  // the next message in order, if any
};

class SessionChannel {
 public:
  // `deliver` hands a frame to the connection, `fail` sends an error text
  // and closes it; both are called without the lock held.
  SessionChannel(FlowLimits limits, std::function<void(Frame)> deliver,
                 std::function<void(std::string const&)> fail);

  // Connection side. Push returns false if the message can't be taken: the
  // queue is full, or an ack counts more bytes than were sent; the error
  // then says why.
  bool Push(ClientMessage message, std::string& error);
  void Written(size_t bytes);
  void Close();

  // Worker side.
  void SetWake(std::function<void()> wake);
  bool Closed() const;
  // Takes the next piece of work, if flow control allows a pass now.
  // `streaming` says whether the stream still has something to send.
  bool Take(bool streaming, SessionWork& work);
  // Sends a frame; false once the connection is gone.
  bool Send(std::vector<uint8_t> bytes);
  void Fail(std::string const& error);

  uint64_t Unacknowledged() const;

 private:
  void Wake();

  FlowLimits const limits_;
  std::function<void(Frame)> const deliver_;
  std::function<void(std::string const&)> const fail_;
  mutable std::mutex lock_;
  std::function<void()> wake_;
  std::optional<CameraMessage> camera_;
  std::deque<ClientMessage> waiting_;
  uint64_t sent_ = 0;
  uint64_t acknowledged_ = 0;
  uint64_t queued_ = 0;  // handed to the connection, not yet written
  bool closed_ = false;
};

}  // namespace QX::Server
