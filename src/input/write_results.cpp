// Draws, tables and fit as files.

#include <algorithm>

#include "data/read_data.hpp"
#include "data/save_matrix.hpp"
#include "input/input_file.hpp"
#include "results/dic.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

/// One row per draw of one chain, behind `lead` columns that are left to the caller.
arma::Mat<double> draws_by_row(const chain_draws& chain, arma::uword lead) {
  arma::Mat<double> out(chain.n_cols(), lead + chain.n_rows());
  for (arma::uword t = 0; t < chain.n_cols(); ++t) {
    const double* draw = chain.draw(t);
    for (arma::uword k = 0; k < chain.n_rows(); ++k) out(t, lead + k) = draw[k];
  }
  return out;
}

/// The draws of all chains under each other, the number of the chain in front.
arma::Mat<double> joined_draws(const Summary& summary) {
  arma::Mat<double> out(summary.n_iterations(), 1 + summary.n_rows());
  arma::uword row = 0;
  for (arma::uword j = 0; j < summary.n_chains(); ++j) {
    const chain_draws& chain = summary.chains()[j];
    if (chain.n_cols() == 0) continue;
    arma::Mat<double> draws = draws_by_row(chain, 1);
    draws.col(0).fill(static_cast<double>(j) + 1.0);
    out.rows(row, row + chain.n_cols() - 1) = draws;
    row += chain.n_cols();
  }
  return out;
}

bool is_draw_file(const std::string& key) {
  return key == "iterations" || key == "burn" || key == "simple" || key == "correlations";
}

}  // namespace

void InputFile::saveResults(const arma::Mat<double>& table, const std::string& path,
                            const std::vector<std::string>& names) const {
  save_matrix(table, path, delimeter(path), names, "", arma::datum::nan, scientific);
}

void InputFile::writeTo(const std::string& path, const Summary& summary, const std::string& key) const {
  if (key == "estimates") {
    arma::Mat<double> table = summary.summary();
    const std::vector<std::string> labels = summary.colNames();
    if (table.n_rows == 0) table.set_size(0, labels.size());
    saveResults(table, path, labels);
    return;
  }
  if (!is_draw_file(key)) throw error_debug("No draws are saved under the key '" + key + "'.");
  if (summary.n_rows() == 0) return;
  if (path.find('*') == std::string::npos) {
    saveResults(joined_draws(summary), path, {});
    return;
  }
  for (arma::uword j = 0; j < summary.n_chains(); ++j) {
    saveResults(draws_by_row(summary.chains()[j], 0), replace_all(path, "*", std::to_string(j + 1)), {});
  }
}

void InputFile::write(const Summary& summary, const std::string& key) const {
  if (isWrite(key)) writeTo(writePath(key), summary, key);
}

void InputFile::write(const std::string& group, const Summary& summary, const std::string& key) const {
  if (isWrite(key)) writeTo(writePath(key, group), summary, key);
}

void InputFile::writeWaldTest(const arma::Mat<double>& results) const {
  if (!isWrite("waldtest") || results.n_rows == 0) return;
  saveResults(results, writePath("waldtest"), {"test_number", "df", "statistic", "probability"});
}

void InputFile::writeLikelihoods(const sem::DIC& fit) const {
  if (!isWrite("likelihood")) return;
  const arma::Mat<double> table = fit.likel_mat();
  if (table.n_rows == 0) return;
  saveResults(table, writePath("likelihood"),
              {"model_number", "marginal_log_mean", "conditional_log_mean", "marginal_mean_ll",
               "conditional_mean_ll", "marginal_var_ll", "conditional_var_ll"});
}

}  // namespace tovik
