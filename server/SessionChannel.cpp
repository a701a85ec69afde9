#include "server/SessionChannel.h"

namespace QX::Server {

SessionChannel::SessionChannel(FlowLimits limits, std::function<void(Frame)> deliver,
                               std::function<void(std::string const&)> fail)
    : limits_(limits), deliver_(std::move(deliver)), fail_(std::move(fail)) {}

bool SessionChannel::Push(ClientMessage message, std::string& error) {
  {
    std::lock_guard lock(lock_);
    if (closed_) return true;
    if (auto* ack = std::get_if<AckMessage>(&message)) {
      if (ack->bytes > sent_ || ack->bytes < acknowledged_) {
        error = "an ack of " + std::to_string(ack->bytes) + " bytes, but " + std::to_string(sent_) +
                " were sent and " + std::to_string(acknowledged_) + " acknowledged";
        return false;
      }
      acknowledged_ = ack->bytes;
    } else if (auto* camera = std::get_if<CameraMessage>(&message)) {
      // Only the newest camera matters: a flood of them replaces one slot.
      camera_ = *camera;
    } else {
      if (waiting_.size() >= limits_.max_waiting) {
        error = "more than " + std::to_string(limits_.max_waiting) + " messages wait for the stream";
        return false;
      }
      waiting_.push_back(std::move(message));
    }
  }
  Wake();
  return true;
}

void SessionChannel::Written(size_t bytes) {
  {
    std::lock_guard lock(lock_);
    queued_ -= std::min<uint64_t>(queued_, bytes);
  }
  Wake();
}

void SessionChannel::Close() {
  {
    std::lock_guard lock(lock_);
    closed_ = true;
    waiting_.clear();
  }
  Wake();
}

void SessionChannel::SetWake(std::function<void()> wake) {
  std::lock_guard lock(lock_);
  wake_ = std::move(wake);
}

bool SessionChannel::Closed() const {
  std::lock_guard lock(lock_);
  return closed_;
}

bool SessionChannel::Take(bool streaming, SessionWork& work) {
  std::lock_guard lock(lock_);
  if (closed_) return false;
  // New messages may run a pass with up to twice the window outstanding, so
  // that a turn of the camera is answered while earlier bytes are on their
  // way; passes that only go on with the stream wait for acknowledgements.
  bool const news = camera_ || !waiting_.empty();
  if (!news && !streaming) return false;
  uint64_t const window = news ? 2 * limits_.window : limits_.window;
  if (sent_ - acknowledged_ >= window || queued_ >= window) return false;
  work.camera = std::move(camera_);
  camera_.reset();
  work.message.reset();
  if (!waiting_.empty()) {
    work.message = std::move(waiting_.front());
    waiting_.pop_front();
  }
  return true;
}

bool SessionChannel::Send(std::vector<uint8_t> bytes) {
  size_t const size = bytes.size();
  {
    std::lock_guard lock(lock_);
    if (closed_) return false;
    sent_ += size;
    queued_ += size;
  }
  deliver_(std::make_shared<std::vector<uint8_t> const>(std::move(bytes)));
  return true;
}

void SessionChannel::Fail(std::string const& error) {
  {
    std::lock_guard lock(lock_);
    if (closed_) return;
    closed_ = true;
  }
  fail_(error);
}

uint64_t SessionChannel::Unacknowledged() const {
  std::lock_guard lock(lock_);
  return sent_ - acknowledged_;
}

void SessionChannel::Wake() {
  std::function<void()> wake;
  {
    std::lock_guard lock(lock_);
    wake = wake_;
  }
  if (wake) wake();
}

}  // namespace QX::Server
