// Factors with correlated residuals, and indicators with correlated residuals, as blocks and with phantom
// variables: two parametrisations and two samplers of one model.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "model/defaults.hpp"
#include "sample_tests.hpp"
#include "sem/small_run.hpp"

namespace tovik::tests::correlated_factors_test {
namespace {

using strings = std::vector<std::string>;

const strings names = {"a1", "a2", "a3", "b1", "b2", "b3", "x"};

/// Two factors that x predicts, three indicators each, of which the last two have correlated residuals; one
/// cell in ten is missing.
arma::mat columns() {
  Random rng(781, 1);
  arma::mat out(150, 7);
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    const double x = rng.rnorm(), common = rng.rnorm(), shared = rng.rnorm();
    const double f = 0.5 * x + 0.7 * common + 0.7 * rng.rnorm(), g = -0.4 * x + 0.7 * common + rng.rnorm();
    for (arma::uword k = 0; k < 6; ++k) {
      const double score = k < 3 ? 1.5 * f : g;
      out(i, k) = 2.0 + score + (k % 3 == 0 ? 0.0 : 0.4 * shared) + 0.6 * rng.rnorm();
      if (rng.runif() < 0.1) out(i, k) = arma::datum::nan;
    }
    out(i, 6) = x;
  }
  return out;
}

/// The first row of each equation among the draws.
std::vector<arma::uword> first_rows(const small_run& run) {
  std::vector<arma::uword> out;
  arma::uword at = 0;
  for (const Model& model : run.models) {
    out.push_back(at);
    at += model.n_rows();
  }
  return out;
}

arma::mat posterior(const small_run& run, std::uint32_t seed, arma::uword n) {
  const auto chain = run.chain(Random(seed, 1), {2, 2});
  for (int t = 0; t < 20; ++t) {
    draws(*chain, 0, 100);
    chain->tune();
  }
  return draws(*chain, 500, n);
}

struct compared {
  std::string name;
  arma::uword of_block, of_phantoms;
};

/// Rows of the equations, and the correlation that the block has and the phantom carries.
std::vector<compared> common_rows(const small_run& block, const small_run& phantom) {
  const std::vector<arma::uword> left = first_rows(block), right = first_rows(phantom);
  std::vector<compared> out;
  for (unsigned i = 0; i < block.models.size(); ++i) {
    for (unsigned j = 0; j < phantom.models.size(); ++j) {
      if (block.models[i].is_multi() && phantom.models[j].kind() == model::kind::phantom)
        out.push_back({"correlation", left[i] + 4, right[j]});  // Sigma, SD, Cor, SD
      if (block.models[i].is_multi() || block.models[i].name() != phantom.models[j].name()) continue;
      for (unsigned k = 0; k < block.models[i].n_rows(); ++k)
        out.push_back({block.models[i].name() + " " + std::to_string(k), left[i] + k, right[j] + k});
    }
  }
  return out;
}

// Phantoms have flat variances and a uniform correlation, the block a flat matrix: draws of the block,
// weighted by the ratio of the priors, 1 / sqrt(v_1 v_2), tell what phantoms must give. Each mean fails at 5
// of its Monte Carlo errors: for about 90 rows that is once in 20,000 runs.
void expect_same_posterior(const strings& statements) {
  small_run block(names, columns(), {}, statements, {}, {}, {"f", "g"});
  const Setting<bool> off(sem::defaults::optimize_models, false);
  small_run phantom(names, columns(), {}, statements, {}, {}, {"f", "g"});
  prepare(block);
  prepare(phantom);
  ASSERT_EQ(block.models.back().kind(), model::kind::block);
  const arma::uword matrix = first_rows(block).back();
  const arma::mat first = posterior(block, 5, 30000), second = posterior(phantom, 6, 80000);
  const arma::rowvec w = 1.0 / arma::sqrt(first.row(matrix) % first.row(matrix + 2));
  const std::vector<compared> rows = common_rows(block, phantom);
  bool has_correlation = false;
  for (const compared& row : rows) {
    const arma::rowvec of_block = first.row(row.of_block), series = second.row(row.of_phantoms);
    has_correlation = has_correlation || row.name == "correlation";
    const double expected = arma::dot(w, of_block) / arma::accu(w);
    if (!(arma::stddev(series) > 1e-10)) {
      EXPECT_NEAR(arma::mean(series), expected, 1e-8) << row.name;
      continue;
    }
    for (const bool squares : {false, true}) {
      const arma::rowvec a = squares ? arma::rowvec(arma::square(of_block - expected)) : of_block;
      const arma::rowvec b = squares ? arma::rowvec(arma::square(series - expected)) : series;
      const double mean = arma::dot(w, a) / arma::accu(w);
      const arma::rowvec influence = w % (a - mean) / arma::mean(w);
      EXPECT_NEAR(arma::mean(b), mean, 5.0 * std::hypot(mean_error(b), mean_error(influence)))
          << row.name << (squares ? " squared" : "");
    }
  }
  EXPECT_TRUE(has_correlation);
}

TEST(CorrelatedFactors, AsOutcomesOfABlockHaveThePosteriorOfPhantoms) {
  expect_same_posterior({"f -> a1 a2 a3", "g -> b1 b2 b3", "f ~ x", "g ~ x", "f <-> g"});
}

TEST(CorrelatedFactors, WithABlockOfIndicatorsHaveThePosteriorOfPhantoms) {
  expect_same_posterior({"f -> a1 a2 a3", "g -> b1 b2 b3", "g ~ f", "f ~ x", "a3 <-> b3"});
}

}  // namespace
}  // namespace tovik::tests::correlated_factors_test
