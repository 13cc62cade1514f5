#include "input/simulate_statement.hpp"

#include "data/numbers.hpp"
#include "evaluate/constants.hpp"
#include "input/assignment_sign.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::simulate {

void fail(const std::string& start, const std::string& statement) {
  throw error(start + "       Problem command: " + statement);
}

void no_assignment(const std::string& statement) {
  fail(
      "ERROR: SIMULATE command not correctly specified.\n"
      "       Command must be new variable name = statement.\n",
      statement);
}

void no_constant_assignment(const std::string& statement) {
  fail(
      "ERROR: SIMULATE command not correctly specified.\n"
      "       Command must be new parameter name = statement.\n",
      statement);
}

void no_identifiers() {
  throw error(
      "ERROR: No identifier variables specified for SIMULATE command.\n"
      "       You must specify the sample size for each level\n"
      "       of observations. For single level data, specify only level-1.");
}

assignment read_assignment(const std::string& statement, void (*none)(const std::string&)) {
  const std::string text = mend_comparisons(statement);
  const std::size_t sign = assignment_sign(text);
  if (sign == std::string::npos) none(statement);
  assignment parts{statement, trim(text.substr(0, sign)), trim(text.substr(sign + 1))};
  if (parts.left.empty()) fail(no_left, statement);
  if (parts.right.empty()) fail(no_right, statement);
  return parts;
}

bool is_legal_name(const std::string& name) {
  if (name.find_first_of(" =!:#\"'") != std::string::npos || isNumber(name)) return false;
  for (const auto* marks : {&InputFile::invalid_strings, &evaluate::op_parsing}) {
    for (const std::string& mark : *marks) {
      if (name.find(mark) != std::string::npos) return false;
    }
  }
  return true;
}

}  // namespace tovik::simulate
