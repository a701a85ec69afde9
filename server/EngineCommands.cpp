#include "server/EngineCommands.h"

#include "stream/StreamState.h"

namespace QX::Server {

namespace {

struct Enqueue {
  Store::StreamState& state;

  bool operator()(DetachMessage const& m) const {
    state.detach_commands.push_back({m.inclusion_id, m.notice_id});
    return true;
  }
  bool operator()(WantedMessage const& m) const {
    state.wanted_apply = true;
    state.wanted_value = m.value;
    return true;
  }
  // Plane, ray, sphere, next-results and end commands of a selection.
  template <typename Selection>
    requires requires(Store::StreamState& s, Selection const& c) { s.QueueSelection(c); }
  bool operator()(Selection const& c) const {
    state.QueueSelection(c);
    return true;
  }
  template <typename Other>
  bool operator()(Other const&) const {
    return false;
  }
};

}  // namespace

bool QueueCommand(Store::StreamState& state, ClientMessage const& message) {
  return std::visit(Enqueue{state}, message);
}

}  // namespace QX::Server
