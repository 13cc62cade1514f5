#pragma once

#include <cstddef>

namespace tovik {

/// How many of `wanted` chains can run at once with the address space that is left (`ulimit -v`). The linear
/// algebra library asks for a work area for each thread and tries for ever when the system refuses; so the
/// areas are tried before the threads start, and given back.
std::size_t threads_that_fit(std::size_t wanted);

}  // namespace tovik
