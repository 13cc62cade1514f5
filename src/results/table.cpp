#include "results/table.hpp"

#include <cmath>
#include <limits>
#include <utility>

#include "evaluate/parser.hpp"
#include "results/summary.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr std::size_t label_width = 29;
constexpr std::size_t continued_label_width = 27;
constexpr std::size_t margin_width = 32;

/// The label in pieces that end where a token of an expression ends; blanks go with the token after them.
std::vector<std::string> pieces_of(const std::string& label) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (const std::string& token : evaluate::parse(label)) {
    if (token.empty()) continue;
    const std::size_t at = label.find(token, start);
    if (at == std::string::npos) continue;
    pieces.push_back(label.substr(start, at + token.size() - start));
    start = at + token.size();
  }
  if (start < label.size()) pieces.push_back(label.substr(start));
  return pieces;
}

std::string without_leading_blanks(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? std::string() : text.substr(first);
}

}  // namespace

broken_label break_label(const std::string& label) {
  if (label.size() <= label_width) return {label, {}};
  std::vector<std::string> lines(1);
  const auto width = [&] { return lines.size() == 1 ? label_width : continued_label_width; };
  for (std::string piece : pieces_of(label)) {
    if (!lines.back().empty() && lines.back().size() + piece.size() > width()) lines.emplace_back();
    if (lines.back().empty() && lines.size() > 1) piece = without_leading_blanks(piece);
    while (piece.size() > width() && lines.back().empty()) {
      const std::size_t part = width();
      lines.back() = piece.substr(0, part);
      piece.erase(0, part);
      lines.emplace_back();
    }
    lines.back() += piece;
  }
  return {lines.front(), {lines.begin() + 1, lines.end()}};
}

double printable(double value) {
  return std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
}

std::string cell_text(double value, bool small) {
  constexpr std::size_t width = 9;
  constexpr double least_shown = 0.0005, largest = 1e6;
  const double size = std::fabs(value);
  if (!std::isfinite(value)) return format("%9.3f", printable(value));
  const bool exponential = size >= largest || (small && size > 0.0 && size < least_shown);
  std::string text;
  for (int decimals = exponential ? 2 : 3; decimals >= 0; --decimals) {
    text = exponential ? format("%9.*e", decimals, value) : format("%9.*f", decimals, value);
    if (text.size() <= width) break;
  }
  return text;
}

std::string fixed_text(double value) {
  return trim(cell_text(value));
}

Table::Table(std::FILE* stream, std::vector<std::string> columns)
    : stream_(stream), columns_(std::move(columns)) {}

void Table::heading(const std::string& first) const {
  std::fprintf(stream_, "%-32.32s ", first.c_str());
  for (const std::string& column : columns_) std::fprintf(stream_, "%10s ", column.c_str());
  rule();
  std::fprintf(stream_, "\n\n");
}

void Table::rule() const {
  std::fprintf(stream_, "\n%32s-", "");
  for (std::size_t i = 0; i < columns_.size(); ++i) std::fprintf(stream_, "-----------");
}

void Table::close(const char* end) const {
  rule();
  std::fprintf(stream_, "%s", end);
}

void Table::section(const std::string& title) const {
  const bool blank_line = !title.empty() && title.front() == '\n';
  std::fprintf(stream_, "%s%-32s\n", blank_line ? "\n" : "", title.c_str() + (blank_line ? 1 : 0));
}

void Table::blank_row(const std::string& title, const char* end) const {
  const bool blank_line = !title.empty() && title.front() == '\n';
  std::fprintf(stream_, "%s%-32.32s ", blank_line ? "\n" : "", title.c_str() + (blank_line ? 1 : 0));
  for (std::size_t i = 0; i < columns_.size(); ++i) std::fprintf(stream_, "%10s ", "");
  std::fprintf(stream_, "%s", end);
}

void Table::cell(const std::string& text) const {
  std::fprintf(stream_, " %9s ", text.c_str());
}

/// A test statistic near 0 is no more than that.
void Table::number(std::size_t column, double value) const {
  const std::string& name = columns_[column];
  cell(cell_text(value, name != "ChiSq" && name != "PValue"));
}

void Table::cells(const arma::Row<double>& values, tests show) const {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (show == tests::blank && Summary::supress(columns_[i])) {
      cell("---");
    } else {
      const bool there = i < values.n_elem;
      number(i, there ? values[i] : arma::datum::nan);
    }
  }
  std::fprintf(stream_, "\n");
}

void Table::continue_label(const broken_label& label) const {
  for (const std::string& line : label.rest) std::fprintf(stream_, "    %-28.28s\n", line.c_str());
}

void Table::row(const std::string& label, const arma::Row<double>& values, tests show) const {
  const broken_label lines = break_label(label);
  std::fprintf(stream_, "  %-30.30s ", lines.first.c_str());
  cells(values, show);
  continue_label(lines);
}

void Table::margin_row(const std::string& label, const arma::Row<double>& values, tests show) const {
  const bool fits = label.size() <= margin_width;
  const broken_label lines = fits ? broken_label{label, {}} : break_label(label);
  std::fprintf(stream_, "%-32s ", lines.first.c_str());
  cells(values, show);
  continue_label(lines);
}

void Table::by_row(const std::string& label, const arma::Row<double>& values, tests show) const {
  std::fprintf(stream_, "  by %-27.27s ", label.c_str());
  cells(values, show);
}

void Table::fixed_row(const std::string& label, const arma::Row<double>& values, const std::string& value,
                      tests show) const {
  if (columns_.empty() || (columns_.front() != "Mean" && columns_.front() != "Median")) {
    row(label, values, show);
    return;
  }
  const broken_label lines = break_label(label);
  std::fprintf(stream_, "  %-30.30s ", lines.first.c_str());
  cell(value);
  for (std::size_t i = 1; i < columns_.size(); ++i) cell("---");
  std::fprintf(stream_, "\n");
  continue_label(lines);
}

void print_summaries_based_on(std::FILE* stream, unsigned long long iterations, unsigned long long chains,
                              const char* end) {
  const int n = static_cast<int>(iterations);
  if (chains == 1) {
    std::fprintf(stream, "  Summaries based on %i iterations using 1 chain.%s", n, end);
  } else {
    std::fprintf(stream, "  Summaries based on %i iterations using %i chains.%s", n, static_cast<int>(chains),
                 end);
  }
}

}  // namespace tovik
