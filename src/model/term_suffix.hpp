#pragma once

#include <string>

#include "model/parameter.hpp"

namespace tovik::model {

/// The part of a term behind its name: "@value", "@label", "@(computation)", "%start", or a fixing and then a
/// start.
struct term_suffix {
  std::string fixing;  ///< behind "@"
  std::string start;   ///< behind "%"
  bool has_fixing = false;
  bool has_start = false;

  /// Cuts the text. Throws tovik::error if "%" stands before "@", or a sign stands twice. `term` is the whole
  /// term, for the message; `suffix` is empty or begins with one of the two signs.
  static term_suffix split(const std::string& suffix, const std::string& term);

  /// The parameter without its start: a finite number, a label, or in parentheses a computation. Text that
  /// begins as a number is one as a whole, or is refused. Throws tovik::error.
  parameter fixing_parameter(const std::string& term) const;

  /// The whole parameter. Throws tovik::error.
  parameter read(const std::string& term) const;

  /// Adds the start, if there is one. Throws tovik::error.
  void add_start(parameter& p, const std::string& term) const;
};

/// The parameter of a suffix in one step.
parameter parse_parameter(const std::string& suffix, const std::string& term);

/// Throws the message for "@" or "%" at a place where they cannot stand.
[[noreturn]] void misspecified_computation(const std::string& term);

}  // namespace tovik::model
