#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tovik::bench {

/// A parameter that is drawn, and its effective number of draws.
struct parameter_draws {
  std::string name;
  double effective = 0.0;
};

/// Reads what a run has saved: the labels of all parameters, and estimates whose one column is the effective
/// number of draws. What follows from other parameters is left out, and what has no such number because it is
/// fixed. Throws std::runtime_error when the files do not belong together.
std::vector<parameter_draws> read_effective_draws(const std::filesystem::path& labels,
                                                  const std::filesystem::path& estimates);

}  // namespace tovik::bench
