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

std::vector<std::string> split_names(const std::string& text) {
  std::string blanked = text;
  for (const char* dash : {"\xE2\x80\x93", "\xE2\x88\x92"})
    blanked = replace_all(std::move(blanked), dash, " ");
  std::string separators;
  for (const char c : split_string) {
    if (static_cast<unsigned char>(c) < 0x80) separators += c;
  }
  std::vector<std::string> out;
  for (const std::string& piece : split(blanked, separators, false)) {
    if (std::string name = trim(piece); !name.empty()) out.push_back(std::move(name));
  }
  return out;
}

}  // namespace tovik::evaluate
