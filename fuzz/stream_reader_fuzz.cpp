// A .qxs stream walked record by record, Z and D blocks expanded.
#include <cstdint>

#include "stream/StreamReader.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  QX::Store::StreamReader reader({data, size});
  QX::Store::StreamRecord record;
  while (reader.Next(record)) {
  }
  return 0;
}
