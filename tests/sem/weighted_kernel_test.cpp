// Whole chains under sampling weights: exact posteriors where there are any, and populations of which a
// sample with unequal chances was taken.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "model/defaults.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/outcomes/weighted.hpp"
#include "sem/outcomes/weighted_block.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::weighted_kernel_test {
namespace {

using strings = std::vector<std::string>;

/// A run whose columns "w" and "v" are sampling weights.
small_run weighted(const strings& names, const arma::mat& data, const strings& ids, const strings& statements,
                   const strings& ordinal = {}, const strings& latent = {}) {
  small_run run(names, data, ids, statements, {}, ordinal, latent);
  for (const char* name : {"w", "v"})
    if (auto weight = run.vars.find(name)) weight->type = data::type::weight;
  return run;
}

arma::mat by_weight(arma::mat x, const arma::vec& w) {
  x.each_col() %= w;
  return x;
}

/// Two groups of one population, half of it each; the sample has three of the first for one of the second.
struct groups {
  arma::vec is_second, w;
  explicit groups(arma::uword n) : is_second(n), w(n) {
    for (arma::uword i = 0; i < n; ++i) {
      is_second(i) = i % 4 == 3 ? 1.0 : 0.0;
      w(i) = is_second(i) != 0.0 ? 30.0 : 10.0;
    }
  }
};

TEST(WeightedRun, EachKindHasItsClassAndALevelWithoutWeightsThePlainOne) {
  Random rng(12, 1);
  arma::mat data = rng.randn(60, 7);
  for (arma::uword i = 0; i < 60; ++i) {
    data(i, 0) = static_cast<double>(i / 5);
    data(i, 4) = data(i - i % 5, 4);
    data(i, 5) = static_cast<double>(i % 3);
    data(i, 6) = 1.0 + static_cast<double>(i % 5);
  }
  small_run run = weighted({"id", "y", "a", "b", "z", "o", "w"}, data, {"id"},
                           {"y ~ 1 | 1", "z ~ 1", "o ~ 1 | 1", "f -> a b"}, {"o"}, {"f"});
  prepare(run);
  const auto chain = run.chain(Random(3, 1), {1, 1});
  for (unsigned i = 0; i < run.models.size(); ++i) {
    const sem::estimator::Outcome& model = chain->outcomes()->outcome(i);
    const std::string name = run.models[i].name();
    EXPECT_EQ(dynamic_cast<const sem::FactorWeighted*>(&model) != nullptr, name == "f") << name;
    EXPECT_EQ(dynamic_cast<const sem::OrdinalWeighted*>(&model) != nullptr, name == "o") << name;
    const bool normal = name == "y" || name == "a" || name == "b";
    EXPECT_EQ(dynamic_cast<const sem::NormalWeighted*>(&model) != nullptr, normal) << name;
    EXPECT_EQ(dynamic_cast<const sem::Regression&>(model).sampling() == nullptr, name == "z") << name;
  }
  burn_in(*chain, 20);
}

// Flat mean and variance: the squares S about the weighted mean have n - 3 degrees of freedom, so that the
// mean is m with the variance S / (n (n - 5)), and the variance has the mean S / (n - 5).
TEST(WeightedRun, MeanAndVarianceHaveTheirExactPosterior) {
  Random rng(13, 1);
  arma::mat data = rng.randn(25, 2);
  data.col(0) = 10.0 + 3.0 * data.col(0);
  data.col(1) = arma::exp(data.col(1));
  const arma::vec w = data.col(1) / arma::mean(data.col(1));
  const double m = arma::mean(w % data.col(0)), S = arma::accu(w % arma::square(data.col(0) - m));
  const small_run run = weighted({"y", "w"}, data, {}, {"y ~ 1"});
  const auto chain = run.chain(Random(6, 1), {2, 2});
  const arma::mat found = draws(*chain, 50, 20000);
  EXPECT_NEAR(arma::mean(found.row(0)), S / 20.0, 5.0 * mean_error(found.row(0)));
  EXPECT_NEAR(arma::mean(found.row(1)), m, 5.0 * mean_error(found.row(1)));
  const arma::rowvec squares = arma::square(found.row(1) - m);
  EXPECT_NEAR(arma::mean(squares), S / (25.0 * 20.0), 5.0 * mean_error(squares));
}

// As without weights (see BlockRun), with the weighted scatter about the weighted means.
TEST(WeightedRun, FreeMatrixOfABlockHasItsExactPosteriorMean) {
  Random rng(14, 1);
  arma::mat data = rng.randn(40, 3);
  data.col(1) += 0.6 * data.col(0);
  data.col(2) = arma::exp(data.col(2));
  const arma::vec w = data.col(2) / arma::mean(data.col(2));
  arma::mat e = data.cols(0, 1);
  e.each_row() -= arma::mean(by_weight(e, w));
  const arma::mat S = e.t() * by_weight(e, w) + arma::eye(2, 2);
  const small_run run = weighted({"a", "b", "w"}, data, {}, {"a ~ 1", "b ~ 1", "a <-> b"});
  const auto chain = run.chain(Random(7, 1), {1, 2});
  const sem::Multi* block = nullptr;
  for (unsigned i = 0; i < run.models.size(); ++i)
    if (run.models[i].is_multi())
      block = dynamic_cast<const sem::MultiWeightedUnstruct*>(&chain->outcomes()->outcome(i));
  ASSERT_NE(block, nullptr);
  burn_in(*chain, 50);
  arma::mat found(3, 20000);
  for (arma::uword t = 0; t < found.n_cols; ++t) {
    chain->oneRep();
    found.col(t) = block->params();
  }
  const double df = 39.0 + 3.0 - 3.0;
  const double wanted[] = {S(0, 0) / df, S(1, 0) / df, S(1, 1) / df};
  for (arma::uword k = 0; k < 3; ++k)
    EXPECT_NEAR(arma::mean(found.row(k)), wanted[k], 5.0 * mean_error(found.row(k))) << k;
}

/// The correlation in the population: 0.8 in one half of it, -0.4 in the other.
arma::mat two_correlations(const groups& of) {
  Random rng(15, 1);
  arma::mat data = rng.randn(static_cast<int>(of.w.n_elem), 4);
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double rho = of.is_second(i) != 0.0 ? -0.4 : 0.8;
    data(i, 1) = rho * data(i, 0) + std::sqrt(1.0 - rho * rho) * data(i, 1);
    data(i, 2) = data(i, 0) + data(i, 2);
  }
  data.col(3) = of.w;
  return data;
}

double weighted_correlation(const arma::mat& data, const arma::vec& raw) {
  const arma::vec w = raw / arma::mean(raw);
  arma::mat e = data.cols(0, 1);
  e.each_row() -= arma::mean(by_weight(e, w));
  const arma::mat S = e.t() * by_weight(e, w);
  return S(0, 1) / std::sqrt(S(0, 0) * S(1, 1));
}

/// Of a and b, whose columns are 0 and 1: by a block or by the only phantom.
double correlation(const sem::Mcmc& chain, const small_run& run) {
  for (unsigned i = 0; i < run.models.size(); ++i) {
    const sem::estimator::Outcome& model = chain.outcomes()->outcome(i);
    if (model.type == data::type::phantom) return model.params()(0);
    const auto* block = dynamic_cast<const sem::Multi*>(&model);
    if (block == nullptr) continue;
    arma::uword at[2] = {0, 0};
    for (const sem::Regression* member : block->members())
      if (member->y(0) < 2) at[member->y(0)] = block->position_of(*member);
    return block->correlations()(at[0], at[1]);
  }
  throw error_debug("No correlation.");
}

// The posterior has a width of about (1 - r^2) / sqrt(n) = 0.02; without weights r would be 0.5. A third
// outcome, uncorrelated with one of the two, leaves the block no free matrix.
TEST(WeightedRun, CorrelationIsThatOfThePopulationByABlockAndByAPhantom) {
  const groups of(1600);
  const arma::mat data = two_correlations(of);
  const double wanted = weighted_correlation(data, of.w);
  EXPECT_LT(wanted, 0.3);
  const strings two = {"a ~ 1", "b ~ 1", "a <-> b"};
  const strings three = {"a ~ 1", "b ~ 1", "c ~ a", "a <-> b", "b <-> c"};
  for (int way : {0, 1, 2}) {
    const Setting<bool> blocks(sem::defaults::optimize_models, way < 2);
    small_run run = weighted({"a", "b", "c", "w"}, data, {}, way == 1 ? three : two);
    prepare(run);
    const auto chain = run.chain(Random(8, 1), {1, 2});
    burn_in(*chain, 300);
    arma::running_stat<double> rho;
    for (int t = 0; t < 1500; ++t) {
      chain->oneRep();
      rho(correlation(*chain, run));
    }
    EXPECT_NEAR(rho.mean(), wanted, way == 1 ? 0.04 : 0.01) << way;
    EXPECT_NEAR(rho.stddev(), (1.0 - wanted * wanted) / 40.0, 0.006) << way;
  }
}

// Shares of four categories in groups that differ: the weighted shares, where the plain ones are off by 0.1.
TEST(WeightedRun, ThresholdsGiveTheSharesOfThePopulation) {
  const groups of(1200);
  Random rng(16, 1);
  arma::mat data(1200, 2);
  arma::vec share(4, arma::fill::zeros);
  for (arma::uword i = 0; i < 1200; ++i) {
    const double score = rng.rnorm() + (of.is_second(i) != 0.0 ? 1.2 : 0.0);
    data(i, 0) = score < -0.5 ? 0 : score < 0.3 ? 1 : score < 1.2 ? 2 : 3;
    data(i, 1) = of.w(i);
    share(static_cast<arma::uword>(data(i, 0))) += of.w(i) / arma::accu(of.w);
  }
  const small_run run = weighted({"o", "w"}, data, {}, {"o ~ 1"}, {"o"});
  const auto chain = run.chain(Random(9, 1), {1, 2});
  burn_in(*chain, 400);
  const auto& model = dynamic_cast<const sem::Ordinal&>(chain->outcomes()->outcome(0));
  arma::mat found(4, 4000);
  for (arma::uword t = 0; t < found.n_cols; ++t) {
    chain->oneRep();
    const double b = model.betas_(0);
    for (arma::uword k = 0; k < 4; ++k)
      found(k, t) = (k == 3 ? 1.0 : phi(model.tau()(k) - b)) - (k == 0 ? 0.0 : phi(model.tau()(k - 1) - b));
  }
  for (arma::uword k = 0; k < 4; ++k) EXPECT_NEAR(arma::mean(found.row(k)), share(k), 0.012) << k;
}

// Given Y*, b has the precision P = X'WX + I / 5 and the mean inv(P) X'W Y*, and Y* the plain distribution.
TEST(WeightedRun, CoefficientsOfAProbitModelHaveTheirClosedForm) {
  Random rng(17, 1);
  arma::mat data = rng.randn(30, 3);
  for (arma::uword i = 0; i < 30; ++i) data(i, 0) = data(i, 1) + rng.rnorm() > 0.0 ? 1.0 : 0.0;
  data.col(2) = arma::exp(data.col(2));
  const arma::vec w = data.col(2) / arma::mean(data.col(2));
  const small_run run = weighted({"o", "x", "w"}, data, {}, {"o ~ x"}, {"o"});
  const auto chain = run.chain(Random(10, 1), {1, 2});
  auto& model = const_cast<sem::Ordinal&>(dynamic_cast<const sem::Ordinal&>(chain->outcomes()->outcome(0)));
  const arma::mat X = arma::join_rows(arma::vec(30, arma::fill::ones), data.col(1));
  const arma::mat P = X.t() * by_weight(X, w) + arma::eye(2, 2) / sem::Ordinal::priBeta;
  const arma::mat R = arma::chol(P);
  const arma::vec start = {0.2, 0.5};
  std::vector<double> z[2], first;
  for (int t = 0; t < 20000; ++t) {
    model.betas_ = start;
    chain->oneRep();
    const arma::vec m = arma::solve(P, X.t() * (w % model.propensity.values));
    const arma::vec standard = R * (model.betas_.col(0) - m);
    for (int j : {0, 1}) z[j].push_back(standard(static_cast<arma::uword>(j)));
    first.push_back(model.propensity.values(0));
  }
  for (int j : {0, 1}) EXPECT_LT(kolmogorov(z[j], [](double x) { return phi(x); }), 2.5) << j;
  const double mu = start(0) + start(1) * X(0, 1), below = phi(-mu);
  const bool upper = data(0, 0) != 0.0;
  EXPECT_LT(kolmogorov(first,
                       [&](double x) {
                         const double F = phi(x - mu);
                         return upper ? (F - below) / (1.0 - below) : F / below;
                       }),
            2.5);
}

// x is missing mostly where the weights are large. With the likelihoods to the power of the weights in the
// draws of x its imputations would have the wrong spread: slope 1.4 and residual variance 0.5.
TEST(WeightedRun, MissingPredictorsAreImputedFromTheirPlainDistribution) {
  Random rng(18, 1);
  arma::mat data = rng.randn(2000, 3);
  for (arma::uword i = 0; i < 2000; ++i) {
    const bool heavy = i % 2 == 0;
    data(i, 1) = data(i, 0) + data(i, 1);
    data(i, 2) = heavy ? 1.75 : 0.25;
    if (rng.runif() < (heavy ? 0.7 : 0.1)) data(i, 0) = arma::datum::nan;
  }
  for (bool solved : {true, false}) {
    const Setting<bool> how(sem::sampler_settings::use_autosolver, solved);
    const small_run run = weighted({"x", "y", "w"}, data, {}, {"y ~ x", "x ~ 1"});
    const auto chain = run.chain(Random(11, 1), {1, 2});
    burn_in(*chain, 300);
    arma::running_stat<double> slope, variance;
    for (int t = 0; t < 1500; ++t) {
      chain->oneRep();
      for (unsigned i = 0; i < run.models.size(); ++i) {
        if (run.models[i].name() != "y") continue;
        const auto& y = dynamic_cast<const sem::Normal&>(chain->outcomes()->outcome(i));
        slope(y.betas_(1));
        variance(y.sigma2);
      }
    }
    EXPECT_NEAR(slope.mean(), 1.0, 0.12) << solved;
    EXPECT_NEAR(variance.mean(), 1.0, 0.15) << solved;
  }
}

// Half of the clusters of the population have the mean 0, half the mean 2: the
// sample has three of one for one of the other, and of the values within a cluster those above its mean have
// half the chance.
TEST(WeightedRun, WeightsOfBothLevelsGiveTheMeanOfThePopulation) {
  const groups of(200);
  Random rng(19, 1);
  arma::mat data(200 * 12, 4);
  double sum = 0.0;
  for (arma::uword c = 0; c < 200; ++c) {
    const double u = rng.rnorm() + (of.is_second(c) != 0.0 ? 2.0 : 0.0);
    for (arma::uword i = 0; i < 12; ++i) {
      double e = rng.rnorm();
      while (e > 0.0 && rng.runif() < 0.5) e = rng.rnorm();
      data.row(12 * c + i) = arma::rowvec{c + 1.0, u + e, e > 0.0 ? 2.0 : 1.0, of.w(c)};
    }
    sum += of.w(c) * u / arma::accu(of.w);
  }
  const small_run run = weighted({"id", "y", "w", "v"}, data, {"id"}, {"y ~ 1 | 1"});
  const auto chain = run.chain(Random(12, 1), {1, 2});
  const arma::mat found = draws(*chain, 200, 3000);
  // Of 200 effects with a variance of 2 the mean has an error of 0.1; that of u is known here.
  EXPECT_NEAR(arma::mean(found.row(2)), sum, 0.12);
  EXPECT_NEAR(arma::mean(found.row(0)), 2.0, 0.5);
  EXPECT_NEAR(arma::mean(found.row(1)), 1.0, 0.1);
}

}  // namespace
}  // namespace tovik::tests::weighted_kernel_test
