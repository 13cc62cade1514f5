// The draws of log-variance coefficients leave the joint distribution of coefficients and residuals
// unchanged: the coefficients have normal priors here.

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/scaled.hpp"

namespace tovik::tests::log_scale_kernel_test {
namespace {

using sem::LogScale;

constexpr int replications = 15000;
constexpr int applications = 6;
constexpr double prior_variance = 0.6;

/// 24 rows with columns 2, which has the mean 0.5, and 3 in V.
struct Rows {
  World world{1, {{24}}, 700};
  LoneEstimator estimator{701};
  Random rng{702, 1U};
  sem::equation_setup setup = world.setup(0, {0, 2, 3});
  arma::uword n_residuals = 1;
  std::optional<LogScale> model;  ///< of each replication
  arma::Mat<double> r;            ///< its residuals

  Rows() { setup.coefficients = sem::scan::coefficient_prior::ridge(prior_variance); }

  void draw_coefficients(LogScale& model) {
    for (arma::uword j : model.free) model.betas_(j) = std::sqrt(prior_variance) * rng.rnorm();
  }
  arma::Mat<double> draw_residuals(const LogScale& model) {
    const arma::Col<double> v = model.variances(world.data);
    arma::Mat<double> r(v.n_elem, n_residuals);
    for (arma::uword j = 0; j < r.n_cols; ++j)
      for (arma::uword i = 0; i < r.n_rows; ++i) r(i, j) = std::sqrt(v(i)) * rng.rnorm();
    return r;
  }
  std::vector<double> functions(const LogScale& model, const arma::Mat<double>& r) const {
    const arma::Mat<double>& g = model.betas();
    const arma::Col<double> v = model.variances(world.data);
    double squares = 0.0;
    for (arma::uword i = 0; i < v.n_elem; ++i) squares += r(i, 0) * r(i, 0) / v(i);
    return {g(0),
            g(1) + r(2, 0),
            g(2),
            g(0) * g(1),
            g(1) * g(2),
            std::log(squares),
            g(1) * std::log(std::fabs(r(0, 0))),
            g(2) * std::log(std::fabs(r(5, 0))),
            g(0) + std::log(std::fabs(r(7, 0)))};
  }
  repetition times() {
    return {replications, applications, [this] { model.emplace(&estimator, setup); }};
  }
  template <typename Coefficients>
  void draws_leave_joint(const repetition& times, Coefficients draw_coefficients) {
    const auto draw_joint = [&] {
      draw_coefficients();
      r = draw_residuals(*model);
    };
    kernel_leaves_joint(
        times, draw_joint, [&] { return functions(*model, r); },
        [&] { model->_draw_log_scale(r, world.data); });
  }
  void draws_leave_joint() {
    std::uint64_t walked = 0, leapt = 0;
    repetition counted = times();
    counted.after = [&] {
      for (const auto& proposal : model->tune_) walked += proposal.accepted;
      leapt += model->joint_accepted;
    };
    draws_leave_joint(counted, [&] { draw_coefficients(*model); });
    EXPECT_GT(walked, static_cast<std::uint64_t>(replications));
    if (sem::sampler_settings::leap_variances)
      EXPECT_GT(leapt, static_cast<std::uint64_t>(replications));
    else
      EXPECT_EQ(leapt, 0U);
  }
};

TEST(LogScaleKernel, AllProposals) {
  Rows rows;
  rows.draws_leave_joint();
}

TEST(LogScaleKernel, RandomWalksAlone) {
  const Setting<bool> walks(sem::sampler_settings::leap_variances, false);
  Rows rows;
  rows.draws_leave_joint();
}

TEST(LogScaleKernel, VariancesAtTheirLowerBound) {
  const Setting<double> bound(sem::sampler_settings::logvar_trunc_point, 0.2);
  Rows rows;
  rows.draws_leave_joint();
}

TEST(LogScaleKernel, SeveralResidualsOfARow) {
  Rows rows;
  rows.n_residuals = 2;
  rows.draws_leave_joint();
}

TEST(LogScaleKernel, ACoefficientThatIsHeld) {
  Rows rows;
  rows.setup.fixed = {1};
  rows.setup.fixed_values = {0.7};
  rows.draws_leave_joint();
}

// Column 9 is 2 with the mean 10: V'V is nearly singular.
TEST(LogScaleKernel, ColumnsThatAreFarFromOrthogonal) {
  Rows rows;
  rows.world.data.insert_cols(9, 10.0 + 0.3 * rows.world.data.col(2));
  rows.setup.x = {0, 9, 3};
  arma::Col<double> precision = {0.05, 5.0, 1.0}, mean = {0.0, 0.1, 0.0};
  rows.setup.coefficients = sem::scan::coefficient_prior::of_each(precision, mean);
  rows.draws_leave_joint(rows.times(), [&] {
    for (arma::uword j = 0; j < 3; ++j)
      rows.model->betas_(j) = mean(j) + rows.rng.rnorm() / std::sqrt(precision(j));
  });
}

// One standardised residual e = r exp(-l / 2) ~ N(m, left) given another's.
TEST(LogScaleKernel, AResidualGivenOthers) {
  Rows rows;
  const double slope = 0.8, left = 0.4;
  arma::Col<double> m(24), r(24), squares(24), cross(24);
  const auto draw_joint = [&] {
    rows.draw_coefficients(*rows.model);
    const arma::Col<double> v = rows.model->variances(rows.world.data);
    for (arma::uword i = 0; i < 24; ++i) {
      m(i) = slope * rows.rng.rnorm();
      r(i) = std::sqrt(v(i)) * (m(i) + std::sqrt(left) * rows.rng.rnorm());
    }
  };
  const auto functions = [&] {
    std::vector<double> out = rows.functions(*rows.model, r);
    const arma::Mat<double>& g = rows.model->betas();
    out.insert(out.end(), {r(0) * m(0), g(1) * m(0) * r(0), g(0) * m(3) * r(3)});
    return out;
  };
  sem::scan::log_variance_terms terms;
  repetition times = rows.times();
  times.before = [&] {
    squares = r % r;
    cross = r % m;
    terms.squares = squares.memptr();
    terms.cross = cross.memptr();
    terms.left = left;
  };
  kernel_leaves_joint(times, draw_joint, functions, [&] { rows.model->draw_given(terms, rows.world.data); });
}

}  // namespace
}  // namespace tovik::tests::log_scale_kernel_test
