#pragma once

#include <string>
#include <vector>

#include "model/any_variable.hpp"

namespace tovik::model {

/// A computed term: an expression over variables and parameters, written in parentheses in a statement. It
/// holds text only; each chain parses its own tree from it.
struct combinationOfAnyVariable {
  std::string statement;
  std::vector<anyVariable> variables;  ///< the variables of the statement, in order of occurrence
  model::parameter param;
  bool is_random = false;
};

}  // namespace tovik::model
