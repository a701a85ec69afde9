#pragma once
// Puts the commands of a viewer into the queues of its stream state, where
// the next pass carries them out at their fixed points.
#include "server/ClientMessage.h"

namespace QX::Store {
class StreamState;
}

namespace QX::Server {

// True if `message` is a command (detach, wanted mark, selection) and now
// waits in `state`; false for every other message.
bool QueueCommand(Store::StreamState& state, ClientMessage const& message);

}  // namespace QX::Server
