#pragma once
// Requests of a viewer for particular objects: meshes, images, keyed data,
// groups, materials, matrices and material maps by id, the keys a model
// has, the box of a set of instances, and instances pushed ahead of the
// queue. Each answer goes through the Send... operations, so what went out
// before isn't sent again; the T of the pass carries the request id.
#include <cstdint>
#include <utility>
#include <vector>

#include "stream/StreamRequest.h"

namespace QX::Store {

class ModelImpl;
class StreamState;

// The name of a request kind in the log; "UNKNOWN" for other values.
char const* RequestKindName(RequestKind kind);

// The key code that the T of a pass carries for the kind.
uint32_t RequestKeyCode(RequestKind kind);

// Kinds 5 to 11 and 13, answered before any phase of the pass.
void AnswerIdRequest(StreamState& state, StreamRequest const& request);
// Kind 12: one b record with the box and the summed weight.
void AnswerInstanceBounding(StreamState& state, StreamRequest const& request);
// Kinds 14 to 17: the named instances go out ahead of all others.
void AnswerInstanceSelection(StreamState& state, StreamRequest const& request,
                             bool with_mesh_data);

// False, with a log line, if the request lacks the list that its kind reads.
bool HasRequestList(StreamState& state, StreamRequest const& request);

// Whether an instance on `key` has stream data, through duplicates and
// the first mesh of a list.
bool HasStreamData(ModelImpl const& model, uint32_t key);

// The model that a stream model id names, if the stream holds it.
ModelImpl* StreamModel(StreamState& state, uint32_t stream_model);
// The pairs of a group's block, (include key, key) each: its instances,
// then its groups. Empty for an unknown group.
struct GroupPairs {
  std::vector<std::pair<uint32_t, uint32_t>> instances;
  std::vector<std::pair<uint32_t, uint32_t>> groups;
};
GroupPairs ReadGroup(ModelImpl& model, uint32_t group);

// The model that an include key of `model` names, if the stream holds it;
// key 0 and self includes name the model itself.
ModelImpl* IncludedModel(StreamState& state, ModelImpl& model, uint32_t include);

}  // namespace QX::Store
