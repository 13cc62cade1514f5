#include "input/expand.hpp"

#include <algorithm>
#include <cstdint>

#include "data/numbers.hpp"
#include "model/tokenize.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr std::size_t npos = std::string::npos;
constexpr std::size_t most_names = 1000000;
constexpr std::size_t most_text = 64u << 20;  // bytes of one expansion
constexpr std::size_t most_digits = 18;       // the value fits 64 bits
const char* const suffix_marks = "@$%[";

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool has_long_run(const std::string& text) {
  std::size_t length = 0;
  for (const char c : text) {
    length = is_digit(c) ? length + 1 : 0;
    if (length > most_digits) return true;
  }
  return false;
}

[[noreturn]] void mismatch(const std::string& what, const std::string& left, const std::string& right) {
  throw error("ERROR: Unable to expand syntax. The " + what + " for \n       '" + left + "' and '" + right +
              "' do not match.");
}

/// One element with a range in it, taken apart.
struct range {
  std::string prefix;
  std::string number_suffix;
  std::string term_suffix;
  std::string join;  // empty for a list of names
  std::uint64_t from = 0;
  std::uint64_t to = 0;

  bool ascending() const { return from < to; }
  std::size_t size() const { return static_cast<std::size_t>(to - from) + 1; }
  std::string name(std::uint64_t n) const { return prefix + std::to_string(n) + number_suffix; }
};

/// Finds the number that varies between the two ends.
range compare_ends(const std::string& left, const std::string& right) {
  const std::vector<std::int64_t> a = parseUints(left);
  const std::vector<std::int64_t> b = parseUints(right);
  const bool readable = a.size() == b.size() && !has_long_run(left) && !has_long_run(right);
  std::size_t k = 0;
  while (readable && k < a.size() && a[k] == b[k]) ++k;
  if (!readable || k == a.size()) mismatch("prefix/suffix", left, right);
  const std::size_t left_at = rfind_vec(left, a, k);
  const std::size_t right_at = rfind_vec(right, b, k);
  range r;
  r.prefix = left.substr(0, left_at);
  r.number_suffix = left.substr(left_at + std::to_string(a[k]).size());
  r.from = static_cast<std::uint64_t>(a[k]);
  r.to = static_cast<std::uint64_t>(b[k]);
  if (r.prefix != right.substr(0, right_at)) mismatch("prefixes", left, right);
  if (r.number_suffix != right.substr(right_at + std::to_string(b[k]).size())) {
    mismatch("suffixes", left, right);
  }
  return r;
}

/// False when the element holds no range: its delimiters all stand in the term suffix, or the range descends.
bool parse_range(const std::string& element, char delimiter, range& out) {
  if (std::count(element.begin(), element.end(), delimiter) > 2) {
    throw error("ERROR: Unable to expand syntax. There are too many '" + std::string(1, delimiter) +
                "' in  '" + element + "'");
  }
  const std::size_t mark = element.find_first_of(suffix_marks);
  const std::string body = element.substr(0, mark);
  const std::size_t first = body.find(delimiter);
  if (first == npos) return false;
  const std::size_t last = body.rfind(delimiter);
  const std::string left = trim(body.substr(0, first));
  const std::string right = trim(body.substr(last + 1));
  if (left.empty() || right.empty()) {
    throw error("ERROR: Unable to expand syntax. There is a trailing or leading colon for '" + element + "'");
  }
  out = compare_ends(left, right);
  if (!out.ascending()) return false;
  out.term_suffix = mark == npos ? "" : element.substr(mark);
  if (last > first) out.join = body.substr(first + 1, last - first - 1);
  const std::size_t longest = right.size() + out.term_suffix.size() + out.join.size();
  if (out.to - out.from >= most_names || out.size() * longest > most_text) {
    mismatch("prefix/suffix", left, right);
  }
  return true;
}

/// Appends what the range stands for.
void append(const range& r, std::vector<std::string>& out) {
  if (r.join.empty()) {
    for (std::uint64_t n = r.from; n <= r.to; ++n) out.push_back(r.name(n) + r.term_suffix);
    return;
  }
  std::string term = r.name(r.from);
  for (std::uint64_t n = r.from + 1; n <= r.to; ++n) term += r.join + r.name(n);
  out.push_back(r.term_suffix.empty() ? term : "(" + term + ")" + r.term_suffix);
}

/// The end of a term suffix that opens at `at`: a closing bracket without its partner, or the end of the
/// token.
std::size_t suffix_end(const std::string& token, std::size_t at) {
  std::string open;
  for (; at < token.size(); ++at) {
    const char c = token[at];
    if (c == '(' || c == '[' || c == '{') open += c;
    if (c != ')' && c != ']' && c != '}') continue;
    if (open.empty()) return at;
    open.pop_back();
  }
  return token.size();
}

/// Counts what a whole call has produced.
class budget {
 public:
  void spend(std::size_t names, std::size_t bytes, const std::string& element, char delimiter) {
    names_ += names;
    bytes_ += bytes;
    if (names_ <= most_names && bytes_ <= most_text) return;
    mismatch("prefix/suffix", trim(element.substr(0, element.find(delimiter))),
             trim(element.substr(element.rfind(delimiter) + 1)));
  }

 private:
  std::size_t names_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace

std::size_t rfind_vec(const std::string& text, const std::vector<std::int64_t>& numbers, std::size_t start) {
  std::size_t end = text.size();
  for (std::size_t k = 0;; ++k) {
    while (end > 0 && !is_digit(text[end - 1])) --end;
    if (end == 0 || k >= numbers.size()) return npos;
    if (k == start) return end - std::min(end, std::to_string(numbers[k]).size());
    while (end > 0 && is_digit(text[end - 1])) --end;
  }
}

void expand(std::vector<std::string>& names, char delimiter) {
  std::vector<std::string> out;
  budget left;
  for (const std::string& element : names) {
    range r;
    if (element.find(delimiter) == npos || !parse_range(element, delimiter, r)) {
      out.push_back(element);
      continue;
    }
    left.spend(r.size(), r.size() * (element.size() + 1), element, delimiter);
    append(r, out);
  }
  names = std::move(out);
}

std::string expand(const std::string& text, char delimiter) {
  std::vector<std::string> names = split(text, " ", true);
  expand(names, delimiter);
  return join(names, " ");
}

void token_expand(std::string& token, char delimiter) {
  const std::size_t first = token.find(delimiter);
  if (first == npos) return;
  const std::size_t last = token.rfind(delimiter);
  const std::size_t before = first == 0 ? npos : token.find_last_of("({,^*/+-=<>!~|", first - 1);
  std::size_t begin = before == npos ? 0 : before + 1;
  const std::size_t stop = token.find_first_of(")},^*/+-=<>!~|", last + 1);
  const std::size_t mark = token.find_first_of(suffix_marks, last + 1);
  std::size_t end = std::min(stop, token.size());
  if (mark < end) end = suffix_end(token, mark);
  while (begin < first && token[begin] == ' ') ++begin;
  while (end > last + 1 && token[end - 1] == ' ') --end;
  std::vector<std::string> piece{token.substr(begin, end - begin)};
  expand(piece, delimiter);
  token = token.substr(0, begin) + join(piece, " ") + token.substr(end);
}

std::string eval_expand(const std::string& text, char delimiter) {
  if (text.find(delimiter) == npos) return text;
  std::vector<std::string> tokens = split(text, " ", true);
  if (model::tokenize(tokens) >= 0) return text;
  budget left;
  for (std::string& token : tokens) {
    if (token.find(delimiter) == npos) continue;
    const std::string before = token;
    token_expand(token, delimiter);
    left.spend(0, token.size(), before, delimiter);
  }
  return join(tokens, " ");
}

}  // namespace tovik
