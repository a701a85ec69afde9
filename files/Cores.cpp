#include "files/Cores.h"

#include <sched.h>

#include <algorithm>
#include <thread>

namespace QX::Store {

unsigned UsableCores() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) == 0) return unsigned(std::max(1, CPU_COUNT(&set)));
  return std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace QX::Store
