// Whole chains with blocks of outcomes whose residuals are correlated.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "model/defaults.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/outcomes/multi_struct.hpp"
#include "sem/outcomes/multi_unstruct.hpp"
#include "small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::block_run_test {
namespace {

using strings = std::vector<std::string>;

/// Three correlated outcomes with means and scales of their own, and a predictor.
arma::mat columns(arma::uword n) {
  Random rng(78, 1);
  const arma::mat Sigma = {{2.0, 0.9, 0.4}, {0.9, 1.0, 0.3}, {0.4, 0.3, 0.5}};
  arma::mat out = rng.randn(static_cast<int>(n), 4);
  out.cols(0, 2) = out.cols(0, 2) * arma::chol(Sigma);
  out.col(0) += 3.0 + 0.5 * out.col(3);
  out.col(1) += -1.0;
  return out;
}

const strings names = {"a", "b", "c", "x"};

sem::Multi& block_of(const sem::Mcmc& chain, const small_run& run) {
  for (unsigned i = 0; i < run.models.size(); ++i)
    if (run.models[i].is_multi())
      return dynamic_cast<sem::Multi&>(const_cast<sem::estimator::Outcome&>(chain.outcomes()->outcome(i)));
  throw error_debug("No block.");
}

/// Elements of the block's matrix (n draws), a column for each draw: those of the lower triangle by columns.
arma::mat matrices(sem::Mcmc& chain, const small_run& run, arma::uword n) {
  const sem::Multi& block = block_of(chain, run);
  arma::mat out(block.n_params(), n);
  for (arma::uword t = 0; t < n; ++t) {
    chain.oneRep();
    out.col(t) = block.params();
  }
  return out;
}

/// The mean of a series is that of another under the weights w.
void expect_same_mean(const arma::rowvec& series, const arma::rowvec& weighted, const arma::rowvec& w) {
  const double expected = arma::dot(w, weighted) / arma::accu(w);
  const arma::rowvec influence = w % (weighted - expected) / arma::mean(w);
  EXPECT_NEAR(arma::mean(series), expected, 4.5 * std::hypot(mean_error(series), mean_error(influence)));
}

// Flat means integrated out leave n - 1 degrees of freedom, the prior takes p + 1 (or none, or adds p + 1 and
// I): an inverse Wishart with df has the mean scale / (df - p - 1).
TEST(BlockRun, FreeMatrixHasItsExactPosteriorMean) {
  const arma::mat data = columns(40);
  const arma::mat S = arma::cov(data.cols(0, 1)) * 39.0;
  for (int prior : {1, 2, 3}) {
    const small_run run(names, data, {}, {"a ~ 1", "b ~ 1", "a <-> b"});
    auto chain = run.chain(Random(5, 1), {prior, 2});
    EXPECT_NE(dynamic_cast<sem::MultiUnstruct*>(&block_of(*chain, run)), nullptr);
    EXPECT_EQ(chain->outcomes()->n_estimated(), 5u);
    burn_in(*chain, 100);
    const arma::mat out = matrices(*chain, run, 20000);
    const double df = prior == 1 ? 42.0 : prior == 2 ? 36.0 : 39.0;
    const arma::mat mean = (prior == 1 ? arma::mat(S + arma::eye(2, 2)) : S) / (df - 3.0);
    const arma::vec exact = {mean(0, 0), mean(1, 0), mean(1, 1)};
    for (arma::uword k = 0; k < 3; ++k) {
      const arma::rowvec series = out.row(k);
      EXPECT_NEAR(arma::mean(series), exact(k), 4.5 * mean_error(series)) << prior << " " << k;
    }
  }
}

/// The element-wise steps have the target of the whole matrix, up to the prior of the label.
TEST(BlockRun, ElementsHaveThePosteriorOfTheWholeMatrix) {
  const arma::mat data = columns(30);
  const small_run free(names, data, {}, {"a ~ x", "b ~ 1", "c ~ 1", "a b <-> c", "a <-> b"});
  const small_run walk(names, data, {}, {"a ~ x", "b ~ 1", "c ~ 1", "a b <-> c", "a <-> b@r"},
                       {"r ~ uniform(-1, 1)"});
  auto one = free.chain(Random(5, 1), {2, 2}), two = walk.chain(Random(6, 1), {2, 2});
  EXPECT_NE(dynamic_cast<sem::MultiStruct*>(&block_of(*two, walk)), nullptr);
  burn_in(*one, 300);
  burn_in(*two, 1500);
  const arma::mat first = matrices(*one, free, 40000), second = matrices(*two, walk, 40000);
  // A uniform correlation at given variances is the flat matrix times 1 / sqrt(v_a v_b).
  arma::rowvec w(first.n_cols);
  for (arma::uword t = 0; t < w.n_elem; ++t) w(t) = 1.0 / std::sqrt(first(0, t) * first(3, t));
  for (arma::uword k = 0; k < 6; ++k) {
    SCOPED_TRACE(k);
    expect_same_mean(second.row(k), first.row(k), w);
  }
}

// Phantoms have flat variances and a uniform correlation, the block a flat matrix: draws of the block,
// weighted by the ratio of the priors, tell what phantoms must give.
TEST(BlockRun, PhantomsGiveTheSamePosterior) {
  arma::mat data = columns(60);
  for (arma::uword i = 0; i < 60; i += 7) data(i, 0) = arma::datum::nan;
  for (arma::uword i = 3; i < 60; i += 9) data(i, 1) = arma::datum::nan;
  const strings statements = {"a ~ x", "b ~ x", "a <-> b"};
  const small_run block(names, data, {}, statements);
  const Setting<bool> off(sem::defaults::optimize_models, false);
  small_run phantom(names, data, {}, statements);
  prepare(phantom);
  ASSERT_EQ(block.models.back().kind(), model::kind::block);
  ASSERT_EQ(phantom.models.back().kind(), model::kind::phantom);
  auto one = block.chain(Random(5, 1), {2, 2}), two = phantom.chain(Random(6, 1), {2, 2});
  burn_in(*one, 500);
  burn_in(*two, 2000);
  const arma::mat first = draws(*one, 0, 30000), second = draws(*two, 0, 60000);
  // Rows of an equation: residual variance, intercept, slope, standardized slope, two shares.
  arma::rowvec w(first.n_cols);
  for (arma::uword t = 0; t < w.n_elem; ++t) w(t) = 1.0 / std::sqrt(first(0, t) * first(6, t));
  const arma::uword rho = first.n_rows - 2;  // SD(a), Cor(a, b), SD(b)
  for (const auto& [k, l] : std::vector<std::pair<arma::uword, arma::uword>>{
           {0, 0}, {1, 1}, {2, 2}, {5, 5}, {6, 6}, {7, 7}, {8, 8}, {rho, 12}}) {
    SCOPED_TRACE(k);
    expect_same_mean(second.row(l), first.row(k), w);
  }
}

TEST(BlockRun, RowsAreTheMatrixAndItsCorrelations) {
  const small_run run(names, columns(30), {}, {"a ~ 1", "b ~ 1", "c ~ 1", "a <-> b", "b <-> c@0.4"});
  auto chain = run.chain(Random(5, 1));
  burn_in(*chain, 200);
  const arma::vec all = chain->getParams();
  const arma::vec rows = all.tail(12);  // Sigma by columns, then SD and Cor by columns
  arma::mat Sigma(3, 3);
  arma::uword at = 0;
  for (arma::uword j = 0; j < 3; ++j)
    for (arma::uword i = j; i < 3; ++i) Sigma(i, j) = Sigma(j, i) = rows(at++);
  const arma::mat R = cov2cor(Sigma);
  for (arma::uword j = 0; j < 3; ++j)
    for (arma::uword i = j; i < 3; ++i)
      EXPECT_NEAR(rows(at++), i == j ? std::sqrt(Sigma(j, j)) : R(i, j), 1e-12);
  EXPECT_EQ(R(2, 0), 0.0);
  EXPECT_NEAR(R(2, 1), 0.4, 1e-12);
  // Members report the elements of the same draw: residual variance, intercept, share.
  EXPECT_EQ(all(0), Sigma(0, 0));
  EXPECT_EQ(chain->outcomes()->n_estimated(), 3u + 3u + 1u);
}

TEST(BlockRun, SharesAreThoseOfTheCovarianceMatrixOfTheScan) {
  const small_run run(names, columns(30), {}, {"a ~ x", "b ~ 1", "a <-> b"});
  auto chain = run.chain(Random(5, 1));
  burn_in(*chain, 20);
  const arma::vec all = chain->getParams();
  // a: residual variance, intercept, slope, standardized slope, share of coefficients, share of residuals.
  const double coefficients = all(2) * all(2) * arma::var(run.data.col(3));
  EXPECT_NEAR(all(5), all(0) / (all(0) + coefficients), 1e-2);
  EXPECT_NEAR(all(4) + all(5), 1.0, 1e-12);
}

TEST(BlockRun, LabelsReadTheCorrelation) {
  const small_run run(names, columns(30), {}, {"a ~ 1", "b ~ 1", "a <-> b@r"},
                      {"twice = 2 * r", "v = a.residvar"});
  auto chain = run.chain(Random(5, 1));
  EXPECT_NE(dynamic_cast<sem::MultiUnstruct*>(&block_of(*chain, run)), nullptr);
  burn_in(*chain, 30);
  const sem::Multi& block = block_of(*chain, run);
  const arma::vec computed = chain->outcomes()->computations();
  EXPECT_EQ(computed(0), 2.0 * block.correlations()(1, 0));
  EXPECT_EQ(computed(1), block.covariance()(0, 0));
}

/// What a label moves beside its correlation enters the same step.
TEST(BlockRun, LabelThatIsACoefficientToo) {
  small_run run(names, columns(60), {}, {"a ~ 1", "b ~ 1", "c ~ x@r", "a <-> b@r"});
  auto chain = run.chain(Random(5, 1), {2, 2});
  burn_in(*chain, 1500);
  const arma::mat out = draws(*chain, 0, 40000);
  // c: residual variance, intercept, slope.
  const arma::uword slope = [&] {
    for (arma::uword i = 0, row = 0; i < run.models.size(); row += run.models[i++].n_rows())
      if (run.models[i].name() == "c") return row + 2;
    throw error_debug("No such model.");
  }();
  const arma::rowvec rho = out.row(out.n_rows - 2);
  EXPECT_LT(arma::abs(rho - out.row(slope)).max(), 1e-9);
  // Independent data: the density of rho is that of the correlation times that of the slope. The former under
  // the flat matrix with flat means, from a chain of its own; the latter is Student's t.
  const small_run alone(names, columns(60), {}, {"a ~ 1", "b ~ 1", "a <-> b"});
  auto reference = alone.chain(Random(6, 1), {2, 2});
  burn_in(*reference, 100);
  const arma::mat first = matrices(*reference, alone, 60000);
  const arma::vec y = run.data.col(2), x = run.data.col(3) - arma::mean(run.data.col(3));
  const double b = arma::dot(x, y) / arma::dot(x, x);
  const arma::vec e = y - arma::mean(y) - b * x;
  arma::rowvec r(first.n_cols), w(first.n_cols);
  for (arma::uword t = 0; t < r.n_elem; ++t) {
    r(t) = first(1, t) / std::sqrt(first(0, t) * first(2, t));
    // s2 ~ flat integrated out: (SSE + (r - b)^2 x'x)^-(n - 1 - 2) / 2.
    w(t) = std::pow(1.0 + (r(t) - b) * (r(t) - b) * arma::dot(x, x) / arma::dot(e, e), -0.5 * (60 - 3));
  }
  const double expected = arma::dot(w, r) / arma::accu(w);
  const arma::rowvec influence = w % (r - expected) / arma::mean(w);
  EXPECT_NEAR(arma::mean(rho), expected, 4.5 * std::hypot(mean_error(rho), mean_error(influence)));
}

TEST(BlockRun, UnitsOfTheDataDoNotMatter) {
  const arma::mat data = columns(40);
  arma::mat scaled = data;
  scaled.col(0) *= 1000.0;
  const strings statements = {"a ~ x", "b ~ 1", "c ~ 1", "a <-> b", "b <-> c"};
  const small_run one(names, data, {}, statements), two(names, scaled, {}, statements);
  auto first = one.chain(Random(5, 1), {2, 2}), second = two.chain(Random(5, 1), {2, 2});
  for (int i = 0; i < 300; ++i) {
    first->oneRep();
    second->oneRep();
    if (i % 50 == 49) {
      first->tune();
      second->tune();
    }
  }
  const arma::vec small = block_of(*first, one).params(), large = block_of(*second, two).params();
  const arma::vec factors = {1e6, 1e3, 1e3, 1.0, 1.0, 1.0};
  for (arma::uword k = 0; k < 6; ++k)
    EXPECT_NEAR(large(k), factors(k) * small(k), 1e-6 * std::fabs(large(k)));
}

/// The joint density of the cells that are there, once, in the slice of the block.
TEST(BlockRun, LikelihoodIsThatOfTheObservedCells) {
  arma::mat data = columns(20);
  data(2, 0) = data(5, 1) = data(5, 2) = arma::datum::nan;
  data(7, 0) = data(7, 1) = data(7, 2) = arma::datum::nan;
  const small_run run(names, data, {}, {"a ~ x", "b ~ 1", "c ~ 1", "a <-> b", "b <-> c"});
  auto chain = run.chain(Random(5, 1));
  burn_in(*chain, 50);
  const arma::mat Sigma = block_of(*chain, run).covariance();
  const auto outcomes = chain->outcomes();
  const arma::cube cube = chain->getLikelihoods();
  ASSERT_EQ(cube.n_slices, 5u);
  for (arma::uword m = 0; m < 3; ++m) EXPECT_EQ(arma::accu(arma::abs(cube.slice(m))), 0.0);
  EXPECT_TRUE(arma::approx_equal(cube.slice(3), cube.slice(4), "absdiff", 0.0));
  for (arma::uword i = 0; i < 20; ++i) {
    std::vector<arma::uword> there;
    arma::vec e;
    for (arma::uword m = 0; m < 3; ++m) {
      if (std::isnan(data(i, m))) continue;
      const arma::mat& b = outcomes->betas(static_cast<unsigned>(m));
      const double mean = b(0) + (m == 0 ? b(1) * data(i, 3) : 0.0);
      there.push_back(m);
      e.insert_rows(e.n_elem, arma::vec{data(i, m) - mean});
    }
    const arma::uvec at(there);
    const double expected = there.empty() ? 0.0 : dmvnorm(e.t(), Sigma(at, at));
    EXPECT_NEAR(cube(i, 1, 3), expected, 1e-10) << i;
    EXPECT_NEAR(cube(i, 0, 3), expected, 1e-10) << i;
  }
}

TEST(BlockRun, SumOfLikelihoodsCountsTheBlockOnce) {
  const small_run run(names, columns(20), {}, {"a ~ x", "b ~ 1", "c ~ 1", "a <-> b"});
  auto chain = run.chain(Random(5, 1));
  burn_in(*chain, 20);
  const arma::cube cube = chain->getLikelihoods();
  arma::vec sum(20, arma::fill::zeros);
  for (arma::uword m = 0; m + 1 < cube.n_slices; ++m) sum += cube.slice(m).col(1);
  EXPECT_TRUE(arma::approx_equal(cube.slice(cube.n_slices - 1).col(1), sum, "absdiff", 1e-12));
  EXPECT_NEAR(chain->outcomes()->logLiklihood(run.data), arma::accu(sum), 1e-8);
}

TEST(BlockRun, LabelledVariancesAreRefused) {
  const small_run run(names, columns(30), {}, {"a ~ 1", "b ~ 1", "a <-> b", "a ~~ a@v"});
  EXPECT_EQ(run.failure(),
            "ERROR: Cannot specify priors or constraints for variances in multivariate models.\n"
            "       Phantom variable correlations are required.\n"
            "       Set 'OPTIONS: use_phantom;' and rerun the model.");
}

TEST(BlockRun, FixedVariancesAndCorrelationsStayWhereTheyAre) {
  const small_run run(names, columns(30), {},
                      {"a ~ 1", "b ~ 1", "c ~ 1", "a <-> b@0.3", "b <-> c", "c ~~ c@0.6"});
  auto chain = run.chain(Random(5, 1));
  for (int i = 0; i < 100; ++i) {
    chain->oneRep();
    const sem::Multi& block = block_of(*chain, run);
    ASSERT_EQ(block.covariance()(2, 2), 0.6);
    ASSERT_NEAR(block.correlations()(1, 0), 0.3, 1e-12);
    ASSERT_EQ(block.covariance()(2, 0), 0.0);
  }
}

TEST(BlockRun, FixedCorrelationsOfNoVariablesAreRefusedByName) {
  const small_run run(names, columns(30), {},
                      {"a ~ 1", "b ~ 1", "c ~ 1", "a <-> b@0.9", "b <-> c@0.9", "a <-> c@-0.9"});
  EXPECT_EQ(run.failure().rfind("ERROR: No variables have the fixed correlations of 'a', 'b' and 'c'.", 0),
            0u)
      << run.failure();
}

/// Two strong known correlations leave the third little room, and not at 0.
TEST(BlockRun, FreeCorrelationsStartWhereKnownOnesLeaveRoom) {
  const small_run run(names, columns(30), {},
                      {"a ~ 1", "b ~ 1", "c ~ 1", "a <-> b@0.9", "b <-> c@0.9", "a <-> c"});
  auto chain = run.chain(Random(5, 1));
  burn_in(*chain, 200);
  EXPECT_GT(block_of(*chain, run).correlations()(2, 0), 0.62);
}

TEST(BlockRun, PropensitiesOfMembersKeepTheirUnit) {
  arma::mat data = columns(60);
  data.col(1).transform([](double b) { return b > -1.0 ? (b > 0.0 ? 3.0 : 2.0) : 1.0; });
  data(4, 1) = data(9, 0) = arma::datum::nan;
  small_run run(names, data, {}, {"a ~ x", "b ~ x", "a <-> b"}, {}, {"b"});
  auto chain = run.chain(Random(5, 1));
  EXPECT_NE(dynamic_cast<sem::MultiStruct*>(&block_of(*chain, run)), nullptr);
  burn_in(*chain, 300);
  const sem::Multi& block = block_of(*chain, run);
  EXPECT_EQ(block.covariance()(1, 1), 1.0);
  EXPECT_GT(block.correlations()(1, 0), 0.1);
  EXPECT_TRUE(chain->getParams().is_finite());
  EXPECT_TRUE(arma::cube(chain->getLikelihoods()).is_finite());
}

/// Residuals that the block keeps between draws, and those that members keep within one, checked at every
/// step: members that read each other, incomplete predictors, labels, random effects.
TEST(BlockRun, ResidualsThatAreKeptAreThoseOfTheData) {
  const Setting<bool> check(sem::Regression::check_residuals, true);
  arma::mat data(60, 6);
  data.cols(0, 3) = columns(60);
  Random rng(79, 1);
  for (arma::uword i = 0; i < 60; ++i) {
    data(i, 4) = static_cast<double>(i / 6);
    data(i, 5) = rng.rnorm();
    if (i % 7 == 2) data(i, 0) = arma::datum::nan;
    if (i % 8 == 3) data(i, 3) = arma::datum::nan;
  }
  const strings wide = {"a", "b", "c", "x", "id", "w"};
  for (const strings& statements :
       std::vector<strings>{{"a ~ w", "b ~ w", "c ~ 1", "a <-> b", "b <-> c"},
                            {"a ~ w", "b ~ a x", "c ~ x", "a b <-> c", "a <-> b"},
                            {"a ~ w@k | w", "b ~ w@k", "a <-> b", "b[id] <-> a[id]"}}) {
    small_run run(wide, data, {"id"}, statements);
    prepare(run);
    auto chain = run.chain(Random(5, 1), {1, 1});
    EXPECT_NO_THROW(burn_in(*chain, 150));
    EXPECT_TRUE(chain->getParams().is_finite());
  }
}

TEST(BlockRun, TransformationsWithAParameterStayOutOfBlocks) {
  const small_run run(names, columns(30), {}, {"yjt(a) ~ 1", "b ~ 1", "a <-> b"});
  for (const Model& model : run.models) EXPECT_FALSE(model.is_multi());
}

}  // namespace
}  // namespace tovik::tests::block_run_test
