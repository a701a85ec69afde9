#pragma once
// The live streaming server: the viewer page at /, and at /stream one
// WebSocket per viewer, each streamed to by a live stream state on one of
// the worker threads.
#include <cstdint>
#include <memory>
#include <string>

#include "server/ServerContext.h"

namespace QX::Store {
class Logger;
}

namespace QX::Server {

struct ServerOptions {
  std::string host = "127.0.0.1";
  uint16_t port = 8080;  // 0: any free port
  std::string model_path;  // a prepared model directory
  std::string page;        // the viewer page
  size_t workers = 0;      // 0: one per hardware thread
  ServerLimits limits;
  Store::Logger* engine_log = nullptr;  // must be safe to call from any thread
};

class LiveServer {
 public:
  // Binds the port; throws std::runtime_error with the reason if it can't.
  explicit LiveServer(ServerOptions options);
  // Stops, if not stopped yet.
  ~LiveServer();
  LiveServer(LiveServer const&) = delete;
  LiveServer& operator=(LiveServer const&) = delete;

  uint16_t Port() const;
  // Starts accepting, on threads of its own; returns at once.
  void Start();
  // Closes every connection and ends all threads.
  void Stop();
  // Viewers connected now.
  size_t Connections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QX::Server
