#include "support/text.hpp"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "support/error.hpp"

namespace tovik {

namespace {

char lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}
bool space(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}
bool digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

std::string to_lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), lower);
  return text;
}

std::string to_upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
  return text;
}

std::string trim(std::string_view text) {
  while (!text.empty() && space(text.front())) text.remove_prefix(1);
  while (!text.empty() && space(text.back())) text.remove_suffix(1);
  return std::string(text);
}

bool iequals(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lower(x) == lower(y); });
}

bool iends_with(std::string_view text, std::string_view end) {
  return text.size() > end.size() && iequals(text.substr(text.size() - end.size()), end);
}

bool in(const std::vector<std::string>& list, std::string_view name) {
  return std::any_of(list.begin(), list.end(), [&](const std::string& item) { return iequals(item, name); });
}

std::vector<std::string> split(std::string_view text, std::string_view separators, bool compress) {
  std::vector<std::string> pieces(1);
  bool in_run = false;
  for (char c : text) {
    if (separators.find(c) == std::string_view::npos) {
      pieces.back() += c;
      in_run = false;
    } else if (!(compress && in_run)) {
      pieces.emplace_back();
      in_run = true;
    }
  }
  return pieces;
}

std::vector<std::string> words(std::string_view text) {
  std::vector<std::string> out;
  std::size_t at = 0;
  while (at < text.size()) {
    while (at < text.size() && space(text[at])) ++at;
    const std::size_t from = at;
    while (at < text.size() && !space(text[at])) ++at;
    if (at > from) out.emplace_back(text.substr(from, at - from));
  }
  return out;
}

std::string join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string out;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) out += separator;
    out += pieces[i];
  }
  return out;
}

std::string replace_all(std::string text, std::string_view from, std::string_view to) {
  if (from.empty()) return text;
  std::string out;
  std::size_t at = 0;
  for (std::size_t hit; (hit = text.find(from, at)) != std::string::npos; at = hit + from.size()) {
    out.append(text, at, hit - at);
    out += to;
  }
  return out.append(text, at, std::string::npos);
}

std::string format(const char* fmt, ...) {
  std::va_list args;
  va_start(args, fmt);
  std::va_list again;
  va_copy(again, args);
  const int size = std::vsnprintf(nullptr, 0, fmt, args);
  va_end(args);
  std::string out(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
  if (size > 0) std::vsnprintf(out.data(), out.size() + 1, fmt, again);
  va_end(again);
  return out;
}

std::uint32_t toUint(std::string_view text) {
  const std::string digits = trim(text);
  std::uint64_t value = 0;
  bool good = !digits.empty();
  for (char c : digits) {
    good = good && digit(c);
    if (!good) break;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
    good = value <= 0xFFFFFFFFull;
  }
  if (!good) throw error("Not a positive integer = " + std::string(text));
  return static_cast<std::uint32_t>(value);
}

namespace {

std::string_view take_run(std::string_view& text) {
  std::size_t n = 0;
  while (n < text.size() && digit(text[n]) == digit(text[0])) ++n;
  const std::string_view run = text.substr(0, n);
  text.remove_prefix(n);
  return run;
}

int compare_numbers(std::string_view a, std::string_view b) {
  const std::size_t length_a = a.size();
  const std::size_t length_b = b.size();
  while (a.size() > 1 && a.front() == '0') a.remove_prefix(1);
  while (b.size() > 1 && b.front() == '0') b.remove_prefix(1);
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  if (const int order = a.compare(b)) return order;
  return length_a == length_b ? 0 : (length_a < length_b ? -1 : 1);
}

}  // namespace

bool natural_less(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const bool number_a = digit(a.front());
    const bool number_b = digit(b.front());
    if (number_a != number_b) return number_a;
    const std::string_view run_a = take_run(a);
    const std::string_view run_b = take_run(b);
    int order = 0;
    if (number_a) {
      order = compare_numbers(run_a, run_b);
    } else {
      order = std::memcmp(run_a.data(), run_b.data(), std::min(run_a.size(), run_b.size()));
      if (order == 0 && run_a.size() != run_b.size()) order = run_a.size() < run_b.size() ? -1 : 1;
    }
    if (order != 0) return order < 0;
  }
  return a.empty() && !b.empty();
}

}  // namespace tovik
