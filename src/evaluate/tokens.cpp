#include "evaluate/constants.hpp"
#include "evaluate/parser.hpp"
#include "support/text.hpp"

namespace tovik::evaluate {

std::vector<std::string> parse(std::string text) {
  text = trim(text);
  for (const std::string& piece : op_parsing) text = replace_all(std::move(text), piece, " " + piece + " ");
  // Isolating "*", ">" and "<" has split the longer operators that contain them.
  text = replace_all(std::move(text), "*  *", "**");
  text = replace_all(std::move(text), "> =", ">=");
  text = replace_all(std::move(text), "< =", "<=");
  return split(trim(text), " ", false);
}

}  // namespace tovik::evaluate
