#pragma once
// The sink of a stream: receives one chunk per Write call.
#include <cstddef>
#include <cstdint>

namespace QX::Store {

class Streamer {
 public:
  virtual ~Streamer() = default;
  // Receives a whole chunk: header_reserve zero bytes, a payload, then
  // footer_reserve zero bytes; the sink may fill the reserves in place.
  // Returns false once the sink is dead.
  virtual bool Write(uint8_t* data, size_t size) = 0;

  uint32_t chunk_size = 0;      // size the sink would like a chunk to have
  uint32_t bytes_sent = 0;      // whole chunk lengths of the current pass
  uint32_t status = 0;          // result of the last pass: 0 sent, 1 closed, 2 idle
  uint32_t header_reserve = 0;  // multiple of 4
  uint32_t footer_reserve = 0;  // multiple of 4
};

}  // namespace QX::Store
