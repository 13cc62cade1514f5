#pragma once

#include <string>
#include <unordered_set>

/// What makes a name unfit for a variable. Each check throws tovik::error.
namespace tovik::name_checks {

/// The words and characters of expressions: functions, constants, operators.
void check_reserved(const std::string& name);

/// What no statement could refer to: no name at all, a number, and characters that the language reads as its
/// own wherever they stand.
void check_referable(const std::string& name);

/// The names of the intercept.
void check_intercept(const std::string& name);

/// Endings that ask for something derived from a variable (".mean", ".latent", ".missing").
void check_ending(const std::string& name);

/// Names that are taken, without regard to letter case.
class taken_names {
 public:
  /// Throws when the name is taken.
  void add(const std::string& name);

 private:
  std::unordered_set<std::string> lower_;
};

}  // namespace tovik::name_checks
