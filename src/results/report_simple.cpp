// The block "Conditional Effects" below the table of an equation.

#include <cstdio>
#include <string>
#include <vector>

#include "results/simple_slopes.hpp"
#include "results/table.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

constexpr std::size_t first_line_width = 29;
constexpr std::size_t other_line_width = 24;

/// Lines that are filled one after another.
class label_filler {
 public:
  /// Adds a piece of a label whole where it fits, else by its words, and a word that is longer than a line in
  /// parts.
  void add(const std::string& piece) {
    if (piece.size() <= room()) {
      lines_.back() += piece;
      return;
    }
    std::string const text = trim(piece);
    if (!lines_.back().empty()) lines_.emplace_back();
    if (text.size() <= room()) {
      lines_.back() = text;
      return;
    }
    for (const std::string& word : words(text)) add_word(word);
  }

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::size_t room() const {
    return (lines_.size() == 1 ? first_line_width : other_line_width) - lines_.back().size();
  }

  void add_word(std::string word) {
    if (!lines_.back().empty() && word.size() < room()) {
      lines_.back() += " " + word;
      return;
    }
    if (!lines_.back().empty()) lines_.emplace_back();
    while (word.size() > room()) {
      std::size_t const part = room();
      lines_.back() = word.substr(0, part);
      word.erase(0, part);
      lines_.emplace_back();
    }
    lines_.back() = word;
  }

  std::vector<std::string> lines_ = std::vector<std::string>(1);
};

std::vector<std::string> broken_label(const std::vector<std::string>& pieces) {
  label_filler filler;
  for (const std::string& piece : pieces) filler.add(piece);
  return filler.lines();
}

void print_empty_cells(std::FILE* stream, std::size_t n) {
  for (std::size_t k = 0; k < n; ++k) std::fprintf(stream, "%10s ", "");
  std::fputs("\n", stream);
}

/// A small p-value with the digits that the column holds.
std::string small_text(double value) {
  std::string const text = format("%9.3e", value);
  return text.size() <= 9 ? text : format("%9.2e", value);
}

void print_values(std::FILE* stream, const char* label, const arma::Row<double>& values,
                  const std::vector<std::string>& columns) {
  std::fprintf(stream, "  %-30.30s ", label);
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const double value = k < values.n_elem ? values[k] : arma::datum::nan;
    const bool small = columns[k] == "PValue" && value > 0.0 && value < 0.001;
    std::fprintf(stream, " %9s ",
                 (small ? small_text(value) : cell_text(value, columns[k] != "ChiSq")).c_str());
  }
  std::fputs("\n", stream);
}

void print_notes(std::FILE* stream, bool deviations) {
  std::fputs(
      "                                NOTE: Intercepts are computed by setting all predictors\n"
      "                                      not involved in the conditional effect to zero.\n",
      stream);
  if (!deviations) return;
  std::fputs(
      "\n"
      "                                NOTE: Standard deviation units are determined by\n"
      "                                      centering. Group mean centering uses a within-\n"
      "                                      cluster standard deviation, and grand mean\n"
      "                                      centering uses a total standard deviation.\n",
      stream);
}

}  // namespace

std::vector<std::string> SimpleSlopes::label() const {
  std::vector<std::string> out = {focal_ + " |"};
  for (const moderator& m : moderators_)
    out.push_back(" " + m.name + " @ " + (m.in_sd ? format("%.2f SD", m.value) : m.text));
  return out;
}

void SimpleSlopes::print(std::FILE* stream, const arma::Mat<double>& table,
                         const std::vector<std::string>& columns) const {
  const std::vector<std::string> lines = broken_label(label());
  for (std::size_t k = 0; k < lines.size(); ++k) {
    if (k == 0) {
      std::fprintf(stream, "  %-30.30s ", lines[k].c_str());
    } else {
      std::fprintf(stream, "        %-24.24s ", lines[k].c_str());
    }
    print_empty_cells(stream, columns.size());
  }
  const auto row = [&](arma::uword k) {
    return k < table.n_rows ? arma::Row<double>(table.row(k)) : arma::Row<double>();
  };
  print_values(stream, "  Intercept", row(0), columns);
  print_values(stream, "  Slope", row(1), columns);
}

unsigned print_simple_slopes(std::FILE* stream, const SimpleList& list, std::uint32_t model,
                             const arma::Mat<double>& table, const std::vector<std::string>& columns) {
  const ModelSlopes* found = list.find(model);
  if (found == nullptr) throw error("ERROR: Unable to find model for simple slopes.");
  const auto used = static_cast<unsigned>(2 * found->effects.size());
  if (stream == nullptr) return used;
  const Table frame(stream, columns);
  std::fputs("\n\n\n", stream);
  frame.heading("Conditional Effects");
  arma::uword at = 0;
  bool deviations = false;
  for (const SimpleSlopes& effect : found->effects) {
    arma::uword const end = std::min<arma::uword>(at + 2, table.n_rows);
    effect.print(stream, at < end ? arma::Mat<double>(table.rows(at, end - 1)) : arma::Mat<double>(),
                 columns);
    deviations = deviations || effect.isSD();
    at += 2;
  }
  frame.close("\n\n");
  print_notes(stream, deviations);
  return used;
}

}  // namespace tovik::sem
