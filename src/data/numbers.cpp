#include "data/numbers.hpp"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "evaluate/constants.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

constexpr std::int64_t largest_run = 999999999999999999;

bool digit(char c) {
  return c >= '0' && c <= '9';
}
bool space(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

bool parse_real(const char* first, const char* last, double& value) {
  // from_chars takes no plus sign.
  if (first != last && *first == '+') {
    ++first;
    if (first != last && (*first == '+' || *first == '-')) return false;
  }
  double parsed = 0;
  const auto [end, status] = std::from_chars(first, last, parsed);
  if (end != last || first == last) return false;
  if (status == std::errc::invalid_argument) return false;
  // Beyond the range of a double from_chars gives no value, strtod the limit: an infinity or zero.
  if (status == std::errc::result_out_of_range)
    parsed = std::strtod(std::string(first, last).c_str(), nullptr);
  value = parsed;
  return true;
}

double toDouble(const char* first, const char* last) {
  const char* begin = first;
  const char* end = last;
  while (begin != end && space(*begin)) ++begin;
  while (begin != end && space(end[-1])) --end;
  double value = 0;
  if (!parse_real(begin, end, value)) throw error("Not a numeric value = " + std::string(first, last));
  return value;
}

double toDouble(std::string_view text) {
  return toDouble(text.data(), text.data() + text.size());
}

bool isNumber(std::string_view text) {
  if (text.empty()) return false;
  const std::string copy(text);
  if (evaluate::co.count(copy) > 0) return true;
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);
  return end == copy.c_str() + copy.size() && value != std::numeric_limits<double>::infinity();
}

std::vector<std::int64_t> parseUints(std::string_view text) {
  std::vector<std::int64_t> out;
  std::size_t end = text.size();
  while (true) {
    while (end > 0 && !digit(text[end - 1])) --end;
    if (end == 0) return out;
    std::size_t begin = end;
    while (begin > 0 && digit(text[begin - 1])) --begin;
    std::int64_t value = 0;
    for (std::size_t i = begin; i < end; ++i)
      value = value > largest_run / 10 ? largest_run : value * 10 + (text[i] - '0');
    out.push_back(value);
    end = begin;
  }
}

std::int64_t parseUint(std::string_view text) {
  const std::vector<std::int64_t> runs = parseUints(text);
  return runs.empty() ? -1 : runs.front();
}

}  // namespace tovik
