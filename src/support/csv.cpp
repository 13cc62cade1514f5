#include "support/csv.hpp"

#include <charconv>
#include <cmath>

#include "support/text.hpp"

namespace tovik {

namespace {

/// True when the value is none that digits can write.
bool append_special(std::string& line, double value) {
  if (std::isfinite(value)) return false;
  line += std::isnan(value) ? "NaN" : value > 0 ? "Inf" : "-Inf";
  return true;
}

constexpr std::size_t longest = 64;

}  // namespace

std::string csv_cell(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  return '"' + replace_all(std::string(text), "\"", "\"\"") + '"';
}

void append_number(std::string& line, double value) {
  if (append_special(line, value)) return;
  char digits[longest];
  line.append(digits, std::to_chars(digits, digits + longest, value).ptr);
}

void append_number(std::string& line, double value, int significant) {
  if (append_special(line, value)) return;
  char digits[longest];
  line.append(digits,
              std::to_chars(digits, digits + longest, value, std::chars_format::general, significant).ptr);
}

}  // namespace tovik
