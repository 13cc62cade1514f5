#include "input/assignment_sign.hpp"

namespace tovik {

namespace {

bool begins_comparison(char c) {
  return c == '=' || c == '!' || c == '<' || c == '>';
}

}  // namespace

std::string mend_comparisons(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    out += text[i];
    if (!begins_comparison(text[i])) continue;
    const std::size_t next = text.find_first_not_of(' ', i + 1);
    if (next == std::string::npos || text[next] != '=') continue;
    out += '=';
    i = next;
  }
  return out;
}

std::size_t assignment_sign(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!begins_comparison(text[i])) continue;
    if (i + 1 < text.size() && text[i + 1] == '=') {
      ++i;
    } else if (text[i] == '=') {
      return i;
    }
  }
  return std::string::npos;
}

}  // namespace tovik
