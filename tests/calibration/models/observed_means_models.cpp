// Imputation with observed cluster means.

#include <random>
#include <string>
#include <vector>

#include "calibration/coverage_models.hpp"
#include "calibration/pooling.hpp"
#include "calibration/random_draws.hpp"

namespace tovik::tests::calibration {
namespace {

/// In clusters of equal size everything is normal given cluster means: x and w, of level 2, are missing given
/// y, which is complete.
study simulate_observed_means(std::mt19937_64& engine) {
  constexpr arma::uword clusters = 80, each = 6;
  study one{arma::Mat<double>(clusters * each, 4), {}};
  for (arma::uword c = 0; c < clusters; ++c) {
    const double mean = normal(engine, 0.6), u = normal(engine, 0.3);
    const double w = 0.5 * mean + 0.4 * u + normal(engine, 0.5);
    double total = 0;
    for (arma::uword i = 0; i < each; ++i) {
      const double within = normal(engine);
      const double y = 0.2 + 0.4 * within + 0.9 * mean + u + normal(engine);
      const bool lost = chance_of_odds(engine, 0.4 * y - 1.3);
      one.data.row(c * each + i) = arma::Row<double>{c + 1.0, lost ? missing : mean + within, w, y};
      total += y;
    }
    if (!chance_of_odds(engine, total / each - 1.3)) continue;
    for (arma::uword i = 0; i < each; ++i) one.data(c * each + i, 2) = missing;
  }
  return one;
}

/// Means over groups of as many rows each.
arma::Mat<double> group_means(const arma::Mat<double>& rows, arma::uword each) {
  arma::Mat<double> out(rows.n_rows / each, rows.n_cols);
  for (arma::uword c = 0; c < out.n_rows; ++c)
    out.row(c) = arma::mean(rows.rows(c * each, (c + 1) * each - 1), 0);
  return out;
}

/// Least squares of the deviations from the means of groups: slopes and their variances.
arma::Mat<double> within_groups(const arma::Col<double>& x, const arma::Col<double>& y, arma::uword each) {
  const arma::Mat<double> means = group_means(arma::join_rows(x, y), each);
  arma::Mat<double> e = arma::join_rows(x, y);
  for (arma::uword i = 0; i < e.n_rows; ++i) e.row(i) -= means.row(i / each);
  arma::Mat<double> found = least_squares(e.col(0), e.col(1));
  const double n = static_cast<double>(e.n_rows);
  found(0, 1) *= (n - 1) / (n - 1 - static_cast<double>(means.n_rows));
  return found;
}

/// Mean of x, slopes of y on x within clusters and of cluster means, mean of w, slope of w on the means of y.
std::vector<estimate> analyse_two_levels(const sampled_run& run) {
  constexpr arma::uword each = 6, clusters = 80;
  const auto analysis = [](const arma::Mat<double>& data) {
    const arma::Mat<double> means = group_means(data, each), ones(clusters, 1, arma::fill::ones);
    arma::Mat<double> found = least_squares(ones, means.col(1));
    found = arma::join_cols(found, within_groups(data.col(1), data.col(3), each));
    found = arma::join_cols(found, least_squares(arma::join_rows(ones, means.col(1)), means.col(3)).row(1));
    found = arma::join_cols(found, least_squares(ones, means.col(2)));
    return arma::Mat<double>(
        arma::join_cols(found, least_squares(arma::join_rows(ones, means.col(3)), means.col(2)).row(1)));
  };
  return pool_sets(
      run, analysis,
      {clusters - 1.0, clusters * (each - 1.0) - 1, clusters - 2.0, clusters - 1.0, clusters - 2.0});
}

/// Means of x and of w, slope of y on x within units of level 2, slope of the means of w on z.
std::vector<estimate> analyse_three_levels(const sampled_run& run) {
  constexpr arma::uword tops = 50, middles = 4, each = 4;
  const auto analysis = [](const arma::Mat<double>& data) {
    const arma::Mat<double> means = group_means(data, middles * each), ones(tops, 1, arma::fill::ones);
    arma::Mat<double> found = least_squares(ones, means.col(2));
    found = arma::join_cols(found, least_squares(ones, means.col(3)));
    found = arma::join_cols(found, within_groups(data.col(2), data.col(5), each));
    return arma::Mat<double>(
        arma::join_cols(found, least_squares(arma::join_rows(ones, means.col(4)), means.col(3)).row(1)));
  };
  return pool_sets(run, analysis, {tops - 1.0, tops - 1.0, tops * middles * (each - 1.0) - 1, tops - 2.0});
}

constexpr const char* twenty_sets =
    "CHAINS: 1; BURN: 1000; NIMPS: 20; THIN: 100; SAVE: stacked = imps.csv; DEBUG: allow_tune_fail;\n";

}  // namespace

coverage_study observed_fcs_coverage(const std::string& algorithm) {
  coverage_study what = fcs_coverage();
  what.title = "The same without latent scores as predictors (" + algorithm + ")";
  what.runs.commands = "ORDINAL: b o; NOMINAL: g; FCS: x b o g z; OPTIONS: manifest " + algorithm + ";\n" +
                       std::string(twenty_sets);
  return what;
}

coverage_study observed_means_coverage(const std::string& algorithm) {
  coverage_study what;
  what.title = "FCS with observed cluster means in two levels (" + algorithm + ")";
  what.design =
      "80 clusters of 6 rows; x and w, of level 2, are missing given y in about 25% of the rows and "
      "clusters. Twenty imputed data sets, analysed one by one and pooled.";
  what.runs.names = {"id", "x", "w", "y"};
  what.runs.commands =
      "CLUSTERID: id; FCS: x w y; OPTIONS: manifest " + algorithm + ";\n" + std::string(twenty_sets);
  what.runs.simulate = simulate_observed_means;
  what.runs.seed = 208;
  // Means of six rows: that of x has variance .6 + 1/6, that of y .81 * .6 + .16/6 + .3 + 1/6.
  what.targets = {{"mean of x", 0.0},
                  {"y on x within clusters", 0.4},
                  {"y on x among means", (0.9 * 0.6 + 0.4 / 6) / (0.6 + 1.0 / 6)},
                  {"mean of w", 0.0},
                  {"w on means of y", (0.45 * 0.6 + 0.12) / (0.81 * 0.6 + 0.3 + 1.16 / 6)}};
  what.analyse = analyse_two_levels;
  return what;
}

coverage_study observed_means_three_levels_coverage() {
  coverage_study what;
  what.title = "FCS with observed cluster means in three levels";
  what.design =
      "50 units of level 3 with 4 units of level 2 each and 4 rows in each; x is missing given y, w (of "
      "level 2) given z (of level 3). Twenty imputed data sets, analysed one by one and pooled.";
  what.runs.names = {"top", "mid", "x", "w", "z", "y"};
  what.runs.commands = "CLUSTERID: mid top; FCS: x w z y; OPTIONS: manifest;\n" + std::string(twenty_sets);
  what.runs.simulate = three_level_coverage().runs.simulate;
  what.runs.seed = 209;
  what.targets = {
      {"mean of x", 0.0}, {"mean of w", 0.0}, {"y on x within level 2", 0.5}, {"w on z among level 3", 0.4}};
  what.analyse = analyse_three_levels;
  return what;
}

}  // namespace tovik::tests::calibration
