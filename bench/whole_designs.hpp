#pragma once

#include <string>
#include <vector>

namespace tovik::bench {

/// Data and analysis of a run of the program as a whole, both in its own language.
struct whole_design {
  std::string name;
  std::string data;      ///< statements of SIMULATE
  std::string kept;      ///< the variables of the data set
  std::string analysis;  ///< commands beside DATA, SEED, BURN, ITERATIONS and those of the output
  unsigned burn = 1000;
  unsigned iterations = 4000;
  std::string excluded = {};  ///< parameters whose label has this text do not count; empty: all do
};

/// The workloads that docs/performance.md compares, and a regression that does little beside its fit
/// statistics.
std::vector<whole_design> whole_workloads();

/// Designs in which a sampler that draws each block of parameters given all others moves slowly.
std::vector<whole_design> slow_designs();

}  // namespace tovik::bench
