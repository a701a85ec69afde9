#include "server/StreamConnection.h"

#include "server/JsonValue.h"

namespace QX::Server {

StreamConnection::StreamConnection(beast::tcp_stream&& stream, ServerContext& context)
    : ws_(std::move(stream)), context_(context) {
  ++context_.connections;
}

StreamConnection::~StreamConnection() {
  if (channel_) channel_->Close();
  --context_.connections;
}

void StreamConnection::Start(http::request<http::string_body> request) {
  beast::get_lowest_layer(ws_).expires_never();
  websocket::stream_base::timeout timeout = websocket::stream_base::timeout::suggested(beast::role_type::server);
  timeout.idle_timeout = context_.limits.idle_timeout;
  timeout.keep_alive_pings = true;
  ws_.set_option(timeout);
  ws_.read_message_max(context_.limits.max_message);
  ws_.async_accept(request, beast::bind_front_handler(&StreamConnection::OnAccept, shared_from_this()));
}

void StreamConnection::OnAccept(beast::error_code error) {
  if (error) return;
  // The worker reaches this connection only through posts to its strand,
  // and only while it lives.
  std::weak_ptr<StreamConnection> weak = weak_from_this();
  auto executor = ws_.get_executor();
  auto deliver = [weak, executor](Frame frame) {
    net::post(executor, [weak, frame = std::move(frame)]() mutable {
      if (auto self = weak.lock()) self->Enqueue({std::move(frame), {}});
    });
  };
  auto fail = [weak, executor](std::string const& message) {
    net::post(executor, [weak, message] {
      if (auto self = weak.lock()) self->SendError(message, true);
    });
  };
  channel_ = std::make_shared<SessionChannel>(context_.limits.flow, std::move(deliver), std::move(fail));
  context_.assign(channel_);
  Read();
}

void StreamConnection::Read() {
  ws_.async_read(buffer_, beast::bind_front_handler(&StreamConnection::OnRead, shared_from_this()));
}

void StreamConnection::OnRead(beast::error_code error, size_t) {
  // A closed or broken connection, a frame over the size limit (closed by
  // the WebSocket layer with code 1009), a time-out: the session ends.
  if (error) return channel_->Close();
  if (closing_) return;
  if (!ws_.got_text()) {
    SendError("binary frames are not part of the protocol; send JSON text", true);
  } else {
    std::string const text = beast::buffers_to_string(buffer_.data());
    Handle(text);
  }
  buffer_.consume(buffer_.size());
  if (!closing_) Read();
}

void StreamConnection::Handle(std::string_view text) {
  std::string refusal;
  try {
    if (channel_->Push(ParseClientMessage(text), refusal)) return;
  } catch (ProtocolError const& bad) {
    bool const too_many = ++errors_ >= context_.limits.max_errors;
    return SendError(too_many ? std::string(bad.what()) + "; too many bad messages" : bad.what(), too_many);
  }
  SendError(refusal, true);
}

void StreamConnection::SendError(std::string const& message, bool fatal) {
  if (closing_) return;
  if (fatal) {
    closing_ = true;
    channel_->Close();
    // What isn't on its way yet is dropped: the viewer is told why at once.
    while (outbox_.size() > (writing_ ? 1u : 0u)) outbox_.pop_back();
  }
  Enqueue({nullptr, "{\"type\":\"error\",\"message\":" + JsonQuote(message) + "}"});
}

void StreamConnection::Enqueue(Outgoing item) {
  if (closing_ && item.binary) return;
  outbox_.push_back(std::move(item));
  if (!writing_) WriteNext();
}

void StreamConnection::WriteNext() {
  if (outbox_.empty()) {
    if (closing_) {
      ws_.async_close(websocket::close_code::policy_error, [self = shared_from_this()](beast::error_code) {});
    }
    return;
  }
  writing_ = true;
  Outgoing const& item = outbox_.front();
  ws_.binary(item.binary != nullptr);
  auto done = beast::bind_front_handler(&StreamConnection::OnWrite, shared_from_this());
  if (item.binary) ws_.async_write(net::buffer(*item.binary), std::move(done));
  else ws_.async_write(net::buffer(item.text), std::move(done));
}

void StreamConnection::OnWrite(beast::error_code error, size_t bytes) {
  writing_ = false;
  bool const binary = outbox_.front().binary != nullptr;
  outbox_.pop_front();
  if (error) {
    outbox_.clear();
    return channel_->Close();
  }
  if (binary) channel_->Written(bytes);
  WriteNext();
}

}  // namespace QX::Server
