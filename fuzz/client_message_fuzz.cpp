// A text frame of a live viewer: parsed as JSON on its own, and as a
// message of the protocol.
#include <cstdint>
#include <string_view>

#include "server/ClientMessage.h"
#include "server/JsonValue.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  try {
    QX::Server::ParseJson(text);
  } catch (QX::Server::JsonError const&) {
  }
  try {
    QX::Server::ParseClientMessage(text);
  } catch (QX::Server::ProtocolError const&) {
    // The server answers with an error frame: a clean end.
  }
  return 0;
}
