#include "support/source.hpp"

#include <algorithm>
#include <cctype>
#include <unordered_map>
#include <vector>

#include "support/text.hpp"

namespace tovik::source {

namespace {

constexpr std::size_t none = static_cast<std::size_t>(-1);
constexpr std::size_t longest_text = 300;

struct statement {
  std::size_t line;
  std::string text;
};

struct state {
  std::vector<statement> statements;
  std::unordered_map<std::string, std::size_t> names;
  std::size_t current = none;
  std::string data;
  std::string advice;
};

state now;

std::string one_line(std::string_view text) {
  std::string out = join(words(text), " ");
  if (out.size() <= longest_text) return out;
  out.resize(longest_text);
  out.append(" ...");
  return out;
}

bool part_of_name(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' ||
         static_cast<unsigned char>(c) >= 0x80;
}

/// True if the word stands in the text with nothing of a name beside it.
bool holds_word(const std::string& text, const std::string& word) {
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    const std::size_t end = at + word.size();
    const bool begins = at == 0 || !part_of_name(text[at - 1]) || !part_of_name(word.front());
    const bool ends = end == text.size() || !part_of_name(text[end]) || !part_of_name(word.back());
    if (begins && ends) return true;
  }
  return false;
}

/// The texts between quotes, in lower case, each once.
std::vector<std::string> quoted(std::string_view text) {
  std::vector<std::string> out;
  for (const char quote : {'\'', '"'}) {
    for (std::size_t open = text.find(quote); open != std::string_view::npos;) {
      const std::size_t close = text.find(quote, open + 1);
      if (close == std::string_view::npos) break;
      const std::string word = to_lower(trim(text.substr(open + 1, close - open - 1)));
      if (!word.empty() && word.size() <= longest_text &&
          std::find(out.begin(), out.end(), word) == out.end())
        out.push_back(word);
      open = text.find(quote, close + 1);
    }
  }
  return out;
}

/// A statement that lists the columns of the file explains an error less than any other.
bool only_lists(const std::string& lower) {
  return lower.rfind("variables:", 0) == 0 || lower.rfind("clusterid:", 0) == 0;
}

std::size_t best_match(std::string_view error_text) {
  const std::vector<std::string> names = quoted(error_text);
  const std::string upper = to_upper(std::string(error_text));
  std::size_t best = none;
  int most = 0;
  for (std::size_t k = 0; k < now.statements.size(); ++k) {
    const std::string lower = to_lower(now.statements[k].text);
    int score = 0;
    for (const std::string& name : names) score += holds_word(lower, name) ? 4 : 0;
    if (score == 0) continue;
    const std::string command = to_upper(lower.substr(0, lower.find(':')));
    if (upper.find(command + " COMMAND") != std::string::npos) score += 2;
    if (only_lists(lower)) score -= 1;
    if (score > most) {
      most = score;
      best = k;
    }
  }
  return best;
}

std::string as_line(const std::string& text) {
  return text.empty() ? "" : "       " + text + "\n";
}

}  // namespace

void clear() {
  now = state();
}

void begin_statement(std::size_t line, std::string_view text) {
  now.current = now.statements.size();
  now.statements.push_back({line, one_line(text)});
}

void rename(std::string_view text) {
  if (now.current != none) now.names.emplace(trim(text), now.current);
}

void enter(std::string_view text) {
  const auto found = now.names.find(trim(text));
  now.current = found == now.names.end() ? none : found->second;
}

void leave() {
  now.current = none;
}

void data_line(std::string_view file, std::size_t line, std::string_view text) {
  now.data = "See line " + std::to_string(line) + " of " + std::string(file) + ": " + one_line(text);
}

void no_data_line() {
  now.data.clear();
}

void advise(std::string_view sentence) {
  now.advice = sentence;
}

std::string note(std::string_view error_text) {
  std::string place = now.data;
  const std::size_t found = now.current != none ? now.current : best_match(error_text);
  if (place.empty() && found != none) {
    const statement& one = now.statements[found];
    place = "See line " + std::to_string(one.line) + ": " + one.text;
  }
  return as_line(place) + as_line(now.advice);
}

}  // namespace tovik::source
