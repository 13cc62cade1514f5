#include "results/numbered_rows.hpp"

#include <algorithm>

#include "results/summary.hpp"
#include "results/table.hpp"
#include "support/text.hpp"

namespace tovik {

numbered_rows::numbered_rows(std::FILE* stream, const Summary& burn) : stream_(stream) {
  constexpr arma::uword most_comparisons = 5;
  const arma::Mat<double> all = burn.psrMatrix();
  const arma::uword shown = std::min(all.n_rows, most_comparisons);
  if (shown > 0) psr_ = all.tail_rows(shown);
  width_ = static_cast<int>(std::to_string(burn.n_rows()).size()) + 1;
  std::fprintf(stream_, "  Printing out PSR for last %i %s:\n\n", static_cast<int>(shown),
               shown == 1 ? "comparison" : "comparisons");
  burn.printPSRHeader(stream_, shown);
  std::fprintf(stream_, "\n%*s  %-30.30s ", width_, "", "  ");
  for (arma::uword k = 1; k <= shown; ++k) {
    std::fprintf(stream_, " %5s ", format(" [%i] ", static_cast<int>(k)).c_str());
  }
  std::fputs("\n", stream_);
}

void numbered_rows::section(const char* break_line, const std::string& title) const {
  std::fprintf(stream_, "%s%*s  %-30s \n", break_line, width_, "", title.c_str());
}

void numbered_rows::write(const char* before, const std::string& label, const char* behind,
                          arma::uword number) const {
  const broken_label lines = break_label(label);
  std::fprintf(stream_, "%*i%s%-30.30s%s", width_, static_cast<int>(number + 1), before, lines.first.c_str(),
               behind);
  for (arma::uword k = 0; k < psr_.n_rows; ++k) {
    const bool there = number < psr_.n_cols;
    std::fprintf(stream_, " %5.2f ", printable(there ? psr_(k, number) : arma::datum::nan));
  }
  std::fputs("\n", stream_);
  for (const std::string& line : lines.rest) std::fprintf(stream_, "%*s    %s\n", width_, "", line.c_str());
}

}  // namespace tovik
