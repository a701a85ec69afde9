#pragma once
// One message of a viewer: what a pass of the stream is asked to do.
#include <cstdint>
#include <utility>
#include <vector>

#include "stream/StreamCamera.h"

namespace QX::Store {

enum class RequestKind : uint32_t {
  Nothing = 0,
  Version = 1,
  Digest = 2,
  Boundings = 3,
  Stream = 4,
  MeshIds = 5,
  ImageIds = 6,
  DataIds = 7,
  GroupIds = 8,
  MaterialIds = 9,
  MatrixIds = 10,
  MaterialMapIds = 11,
  ComputeInstanceIncBounding = 12,
  GetKeyInfo = 13,
  InstanceIdsWithMeshData = 14,
  InstanceIdsWithoutMeshData = 15,
  InstanceGroupIncsWithMeshData = 16,
  InstanceGroupIncsWithoutMeshData = 17,
  DebugWorstBoundingResidue = 18,
};

// The caller zeroes a request and fills what its kind needs.
struct StreamRequest {
  std::vector<std::pair<uint32_t, uint32_t>> const* ids_ptr = nullptr;   // (model id, key)
  std::vector<std::pair<uint32_t, uint32_t>> const* incs_ptr = nullptr;  // (inclusion id, key)
  StreamCamera const* camera = nullptr;
  double aspect = 0;  // 0: not given
  double screen_width = 0;
  double screen_height = 0;
  uint32_t request_id = 0;
  uint32_t key_code = 0;
  uint32_t key_id = 0;
  uint8_t option_a = 0;
  uint8_t option_b = 0;
  uint8_t option_c = 0;
  RequestKind kind = RequestKind::Nothing;
};

}  // namespace QX::Store
