#pragma once
// A viewer for the server's tests: a WebSocket client on a loopback port
// whose every read has a time limit, so that a server that says nothing
// fails the test instead of hanging it.
#include <gtest/gtest.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <optional>
#include <string>

#include "files/ByteOrder.h"
#include "stream/StreamReader.h"
#include "stream/WireTags.h"

namespace qx_server_test {

namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;
namespace net = boost::asio;
using tcp = boost::asio::ip::tcp;
using namespace std::chrono_literals;

struct ReceivedFrame {
  bool binary = false;
  std::string bytes;
};

class TestClient {
 public:
  explicit TestClient(uint16_t port, std::string const& target = "/stream") : ws_(io_) {
    tcp::resolver resolver(io_);
    net::connect(ws_.next_layer(), resolver.resolve("127.0.0.1", std::to_string(port)));
    ws_.read_message_max(64u << 20);
    ws_.handshake("127.0.0.1", target);
  }

  ~TestClient() {
    beast::error_code ignored;
    ws_.next_layer().close(ignored);
  }

  void Send(std::string const& text) {
    ws_.text(true);
    ws_.write(net::buffer(text));
  }

  // Writes and ignores a failure, for servers that may have closed already.
  bool TrySend(std::string const& text, bool binary = false) {
    beast::error_code error;
    ws_.binary(binary);
    ws_.write(net::buffer(text), error);
    return !error;
  }

  // The next frame, or nothing on a close, an error or when `timeout`
  // passes. A read that times out stays under way, and the next call goes
  // on waiting for it.
  std::optional<ReceivedFrame> Read(std::chrono::milliseconds timeout = 20s) {
    if (!reading_) {
      reading_ = true;
      done_ = false;
      ws_.async_read(buffer_, [this](beast::error_code error, size_t) {
        done_ = true;
        error_ = error;
      });
    }
    io_.restart();
    io_.run_for(timeout);
    if (!done_) {
      error_ = net::error::timed_out;
      return std::nullopt;
    }
    reading_ = false;
    if (error_) return std::nullopt;
    ReceivedFrame frame{ws_.got_binary(), beast::buffers_to_string(buffer_.data())};
    buffer_.consume(buffer_.size());
    if (frame.binary) received_ += frame.bytes.size();
    return frame;
  }

  void Ack() { Send("{\"type\":\"ack\",\"bytes\":" + std::to_string(received_) + "}"); }

  // Reads binary frames, acknowledging each unless `ack` is false, until a
  // T of `status` (with `request_id`, if not 0) has come; appends their
  // bytes to `stream`. False if the stream broke off first.
  bool ReadUntilEnd(QX::Store::Bytes& stream, uint32_t status, uint32_t request_id = 0, bool ack = true) {
    for (;;) {
      std::optional<ReceivedFrame> frame = Read();
      if (!frame) return false;
      if (!frame->binary) {
        ADD_FAILURE() << "text frame: " << frame->bytes;
        return false;
      }
      stream.insert(stream.end(), frame->bytes.begin(), frame->bytes.end());
      if (ack) Ack();
      if (EndsWithPassEnd(frame->bytes, status, request_id)) return true;
    }
  }

  // Whether a chunk holds a T of `status` (and `request_id`, if not 0).
  // A chunk holds whole records, so it reads on its own.
  static bool EndsWithPassEnd(std::string const& chunk, uint32_t status, uint32_t request_id) {
    QX::Store::StreamReader reader({reinterpret_cast<uint8_t const*>(chunk.data()), chunk.size()});
    QX::Store::StreamRecord record;
    while (reader.Next(record)) {
      if (record.tag != QX::Store::Tag::PassEnd || record.bytes.size() < 16) continue;
      if (QX::Store::GetU32(record.bytes, 4) == status &&
          (request_id == 0 || QX::Store::GetU32(record.bytes, 8) == request_id))
        return true;
    }
    return false;
  }

  uint64_t Received() const { return received_; }
  beast::error_code const& Error() const { return error_; }
  websocket::close_reason const& CloseReason() const { return ws_.reason(); }

 private:
  net::io_context io_;
  websocket::stream<tcp::socket> ws_;
  beast::flat_buffer buffer_;
  beast::error_code error_;
  bool reading_ = false;
  bool done_ = false;
  uint64_t received_ = 0;
};

}  // namespace qx_server_test
