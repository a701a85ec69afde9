// The attach requests of a stream state: how they wait, and the attachment
// thread that resolves them beside the passes in live mode.
#include <algorithm>
#include <chrono>

#include "stream/StreamState.h"

namespace QX::Store {

void StreamState::EnterAttachRequest(AttachRequest request, uint32_t attach_id,
                                     uint32_t notify_id, uint8_t hidden) {
  std::lock_guard lock(attach_lock);
  auto& group = attach_groups[attach_id];
  if (!group) {
    group = std::make_unique<AttachGroup>();
    group->attach_id = attach_id;
    group->notify_id = notify_id;
    group->hidden = hidden;
  } else {
    ++group->open_requests;
  }
  request.group = group.get();
  waiting.push_back(std::move(request));
  std::push_heap(waiting.begin(), waiting.end(), LowerOrder);
}

// Takes the requests off the heap, highest order first, into the resolved
// queue. Finding a model by name and expanding its includes belong between
// the two steps, in the attachment code; a request whose model is known
// goes on as it was entered.
void StreamState::ResolveRequests() {
  std::lock_guard lock(attach_lock);
  while (!waiting.empty()) {
    std::pop_heap(waiting.begin(), waiting.end(), LowerOrder);
    resolved.push_back(std::move(waiting.back()));
    waiting.pop_back();
  }
}

void StreamState::RunAttachmentThread() {
  while (!stop_attaching) {
    ResolveRequests();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace QX::Store
