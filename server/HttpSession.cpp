#include "server/HttpSession.h"

#include <chrono>

#include "server/StreamConnection.h"

namespace QX::Server {

namespace {

http::response<http::string_body> Plain(http::status status, unsigned version, std::string text) {
  http::response<http::string_body> response{status, version};
  response.set(http::field::content_type, "text/plain; charset=utf-8");
  response.body() = std::move(text) + "\n";
  return response;
}

}  // namespace

HttpSession::HttpSession(tcp::socket&& socket, ServerContext& context)
    : stream_(std::move(socket)), context_(context) {}

void HttpSession::Run() {
  net::dispatch(stream_.get_executor(), beast::bind_front_handler(&HttpSession::Read, shared_from_this()));
}

void HttpSession::Read() {
  parser_.emplace();
  parser_->header_limit(16 * 1024);
  parser_->body_limit(8 * 1024);
  stream_.expires_after(std::chrono::seconds(30));
  http::async_read(stream_, buffer_, *parser_, beast::bind_front_handler(&HttpSession::OnRead, shared_from_this()));
}

void HttpSession::OnRead(beast::error_code error, size_t) {
  if (error) {
    stream_.socket().shutdown(tcp::socket::shutdown_both, error);
    return;
  }
  http::request<http::string_body> request = parser_->release();
  unsigned const version = request.version();
  std::string_view const target(request.target().data(), request.target().size());
  std::string_view const path = target.substr(0, target.find('?'));
  if (websocket::is_upgrade(request)) {
    if (path != "/stream") return Respond(Plain(http::status::not_found, version, "WebSocket only at /stream"));
    if (context_.connections.load() >= context_.limits.max_connections)
      return Respond(Plain(http::status::service_unavailable, version, "too many viewers; try again later"));
    return Upgrade(std::move(request));
  }
  if (request.method() != http::verb::get && request.method() != http::verb::head)
    return Respond(Plain(http::status::method_not_allowed, version, "only GET"));
  if (path != "/" && path != "/index.html") return Respond(Plain(http::status::not_found, version, "not found"));
  http::response<http::string_body> page{http::status::ok, version};
  page.set(http::field::content_type, "text/html; charset=utf-8");
  page.set(http::field::cache_control, "no-store");
  if (request.method() == http::verb::get) page.body() = context_.page;
  else page.content_length(context_.page.size());
  page.keep_alive(request.keep_alive());
  Respond(std::move(page));
}

void HttpSession::Upgrade(http::request<http::string_body> request) {
  std::make_shared<StreamConnection>(std::move(stream_), context_)->Start(std::move(request));
}

void HttpSession::Respond(http::response<http::string_body> response) {
  if (response.body().size() != 0 || response.result() != http::status::ok) response.prepare_payload();
  auto message = std::make_shared<http::response<http::string_body>>(std::move(response));
  http::async_write(stream_, *message, [self = shared_from_this(), message](beast::error_code error, size_t) {
    if (error || !message->keep_alive()) {
      self->stream_.socket().shutdown(tcp::socket::shutdown_send, error);
      return;
    }
    self->Read();
  });
}

}  // namespace QX::Server
