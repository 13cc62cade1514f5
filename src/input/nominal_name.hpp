#pragma once

#include <limits>
#include <string>

namespace tovik {

/// One word of the NOMINAL command: a variable, and the category that serves as its reference.
struct nominal_name {
  std::string name;
  double reference = std::numeric_limits<double>::quiet_NaN();  ///< NaN when none was given

  /// Reads "name" or "name(value)". Throws tovik::error for an unreadable value.
  explicit nominal_name(const std::string& word);
};

}  // namespace tovik
