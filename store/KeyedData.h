#pragma once
// An opaque block of caller bytes in _data.qxi, named by a DataKey.
#include <cstdint>

#include "store/Types.h"

namespace QX::Store {

inline constexpr uint32_t kMetadataType = 0xFFFFFFFEu;

struct KeyedData {
  int64_t position = -1;  // in _data.qxi; -1 for none
  uint32_t size = 0;
  DataKey key = 0;
  uint32_t type = 0;
};

}  // namespace QX::Store
