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

std::vector<std::string> csv_cells(std::string_view line) {
  std::vector<std::string> out(1);
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"') {
      // Within quotes a pair of them stands for one.
      const bool pair = quoted && i + 1 < line.size() && line[i + 1] == '"';
      if (pair) out.back() += line[++i];
      if (!pair) quoted = !quoted;
    } else if (c == ',' && !quoted) {
      out.emplace_back();
    } else {
      out.back() += c;
    }
  }
  return out;
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
