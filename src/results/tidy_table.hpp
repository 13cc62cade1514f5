#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "results/parameter_names.hpp"
#include "results/summary.hpp"

namespace tovik {

/// The estimates of a report as one table, a row for each row of the draws: what it is, then its statistics.
struct tidy_table {
  std::vector<parameter_name> names;
  std::vector<std::string> columns;  ///< of `values`: "mean", "q2.5", "psr"
  arma::Mat<double> values;          ///< one row per name; NaN without draws
};

/// The statistics are mean, median, sd, mad, q2.5, q97.5, psr, n_eff and mcse, and behind them what the
/// report has besides. Throws error_debug for another number of names than of parameters.
tidy_table make_tidy_table(const Summary& draws, std::vector<parameter_name> names);

/// The words in front of the statistics, and those of a row: "block", "outcome", "dummy", "section", "level",
/// "parameter", "label". The parameter is the name of its column among the draws; a row without a level has
/// an empty one.
const std::vector<std::string>& tidy_headings();
std::vector<std::string> tidy_words(const parameter_name& name);

/// Comma-separated text with a first line of names; numbers have the digits that they need to be read as the
/// same again.
void save_tidy_table(const std::string& path, const tidy_table& table);

}  // namespace tovik
