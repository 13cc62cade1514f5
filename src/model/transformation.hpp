#pragma once

#include <string>

#include "data/variable.hpp"
#include "model/any_variable.hpp"

namespace tovik::model {

/// Stops at an outcome that has no scale to transform: an ordinal, nominal or count variable, a phantom, a
/// missing data indicator. `statement` is the whole statement, for the message. Throws tovik::error.
void check_transformed(const anyVariable& outcome, const std::string& statement);

/// Reads the second input of "yjt(y, lambda)": a label, a number, or either with a start behind "%". Throws
/// tovik::error.
parameter parse_lambda(const std::string& text, const std::string& statement, const VariableList& variables);

}  // namespace tovik::model
