#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tovik {

/// A moderator as the SIMPLE command writes it: "hours @ 2", "hours @ -1 sd", or "grade" without a value.
struct moderator_text {
  std::string name;
  std::optional<double> value;
  std::string text;    ///< the value as written; empty without one
  bool in_sd = false;  ///< the value counts standard deviations
};

/// "focal | moderators".
struct effect_text {
  std::string focal;
  std::vector<moderator_text> moderators;
};

/// Reads the statement of a SIMPLE command: effects with commas between. Throws tovik::error for a statement
/// or an effect of another form, and for a value that is neither a number nor a number and "sd".
std::vector<effect_text> read_simple(const std::string& line);

/// The message for an effect that cannot be read, and the first line of others.
std::string misspecified_simple(const std::string& line);

}  // namespace tovik
