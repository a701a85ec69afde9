#pragma once
// How many threads the process can run at once.

namespace QX::Store {

// The cores in the process's CPU affinity mask (what `taskset` or a
// container allows), at least 1; the machine's count where the mask can't
// be read.
unsigned UsableCores();

}  // namespace QX::Store
