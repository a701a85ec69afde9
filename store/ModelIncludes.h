#pragma once
// Finding the models that a model includes, by the paths it stored for them.
#include <cstdint>
#include <string>
#include <unordered_map>

#include "store/Types.h"

namespace QX::Store {

class ModelImpl;

// Attached id to the registry key it resolved to (empty for none), kept for
// the length of one attach.
using ResolvedAttachments = std::unordered_map<uint32_t, std::string>;

// The cache's model id of the model attached under `attached_id`, found by
// its `relative_path` from the including model's base; kNoModel if the path
// leads to no model the cache knows.
ModelId ResolveAttached(ModelImpl& model, uint32_t attached_id, std::string const& relative_path,
                        ResolvedAttachments& resolved);

}  // namespace QX::Store
