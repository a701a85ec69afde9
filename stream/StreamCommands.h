#pragma once
// Commands that wait in a stream state until the next pass carries them
// out at a fixed point: starting the stream over, taking inclusions out of
// it, the viewer's wanted marks and new boxes for meshes.
#include <cstdint>
#include <vector>

namespace QX::Store {

class ModelImpl;
class StreamState;
struct StreamInstance;

// Ahead of the first phase: the state as after construction, without the
// constructor's attach request, and a 4 record of kind 4 per command.
void Restart(StreamState& state);

// End of the bounds phase: the waiting detach commands. Appends the notice
// ids in the order of first sight; true if an inclusion left the stream.
bool Detach(StreamState& state, std::vector<uint32_t>& notices);

// Forgets all that went out of a model, so that it goes out whole if it
// comes back; its stream model id stays.
void ForgetModel(StreamState& state, ModelImpl& model);

// After the detach commands: the viewer's wanted marks.
void ApplyWanted(StreamState& state);

// A new box for the item's mesh or mesh list, if the viewer gave one: the
// item takes it, carried into scene space. True if it did.
bool TakeNewBox(StreamState& state, StreamInstance& item);

// Start of the invalidation phase: a 4 record of kind 3 per finished detach.
void AnswerDetaches(StreamState& state);

}  // namespace QX::Store
