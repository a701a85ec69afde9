#include "files/OpenFiles.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <mutex>

namespace QX::Store {
namespace {

std::atomic<int64_t> open_files{0};

}  // namespace

int64_t OpenFileCount() { return open_files.load(std::memory_order_relaxed); }
void CountFileOpened() { open_files.fetch_add(1, std::memory_order_relaxed); }
void CountFileClosed() { open_files.fetch_sub(1, std::memory_order_relaxed); }

int64_t OpenFileLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return INT64_MAX;
  return static_cast<int64_t>(limit.rlim_cur);
}

int64_t RaiseOpenFileLimit(int64_t wanted) {
  static std::once_flag once;
  std::call_once(once, [wanted] {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    rlim_t const target = std::min<rlim_t>(static_cast<rlim_t>(wanted), limit.rlim_max);
    if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < target) {
      limit.rlim_cur = target;
      setrlimit(RLIMIT_NOFILE, &limit);
    }
  });
  return OpenFileLimit();
}

}  // namespace QX::Store
