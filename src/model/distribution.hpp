#pragma once

#include <string>
#include <vector>

namespace tovik::sem {

/// The names of prior distributions in PARAMETERS statements.
extern const std::vector<std::string> distribution_list;

}  // namespace tovik::sem

namespace tovik::model {

/// The right side of "name ~ distribution(first, second)": the distribution as written in the list of names
/// (canonical spelling) and its inputs as values. Empty name for none.
struct distribution {
  std::string name;
  double first = 0;
  double second = 0;
  std::string text;  ///< as written

  /// False for none, and for a flat one without bounds on both sides.
  bool is_proper() const;

  /// Inputs are expressions of numbers. Throws tovik::error with the text for the user; `statement` is the
  /// whole statement.
  static distribution parse(const std::string& text, const std::string& statement);
};

/// Throws tovik::error for a PARAMETERS statement that is no "parameter ~ distribution(input1, input2)".
[[noreturn]] void misspecified_parameter(const std::string& statement);

}  // namespace tovik::model
