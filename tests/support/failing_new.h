/// Memory that runs out on demand: the test program's `new` (failing_new.cpp) is under this counter.
#pragma once

#include <atomic>

namespace support {

/// Allocations by `new` that still succeed, in all threads together; negative for no limit.
extern std::atomic<long> numNewsLeft;

}  // namespace support
