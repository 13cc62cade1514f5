#pragma once

#include <string>

#include "model/parameter.hpp"
#include "support/error.hpp"

namespace tovik {
class VariableList;
}

namespace tovik::model {

/// What is wrong with the part of a term behind "@" or "%". Whoever knows the statement adds it.
class error_suffix : public error {
 public:
  using error::error;
};

/// What `parse` returns; an error_suffix is told with the statement in which the term stands.
template <class Parse>
auto with_statement(const std::string& statement, const Parse& parse) {
  try {
    return parse();
  } catch (const error_suffix& fault) {
    throw error(std::string(fault.what()) + "\n       Problem Specificaiton: '" + statement);
  }
}

/// A name that a parameter can have: no number, and one token of an expression.
bool is_parameter_name(const std::string& name);

/// Text that can only be a number, because no name begins so.
bool begins_number(const std::string& text);

/// A name stands for one thing: a label that is also a variable's name would leave open which of the two an
/// expression reads. Throws error_suffix; `term` is the whole term. The name of a latent variable is not
/// refused where `latent_varies` says that the coefficient then varies as the latent variable does.
void check_no_variable(const parameter& p, const std::string& term, const VariableList& variables,
                       bool latent_varies);

}  // namespace tovik::model
