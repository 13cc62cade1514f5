#pragma once

#include <string>
#include <vector>

namespace tovik {

/// Texts of the values of groups, which differ as the values do: two significant digits, or, when two of them
/// agree, the fewest with which all values read back.
std::vector<std::string> group_labels(const std::vector<double>& values);

}  // namespace tovik
