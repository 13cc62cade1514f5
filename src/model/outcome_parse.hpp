#pragma once

#include <string>

#include "model/any_variable.hpp"
#include "model/link.hpp"

namespace tovik::model {

/// What stands left of "~": the variable and its link.
struct outcome_term {
  anyVariable term;
  model::link link = model::link::identity;
  bool link_given = false;  ///< written, not the default of the variable's kind
};

/// Reads "y", "(y)", "logit(y)", "probit(y)", "yjt(y)", "yjt(y, lambda)", "var(y)", or an outcome that is
/// transformed inline, "log(y + 1)". `statement` is the whole statement, for messages. Throws tovik::error
/// with the text for the user.
outcome_term parse_outcome(const std::string& token, const std::string& statement,
                           const VariableList& variables, evaluate::defines* names);

/// "f(argument)" cut into its two parts; an empty function for any other text.
struct call {
  std::string function;
  std::string argument;
};
call read_call(const std::string& token);

}  // namespace tovik::model
