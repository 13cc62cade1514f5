#pragma once

#include <cstddef>

#include "sample_tests.hpp"
#include "sem/outcomes/regression.hpp"

namespace tovik::tests {

/// Heap allocations of the calling thread since it started, by whatever way: operator new, malloc and its
/// kin, the aligned forms that the matrix library uses.
std::size_t allocations();

/// Those of 200 scans, after `first` others that find their sizes.
template <typename Scan>
std::size_t allocations_of_scans(int first, Scan scan) {
  // What compares residuals takes room of its own.
  const Setting<bool> unchecked(sem::Regression::check_residuals, false);
  for (int t = 0; t < first; ++t) scan();
  std::size_t const before = allocations();
  for (int t = 0; t < 200; ++t) scan();
  return allocations() - before;
}

}  // namespace tovik::tests
