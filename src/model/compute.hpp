#pragma once

#include <string>
#include <vector>

namespace tovik::evaluate {
class defines;
}

namespace tovik::model {

/// True if the text (without its "@" and "%" parts) is an expression: it holds an operator, a parenthesis, a
/// comma or a brace, or is a defined name other than a data name.
bool is_compute(const std::string& text, const evaluate::defines* names);

/// False for the functions that have no place in a model: ismissing, missing, uniform, normal, lag1.
bool check_eval(const std::string& function);

/// Throws tovik::error "ERROR: 'f' function can only be used in TRANSFORM command." for the first such
/// function.
void check_functions(const std::string& expression);

/// The names in an expression that are neither functions nor operators nor numbers, in order, with repeats.
std::vector<std::string> expression_names(const std::string& expression);

/// True if an outcome can be transformed by this expression: it holds one variable, no parameter, and no
/// function without an inverse.
bool is_transformation(const std::string& expression);

/// Throws tovik::error "ERROR: Misspecified outcome transformation." with `problem` at its end.
[[noreturn]] void misspecified_transformation(const std::string& problem);

}  // namespace tovik::model
