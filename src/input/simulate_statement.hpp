#pragma once

#include <string>
#include <vector>

/// The statements of SIMULATE as text: their two sides and their names. All failures are tovik::error and end
/// in the statement.
namespace tovik::simulate {

/// Message starts of faults that several readers find.
inline constexpr char no_left[] = "ERROR: No command specified on the left hand side of simulate equation.\n";
inline constexpr char no_variable[] =
    "ERROR: No variable specified on the left hand side of simulate equation.\n";
inline constexpr char no_right[] =
    "ERROR: No command specified on the right hand side of simulate equation.\n";
inline constexpr char illegal_identifier[] =
    "ERROR: Variable name in SIMULATE command contains illegal characters.";
inline constexpr char illegal_variable[] = "ERROR: Variable in SIMULATE command contains illegal characters.";
inline constexpr char illegal_constant[] =
    "ERROR: Defined value in SIMULATE command contains illegal characters.";

/// Throws `start`, which ends its line or not, with the statement.
[[noreturn]] void fail(const std::string& start, const std::string& statement);
/// A statement for a variable, or for a constant, that is no assignment.
[[noreturn]] void no_assignment(const std::string& statement);
[[noreturn]] void no_constant_assignment(const std::string& statement);
/// A level of observations without a sample size.
[[noreturn]] void no_identifiers();

/// One statement "left = right", both sides trimmed and not empty.
struct assignment {
  std::string statement;
  std::string left;
  std::string right;
};

/// Splits a statement at its first "=" that is no part of a comparison. `none` is called when there is none.
assignment read_assignment(const std::string& statement, void (*none)(const std::string&));

/// The name can stand for one value in an expression: no operator or mark of the language, no number.
bool is_legal_name(const std::string& name);

}  // namespace tovik::simulate
