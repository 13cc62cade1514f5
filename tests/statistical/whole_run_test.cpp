// Whole runs, from the command file to the draws, against posteriors in closed form.
//
// Flat coefficients and a flat residual variance (the default prior) give, with n rows, k columns and RSS of
// least squares, sigma2 ~ inverse gamma((n - k - 2)/2, RSS/2) and b | sigma2 normal about least squares.
//
// In balanced nested data the covariance matrix of y has one eigenvalue per stratum: with two levels of m
// rows a cluster, l1 = sigma2 and l2 = sigma2 + m tau2; with three levels l3 = l2 + m m2 tau3. Predictors
// that live in one stratum make the strata independent, and flat priors of all variances are flat in (l1, l2,
// ...) on l1 < l2 < ...: each l is inverse gamma(df/2 - 1, SS/2), with the residual df and SS of its stratum,
// cut to that order.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "golden/sampled_run.hpp"
#include "statistical/posterior_check.hpp"
#include "system/program.hpp"

namespace fs = std::filesystem;
using namespace tovik;
using namespace tovik::tests;

namespace {

constexpr int n_exact = 200000;

const fs::path examples = fs::path(TOVIK_SOURCE_DIR) / "examples";

/// Residual sum of squares of least squares of y on X.
double rss(const arma::Mat<double>& X, const arma::Col<double>& y) {
  const arma::Col<double> b = arma::solve(X, y);
  return arma::accu(arma::square(y - X * b));
}

class WholeRun : public testing::Test {
 protected:
  sampled_run run(const std::string& data, const std::string& commands) {
    const fs::path file = scratch_.path() / "run.tovik";
    write_file(file, "DATA: " + (examples / data).string() + ";" + commands);
    return sample(file);
  }

  double inverse_gamma(double shape, double scale) {
    return scale / std::gamma_distribution<double>(shape, 1.0)(engine_);
  }

  /// Checks the rows of a single-level regression: residual variance, then the coefficients.
  void expect_regression(const Summary& draws, const arma::Mat<double>& X, const arma::Col<double>& y,
                         double shape, double extra_scale) {
    const arma::Mat<double> chol = arma::chol(arma::inv_sympd(X.t() * X), "lower");
    const arma::Col<double> ols = arma::solve(X, y);
    std::vector<std::vector<double>> exact(X.n_cols + 1);
    std::normal_distribution<double> normal;
    for (int i = 0; i < n_exact; ++i) {
      const double sigma2 = inverse_gamma(shape, (rss(X, y) + extra_scale) / 2);
      arma::Col<double> z(X.n_cols);
      for (double& v : z) v = normal(engine_);
      const arma::Col<double> b = ols + std::sqrt(sigma2) * (chol * z);
      exact[0].push_back(sigma2);
      for (arma::uword j = 0; j < X.n_cols; ++j) exact[j + 1].push_back(b(j));
    }
    for (arma::uword j = 0; j <= X.n_cols; ++j) {
      expect_same_distribution(draws_of(draws, j), exact[j], "row " + std::to_string(j));
    }
  }

  std::mt19937_64 engine_{7};

 private:
  scratch_folder scratch_;
};

arma::Mat<double> load(const std::string& name) {
  arma::Mat<double> data;
  data.load(arma::csv_name((examples / name).string()));
  return data;
}

TEST_F(WholeRun, SingleLevelRegressionFollowsTheStudentPosterior) {
  const auto run = this->run("attitude/attitude.csv",
                             "MODEL: rating ~ complaints learning; SEED: 11; BURN: 500; ITERATIONS: 40000;");
  const arma::Mat<double> data = load("attitude/attitude.csv").tail_rows(30);
  const arma::Mat<double> X =
      arma::join_rows(arma::Col<double>(30, arma::fill::ones), data.col(1), data.col(3));
  expect_regression(run.group->iterations(), X, data.col(0), (30 - 3 - 2) / 2.0, 0);
}

TEST_F(WholeRun, TheThreePriorsOfTheResidualVarianceDiffer) {
  const arma::Mat<double> data = load("attitude/attitude.csv").tail_rows(30);
  const arma::Mat<double> X = arma::join_rows(arma::Col<double>(30, arma::fill::ones), data.col(1));
  const struct {
    const char* word;
    double shape;
    double extra;
  } priors[] = {
      {"prior1", (30 + 2 - 2) / 2.0, 1}, {"prior2", (30 - 2 - 2) / 2.0, 0}, {"prior3", (30 - 2) / 2.0, 0}};
  for (const auto& prior : priors) {
    const auto run =
        this->run("attitude/attitude.csv",
                  "MODEL: rating ~ complaints; SEED: 12; BURN: 500; ITERATIONS: 40000; OPTIONS: " +
                      std::string(prior.word) + ";");
    expect_regression(run.group->iterations(), X, data.col(0), prior.shape, prior.extra);
  }
}

TEST_F(WholeRun, MissingOutcomesLeaveTheCompleteCasePosterior) {
  const auto run =
      this->run("nhanes/nhanes.csv", "MODEL: chl ~ age; SEED: 13; BURN: 1000; ITERATIONS: 100000;");
  arma::Mat<double> data = load("nhanes/nhanes.csv").tail_rows(25);
  std::vector<arma::uword> observed;
  std::ifstream in(examples / "nhanes/nhanes.csv");
  std::string line;
  std::getline(in, line);
  for (arma::uword i = 0; std::getline(in, line); ++i) {
    if (line.substr(line.rfind(',') + 1).rfind("NA", 0) != 0) observed.push_back(i);
  }
  const arma::Mat<double> rows = data.rows(arma::Col<arma::uword>(observed));
  const double n = static_cast<double>(rows.n_rows);
  const arma::Mat<double> X = arma::join_rows(arma::Col<double>(rows.n_rows, arma::fill::ones), rows.col(0));
  expect_regression(run.group->iterations(), X, rows.col(3), (n - 2 - 2) / 2, 0);
}

/// Means of the rows of each cluster; clusters are consecutive runs of equal identifiers.
arma::Mat<double> cluster_means(const arma::Mat<double>& data, arma::uword rows_each) {
  arma::Mat<double> means(data.n_rows / rows_each, data.n_cols);
  for (arma::uword c = 0; c < means.n_rows; ++c) {
    means.row(c) = arma::mean(data.rows(c * rows_each, (c + 1) * rows_each - 1), 0);
  }
  return means;
}

TEST_F(WholeRun, BalancedTwoLevelVariancesFollowTheirStrata) {
  const auto run =
      this->run("orthodont/orthodont.csv",
                "CLUSTERID: id; MODEL: distance ~ age male; SEED: 14; BURN: 1000; ITERATIONS: 60000;");
  arma::Mat<double> data = load("orthodont/orthodont.csv").tail_rows(108);
  data = data.rows(arma::stable_sort_index(data.col(0)));
  const arma::Mat<double> means = cluster_means(data, 4);
  const arma::Mat<double> deviations = data - arma::repelem(means, 4, 1);
  const double ss1 = rss(deviations.col(2), deviations.col(1));
  const arma::Mat<double> between = arma::join_rows(arma::Col<double>(27, arma::fill::ones), means.col(3));
  const double ss2 = 4 * rss(between, means.col(1));
  std::vector<double> sigma2, tau2;
  while (sigma2.size() < n_exact) {
    const double l1 = inverse_gamma((81 - 1) / 2.0 - 1, ss1 / 2);
    const double l2 = inverse_gamma((27 - 2) / 2.0 - 1, ss2 / 2);
    if (l1 >= l2) continue;
    sigma2.push_back(l1);
    tau2.push_back((l2 - l1) / 4);
  }
  const Summary draws = run.group->iterations();
  expect_same_distribution(draws_of(draws, 0), tau2, "variance between clusters");
  expect_same_distribution(draws_of(draws, 1), sigma2, "residual variance");
}

TEST_F(WholeRun, BalancedThreeLevelVariancesFollowTheirStrata) {
  const auto run =
      this->run("oxide/oxide.csv",
                "CLUSTERID: wafer lot; MODEL: thick ~ source; SEED: 15; BURN: 2000; ITERATIONS: 200000;");
  const arma::Mat<double> data = load("oxide/oxide.csv").tail_rows(72);
  const arma::Mat<double> wafers = cluster_means(data, 3);
  const arma::Mat<double> lots = cluster_means(wafers, 3);
  const double ss1 = arma::accu(arma::square(data.col(3) - arma::repelem(wafers.col(3), 3, 1)));
  const double ss2 = 3 * arma::accu(arma::square(wafers.col(3) - arma::repelem(lots.col(3), 3, 1)));
  const arma::Mat<double> between = arma::join_rows(arma::Col<double>(8, arma::fill::ones), lots.col(2));
  const double ss3 = 9 * rss(between, lots.col(3));
  std::vector<double> sigma2, tau2, tau3;
  while (sigma2.size() < n_exact) {
    const double l1 = inverse_gamma(48 / 2.0 - 1, ss1 / 2);
    const double l2 = inverse_gamma(16 / 2.0 - 1, ss2 / 2);
    const double l3 = inverse_gamma(6 / 2.0 - 1, ss3 / 2);
    if (l1 >= l2 || l2 >= l3) continue;
    sigma2.push_back(l1);
    tau2.push_back((l2 - l1) / 3);
    tau3.push_back((l3 - l2) / 9);
  }
  const Summary draws = run.group->iterations();
  expect_same_distribution(draws_of(draws, 0), tau3, "variance between lots");
  expect_same_distribution(draws_of(draws, 1), tau2, "variance between wafers");
  expect_same_distribution(draws_of(draws, 2), sigma2, "residual variance");
}

}  // namespace
