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
  bool operator()(Store::PlaneSelectionCommand const& c) const {
    state.selection_commands.planes.push_back(c);
    return true;
  }
  bool operator()(Store::RaySelectionCommand const& c) const {
    state.selection_commands.rays.push_back(c);
    return true;
  }
  bool operator()(Store::SphereSelectionCommand const& c) const {
    state.selection_commands.spheres.push_back(c);
    return true;
  }
  bool operator()(Store::NextResultsCommand const& c) const {
    state.selection_commands.next_results.push_back(c);
    return true;
  }
  bool operator()(Store::EndSelectionCommand const& c) const {
    state.selection_commands.ends.push_back(c);
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
