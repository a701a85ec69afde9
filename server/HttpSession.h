#pragma once
// One HTTP connection: serves the viewer page at /, and hands a WebSocket
// upgrade of /stream over to a StreamConnection.
#include <memory>
#include <optional>

#include "server/Net.h"
#include "server/ServerContext.h"

namespace QX::Server {

class HttpSession : public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(tcp::socket&& socket, ServerContext& context);
  void Run();

 private:
  void Read();
  void OnRead(beast::error_code error, size_t bytes);
  void Upgrade(http::request<http::string_body> request);
  void Respond(http::response<http::string_body> response);

  beast::tcp_stream stream_;
  ServerContext& context_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
};

}  // namespace QX::Server
