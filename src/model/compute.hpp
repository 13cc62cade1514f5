#pragma once

#include <string>
#include <vector>

namespace tovik::evaluate {
class defines;
}

namespace tovik::model {

/// True for a name that a "=" statement of the MODEL command gives an expression, now or further down.
bool is_definition(const std::string& name, const evaluate::defines* names);

/// True if the text (without its "@" and "%" parts) is an expression: it holds an operator, a parenthesis, a
/// comma or a brace, or is the name of a definition.
bool is_compute(const std::string& text, const evaluate::defines* names);

/// False for the functions that have no place in a model: ismissing, missing, uniform, normal, lag1.
bool check_eval(const std::string& function);

/// "inf" and "nan": numbers where no variable, definition or label has the name.
bool is_number_word(const std::string& token);

/// What begins as a number is one as a whole, and finite. Throws tovik::error with the first that is not: an
/// expression takes a number by its prefix.
void check_numbers(const std::string& expression);

/// Checks the numbers, then the functions. Throws tovik::error "ERROR: 'f' function can only be used in
/// TRANSFORM command." for the first such function.
void check_functions(const std::string& expression);

/// The names in an expression that are neither functions nor operators nor numbers, in order, with repeats.
std::vector<std::string> expression_names(const std::string& expression);

/// True if an outcome can be transformed by this expression: it holds one variable (as often as it likes), no
/// parameter, and no function without an inverse.
bool is_transformation(const std::string& expression);

/// Throws tovik::error "ERROR: Misspecified outcome transformation." with `problem` at its end.
[[noreturn]] void misspecified_transformation(const std::string& problem);

}  // namespace tovik::model
