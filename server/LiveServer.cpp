#include "server/LiveServer.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <vector>

#include "server/HttpSession.h"
#include "server/Net.h"
#include "server/StreamWorker.h"

namespace QX::Server {

struct LiveServer::Impl {
  explicit Impl(ServerOptions options);
  void Accept();
  void Assign(std::shared_ptr<SessionChannel> channel);

  ServerOptions options;
  ServerContext context;
  net::io_context io{1};
  tcp::acceptor acceptor{net::make_strand(io)};
  std::vector<std::unique_ptr<StreamWorker>> workers;
  std::vector<std::thread> threads;
  bool stopped = false;
};

LiveServer::Impl::Impl(ServerOptions given) : options(std::move(given)) {
  context.page = options.page;
  context.limits = options.limits;
  context.assign = [this](std::shared_ptr<SessionChannel> channel) { Assign(std::move(channel)); };
  beast::error_code error;
  net::ip::address const address = net::ip::make_address(options.host, error);
  if (error) throw std::runtime_error("not an IP address: " + options.host);
  tcp::endpoint const endpoint{address, options.port};
  auto check = [&](char const* what) {
    if (error) throw std::runtime_error(std::string(what) + " " + options.host + ":" +
                                        std::to_string(options.port) + ": " + error.message());
  };
  acceptor.open(endpoint.protocol(), error);
  check("cannot open");
  acceptor.set_option(net::socket_base::reuse_address(true), error);
  acceptor.bind(endpoint, error);
  check("cannot listen on");
  acceptor.listen(net::socket_base::max_listen_connections, error);
  check("cannot listen on");
  size_t const count = options.workers ? options.workers : std::max(1u, std::thread::hardware_concurrency());
  for (size_t i = 0; i < count; ++i)
    workers.push_back(std::make_unique<StreamWorker>(options.model_path, options.engine_log));
}

void LiveServer::Impl::Accept() {
  acceptor.async_accept(net::make_strand(io), [this](beast::error_code error, tcp::socket socket) {
    if (error == net::error::operation_aborted || !acceptor.is_open()) return;
    if (!error) std::make_shared<HttpSession>(std::move(socket), context)->Run();
    Accept();
  });
}

// The worker with the fewest viewers takes the new one.
void LiveServer::Impl::Assign(std::shared_ptr<SessionChannel> channel) {
  auto const least = std::min_element(workers.begin(), workers.end(),
                                      [](auto const& a, auto const& b) { return a->Load() < b->Load(); });
  (*least)->Add(std::move(channel));
}

LiveServer::LiveServer(ServerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

LiveServer::~LiveServer() { Stop(); }

uint16_t LiveServer::Port() const { return impl_->acceptor.local_endpoint().port(); }

size_t LiveServer::Connections() const { return impl_->context.connections.load(); }

void LiveServer::Start() {
  net::dispatch(impl_->acceptor.get_executor(), [impl = impl_.get()] { impl->Accept(); });
  impl_->threads.emplace_back([impl = impl_.get()] { impl->io.run(); });
}

void LiveServer::Stop() {
  if (impl_->stopped) return;
  impl_->stopped = true;
  impl_->io.stop();
  for (std::thread& thread : impl_->threads) thread.join();
  // The workers end before the connections that they post to go with the
  // io context; the connections' channels are closed as they go.
  impl_->workers.clear();
  impl_->acceptor.close();
}

}  // namespace QX::Server
