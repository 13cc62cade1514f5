#include "model/tokenize.hpp"

#include <cstddef>

#include "support/text.hpp"

namespace tovik::model {

namespace {

/// The position in `text` of the parenthesis without a partner, -1 if all have one.
int unbalanced(const std::string& text) {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '(') open.push_back(i);
    if (text[i] != ')') continue;
    if (open.empty()) return static_cast<int>(i);
    open.pop_back();
  }
  return open.empty() ? -1 : static_cast<int>(open.back());
}

}  // namespace

int tokenize(std::vector<std::string>& tokens) {
  const int fault = unbalanced(join(tokens, " "));
  if (fault >= 0) return fault;
  std::vector<std::string> out;
  std::ptrdiff_t depth = 0;
  for (const std::string& token : tokens) {
    if (token.empty()) continue;
    if (depth > 0) {
      out.back() += " " + token;
    } else {
      out.push_back(token);
    }
    for (char c : token) depth += (c == '(') - (c == ')');
  }
  tokens = std::move(out);
  return -1;
}

}  // namespace tovik::model
