#pragma once

#include <armadillo>
#include <cmath>
#include <string>
#include <vector>

#include "../tests/sem/small_run.hpp"

namespace tovik::bench {

/// Equations and simulated data of one chain, with what a scan cannot do without: its random numbers and one
/// pass over the data.
struct chain_workload {
  tests::small_run run;
  std::size_t normals;   ///< standard normals of a scan
  std::size_t uniforms;  ///< one for each Metropolis step
  int gammas;
};

/// 20,000 rows in 1,000 clusters, four predictors, a random intercept and a random slope.
inline chain_workload random_slope() {
  constexpr arma::uword clusters = 1000, size = 20;
  Random rng(7, 0);
  arma::mat data(clusters * size, 6);
  for (arma::uword c = 0; c < clusters; ++c) {
    const double a = rng.rnorm(), b = 0.3 * rng.rnorm();
    for (arma::uword i = c * size; i < (c + 1) * size; ++i) {
      data(i, 0) = static_cast<double>(c + 1);
      for (arma::uword j = 2; j < 6; ++j) data(i, j) = rng.rnorm();
      data(i, 1) = a + b * data(i, 2) + 0.2 * arma::accu(data.row(i).cols(2, 5)) + rng.rnorm();
    }
  }
  return {tests::small_run({"id", "y", "x1", "x2", "x3", "x4"}, data, {"id"}, {"y ~ x1 x2 x3 x4 | x1"}),
          5 + 2 * clusters + 2 * (clusters - 3), 0, 1};
}

/// 2,000 rows, ten predictors, neither clusters nor missing cells: the scan makes no pass over the rows.
inline chain_workload plain_regression() {
  constexpr arma::uword n = 2000, k = 10;
  Random rng(6, 0);
  arma::mat data(n, k + 1);
  std::vector<std::string> names = {"y"};
  std::string equation = "y ~";
  for (arma::uword j = 1; j <= k; ++j) {
    names.push_back("x" + std::to_string(j));
    equation += " " + names.back();
    for (arma::uword i = 0; i < n; ++i) data(i, j) = rng.rnorm();
  }
  for (arma::uword i = 0; i < n; ++i) data(i, 0) = 0.2 * arma::accu(data.row(i).tail(k)) + rng.rnorm();
  return {tests::small_run(names, data, {}, {equation}), k + 1, 0, 1};
}

/// Three equations on 10,000 rows. Both mediators are incomplete (30%), outcomes of one equation and
/// predictors of others; `product` adds their product.
inline chain_workload mediation(bool product) {
  constexpr arma::uword n = 10000;
  Random rng(8, 0);
  arma::mat data(n, 4);
  for (arma::uword i = 0; i < n; ++i) {
    const double x = rng.rnorm();
    const double m1 = 1.0 + 0.5 * x + rng.rnorm();
    const double m2 = 0.4 * m1 + 0.2 * x + rng.rnorm();
    const double y = 0.3 * m1 + 0.5 * m2 - 0.2 * x + (product ? 0.2 * m1 * m2 : 0.0) + rng.rnorm();
    data.row(i) = arma::rowvec{x, m1, m2, y};
  }
  std::size_t missing = 0;
  for (arma::uword j : {1, 2}) {
    for (arma::uword i = 0; i < n; ++i) {
      if (rng.runif() >= 0.3) continue;
      data(i, j) = arma::datum::nan;
      ++missing;
    }
  }
  const std::string y = product ? "y ~ m1 m2 x (m1*m2)" : "y ~ m1 m2 x";
  return {tests::small_run({"x", "m1", "m2", "y"}, data, {}, {"m1 ~ x", "m2 ~ m1 x", y}),
          (product ? 10U : 9U) + missing, missing, 3};
}

/// 50,000 rows in 2,500 clusters in 250 clusters, two predictors, a random intercept at both levels.
inline chain_workload three_levels() {
  constexpr arma::uword top = 250, middle = 10, size = 20;
  Random rng(9, 0);
  arma::mat data(top * middle * size, 5);
  arma::uword i = 0;
  for (arma::uword t = 0; t < top; ++t) {
    const double a = 0.7 * rng.rnorm();
    for (arma::uword m = 0; m < middle; ++m) {
      const double b = 0.5 * rng.rnorm();
      for (arma::uword k = 0; k < size; ++k, ++i) {
        const double x1 = rng.rnorm(), x2 = 0.4 * x1 + rng.rnorm();
        data.row(i) = arma::rowvec{static_cast<double>(t + 1), static_cast<double>(t * middle + m + 1),
                                   1.0 + a + b + 0.5 * x1 - 0.3 * x2 + rng.rnorm(), x1, x2};
      }
    }
  }
  return {tests::small_run({"school", "class", "y", "x1", "x2"}, data, {"school", "class"}, {"y ~ x1 x2"}),
          3 + top * middle + top, 0, 3};
}

/// A questionnaire item with five categories in 5,000 rows, six predictors. One truncated normal a row.
inline chain_workload ordinal_item() {
  constexpr arma::uword n = 5000;
  Random rng(10, 0);
  arma::mat data(n, 7);
  for (arma::uword i = 0; i < n; ++i) {
    double score = 0.5 + rng.rnorm();
    for (arma::uword j = 1; j < 7; ++j) {
      data(i, j) = rng.rnorm();
      score += (j % 2 == 0 ? -0.2 : 0.3) * data(i, j);
    }
    data(i, 0) = 1.0 + (score > 0.0) + (score > 0.6) + (score > 1.2) + (score > 2.0);
  }
  return {tests::small_run({"o", "x1", "x2", "x3", "x4", "x5", "x6"}, data, {}, {"o ~ x1 x2 x3 x4 x5 x6"}, {},
                           {"o"}),
          n + 7, n, 0};
}

/// A yes or no in 5,000 rows in 200 clusters, three predictors, a random intercept and a random slope.
inline chain_workload logistic_clusters() {
  constexpr arma::uword clusters = 200, size = 25;
  Random rng(11, 0);
  arma::mat data(clusters * size, 5);
  for (arma::uword i = 0, c = 0; c < clusters; ++c) {
    const double a = 0.7 * rng.rnorm(), b = 0.4 * rng.rnorm();
    for (arma::uword k = 0; k < size; ++k, ++i) {
      data(i, 0) = static_cast<double>(c + 1);
      for (arma::uword j = 2; j < 5; ++j) data(i, j) = rng.rnorm();
      const double eta = -0.3 + a + (0.5 + b) * data(i, 2) - 0.4 * data(i, 3) + 0.2 * data(i, 4);
      data(i, 1) = rng.runif() < 1.0 / (1.0 + std::exp(-eta)) ? 1.0 : 0.0;
    }
  }
  return {
      tests::small_run({"id", "b", "x1", "x2", "x3"}, data, {"id"}, {"logit(b) ~ x1 x2 x3 | x1"}, {}, {"b"}),
      4 + 2 * clusters + 3, 2 * clusters * size, 1};
}

/// Counts of mean 3 in 5,000 rows, three predictors; `clusters` adds 200 clusters with random intercepts. Two
/// random numbers for each of the 200 gamma variables of a row, one of them a normal.
inline chain_workload counts(bool clusters) {
  constexpr arma::uword n_clusters = 200, size = 25, n = n_clusters * size;
  Random rng(16, 0);
  arma::mat data(n, 5);
  double a = 0.0;
  for (arma::uword i = 0; i < n; ++i) {
    if (i % size == 0) a = clusters ? 0.5 * rng.rnorm() : 0.0;
    data(i, 0) = static_cast<double>(i / size + 1);
    for (arma::uword j = 2; j < 5; ++j) data(i, j) = rng.rnorm();
    const double mean = std::exp(1.0 + a + 0.3 * data(i, 2) - 0.2 * data(i, 3));
    data(i, 1) = rng.rnbin(2.0, arma::Col<double>{2.0 / (2.0 + mean)})(0);
  }
  tests::small_run run({"id", "y", "x1", "x2", "x3"}, data,
                       clusters ? std::vector<std::string>{"id"} : std::vector<std::string>(),
                       {"y ~ x1 x2 x3"});
  run.vars.find("y")->type = data::type::count;
  return {run, 200 * n, 200 * n, 0};
}

/// The same rows with a normal outcome.
inline chain_workload normal_beside_counts() {
  chain_workload out = counts(false);
  out.run.vars.find("y")->type = data::type::continuous;
  return {out.run, 5, 0, 1};
}

/// Three unordered categories, or two of them as a yes or no under the logit link, in 5,000 rows, three
/// predictors; beside them the normal regression of a score on the same predictors.
enum class choice_outcome { score, yes_or_no, three_categories };
inline chain_workload choices(choice_outcome of) {
  constexpr arma::uword n = 5000;
  Random rng(16, 0);
  arma::mat data(n, 6);
  for (arma::uword i = 0; i < n; ++i) {
    for (arma::uword j = 3; j < 6; ++j) data(i, j) = rng.rnorm();
    const double a = 0.3 + 0.5 * data(i, 3) - 0.4 * data(i, 4), b = -0.2 + 0.6 * data(i, 5);
    const double u = rng.runif() * (1.0 + std::exp(a) + std::exp(b));
    data(i, 0) = a + rng.rnorm();
    data(i, 1) = u < 1.0 ? 0.0 : 1.0;
    data(i, 2) = u < 1.0 ? 1.0 : u < 1.0 + std::exp(a) ? 2.0 : 3.0;
  }
  const std::vector<std::string> names = {"y", "b", "g", "x1", "x2", "x3"};
  const std::string predictors = " ~ x1 x2 x3";
  switch (of) {
    case choice_outcome::score:
      return {tests::small_run(names, data, {}, {"y" + predictors}), 4, 0, 1};
    case choice_outcome::yes_or_no:
      return {tests::small_run(names, data, {}, {"logit(b)" + predictors}, {}, {"b"}), 4, 2 * n, 0};
    default:
      return {tests::small_run(names, data, {}, {"g" + predictors}, {}, {}, {}, {"g"}), 8, 4 * n, 0};
  }
}

/// Six indicators of one factor, or of two of which the second depends on the first, in 5,000 rows; a tenth
/// of the cells is missing. A Metropolis step for each score.
inline chain_workload factors(int n_factors) {
  constexpr arma::uword n = 5000, p = 6;
  Random rng(12, 0);
  arma::mat data(n, p);
  std::size_t missing = 0;
  for (arma::uword i = 0; i < n; ++i) {
    const double f = rng.rnorm(), g = n_factors == 2 ? 0.5 * f + rng.rnorm() : f;
    for (arma::uword j = 0; j < p; ++j) {
      const double value = (0.7 + 0.1 * static_cast<double>(j)) * (j < p / 2 ? f : g) + rng.rnorm();
      data(i, j) = rng.runif() < 0.1 ? arma::datum::nan : value;
      missing += std::isnan(data(i, j)) ? 1 : 0;
    }
  }
  const std::vector<std::string> statements =
      n_factors == 2 ? std::vector<std::string>{"f -> x1 x2 x3", "g -> x4 x5 x6", "g ~ f"}
                     : std::vector<std::string>{"f -> x1 x2 x3 x4 x5 x6"};
  const std::vector<std::string> latent =
      n_factors == 2 ? std::vector<std::string>{"f", "g"} : std::vector<std::string>{"f"};
  tests::small_run run({"x1", "x2", "x3", "x4", "x5", "x6"}, data, {}, statements, {}, {}, latent);
  tests::prepare(run);
  const std::size_t scores = n * static_cast<std::size_t>(n_factors);
  return {std::move(run), 12 + scores + missing, scores, static_cast<int>(p) + n_factors};
}

/// Six outcomes with correlated residuals in 5,000 rows, two predictors each; `held`: the correlation of the
/// first and the last is 0, so that the elements of the covariance matrix move one by one.
inline chain_workload correlated_outcomes(bool held) {
  constexpr arma::uword n = 5000, p = 6;
  Random rng(12, 0);
  arma::mat data(n, p + 2);
  for (arma::uword i = 0; i < n; ++i) {
    const double common = rng.rnorm();
    for (arma::uword j = p; j < p + 2; ++j) data(i, j) = rng.rnorm();
    for (arma::uword j = 0; j < p; ++j)
      data(i, j) =
          1.0 + 0.4 * data(i, p) - 0.2 * data(i, p + 1) + (j % 2 == 0 ? 0.7 : 0.4) * common + rng.rnorm();
  }
  std::vector<std::string> statements, names;
  for (arma::uword j = 0; j < p; ++j) {
    names.push_back("y" + std::to_string(j + 1));
    statements.push_back(names.back() + " ~ x1 x2");
  }
  for (arma::uword j = 0; j < p; ++j)
    for (arma::uword k = 0; k < j; ++k)
      if (!held || k > 0 || j + 1 < p) statements.push_back(names[k] + " <-> " + names[j]);
  names.insert(names.end(), {"x1", "x2"});
  // The whole matrix takes p normals for each degree of freedom.
  const std::size_t normals = 3 * p + (held ? 20 : p * (n - p - 1));
  return {tests::small_run(names, data, {}, statements), normals, held ? 20U : 0U, 0};
}

}  // namespace tovik::bench
