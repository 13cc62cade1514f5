#include "data/cell_walker.hpp"

#include <cstdint>
#include <limits>
#include <utility>

#include "data/numbers.hpp"

namespace tovik {

namespace {

bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view trimmed(const char* first, const char* last) {
  while (first != last && is_blank(*first)) ++first;
  while (first != last && is_blank(last[-1])) --last;
  return {first, static_cast<std::size_t>(last - first)};
}

/// Powers of ten that a double holds exactly.
constexpr double exact_power[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// Reads the plain decimal (sign, digits, point, digits) at `p` and moves `p` behind it. With at most 15
/// digits the digits and the power of ten are both exact doubles, so one division rounds correctly (Clinger,
/// 1990). False, with `p` anywhere, for what needs the full parser.
bool short_decimal(const char*& p, const char* end, double& value) {
  const bool negative = p != end && *p == '-';
  if (negative) ++p;
  std::uint64_t digits = 0;
  const char* const first = p;
  const auto run = [&] {
    while (p != end && static_cast<unsigned char>(*p - '0') < 10)
      digits = digits * 10 + static_cast<unsigned char>(*p++ - '0');
  };
  run();
  std::ptrdiff_t length = p - first;
  std::ptrdiff_t places = 0;
  if (p != end && *p == '.') {
    const char* const point = ++p;
    run();
    places = p - point;
    length += places;
  }
  if (length < 1 || length > 15) return false;
  const double magnitude = static_cast<double>(digits) / exact_power[places];
  value = negative ? -magnitude : magnitude;
  return true;
}

/// Behind the double quote that closes the one at `p`; two in a row stand for one in the text (RFC 4180).
const char* end_of_quotes(const char* p, const char* end) {
  for (++p; p != end; ++p) {
    if (*p != '"') continue;
    if (p + 1 == end || p[1] != '"') return p + 1;
    ++p;
  }
  return end;
}

/// The text between double quotes, trimmed; the whole cell where it does not end with its quote.
std::string_view inside_quotes(std::string_view cell) {
  if (cell.size() < 2 || cell.back() != '"') return cell;
  return trimmed(cell.data() + 1, cell.data() + cell.size() - 1);
}

}  // namespace

separator separator::of(const std::string& delimiter) {
  const char c = delimiter.empty() ? ' ' : delimiter.front();
  return {c == ' ' || c == '\t', c};
}

std::size_t separator::count(std::string_view line) const {
  std::size_t cells = 1;
  bool inside = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (!blank && line[i] == '"') inside = !inside;
    if (!inside && at(line[i]) && !(blank && i > 0 && at(line[i - 1]))) ++cells;
  }
  return cells;
}

cell_walker::cell_walker(separator sep, std::string missing) : separator_(sep), missing_(std::move(missing)) {
  double ignored = 0;
  numeric_code_ = parse_real(missing_.data(), missing_.data() + missing_.size(), ignored);
}

bool cell_walker::parse(std::string_view cell, double& value) const {
  const bool nothing = cell.empty() && !separator_.blank;
  if (nothing || (!missing_.empty() && cell == missing_)) {
    value = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  return parse_real(cell.data(), cell.data() + cell.size(), value);
}

line_result cell_walker::read(std::string_view line, double* out, std::size_t columns) const {
  using kind = line_result::kind;
  const char* p = line.data();
  const char* const end = p + line.size();
  for (std::size_t column = 0;; ++column) {
    if (column == columns) return {kind::wrong_count, 0, {}};
    // White space before a cell: after a comma it belongs to nothing, between blank-separated cells it is the
    // rest of the run.
    while (p != end && is_blank(*p) && (separator_.blank || *p != separator_.mark)) ++p;
    const char* const cell = p;
    if (numeric_code_ || !short_decimal(p, end, out[column]) || (p != end && !separator_.at(*p))) {
      const bool quoted = !separator_.blank && cell != end && *cell == '"';
      p = quoted ? end_of_quotes(cell, end) : cell;
      while (p != end && !separator_.at(*p)) ++p;
      const std::string_view text = quoted ? inside_quotes(trimmed(cell, p)) : trimmed(cell, p);
      if (!parse(text, out[column])) return {kind::not_numeric, column + 1, text};
    }
    if (p == end) return {column + 1 == columns ? kind::good : kind::wrong_count, 0, {}};
    ++p;
  }
}

}  // namespace tovik
