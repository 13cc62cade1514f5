// The residual that the steps of a scan keep up to date is, after each of them, that of the data at the
// parameters.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "model/defaults.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::residual_kept_test {
namespace {

constexpr int scans = 60;

/// Columns h (level 3), g (level 2), w (of level 2), x, m, y: 48 rows in 16 units in 4. `gaps` names columns
/// with missing cells.
arma::mat three_levels(const std::vector<arma::uword>& gaps) {
  Random rng(17, 1);
  arma::mat data = rng.randn(48, 6);
  for (arma::uword i = 0; i < 48; ++i) {
    data(i, 0) = static_cast<double>(i / 12);
    data(i, 1) = static_cast<double>(i / 3);
    if (i % 3 > 0) data(i, 2) = data(i - 1, 2);
    data(i, 4) += 0.5 * data(i, 3) + 2.0;
    data(i, 5) = std::exp(0.3 * data(i, 5) + 0.2 * data(i, 4)) + 1.0;
  }
  for (arma::uword column : gaps) {
    const arma::uword each = column == 2 ? 3 : 1;  // all rows of a unit
    for (arma::uword i = 5 * each + column; i + each <= 48; i += 5 * each)
      for (arma::uword k = 0; k < each; ++k) data(i / each * each + k, column) = arma::datum::nan;
  }
  return data;
}

class ResidualKept : public testing::Test {
 protected:
  void expect(const std::vector<std::string>& statements, const std::vector<arma::uword>& gaps,
              const std::vector<std::string>& parameters = {}) {
    small_run run({"h", "g", "w", "x", "m", "y"}, three_levels(gaps), {"h", "g"}, statements, parameters);
    prepare(run);
    const auto chain = run.chain(Random(3, 1), {1, 1});
    for (int i = 1; i <= scans; ++i) {
      ASSERT_NO_THROW(chain->oneRep()) << statements.front() << ", scan " << i;
      if (i % 20 == 0) chain->tune();
    }
  }

 private:
  Setting<bool> check_{sem::Normal::check_residuals, true};
  Setting<bool> phantoms_{sem::defaults::optimize_models, false};
};

TEST_F(ResidualKept, InRegressions) {
  expect({"y ~ x m (x*m)"}, {});
  expect({"y ~ x m@0.4 (x*m)"}, {5});
  expect({"m ~ x", "y ~ x m (x*m) (m*m)"}, {4, 5});
  expect({"m ~ x@a", "y ~ x m@b (x*c)@1"}, {4}, {"a ~ normal(0, 1)", "c = a * b"});
}

TEST_F(ResidualKept, WithRandomEffects) {
  expect({"y ~ x m | 1 x[g]"}, {5});
  expect({"m ~ x | 1", "y ~ m (x*m) | 1 m[g]"}, {4, 5});
  expect({"w ~ 1 | 1", "y ~ x (x*w) | 1 x[h]"}, {2, 5});
}

TEST_F(ResidualKept, OfTransformedOutcomes) {
  expect({"log(y) ~ x m | 1[g]"}, {5});
  expect({"log(y) ~ x", "m ~ y x"}, {4, 5});
}

TEST_F(ResidualKept, BySliceSteps) {
  const Setting<bool> slice(sem::estimator::Outcome::ess_sampler, true);
  expect({"m ~ x | 1[g]", "y ~ m (x*m) | 1[g] m[g]"}, {4, 5});
}

TEST_F(ResidualKept, BesidePhantoms) {
  expect({"m ~ x | 1[g]", "y ~ x m | 1[g]", "m <-> y", "m[g] <-> y[g]"}, {4, 5});
  expect({"m ~ x", "y ~ x", "y ~~ y@v", "m ~~ m@v", "m <-> y@r"}, {5}, {"r ~ uniform(-0.5, 0.5)"});
}

/// A step that writes a predictor of its own equation is found out.
TEST(ResidualError, ShowsWhatTheScanDidNotSee) {
  const Setting<bool> check(sem::Normal::check_residuals, true);
  World world(1, {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}}, 5);
  LoneEstimator estimator(5);
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.missing_units = {1, 4};
  setup.mutable_columns.assign(world.data.n_cols, false);
  setup.mutable_columns[2] = true;
  sem::Normal model(&estimator, setup);
  for (int i = 0; i < 3; ++i) model.draw(world.data);
  EXPECT_LT(model.residual_error(world.data), 1e-12);
  const double size = std::max(1.0, arma::abs(world.data.col(setup.y)).max());
  world.data(3, 2) += 1.5;
  EXPECT_NEAR(model.residual_error(world.data), std::fabs(1.5 * model.betas()(1)) / size, 1e-12);
  auto link = std::make_unique<sem::estimator::covariate_link>();
  link->column = static_cast<std::uint32_t>(setup.y);
  link->mean_column = 2;
  link->fun = [](const arma::Col<double>& x, arma::Mat<double>& out) { out.col(0) = x - 10.0; };
  model.setCentering(std::move(link));
  EXPECT_THROW(model.draw(world.data), error_debug);
}

}  // namespace
}  // namespace tovik::tests::residual_kept_test
