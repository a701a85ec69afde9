#pragma once
// What every connection of a server reads: the page, the limits, and the
// way to hand a new viewer to a worker.
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "server/SessionChannel.h"

namespace QX::Server {

struct ServerLimits {
  FlowLimits flow;
  size_t max_message = 64 * 1024;  // longest text frame from a viewer
  size_t max_connections = 200;     // viewers at once
  size_t max_errors = 8;            // bad messages before a connection is closed
  std::chrono::seconds idle_timeout{60};  // silence, pings unanswered, before a close
};

struct ServerContext {
  std::string page;  // the viewer page served at /
  ServerLimits limits;
  std::atomic<size_t> connections{0};
  std::function<void(std::shared_ptr<SessionChannel>)> assign;
};

}  // namespace QX::Server
