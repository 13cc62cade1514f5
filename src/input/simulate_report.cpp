#include <cstdio>

#include "input/input_file.hpp"
#include "input/variable_order.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"

namespace tovik {

namespace {

using statistics = std::vector<Summary::column>;

/// One row of statistics for each column, from its observed cells; the share of missing cells behind them, in
/// percent, when any column has some.
arma::Mat<double> summaries(const arma::Mat<double>& data, const statistics& which, bool incomplete) {
  arma::Mat<double> out(data.n_cols, which.size() + (incomplete ? 1 : 0));
  for (arma::uword j = 0; j < data.n_cols; ++j) {
    arma::Mat<double> observed = data.col(j);
    if (incomplete) observed = observed.elem(arma::find(observed == observed)).eval();
    out(j, arma::span(0, which.size() - 1)) = Summary::summarize(observed, which);
    if (!incomplete) continue;
    out(j, which.size()) =
        (1.0 - static_cast<double>(observed.n_rows) / static_cast<double>(data.n_rows)) * 100.0;
  }
  return out;
}

void print_rule(std::FILE* fp, std::size_t columns) {
  std::fprintf(fp, "%-32.32s-", "");
  for (std::size_t c = 0; c < columns; ++c) std::fputs("-----------", fp);
  std::fputc('\n', fp);
}

void print_summaries(std::FILE* fp, const arma::Mat<double>& data, const std::vector<std::string>& names) {
  const statistics which = {Summary::column::mean, Summary::column::stddev, Summary::column::variance};
  const bool incomplete = data.has_nan();
  const arma::Mat<double> table = summaries(data, which, incomplete);
  std::fputs("\nSIMULATED DATA SUMMARIES:\n\n", fp);
  if (incomplete) std::fputs("  NOTE: The summaries are based on complete data only.\n\n", fp);
  std::fprintf(fp, "%-32.32s ", "Variables");
  for (const Summary::column& c : which) std::fprintf(fp, "%10s ", Summary::column_strs(c).front().c_str());
  if (incomplete) std::fprintf(fp, "%10s ", "% Missing");
  std::fputc('\n', fp);
  print_rule(fp, table.n_cols);
  for (arma::uword j = 0; j < table.n_rows; ++j) {
    std::fprintf(fp, "  %-30.30s ", names[j].c_str());
    for (arma::uword c = 0; c < table.n_cols; ++c) std::fprintf(fp, " %9.3f ", table(j, c));
    std::fputc('\n', fp);
  }
  print_rule(fp, table.n_cols);
  std::fflush(fp);
}

}  // namespace

arma::Mat<double> InputFile::simulateData() {
  arma::Mat<double> out = parseSimulate();
  if (out.has_inf()) throw error("ERROR: Simulated data matrix has an Inf value.");
  print_summaries(Output::fp, out, variableNames);
  return out;
}

void InputFile::simulateSaveInfo() const {
  print_everywhere("\nVARIABLE ORDER IN SIMULATED DATA:\n\n" +
                   variable_order("dataset", writePath("dataset"), variableNames));
}

void InputFile::saveSimulated(const arma::Mat<double>& data) const {
  if (!isWrite("dataset")) return;
  file_set::store(writtenCells(data, writePath("dataset"), variableNames, {}));
  simulateSaveInfo();
}

}  // namespace tovik
