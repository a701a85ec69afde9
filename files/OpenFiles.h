#pragma once
// The process-wide count of open files and the limit the platform sets on it.
#include <cstdint>

namespace QX::Store {

// Files of this process now open through the file layer.
int64_t OpenFileCount();
void CountFileOpened();
void CountFileClosed();

// The present limit of open files of the process.
int64_t OpenFileLimit();
// Raises the limit to `wanted` (as far as the hard limit allows), once per
// process; later calls do nothing. Returns the limit in force afterwards.
int64_t RaiseOpenFileLimit(int64_t wanted);

}  // namespace QX::Store
