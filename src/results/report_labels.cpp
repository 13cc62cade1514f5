// The numbered list of all parameters with their last potential scale reductions.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "model/model_list.hpp"
#include "results/report_rows.hpp"
#include "results/summary.hpp"
#include "results/table.hpp"
#include "sem/mcmc.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr arma::uword most_comparisons = 5;

/// Prints rows under running numbers that count all parameters, so that they agree with the PSR table.
class numbered_rows {
 public:
  numbered_rows(std::FILE* stream, arma::Mat<double> psr, int width)
      : stream_(stream), psr_(std::move(psr)), width_(width) {}

  void heading() const {
    std::fprintf(stream_, "\n%*s  %-30.30s ", width_, "", "  ");
    for (arma::uword k = 1; k <= psr_.n_rows; ++k) {
      std::fprintf(stream_, " %5s ", format(" [%i] ", static_cast<int>(k)).c_str());
    }
    std::fputs("\n", stream_);
  }

  void section(const char* break_line, const std::string& title) const {
    std::fprintf(stream_, "%s%*s  %-30.30s \n", break_line, width_, "", title.c_str());
  }

  void row(const std::string& label) {
    std::fprintf(stream_, "%*i  %-30.30s ", width_, static_cast<int>(number_ + 1), label.c_str());
    for (arma::uword k = 0; k < psr_.n_rows; ++k) {
      std::fprintf(stream_, " %5.2f ", printable(psr_(k, number_)));
    }
    std::fputs("\n", stream_);
    ++number_;
  }

 private:
  std::FILE* stream_;
  arma::Mat<double> psr_;  ///< one row per comparison, one column per parameter
  int width_;
  arma::uword number_ = 0;
};

void print_rows_of(const Model& model, numbered_rows& rows) {
  bool first = true;
  row_class current = row_class::variance;
  for (const parameter_row& row : parameter_rows(model)) {
    if (first || row.kind != current) rows.section(first ? "" : "\n", section_title(row.kind));
    first = false;
    current = row.kind;
    rows.row(row.label);
  }
  const std::vector<std::string> standardized = model.standardized();
  if (!standardized.empty()) rows.section("\n", "Standardized Coefficients:");
  for (const std::string& label : standardized) rows.row(label);
  const std::vector<std::string> shares = model.rsquare();
  if (!shares.empty()) rows.section("\n", "Proportion Variance Explained");
  for (const std::string& label : shares) rows.row("by " + label.substr(4));
}

}  // namespace

void sem::Mcmc::printParameterLabels(std::FILE* stream, const VariableList&, const ModelList& models,
                                     const Summary& burn) const {
  const arma::Mat<double> all = burn.psrMatrix();
  const arma::uword shown = std::min(all.n_rows, most_comparisons);
  const int width = static_cast<int>(std::to_string(burn.n_rows()).size()) + 1;

  std::fprintf(stream, "  Printing out PSR for last %i comparisons:\n\n", static_cast<int>(shown));
  burn.printPSRHeader(stream, shown);
  numbered_rows rows(stream, shown > 0 ? arma::Mat<double>(all.tail_rows(shown)) : arma::Mat<double>(), width);
  rows.heading();
  for (const Model& model : models) {
    std::fprintf(stream, "\n%s\n\n", model_title(model).c_str());
    print_rows_of(model, rows);
  }
  std::fputs("\n", stream);
  std::fflush(stream);
}

}  // namespace tovik
