#pragma once
// Requests to bring a model into a stream, and the groups they belong to.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "store/Model.h"
#include "store/Types.h"

namespace QX::Store {

class ModelImpl;
struct KeyedData;

// All requests of one attach id.
struct AttachGroup {
  uint32_t attach_id = 0;
  uint32_t notify_id = 0;  // 0: no event when the group is done
  uint8_t hidden = 0;      // 1: the group's instances get no drawable classes
  uint32_t open_requests = 1;
  std::vector<std::pair<ModelImpl*, KeyedData const*>> keyed_list;  // priority keyed data
  uint8_t root_done = 0;
  uint8_t more_to_come = 1;
};

// One inclusion to be attached.
struct AttachRequest {
  Model model;  // empty until known
  std::string name;
  Matrix matrix = kIdentityMatrix;      // final scene matrix once composed
  Matrix own_matrix = kIdentityMatrix;  // the inclusion's matrix in its parent
  double unit_scale = 1.0;              // of the parent; -1 once the matrix is final
  double order = 0;                     // higher goes first
  AttachGroup* group = nullptr;
  IncludeKey include_key = 0;
  uint32_t parent_stream_id = 0;
  ModelId model_id = kNoModel;
  std::vector<ModelId> chain;  // the models that include this one, outermost first
  bool by_id = false;
  bool root = false;
  bool matrix_final = false;
};

// Orders the waiting heap: the highest `order` on top.
inline bool LowerOrder(AttachRequest const& a, AttachRequest const& b) { return a.order < b.order; }

}  // namespace QX::Store
