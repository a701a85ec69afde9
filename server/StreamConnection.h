#pragma once
// One viewer's WebSocket at /stream: reads its JSON messages and hands them
// to its session channel, and writes the stream's frames back in order. All
// of it runs on the connection's strand.
#include <deque>
#include <memory>
#include <string>

#include "server/Net.h"
#include "server/ServerContext.h"

namespace QX::Server {

class StreamConnection : public std::enable_shared_from_this<StreamConnection> {
 public:
  StreamConnection(beast::tcp_stream&& stream, ServerContext& context);
  ~StreamConnection();

  // Completes the upgrade that `request` asked for, then serves.
  void Start(http::request<http::string_body> request);

 private:
  struct Outgoing {
    Frame binary;      // a frame of the stream, or
    std::string text;  // an error text
  };

  void OnAccept(beast::error_code error);
  void Read();
  void OnRead(beast::error_code error, size_t bytes);
  void Handle(std::string_view text);
  void Enqueue(Outgoing item);
  void WriteNext();
  void OnWrite(beast::error_code error, size_t bytes);
  // Sends an error text; with `fatal`, drops the frames not yet written
  // and closes the connection behind the text.
  void SendError(std::string const& message, bool fatal);

  websocket::stream<beast::tcp_stream> ws_;
  ServerContext& context_;
  beast::flat_buffer buffer_;
  std::shared_ptr<SessionChannel> channel_;
  std::deque<Outgoing> outbox_;
  bool writing_ = false;
  bool closing_ = false;
  size_t errors_ = 0;
};

}  // namespace QX::Server
