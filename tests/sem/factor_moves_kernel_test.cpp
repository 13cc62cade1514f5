// Moves of all scores of a factor with what is measured in their units leave the joint distribution of
// scores, parameters and indicators unchanged, and move far.

#include <gtest/gtest.h>

#include <cmath>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/ensemble/collapsed_factor.hpp"
#include "sem/ensemble/factor_moves.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/wiring/settings.hpp"
#include "small_run.hpp"

namespace tovik::tests::factor_moves_kernel_test {
namespace {

/// f ~ N(0, v) and three indicators: the first with a known loading, the second with a known intercept, the
/// third with neither; what is not known has a normal prior, variances the inverse gamma (1, 1/2).
struct Indicators {
  static constexpr arma::uword column = 9;
  World world;
  LoneEstimator estimator;
  Random rng{708, 2U};
  std::shared_ptr<sem::Factor> factor;
  std::vector<std::shared_ptr<sem::Normal>> readers;
  std::unique_ptr<sem::factor_moves> moves;

  Indicators(unsigned levels, const nesting& sizes, unsigned level, bool known_variance)
      : world(levels, sizes, 707), estimator(707) {
    world.data.insert_cols(column, 3);
    factor = std::make_shared<sem::Factor>(&estimator, factor_setup(level, known_variance));
    for (arma::uword k = 0; k < 3; ++k)
      readers.push_back(std::make_shared<sem::Normal>(&estimator, reader_setup(k)));
    readers[0]->betas_(1) = 0.8;
    readers[1]->betas_(0) = 0.3;
    const std::vector<sem::factor_moves::reader> all = {
        {readers[0].get(), 1}, {readers[1].get(), 1}, {readers[2].get(), 1}};
    EXPECT_TRUE(sem::factor_moves::suits(*factor, all));
    moves = std::make_unique<sem::factor_moves>(*factor, all);
  }

  sem::equation_setup with_columns(sem::equation_setup setup) const {
    setup.prior = {1, 1};
    setup.mutable_columns.assign(world.data.n_cols, false);
    for (arma::uword j : {1u, 9u, 10u, 11u}) setup.mutable_columns[j] = true;
    return setup;
  }
  sem::equation_setup factor_setup(unsigned level, bool known_variance) const {
    sem::equation_setup setup = with_columns(world.setup(level, {0}));
    setup.y = column;
    setup.fixed = {0};
    setup.fixed_values = {0.0};
    setup.estimate_resid = !known_variance;
    setup.resid_value = 0.7;
    return setup;
  }
  sem::equation_setup reader_setup(arma::uword k) const {
    sem::equation_setup setup = with_columns(world.setup(0, {0, column}));
    setup.y = k == 0 ? 1 : column + k;
    setup.coefficients = sem::scan::coefficient_prior::ridge(k == 2 ? 1.0 : 0.5);
    if (k < 2) setup.fixed = {k == 0 ? arma::uword{1} : arma::uword{0}};
    if (k < 2) setup.fixed_values = {k == 0 ? 0.8 : 0.3};
    return setup;
  }

  void draw_joint() {
    if (factor->estimate_resid) factor->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    arma::vec f(factor->n_units);
    for (double& v : f) v = std::sqrt(factor->sigma2) * rng.rnorm();
    for (arma::uword i = 0; i < world.data.n_rows; ++i)
      world.data(i, column) = f(world.units[factor->level](i));
    for (const auto& y : readers) {
      y->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
      for (arma::uword j : y->free) y->betas_(j) = std::sqrt(y->coefficient_variance(j)) * rng.rnorm();
      for (arma::uword i = 0; i < world.data.n_rows; ++i)
        world.data(i, y->y(0)) =
            y->betas_(0) + y->betas_(1) * world.data(i, column) + std::sqrt(y->sigma2) * rng.rnorm();
    }
  }

  std::vector<double> functions() const {
    const arma::vec f = factor->compute_residual(world.data);
    const double sd = std::sqrt(factor->sigma2);
    std::vector<double> out = {f(0) / sd, arma::accu(f) / sd, std::log(arma::dot(f, f)), std::atan(f(0))};
    if (factor->estimate_resid) out.push_back(std::log(factor->sigma2));
    for (const auto& y : readers) {
      const arma::vec e = y->compute_residual(world.data);
      const double s = std::sqrt(y->sigma2);
      for (arma::uword j : y->free) out.insert(out.end(), {y->betas_(j), y->betas_(j) * f(0) / sd});
      out.insert(out.end(), {e(0) / s, arma::accu(e) / s, std::log(arma::dot(e, e) / y->sigma2),
                             e(0) * f(0) / (s * sd)});
    }
    return out;
  }
};

/// 8000 replications of a step on factor and indicators. Returns how often `moves` finds the last loading
/// moved.
template <typename Step, typename Moves>
double share_of_moves(Indicators& w, int applications, Step step, Moves moves) {
  constexpr int replications = 8000;
  double before = 0.0;
  int moved = 0;
  const auto loading = [&] { return w.readers[2]->betas_(1); };
  kernel_leaves_joint(
      {.replications = replications,
       .applications = applications,
       .before = [&] { before = loading(); },
       .after = [&] { moved += moves(before, loading()); }},
      [&] { w.draw_joint(); }, [&] { return w.functions(); }, step);
  return static_cast<double>(moved) / replications;
}

/// The scores have a solved distribution.
void solve(Indicators& w) {
  auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
  const arma::uvec units = w.factor->missing_rows;
  const auto level = static_cast<int>(w.factor->level);
  solver->rng = &w.estimator.random;
  solver->functions.push_back(w.factor->dist_self(units));
  for (const auto& y : w.readers)
    solver->functions.push_back(
        y->distributionFunc(sem::distribution_type::fixed,
                            sem::autosolver::solution::constant(1, Indicators::column), level, units));
  w.factor->addDist(solver, sem::distribution_type::fixed);
}

void draws_leave_joint(Indicators& w) {
  std::vector<sem::factor_moves::reader> readers;
  for (const auto& y : w.readers) readers.push_back({y.get(), 1});
  EXPECT_FALSE(sem::collapsed_factor::suits(*w.factor, readers));
  solve(w);
  ASSERT_TRUE(sem::collapsed_factor::suits(*w.factor, readers));
  sem::collapsed_factor collapsed(*w.factor, readers);
  const double moved = share_of_moves(
      w, 3, [&] { collapsed.draw(w.world.data, w.rng); },
      [](double from, double to) { return std::fabs(to - from) > 0.05; });
  EXPECT_GT(moved, 0.8);
}

TEST(CollapsedFactor, LeavesTheJointDistribution) {
  Indicators w(1, {{7}}, 0, false);
  draws_leave_joint(w);
}

TEST(CollapsedFactor, LeavesTheJointDistributionWithAKnownVariance) {
  Indicators w(1, {{7}}, 0, true);
  draws_leave_joint(w);
}

TEST(CollapsedFactor, TakesNoIndicatorsOfLowerUnits) {
  Indicators w(2, {{3, 1, 4}, {2, 3}}, 1, false);
  solve(w);
  EXPECT_FALSE(sem::collapsed_factor::suits(*w.factor, {{w.readers[0].get(), 1}}));
}

void moves_leave_joint(Indicators& w) {
  const double moved = share_of_moves(
      w, 4, [&] { w.moves->draw(w.world.data, w.rng); },
      [](double from, double to) { return std::fabs(std::log(to / from)) > 0.05; });
  EXPECT_GT(moved, 0.5);
}

TEST(FactorMoves, LeaveTheJointDistributionOfRows) {
  Indicators w(1, {{7}}, 0, false);
  moves_leave_joint(w);
}

TEST(FactorMoves, LeaveTheJointDistributionWithAKnownVariance) {
  Indicators w(1, {{7}}, 0, true);
  moves_leave_joint(w);
}

TEST(FactorMoves, LeaveTheJointDistributionOfAFactorOfClusters) {
  Indicators w(2, {{3, 1, 4}, {2, 3}}, 1, false);
  moves_leave_joint(w);
}

/// A factor of two predictors, one with a large mean, and with random effects of `levels - 1` levels, the
/// lower one with a slope; of its two indicators one has a known intercept, which holds the scores.
struct Mixed {
  static constexpr arma::uword column = 9;
  World world;
  LoneEstimator estimator{711};
  Random rng{712, 2U};
  std::shared_ptr<sem::Factor> factor;
  std::vector<std::shared_ptr<sem::Normal>> readers;
  std::unique_ptr<sem::factor_moves> moves;
  std::vector<arma::mat> roots;  ///< of the covariance matrices of effects

  Mixed(unsigned levels, const nesting& sizes) : world(levels, sizes, 713) {
    world.data.insert_cols(column, 2);
    world.data.col(2) += 4.0;
    sem::equation_setup own = world.setup(0, {0, 2, 3});
    own.y = column;
    own.fixed = {0};
    own.fixed_values = {0.0};
    own.coefficients = sem::scan::coefficient_prior::ridge(0.5);
    for (unsigned L = 0; L < own.n_levels; ++L) {
      own.z[L] = L == 0 ? arma::uvec{0, 3} : arma::uvec{0};
      own.icept[L] = 1;
    }
    factor = std::make_shared<sem::Factor>(&estimator, moving(own));
    for (unsigned L = 0; L < own.n_levels; ++L) {
      arma::mat S = {{0.8, 0.3}, {0.3, 0.5}};
      if (L > 0) S = S.submat(1, 1, 1, 1);
      factor->Sigma[L] = S;
      factor->iSigma[L] = arma::inv(S);
      roots.push_back(arma::chol(S));
    }
    for (arma::uword k = 0; k < 2; ++k) {
      sem::equation_setup one = world.setup(0, {0, column});
      one.y = k == 0 ? 1 : column + 1;
      one.coefficients = sem::scan::coefficient_prior::ridge(0.5);
      if (k == 0) one.fixed = {0};
      if (k == 0) one.fixed_values = {0.3};
      readers.push_back(std::make_shared<sem::Normal>(&estimator, moving(one)));
    }
    moves = std::make_unique<sem::factor_moves>(
        *factor, std::vector<sem::factor_moves::reader>{{readers[0].get(), 1}, {readers[1].get(), 1}});
  }

  sem::equation_setup moving(sem::equation_setup setup) const {
    setup.prior = {1, 1};
    setup.mutable_columns.assign(world.data.n_cols, false);
    for (arma::uword j : {1u, 9u, 10u}) setup.mutable_columns[j] = true;
    return setup;
  }

  void draw_joint() {
    const arma::uword n = world.data.n_rows;
    factor->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    for (arma::uword j : factor->free)
      factor->betas_(j) = std::sqrt(factor->coefficient_variance(j)) * rng.rnorm();
    for (std::size_t L = 0; L < factor->u.size(); ++L)
      for (arma::uword k = 0; k < factor->u[L].n_rows; ++k) {
        arma::rowvec z(factor->u[L].n_cols);
        for (double& x : z) x = rng.rnorm();
        factor->u[L].row(k) = z * roots[L];
      }
    world.data.col(column).zeros();
    const arma::vec eta = -factor->compute_residual(world.data);
    for (arma::uword i = 0; i < n; ++i)
      world.data(i, column) = eta(i) + std::sqrt(factor->sigma2) * rng.rnorm();
    for (const auto& y : readers) {
      y->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
      for (arma::uword j : y->free) y->betas_(j) = std::sqrt(y->coefficient_variance(j)) * rng.rnorm();
      for (arma::uword i = 0; i < n; ++i)
        world.data(i, y->y(0)) =
            y->betas_(0) + y->betas_(1) * world.data(i, column) + std::sqrt(y->sigma2) * rng.rnorm();
    }
  }

  std::vector<double> functions() const {
    const arma::vec e = factor->compute_residual(world.data), f = world.data.col(column);
    const double sd = std::sqrt(factor->sigma2);
    std::vector<double> out = {e(0) / sd, arma::accu(e) / sd, std::log(arma::dot(e, e) / factor->sigma2),
                               std::atan(f(0))};
    for (arma::uword j : factor->free) {
      const double b = factor->betas_(j);
      out.insert(out.end(), {b, b * e(0) / sd, b * b});
    }
    for (const arma::mat& u : factor->u) {
      out.insert(out.end(), {u(0, 0), arma::accu(u.col(0)), arma::dot(u.col(0), u.col(0)),
                             u(0, 0) * factor->betas_(1), u(0, 0) * e(0) / sd});
      if (u.n_cols > 1) out.push_back(u(0, 0) * u(0, 1));
    }
    for (const auto& y : readers) {
      const arma::vec r = y->compute_residual(world.data);
      const double s = std::sqrt(y->sigma2);
      for (arma::uword j : y->free) out.insert(out.end(), {y->betas_(j), y->betas_(j) * e(0) / sd});
      out.insert(out.end(), {r(0) / s, arma::accu(r) / s, r(0) * e(0) / (s * sd)});
    }
    return out;
  }
};

void shifts_leave_joint(Mixed& w) {
  Samples fresh, after;
  double moved = 0.0;
  constexpr int replications = 8000;
  for (int rep = 0; rep < replications; ++rep) {
    w.draw_joint();
    fresh.add(w.functions());
    w.draw_joint();
    const double before = w.factor->betas_(1);
    for (int t = 0; t < 3; ++t) w.moves->move_location(w.world.data, w.rng);
    moved += std::fabs(w.factor->betas_(1) - before) > 0.05 ? 1.0 : 0.0;
    after.add(w.functions());
  }
  expect_same_distribution(fresh, after);
  EXPECT_GT(moved, 0.5 * replications);
}

TEST(FactorMoves, ShiftWithSlopesLeavesTheJointDistribution) {
  Mixed w(1, {{7}});
  shifts_leave_joint(w);
}

TEST(FactorMoves, ShiftWithSlopesAndRandomEffectsLeavesTheJointDistribution) {
  Mixed w(2, {{3, 1, 4}});
  shifts_leave_joint(w);
}

TEST(FactorMoves, ShiftWithRandomEffectsOfTwoLevelsLeavesTheJointDistribution) {
  Mixed w(3, {{3, 1, 4}, {2, 3}});
  shifts_leave_joint(w);
}

// Chains.

const std::vector<std::string> names = {"id", "x", "y", "y2", "z", "w", "o"};

/// Three indicators of a factor, one of it ordinal, in 40 clusters of 4 rows.
arma::mat columns() {
  Random rng(9, 1);
  arma::mat out(160, 7);
  for (arma::uword i = 0; i < 160; ++i) {
    const double z = rng.rnorm(), f = 0.5 * z + rng.rnorm(), s = 0.7 * f + 0.4 + rng.rnorm();
    out.row(i) = arma::rowvec{static_cast<double>(i / 4),
                              2.0 + f + 0.6 * rng.rnorm(),
                              0.8 * f + 0.6 * rng.rnorm(),
                              1.2 * f - 1.0 + 0.8 * rng.rnorm(),
                              z,
                              0.5 * f + rng.rnorm(),
                              s > 0.6   ? 3.0
                              : s > 0.0 ? 2.0
                                        : 1.0};
  }
  return out;
}

arma::mat chain_draws(const std::vector<std::string>& statements, bool fast, arma::uword n,
                      const std::vector<std::string>& latent) {
  const Setting<bool> moves(sem::sampler_settings::move_factors, fast);
  const Setting<bool> solver(sem::sampler_settings::use_autosolver, fast);
  small_run run(names, columns(), {"id"}, statements, {}, {"o"}, latent);
  prepare(run);
  const auto chain = run.chain(Random(fast ? 31 : 32, 1), {1, 1});
  for (int t = 0; t < 10; ++t) {
    draws(*chain, 0, 100);
    chain->tune();
  }
  return draws(*chain, 500, n);
}

/// Means, and squares about the same centre, within 4 (5) of their Monte Carlo errors.
void expect_same_posterior(const std::vector<std::string>& statements,
                           const std::vector<std::string>& latent) {
  const arma::mat fast = chain_draws(statements, true, 10000, latent),
                  slow = chain_draws(statements, false, 40000, latent);
  for (arma::uword k = 0; k < fast.n_rows; ++k) {
    if (!(arma::stddev(slow.row(k)) > 1e-10)) continue;
    const double centre = arma::mean(fast.row(k));
    const arma::rowvec a = arma::square(fast.row(k) - centre), b = arma::square(slow.row(k) - centre);
    EXPECT_LT(std::fabs(centre - arma::mean(slow.row(k))),
              4.0 * std::hypot(mean_error(fast.row(k)), mean_error(slow.row(k))))
        << "row " << k;
    EXPECT_LT(std::fabs(arma::mean(a) - arma::mean(b)), 5.0 * std::hypot(mean_error(a), mean_error(b)))
        << "square of row " << k;
  }
}

TEST(FactorMoves, OfAFactorWithAPredictorHaveThePosteriorOfWalks) {
  expect_same_posterior({"f -> x y y2", "f ~ z", "w ~ f z"}, {"f"});
}

/// Effective draws of each hundred of the slope of a predictor with this mean, and of an intercept.
arma::vec draws_of_a_hundred(double mean_of_z) {
  arma::mat data = columns();
  data.col(4) += mean_of_z;
  small_run run(names, data, {"id"}, {"f -> x y y2", "f ~ z | 1"}, {}, {}, {"f"});
  prepare(run);
  const auto chain = run.chain(Random(33, 1), {1, 1});
  const arma::mat out = draws(*chain, 500, 4000);
  arma::vec efficient(out.n_rows, arma::fill::value(100.0));
  for (arma::uword k = 0; k < out.n_rows; ++k) {
    const double sd = arma::stddev(out.row(k));
    if (sd > 1e-10) efficient(k) = 100.0 * std::pow(sd / mean_error(out.row(k)), 2) / 4000.0;
  }
  return efficient;
}

TEST(FactorMoves, TheMeanOfAPredictorSlowsNothing) {
  const arma::vec centred = draws_of_a_hundred(0.0), apart = draws_of_a_hundred(1000.0);
  // Over batches of 80 draws a chain that wanders along the mean shows about one effective draw of a hundred.
  EXPECT_GT(apart.min(), 0.3 * centred.min());
  EXPECT_GT(apart.min(), 2.0);
}

TEST(FactorMoves, OfAFactorWithAMeanAndAnOrdinalIndicatorHaveThePosteriorOfWalks) {
  expect_same_posterior({"f -> x y o", "f ~ 1", "x ~ 0"}, {"f"});
}

TEST(FactorMoves, OfTwoFactorsHaveThePosteriorOfWalks) {
  expect_same_posterior({"f -> x y y2", "g -> w z o", "g ~ f"}, {"f", "g"});
}

TEST(FactorMoves, OfAFactorWithFreeLoadingsHaveThePosteriorOfWalks) {
  expect_same_posterior({"f -> x%1 y y2 w", "f ~~ f@1"}, {"f"});
}

TEST(FactorMoves, BesideAnIndicatorWithAVarianceModelHaveThePosteriorOfWalks) {
  expect_same_posterior({"f -> x y y2", "var(y2) ~ z"}, {"f"});
}

TEST(FactorWithAVarianceModel, HasThePosteriorOfWalks) {
  expect_same_posterior({"f -> x y y2", "var(f) ~ z", "w ~ f z"}, {"f"});
}

TEST(FactorInAVarianceModel, HasThePosteriorOfWalks) {
  expect_same_posterior({"f -> x y y2", "w ~ z", "var(w) ~ f"}, {"f"});
}

}  // namespace
}  // namespace tovik::tests::factor_moves_kernel_test
