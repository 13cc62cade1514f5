#include "model/statement_text.hpp"

#include "model/tokenize.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

/// One flag per character: it stands outside of every closed pair. The pair's own signs count as inside.
std::vector<char> outside(std::string_view text, bool brackets) {
  const std::size_t none = text.size();
  std::vector<std::size_t> partner(text.size(), none);  // of a closing sign: its opening one
  std::vector<std::size_t> open;
  std::size_t n_open[2] = {0, 0};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool bracket = text[i] == '[' || text[i] == ']';
    if (bracket && !brackets) continue;
    if (text[i] == '(' || text[i] == '[') {
      open.push_back(i);
      ++n_open[bracket];
    } else if ((text[i] == ')' || text[i] == ']') && n_open[bracket] > 0) {
      // Opening signs of the other kind above the partner never close: they are ordinary text.
      while ((text[open.back()] == '[') != bracket) {
        --n_open[!bracket];
        open.pop_back();
      }
      partner[i] = open.back();
      open.pop_back();
      --n_open[bracket];
    }
  }
  std::vector<char> out(text.size(), 1);
  std::size_t pair_start = none;
  for (std::size_t i = text.size(); i-- > 0;) {
    if (pair_start == none) pair_start = partner[i];
    if (pair_start == none) continue;
    out[i] = 0;
    if (i == pair_start) pair_start = none;
  }
  return out;
}

}  // namespace

std::size_t find_outside(std::string_view text, std::string_view sign, std::size_t from, bool brackets) {
  std::size_t at = text.find(sign, from);
  if (at == std::string_view::npos) return at;
  const std::vector<char> open = outside(text, brackets);
  while (at != std::string_view::npos && !open[at]) at = text.find(sign, at + 1);
  return at;
}

std::size_t find_first_outside(std::string_view text, std::string_view characters, std::size_t from,
                               bool brackets) {
  std::size_t at = text.find_first_of(characters, from);
  if (at == std::string_view::npos) return at;
  const std::vector<char> open = outside(text, brackets);
  while (at != std::string_view::npos && !open[at]) at = text.find_first_of(characters, at + 1);
  return at;
}

bool is_wrapped(std::string_view text) {
  if (text.size() < 2 || text.front() != '(' || text.back() != ')') return false;
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '(') ++depth;
    if (text[i] == ')') --depth;
    if (depth == 0) return i + 1 == text.size();
  }
  return false;
}

term_text cut_suffix(const std::string& term) {
  const std::size_t at = find_first_outside(term, "@%", 0, true);
  if (at == std::string::npos) return {term, ""};
  return {trim(term.substr(0, at)), term.substr(at)};
}

std::vector<std::string> terms(const std::string& text, const std::string& outcome,
                               const std::string& prefix) {
  std::vector<std::string> tokens = words(text);
  const std::string joined = join(tokens, " ");
  const int place = tokenize(tokens);
  if (place < 0) return tokens;
  throw error("ERROR: There are mismatched parentheses in the '" + outcome + "' model:\n       \"" + prefix +
              joined + "\"\n        " + std::string(prefix.size() + static_cast<std::size_t>(place), ' ') +
              "^");
}

[[noreturn]] void unable_to_parse(const std::string& statement) {
  throw error("ERROR: Unable to parse line in MODEL command.\n       Problem command: " + statement);
}

}  // namespace tovik::model
