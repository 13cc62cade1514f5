// The draw of a grand mean takes the intercepts of its readers along: an exact step, and one that mixes.

#include "sem/wiring/moving_intercept.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "invariance_frame.hpp"
#include "predictor_world.hpp"
#include "support/error.hpp"
#include "two_level_predictors.hpp"

namespace tovik::tests::moving_intercept_test {
namespace {

using kind = PredictorWorld::kind;
using center = data::center;
using sem::parameter_type;
using sem::predictor_step;
using sem::estimator::likelihood;
using sem::estimator::likelihood_function;
using sem::estimator::moving_intercept;

constexpr arma::uword constant = 7, other = 8;

/// y of a PredictorWorld by a normal outcome: intercept, x, latent means, column 8, x times column 8, and
/// random intercepts and slopes of x. The slopes are known; b0 has a normal prior, which stands in the list
/// of likelihoods beside that of y, so that the joint distribution has draws.
struct InterceptWorld {
  PredictorWorld world;
  LoneEstimator estimator;
  std::unique_ptr<sem::Normal> y;
  double product = 0.0, slope_sd = 0.0, prior_sd = 2.0;
  bool nowhere_else = false;
  double only_at = 0.0;

  InterceptWorld(kind of, std::uint32_t seed) : world(seed), estimator(seed + 1) { world.of = of; }

  double& intercept() { return y->betas_(0); }
  arma::uword value() const { return world.value_column(); }

  void build() {
    world.b_x = 1.0;  // some equation reads x; the function below says how
    world.build();
    world.data().col(constant).ones();
    sem::equation_setup setup;
    setup.y = 0;
    std::vector<arma::uword> x = {constant};
    for (arma::uword k = 0; k < world.dim; ++k) x.push_back(value() + k);
    for (arma::uword k = 0; world.means && k < world.dim; ++k) x.push_back(world.mean_column(1, k));
    x.push_back(other);
    setup.x = uwords(x);
    setup.x_compute = {computed("#DATA(" + std::to_string(value()) + ")*#DATA(8)")};
    setup.n_levels = 1;
    setup.z = {uwords{constant, value()}};
    setup.z_compute.resize(1);
    setup.icept = {1};
    setup.mutable_columns.assign(11, true);
    setup.cluster = sem::estimator::cluster(0, world.working->units(),
                                            {&world.working->first_rows(0), &world.working->first_rows(1)});
    setup.estimate_resid = false;
    setup.resid_value = world.y_variance;
    y = std::make_unique<sem::Normal>(&estimator, setup);
    for (arma::uword j = 1; j < y->betas_.n_elem; ++j) y->betas_(j) = j % 2 == 1 ? 1.5 : -0.9;
    y->betas_(y->betas_.n_elem - 1) = product;
    world.other_fit = [this](const arma::Mat<double>& at, arma::uword i) { return fitted(at, i); };
  }

  /// The equation, written out.
  double fitted(const arma::Mat<double>& at, arma::uword i) const {
    arma::uword const c = world.working->units(1)(i), last = y->betas_.n_elem - 1;
    double out = y->betas_(last) * at(i, value()) * at(i, other);
    for (arma::uword j = 0; j < last; ++j) out += y->betas_(j) * at(i, y->x(j));
    return out + y->u[0](c, 0) + y->u[0](c, 1) * at(i, value());
  }

  std::unique_ptr<likelihood> readers() {
    auto out = std::make_unique<likelihood>();
    out->push_back(y->likelihoodFunc(sem::likelihood_type::imputed));
    out->push_back(likelihood_function(this, [this](const arma::Mat<double>&, const int& level) {
      arma::Col<double> density(world.working->n_units(static_cast<unsigned>(level)), arma::fill::zeros);
      density(0) = -0.5 * intercept() * intercept() / (prior_sd * prior_sd);
      if (nowhere_else && intercept() != only_at) density(0) = -std::numeric_limits<double>::infinity();
      return density;
    }));
    const uwords columns = world.x.published->grand_centred_columns();
    std::vector<moving_intercept::term> terms;
    for (arma::uword j = 0; j < y->x.n_elem; ++j)
      if (arma::any(columns == y->x(j))) terms.push_back({y->betas_.memptr() + j, y->x(j)});
    if (auto moved = y->moved_intercept()) out->intercepts.emplace_back(std::move(moved), terms);
    return out;
  }

  /// b0, random effects, x, y; data that show every category.
  void draw() {
    for (;;) {
      intercept() = prior_sd * world.rng->rnorm();
      for (arma::uword c = 0; c < y->u[0].n_rows; ++c) {
        y->u[0](c, 0) = 0.5 * world.rng->rnorm();
        y->u[0](c, 1) = slope_sd * world.rng->rnorm();
      }
      try {
        world.draw_joint();
        break;
      } catch (const error_debug&) {
        // A category without an observation.
      }
    }
    world.x.model->setLikelihood(predictor_step::grand_mean, 0, readers());
  }

  void draw_grand_mean() { world.x.model->drawGrandMean(world.data(), world.scores_at(world.places() - 1)); }

  std::vector<double> functions() {
    std::vector<double> out = world.functions();
    const arma::Mat<double>& mu = world.x.state->grand_mean;
    for (double m : mu) out.push_back(intercept() * m);
    for (double f : {intercept(), intercept() - 1.5 * mu(0), intercept() * arma::mean(world.data().col(0)),
                     intercept() * world.data()(0, value()), y->u[0](1, 1) * mu(0)})
      out.push_back(f);
    return out;
  }
};

void leaves_joint(InterceptWorld& w, bool moves) {
  w.build();
  if (!moves) w.y->constraint(parameter_type::coefficient, 0, 0);
  const int replications = w.world.of == kind::nominal ? 1000 : 5000;
  int moved = 0;
  double before = 0.0;
  const auto look = [&] {
    moved += w.intercept() != before;
    w.world.x.model->publish(w.world.data());
  };
  kernel_leaves_joint(
      {.replications = replications,
       .applications = 6,
       .before = [&] { before = w.intercept(); },
       .after = look},
      [&] { w.draw(); }, [&] { return w.functions(); }, [&] { w.world.scan(false); });
  if (moves)
    EXPECT_GT(moved, 0.8 * replications);
  else
    EXPECT_EQ(moved, 0);
}

constexpr kind kinds[] = {kind::continuous, kind::ordinal, kind::nominal};

TEST(MovingIntercept, LeavesTheJointDistributionOfAGrandCentredPredictor) {
  for (kind of : kinds) {
    InterceptWorld w(of, 300 + static_cast<unsigned>(of));
    w.world.centre = center::grand;
    w.product = 0.4;
    w.slope_sd = 0.5;
    leaves_joint(w, true);
  }
}

TEST(MovingIntercept, LeavesTheJointDistributionOfCentredLatentMeans) {
  for (kind of : kinds)
    for (center values : {center::cluster, center::grand}) {
      InterceptWorld w(of, 310 + static_cast<unsigned>(of));
      w.world.means = true;
      w.world.b_means[1] = 1.0;
      w.world.centre = values;
      w.world.centre_means = center::grand;
      w.product = -0.3;
      w.slope_sd = 0.4;
      leaves_joint(w, true);
    }
}

TEST(MovingIntercept, StaysWhereALabelDrivesIt) {
  for (kind of : kinds) {
    InterceptWorld w(of, 320 + static_cast<unsigned>(of));
    w.world.centre = center::grand;
    w.product = 0.4;
    w.slope_sd = 0.5;
    leaves_joint(w, false);
  }
}

TEST(MovingIntercept, OfPlainPredictorsKeepsEveryPrediction) {
  for (kind of : kinds)
    for (center values : {center::none, center::grand}) {
      InterceptWorld w(of, 330 + static_cast<unsigned>(of));
      w.world.means = true;
      w.world.b_means[1] = 1.0;
      w.world.centre = values;
      w.world.centre_means = center::grand;
      w.build();
      w.prior_sd = 1e3;  // next to flat: every candidate that the density of the mean takes is taken
      w.draw();
      int moved = 0;
      for (int t = 0; t < 40; ++t) {
        const arma::Mat<double> predicted = w.y->predicted(w.world.data());
        const double before = w.intercept();
        w.draw_grand_mean();
        moved += w.intercept() != before;
        EXPECT_LT(arma::abs(w.y->predicted(w.world.data()) - predicted).max(), 1e-9 * w.prior_sd);
      }
      EXPECT_GT(moved, 4);
    }
}

TEST(MovingIntercept, IsTakenBackToTheLastBit) {
  for (kind of : kinds) {
    InterceptWorld w(of, 340 + static_cast<unsigned>(of));
    w.world.centre = center::grand;
    w.build();
    w.draw();
    w.intercept() = 0.1 + 1.0 / 3.0;
    w.nowhere_else = true;
    w.only_at = w.intercept();
    const double before = w.intercept();
    const arma::Mat<double> mu = w.world.x.state->grand_mean, data = w.world.data();
    for (int t = 0; t < 20; ++t) w.draw_grand_mean();
    EXPECT_EQ(w.intercept(), before);
    EXPECT_TRUE(arma::approx_equal(w.world.x.state->grand_mean, mu, "absdiff", 0.0));
    EXPECT_LT(arma::abs(w.world.data() - data).max(), 1e-12);
  }
}

TEST(MovingIntercept, IsOneThatIsDrawnAndNoOther) {
  const World world(2, {{3, 4}, {5}}, 1);
  LoneEstimator estimator(2);
  sem::equation_setup setup = world.setup(0, {0, 2});
  EXPECT_NE(sem::Normal(&estimator, setup).moved_intercept(), nullptr);
  sem::Normal driven(&estimator, setup);
  driven.constraint(parameter_type::coefficient, 0, 0);
  EXPECT_EQ(driven.moved_intercept(), nullptr);
  sem::Normal slope_driven(&estimator, setup);
  slope_driven.constraint(parameter_type::coefficient, 1, 0);
  EXPECT_NE(slope_driven.moved_intercept(), nullptr);
  setup.fixed = {0};
  setup.fixed_values = {1.0};
  EXPECT_EQ(sem::Normal(&estimator, setup).moved_intercept(), nullptr);
  sem::equation_setup without = world.setup(0, {2, 3});
  without.has_intercept = false;
  EXPECT_EQ(sem::Normal(&estimator, without).moved_intercept(), nullptr);
}

/// Draws worth as many independent ones: n over 1 + 2 sum of the autocorrelations up to the first below 0.05.
double effective_draws(arma::rowvec series) {
  series -= arma::mean(series);
  const auto n = static_cast<double>(series.n_elem);
  const double variance = arma::dot(series, series);
  double sum = 1.0;
  for (arma::uword lag = 1; lag + 1 < series.n_elem; ++lag) {
    const double r = arma::dot(series.head(series.n_elem - lag), series.tail(series.n_elem - lag)) / variance;
    if (r < 0.05) break;
    sum += 2.0 * r;
  }
  return n / sum;
}

/// y and x in clusters, and a column "a" that y all but determines.
arma::mat much_data() {
  arma::mat out = two_level(100, 20, 61, 0.6, 1.4).data;
  Random rng(9, 1);
  for (arma::uword i = 0; i < out.n_rows; ++i) out(i, 4) = 1.0 + 2.0 * out(i, 1) + 0.5 * rng.rnorm();
  return out;
}

/// 1,000 draws after 400.
arma::mat draws_of(const std::vector<std::string>& equations, const predictor_run::plan& p,
                   arma::uword& grand_mean) {
  const predictor_run run(two_level::names(), much_data(), equations, p);
  const auto chain = run.chain(Random(8, 1));
  arma::mat draws = tuned_draws(*chain, 400, 1000);
  grand_mean = draws.n_rows - chain->getCovariateModelNumParams();
  return draws;
}

// The rows of an equation come as intercept variance, residual variance, intercept, slopes; those of x start
// with its grand mean. With an intercept that stays, 36 and 16 draws of the mean are worth something, and 19
// of the intercept over the latent means; with one that goes along hundreds.
TEST(MovingIntercept, LetsGrandMeanAndInterceptMix) {
  for (bool mean : {false, true}) {
    auto p = clustered();
    p.centered = {{"x", mean ? center::cluster : center::grand}};
    p.centered_means = {{"x", mean ? center::grand : center::none}};
    arma::uword grand_mean = 0;
    arma::mat const draws = draws_of({mean ? "y ~ x x.mean" : "y ~ x"}, p, grand_mean);
    EXPECT_GT(effective_draws(draws.row(grand_mean)), 70) << mean;
    if (mean) {
      EXPECT_GT(effective_draws(draws.row(2)), 50);
    }
  }
}

// 10 draws of the intercept of a are worth something when it stays, and hundreds when it goes along.
TEST(MovingIntercept, MixesWhereACentredOutcomeIsRead) {
  auto p = clustered();
  p.centered = {{"y", center::grand}};
  arma::uword grand_mean = 0;
  arma::mat const draws = draws_of({"a ~ y", "y ~ x"}, p, grand_mean);
  EXPECT_GT(effective_draws(draws.row(2)), 60);
}

// An intercept that is given leaves the likelihood to tell where the mean is: the steps become small. With
// one that goes along nearly all are accepted, at their longest.
TEST(MovingIntercept, StepsAreAsLongAsReadersLetThem) {
  for (bool given : {false, true}) {
    auto p = clustered();
    p.centered = {{"x", center::grand}};
    const predictor_run run(two_level::names(), much_data(), {given ? "y ~ 1@3.8 x" : "y ~ x"}, p);
    const auto chain = run.chain(Random(8, 1));
    tuned_draws(*chain, 2000, 1000);
    EXPECT_NO_THROW(chain->tune_check());
    const auto found = predictor(*chain, "x").tuneResults();
    const sem::estimator::tune_obj& step = found.back();
    if (given) {
      EXPECT_LT(step.value, 0.8);
      EXPECT_NEAR(step.rate(), 0.5, 0.15);
    } else {
      EXPECT_EQ(step.value, 1.0);
      EXPECT_GT(step.rate(), 0.95);
    }
  }
}

}  // namespace
}  // namespace tovik::tests::moving_intercept_test
