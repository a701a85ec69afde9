#include "scene/GrownKeyPath.h"

namespace KZVI::Helpers {

void GrownKeyPath::Push(KZV::Key const& key) {
  net_.Push(key, path_.Empty() ? KZV::Key() : path_.Keys().front());
  path_.PushFront(key);
}

void GrownKeyPath::Pop() {
  if (path_.Empty()) return;
  path_.PopFront();
  net_.Pop();
}

}  // namespace KZVI::Helpers
