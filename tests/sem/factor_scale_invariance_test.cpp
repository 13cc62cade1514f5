// Scans of a factor with a variance model, of its indicators and of an outcome that it predicts leave the
// joint distribution of scores, parameters and data unchanged, whatever draws the scores.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "kernel_samples.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/ensemble/factor_moves.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/wiring/settings.hpp"
#include "yjt_world.hpp"

namespace tovik::tests::factor_scale_invariance_test {
namespace {

using sem::equation_setup;
using sem::FactorScale;
using sem::LogScale;
using sem::Normal;
using sem::NormalScale;
using sem::Regression;

constexpr int replications = 8000;
constexpr int applications = 6;
constexpr double prior_variance = 0.6, log_prior_variance = 0.4, known_loading = 0.8;

/// Clusters of one row among them.
const nesting small = {{5, 1, 4}, {3, 6}, {4, 2, 1}};

enum class step { metropolis, slice, solver, alone };

/// f in column 9, with a model of its log variance; two indicators, of which the first has a known loading
/// and the second incomplete cells; and an outcome that f predicts beside another predictor, whose own
/// variance may have a model that reads f, too.
struct ScaledFactor {
  static constexpr arma::uword column = 9;
  World world;
  LoneEstimator estimator;
  Random rng;
  equation_setup f, v;
  std::vector<equation_setup> readers;
  bool in_a_variance = false;
  lambda_bounds lambda;  ///< of a transformation of f
  std::shared_ptr<LogScale> of_v, of_reader;
  std::shared_ptr<FactorScale> factor;
  std::vector<std::shared_ptr<Normal>> models;  ///< of the readers
  const Setting<bool> check{Regression::check_residuals, true};

  ScaledFactor(unsigned levels, const nesting& sizes, std::uint32_t seed, unsigned level)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(column, 3);
    f = setup(column, level, {0, level == 0 ? 2U : 6U});
    v = setup(column, level, {0, level == 0 ? 3U : 7U});
    v.coefficients = sem::scan::coefficient_prior::ridge(log_prior_variance);
    readers = {setup(1, 0, {0, column}), setup(10, 0, {0, column}), setup(11, 0, {0, 4, column})};
    readers[0].fixed = {1};
    readers[0].fixed_values = {known_loading};
    readers[1].missing_units = {0, 5, 6};
  }
  equation_setup setup(arma::uword y, unsigned level, const arma::uvec& x) const {
    equation_setup out = world.setup(level, x);
    out.y = y;
    out.prior = {1, 1};
    out.coefficients = sem::scan::coefficient_prior::ridge(prior_variance);
    out.mutable_columns.assign(world.data.n_cols, false);
    for (arma::uword j : {1, 9, 10, 11}) out.mutable_columns[static_cast<std::size_t>(j)] = true;
    return out;
  }

  void build(step scores) {
    of_v = std::make_shared<LogScale>(&estimator, v);
    factor = make_factor();
    factor->addLogScale(of_v.get());
    factor->imp_tune.value = 1.5;
    std::vector<std::shared_ptr<sem::estimator::Outcome>> all = {of_v, factor};
    for (const equation_setup& reader : readers) {
      if (in_a_variance && &reader == &readers.back()) {
        equation_setup variance = setup(reader.y, 0, {0, column});
        variance.coefficients = sem::scan::coefficient_prior::ridge(log_prior_variance);
        of_reader = std::make_shared<LogScale>(&estimator, variance);
        auto scaled = std::make_shared<NormalScale>(&estimator, data::type::continuous, reader);
        scaled->addLogScale(of_reader.get());
        models.push_back(scaled);
        all.push_back(of_reader);
      } else {
        models.push_back(std::make_shared<Normal>(&estimator, reader));
      }
      all.push_back(models.back());
    }
    sem::level_units units;
    for (const auto& ids : world.units) units.push_back(&ids);
    sem::wire_likelihood_lists(all, units, world.data);
    if (scores == step::solver) solve();
  }
  std::shared_ptr<FactorScale> make_factor() {
    equation_setup whole = sem::Factor::without_values(f);
    if (!lambda.is_set()) return std::make_shared<FactorScale>(&estimator, data::type::latent, whole);
    whole.response_moves = true;
    auto out = std::make_shared<sem::yjt<FactorScale>>(&estimator, data::type::latent, whole, 1.0, true);
    out->take_lambda_prior(
        std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(), sem::distribution::uniform,
                                         lambda.lower, lambda.upper),
        {});
    std::vector<sem::estimator::tune_obj*> proposals;
    out->addProposals(proposals);
    proposals.front()->value = 0.4;
    return out;
  }
  void solve() {
    using sem::distribution_type;
    auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
    solver->rng = &estimator.random;
    const arma::uvec units = factor->missing_rows;
    solver->functions.push_back(factor->dist_self(units));
    for (const auto& model : models)
      solver->functions.push_back(model->distributionFunc(
          distribution_type::fixed,
          sem::autosolver::solution::constant(static_cast<unsigned>(model->betas_.n_elem) - 1, column),
          static_cast<int>(f.level), units));
    factor->addDist(solver, distribution_type::fixed);
  }

  arma::vec variances(const Regression& model) const {
    if (&model == factor.get()) return of_v->variances(world.data);
    if (of_reader != nullptr && &model == models.back().get()) return of_reader->variances(world.data);
    return arma::vec(model.n_units, arma::fill::value(model.residVar()));
  }
  void draw_values(const Regression& model) {
    const arma::vec sd = arma::sqrt(variances(model));
    arma::vec values = model.compute_predicted(world.data);
    for (arma::uword i = 0; i < values.n_elem; ++i) values(i) += sd(i) * rng.rnorm();
    if (lambda.is_set() && &model == factor.get()) draw_lambda(*factor, lambda, values, rng);
    for (arma::uword row = 0; row < world.data.n_rows; ++row)
      world.data(row, model.y(0)) = values(world.units[model.level](row));
  }
  void draw_joint() {
    draw_parameters(*factor, prior_variance, rng);
    for (LogScale* scale : {of_v.get(), of_reader.get()})
      for (arma::uword j = 0; scale != nullptr && j < scale->betas_.n_elem; ++j)
        scale->betas_(j) = std::sqrt(log_prior_variance) * rng.rnorm();
    draw_values(*factor);
    for (const auto& model : models) {
      draw_parameters(*model, prior_variance, rng);
      if (model->estimate_resid) model->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
      draw_values(*model);
    }
  }
  void scan() {
    factor->draw(world.data);
    for (const auto& model : models) model->draw(world.data);
  }

  void add_effects(const Regression& model, double by, std::vector<double>& out) const {
    for (unsigned L = 0; L < model.n_levels; ++L) {
      const arma::mat& u = model.u[L];
      arma::uword const q = u.n_cols;
      if (q == 0) continue;
      const double scale = std::sqrt(model.Sigma[L](0, 0));
      out.insert(out.end(),
                 {std::log(model.Sigma[L](0, 0)), std::log(arma::det(model.Sigma[L])), u(0, 0) / scale,
                  by * u(0, 0) / scale, u(1, q - 1), std::log(arma::accu(u % (u * model.iSigma[L])))});
    }
  }
  std::vector<double> functions() const {
    const arma::mat &b = factor->betas(), &g = of_v->betas();
    const arma::vec sd = arma::sqrt(variances(*factor)),
                    e = factor->compute_residual(world.data).as_col() / sd;
    const double f0 = world.data(0, column);
    std::vector<double> out = {b(0),
                               b(1),
                               g(0),
                               g(1),
                               g(0) * g(1),
                               f0,
                               f0 * b(0),
                               e(0),
                               e(1),
                               arma::accu(e),
                               std::log(arma::dot(e, e)),
                               g(0) + std::log(std::fabs(e(0) * sd(0))),
                               g(1) * std::log(std::fabs(e(1) * sd(1))),
                               arma::accu(factor->logLiklihood(world.data, static_cast<int>(f.level)))};
    add_effects(*factor, f0, out);
    if (lambda.is_set()) {
      const double l = dynamic_cast<const sem::yjt<FactorScale>&>(*factor).lambda() - lambda.middle();
      out.insert(out.end(), {l, l * f0, l * b(0), l * g(0), l * e(1)});
    }
    for (const auto& model : models) {
      const arma::vec d = model->compute_residual(world.data).as_col() / arma::sqrt(variances(*model));
      for (arma::uword j : model->free) {
        const double beta = model->betas_(j);
        out.insert(out.end(), {beta, beta * f0, beta * d(0) * e(0)});
      }
      out.insert(out.end(), {d(0), d(1) * e(0), d(0) * f0, std::log(arma::dot(d, d)), d(0) * g(1)});
      if (model->estimate_resid) out.push_back(std::log(model->sigma2));
      for (arma::uword i : model->missing_rows) out.push_back(d(i));
      add_effects(*model, f0, out);
    }
    if (of_reader != nullptr)
      for (double beta : of_reader->betas_) out.insert(out.end(), {beta, beta * f0});
    return out;
  }

  void scans_leave_joint(step scores) {
    const Setting<bool> sampler(sem::sampler_settings::ess_sampler, scores == step::slice);
    build(scores);
    Samples fresh, after;
    for (int rep = 0; rep < replications; ++rep) {
      draw_joint();
      fresh.add(functions());
      draw_joint();
      for (int t = 0; t < applications; ++t) scan();
      after.add(functions());
    }
    expect_same_distribution(fresh, after);
    if (scores == step::metropolis)
      EXPECT_GT(factor->imp_tune.rate(), 0.2);
    else
      EXPECT_EQ(factor->imp_tune.total, 0U);
  }
};

std::string name_of(const testing::TestParamInfo<step>& info) {
  const char* const names[] = {"Metropolis", "Slice", "Solver"};
  return names[static_cast<int>(info.param)];
}

class FactorScaleInvariance : public testing::TestWithParam<step> {};
INSTANTIATE_TEST_SUITE_P(EachStep, FactorScaleInvariance,
                         testing::Values(step::metropolis, step::slice, step::solver), name_of);

/// Where no distribution is solved.
class FactorWithoutSolution : public testing::TestWithParam<step> {};
INSTANTIATE_TEST_SUITE_P(EachStep, FactorWithoutSolution, testing::Values(step::metropolis, step::slice),
                         name_of);

TEST_P(FactorScaleInvariance, OfRows) {
  ScaledFactor w(1, {{12}}, 730, 0);
  w.scans_leave_joint(GetParam());
}

TEST_P(FactorScaleInvariance, OfRowsWithThreeRandomEffects) {
  ScaledFactor w(2, small, 731, 0);
  w.f.z[0] = {0, 2, 4};
  w.f.icept = {1};
  w.readers[2].z[0] = {0};
  w.readers[2].icept = {1};
  w.scans_leave_joint(GetParam());
}

TEST_P(FactorScaleInvariance, OfClusters) {
  ScaledFactor w(2, {{3, 1, 4, 1, 2, 1}}, 732, 1);
  w.readers[1].z[0] = {0};
  w.readers[1].icept = {1};
  w.scans_leave_joint(GetParam());
}

TEST_P(FactorScaleInvariance, OfClustersWithinClusters) {
  ScaledFactor w(3, small, 733, 1);
  w.f.z[0] = {0};
  w.f.icept = {1};
  w.scans_leave_joint(GetParam());
}

TEST_P(FactorWithoutSolution, InTheVarianceOfAnotherEquation) {
  ScaledFactor w(1, {{12}}, 734, 0);
  w.in_a_variance = true;
  w.scans_leave_joint(GetParam());
}

TEST_P(FactorWithoutSolution, InTheVarianceOfTheRowsOfItsClusters) {
  ScaledFactor w(2, {{3, 1, 4, 1, 2, 1}}, 735, 1);
  w.in_a_variance = true;
  w.scans_leave_joint(GetParam());
}

/// The readers have f, the equation what it is transformed to.
TEST_P(FactorWithoutSolution, OfATransformationThatIsDrawn) {
  ScaledFactor w(2, small, 738, 0);
  w.lambda = {0.3, 1.7};
  w.f.z[0] = {0};
  w.f.icept = {1};
  w.scans_leave_joint(GetParam());
}

/// Each with its own variance.
TEST(FactorScaleScores, ThatNobodyReadsComeFromTheirEquation) {
  ScaledFactor w(2, small, 736, 0);
  w.f.z[0] = {0};
  w.f.icept = {1};
  w.readers.clear();
  w.scans_leave_joint(step::alone);
}

TEST(FactorScaleScores, AreNotMovedTogetherUnderOneVariance) {
  ScaledFactor w(1, {{12}}, 737, 0);
  w.build(step::metropolis);
  EXPECT_FALSE(sem::factor_moves::suits(*w.factor, {{w.models[0].get(), 1}}));
}

}  // namespace
}  // namespace tovik::tests::factor_scale_invariance_test
