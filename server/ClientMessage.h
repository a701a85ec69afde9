#pragma once
// The messages that a viewer sends over its live connection, each a small
// JSON text frame, checked and turned into the types of the stream engine.
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "stream/SelectionCommands.h"
#include "stream/StreamCamera.h"
#include "stream/StreamRequest.h"

namespace QX::Server {

// A message that breaks the protocol; its text goes back in an error frame.
class ProtocolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CameraMessage {
  Store::StreamCamera camera;
  double aspect = 0;
  double screen_width = 0;
  double screen_height = 0;
};

// The viewer has received this many bytes of binary frames in all.
struct AckMessage {
  uint64_t bytes = 0;
};

struct BudgetMessage {
  std::optional<uint32_t> mib;
  std::optional<float> cutoff_scale;
  std::optional<uint32_t> mesh_level;
};

using IdPairs = std::vector<std::pair<uint32_t, uint32_t>>;

struct RequestMessage {
  Store::RequestKind kind = Store::RequestKind::Nothing;
  uint32_t request_id = 0;
  IdPairs ids;
  IdPairs incs;
  uint32_t key_code = 0;
  uint32_t key_id = 0;
  uint8_t option_a = 0;
  uint8_t option_b = 0;
  uint8_t option_c = 0;
};

struct RestartMessage {};

struct DetachMessage {
  uint32_t inclusion_id = 0;
  uint32_t notice_id = 0;
};

struct WantedMessage {
  bool value = false;
};

using ClientMessage =
    std::variant<CameraMessage, AckMessage, BudgetMessage, RequestMessage, RestartMessage,
                 DetachMessage, WantedMessage, Store::PlaneSelectionCommand,
                 Store::RaySelectionCommand, Store::SphereSelectionCommand,
                 Store::NextResultsCommand, Store::EndSelectionCommand>;

// Parses one text frame; throws ProtocolError.
ClientMessage ParseClientMessage(std::string_view text);

// The five plane rows of a thin square tube around a ray: four sides at
// `radius` from it and the plane through the origin, so that only what lies
// ahead counts. Each row (a, b, c, d) holds points with a x + b y + c z + d >= 0.
std::array<Store::PlaneRowD, 5> RayTubeRows(std::array<float, 3> const& origin,
                                            std::array<float, 3> const& direction, double radius);

}  // namespace QX::Server
