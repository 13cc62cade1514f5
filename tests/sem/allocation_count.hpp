#pragma once

#include <cstddef>

namespace tovik::tests {

/// Heap allocations of the calling thread since it started, by whatever way: operator new, malloc and its
/// kin, the aligned forms that the matrix library uses.
std::size_t allocations();

}  // namespace tovik::tests
