// Each conditional draw leaves the joint distribution of parameters and data unchanged: a state from the
// joint distribution that goes through a kernel ten times is again a draw from it (Geweke, 2004, JASA 99,
// 799-804, in the form with independent replications).

#include <gtest/gtest.h>

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <memory>

#include "invariance_frame.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/scan/residual_variance.hpp"

namespace tovik::tests::kernel_invariance_test {
namespace {

using sem::scan::coefficient_prior;
using sem::scan::row_scale;

constexpr int replications = 20000;
constexpr int applications = 10;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

/// A mixed model with everything known, on small unbalanced data.
struct MixedModel {
  World world{2, small, 5};
  arma::Col<arma::uword> x{0, 2, 6};
  arma::Mat<double> b{0.5, -0.3, 0.8};
  arma::Col<arma::uword> z;
  arma::Mat<double> Sigma;
  arma::Col<double> variance;  ///< of each row
  arma::uword clusters = 9;

  explicit MixedModel(arma::uword q) : z(arma::Col<arma::uword>{0, 3, 4}.head(q)) {
    const arma::Mat<double> full = {{1.0, 0.3, -0.2}, {0.3, 0.6, 0.1}, {-0.2, 0.1, 0.4}};
    Sigma = full.submat(0, 0, q - 1, q - 1);
    b = b.t();
    variance.set_size(world.data.n_rows);
    variance.fill(0.7);
  }

  arma::Mat<double> draw_u(Random& rng) const {
    return rng.randn(static_cast<int>(clusters), static_cast<int>(z.n_elem)) * arma::chol(Sigma);
  }

  void draw_y(const arma::Mat<double>& u, Random& rng) {
    for (arma::uword i = 0; i < world.data.n_rows; ++i) {
      double y = std::sqrt(variance(i)) * rng.rnorm();
      for (arma::uword j = 0; j < x.n_elem; ++j) y += world.data(i, x(j)) * b(j);
      for (arma::uword j = 0; j < z.n_elem; ++j) y += world.data(i, z(j)) * u(world.units[1](i), j);
      world.data(i, 1) = y;
    }
  }

  std::unique_ptr<sem::scan::equation_scan> scan(bool y_static, const coefficient_prior& prior = {}) const {
    sem::scan::equation eq;
    eq.y = 1;
    eq.y_static = y_static;
    eq.terms.x = sem::scan::columns(x, {}, {});
    eq.terms.z.emplace_back(z, std::vector<sem::estimator::compute>{}, std::vector<bool>{});
    eq.structure = world.clusters(0);
    eq.free = {0, 1, 2};
    eq.prior = prior;
    return std::make_unique<sem::scan::equation_scan>(std::move(eq));
  }

  /// Functions of effects and data: single effects, also of the clusters of one row, squares, and what ties
  /// them to the data.
  std::vector<double> functions(const arma::Mat<double>& u) const {
    const auto& y = world.data.col(1);
    std::vector<double> out = {u(0, 0), u(1, 0), u(8, 0), arma::accu(arma::square(u)), arma::accu(u)};
    out.push_back(u(1, 0) * y(5));
    out.push_back(u(2, u.n_cols - 1) * y(6));
    out.push_back(u(4, 0) * u(4, u.n_cols - 1));
    // Residuals tell most of all whether the spread around the conditional mean is right.
    double fit = 0, squares = 0, first_cluster = 0, last_slope = 0;
    for (arma::uword i = 0; i < y.n_elem; ++i) {
      double e = y(i);
      for (arma::uword j = 0; j < x.n_elem; ++j) e -= world.data(i, x(j)) * b(j);
      for (arma::uword j = 0; j < z.n_elem; ++j) e -= world.data(i, z(j)) * u(world.units[1](i), j);
      squares += e * e / variance(i);
      if (i < 5) first_cluster += e;
      last_slope += e * world.data(i, z(z.n_elem - 1)) / variance(i);
      fit += u(world.units[1](i), 0) * y(i);
    }
    out.insert(out.end(), {fit, std::log(squares), first_cluster, last_slope});
    return out;
  }
};

/// A step of a scan, on effects from `draw_u` and outcomes given them.
template <typename DrawU, typename Functions, typename Step>
void step_leaves_joint(MixedModel& m, bool products, const row_scale& scale, Random& rng, DrawU draw_u,
                       Functions functions, Step step) {
  std::vector<arma::Mat<double>> u(1);
  std::unique_ptr<sem::scan::equation_scan> scan;
  const auto draw_joint = [&] {
    u[0] = draw_u();
    m.draw_y(u[0], rng);
  };
  const auto kernel = [&] {
    scan->begin(m.world.data, m.b, u, scale);
    scan->keep_coefficients(m.b);
    step(*scan, u[0]);
  };
  kernel_leaves_joint(
      {.replications = replications,
       .applications = applications,
       .before = [&] { scan = m.scan(products); },
       .after = [&] { ASSERT_EQ(scan->uses_products(), products); }},
      draw_joint, [&] { return functions(u[0]); }, kernel);
}

/// The effects step with known coefficients and variances.
void effects_leave_joint(arma::uword q, bool products, row_scale::form form, std::uint32_t seed) {
  MixedModel m(q);
  Random rng(seed, 1U);
  arma::Col<double> by_cluster = arma::linspace(0.3, 2.0, m.clusters);
  if (form != row_scale::form::one)
    for (arma::uword i = 0; i < m.variance.n_elem; ++i)
      m.variance(i) = form == row_scale::form::per_cluster ? by_cluster(m.world.units[1](i))
                                                           : 0.2 + 0.05 * static_cast<double>(i);
  const arma::Col<double> of_cluster = 1.0 / by_cluster, of_row = 1.0 / m.variance;
  const row_scale scale = form == row_scale::form::one ? row_scale(0.7)
                          : form == row_scale::form::per_cluster
                              ? row_scale::per_cluster(of_cluster, m.world.units[1])
                              : row_scale::per_row(of_row);
  const arma::Mat<double> precision = arma::inv_sympd(m.Sigma);
  step_leaves_joint(
      m, products, scale, rng, [&] { return m.draw_u(rng); },
      [&](const arma::Mat<double>& u) { return m.functions(u); },
      [&](sem::scan::equation_scan& scan, arma::Mat<double>& u) {
        scan.draw_effects(0, scale, precision, nullptr, rng, u);
      });
}

TEST(KernelInvariance, RandomEffectsOnRows) {
  for (arma::uword q : {1, 2, 3})
    effects_leave_joint(q, false, row_scale::form::one, 100 + static_cast<unsigned>(q));
}

TEST(KernelInvariance, RandomEffectsOnCrossProducts) {
  for (arma::uword q : {1, 2, 3})
    effects_leave_joint(q, true, row_scale::form::one, 110 + static_cast<unsigned>(q));
}

TEST(KernelInvariance, RandomEffectsWithVariancesOfClustersAndRows) {
  effects_leave_joint(1, false, row_scale::form::per_cluster, 121);
  effects_leave_joint(2, false, row_scale::form::per_row, 122);
}

TEST(KernelInvariance, RandomEffectsAroundAGivenMean) {
  MixedModel m(2);
  Random rng(130, 1U);
  const arma::Mat<double> precision = arma::inv_sympd(m.Sigma);
  const arma::Mat<double> mu = Random(9).randn(static_cast<int>(m.clusters), 2);
  step_leaves_joint(
      m, false, row_scale(0.7), rng, [&] { return arma::Mat<double>(mu + m.draw_u(rng)); },
      [&](const arma::Mat<double>& u) { return m.functions(u); },
      [&](sem::scan::equation_scan& scan, arma::Mat<double>& u) {
        scan.draw_effects(0, row_scale(0.7), precision, &mu, rng, u);
      });
}

/// A draw of b minus its conditional mean, in units of the Cholesky factor of its covariance, is standard
/// normal, whatever the data.
void coefficients_are_normal(bool products, row_scale::form form, std::uint32_t seed,
                             const coefficient_prior& prior = {}) {
  MixedModel m(2);
  Random rng(seed, 1U);
  if (form == row_scale::form::per_row)
    for (arma::uword i = 0; i < m.variance.n_elem; ++i) m.variance(i) = 0.2 + 0.05 * static_cast<double>(i);
  const arma::Col<double> of_row = 1.0 / m.variance;
  const row_scale scale = form == row_scale::form::one ? row_scale(0.7) : row_scale::per_row(of_row);
  const arma::Mat<double> X = m.world.data.cols(m.x);
  const arma::Mat<double> W = arma::diagmat(1.0 / m.variance);
  arma::Mat<double> precision = X.t() * W * X;
  arma::Col<double> of_prior(3);
  for (arma::uword j = 0; j < 3; ++j) {
    precision(j, j) += prior.precision(j);
    of_prior(j) = prior.precision(j) * prior.mean(j);
  }
  const arma::Mat<double> root = arma::chol(precision);
  std::vector<std::vector<double>> pivots(3);
  for (int rep = 0; rep < replications; ++rep) {
    std::vector<arma::Mat<double>> u = {m.draw_u(rng)};
    m.draw_y(u[0], rng);
    auto scan = m.scan(products, prior);
    arma::Mat<double> b = m.b;
    for (int t = 0; t < applications; ++t) {
      scan->begin(m.world.data, b, u, scale);
      scan->draw_coefficients(scale, u, rng, b);
    }
    arma::Col<double> r = m.world.data.col(1);
    for (arma::uword i = 0; i < r.n_elem; ++i)
      for (arma::uword j = 0; j < m.z.n_elem; ++j)
        r(i) -= m.world.data(i, m.z(j)) * u[0](m.world.units[1](i), j);
    const arma::Col<double> pivot = root * (b - arma::solve(precision, X.t() * W * r + of_prior));
    for (arma::uword j = 0; j < 3; ++j) pivots[j].push_back(pivot(j));
  }
  const auto cdf = [](double x) { return boost::math::cdf(boost::math::normal(), x); };
  for (const auto& pivot : pivots) EXPECT_LT(kolmogorov(pivot, cdf), 2.9);
}

TEST(KernelInvariance, CoefficientsUnderAFlatPrior) {
  coefficients_are_normal(false, row_scale::form::one, 140);
  coefficients_are_normal(true, row_scale::form::one, 141);
  coefficients_are_normal(false, row_scale::form::per_row, 142);
}

TEST(KernelInvariance, CoefficientsUnderANormalPrior) {
  const auto prior = coefficient_prior::of_each({0.0, 20.0, 5.0}, {0.0, 1.5, -1.0});
  coefficients_are_normal(false, row_scale::form::one, 143, prior);
  coefficients_are_normal(true, row_scale::form::one, 144, prior);
  coefficients_are_normal(false, row_scale::form::per_row, 145, prior);
  coefficients_are_normal(true, row_scale::form::one, 146, coefficient_prior::ridge(0.02));
}

TEST(KernelInvariance, VarianceUnderTheProperPrior) {
  Random rng(150, 1U);
  const int n = 20;
  double precision = 0.0;
  arma::Mat<double> e;
  const auto draw_joint = [&] {
    precision = rng.rgamma(1.0, 2.0);
    e = rng.randn(n, 1) / std::sqrt(precision);
  };
  const auto functions = [&] {
    double const ss = arma::accu(arma::square(e));
    return std::vector<double>{std::log(precision), precision * ss, std::log(ss), e(0)};
  };
  kernel_leaves_joint({replications, applications}, draw_joint, functions,
                      [&] { precision = sem::scan::draw_precision(1, n, arma::accu(arma::square(e)), rng); });
}

TEST(KernelInvariance, VarianceUnderTheImproperPriorsIsScaledChiSquared) {
  Random rng(151, 1U);
  for (int prior : {2, 3}) {
    boost::math::chi_squared const reference(prior == 2 ? 18.0 : 20.0);
    const auto values = sample(20000, [&] { return 7.5 * sem::scan::draw_precision(prior, 20.0, 7.5, rng); });
    EXPECT_LT(kolmogorov(values, [&](double x) { return boost::math::cdf(reference, x); }), 2.9) << prior;
  }
}

TEST(KernelInvariance, CovarianceUnderTheProperPrior) {
  Random rng(160, 1U);
  const int n = 9;
  for (int q : {1, 2, 3}) {
    const auto uq = static_cast<arma::uword>(q);
    const arma::Mat<double> I = arma::eye(uq, uq);
    arma::Mat<double> Sigma, iSigma, u;
    const auto draw_joint = [&] {
      Sigma = draw_prior_covariance(uq, rng);
      iSigma = arma::inv_sympd(Sigma);
      u = rng.randn(n, q) * arma::chol(Sigma);
    };
    const auto functions = [&] {
      double const a = Sigma(0, 0), d = Sigma(uq - 1, uq - 1);
      return std::vector<double>{std::log(a),
                                 std::log(d),
                                 Sigma(0, uq - 1),
                                 u(0, 0),
                                 u(0, 0) / std::sqrt(a),
                                 std::log(arma::det(Sigma)),
                                 arma::dot(u.col(0), u.col(uq - 1)) / std::sqrt(a * d)};
    };
    sem::scan::covariance_step step;
    kernel_leaves_joint({.replications = replications,
                         .applications = applications,
                         .after = [&] { EXPECT_LT(arma::abs(iSigma * Sigma - I).max(), 1e-7); }},
                        draw_joint, functions, [&] { step.draw(1, u, rng, iSigma, Sigma); });
  }
}

// tr(S iSigma) is a sum of q independent chi-squared with the degrees of freedom of the Wishart.
TEST(KernelInvariance, CovarianceUnderTheImproperPriorsHasItsDegreesOfFreedom) {
  Random rng(161, 1U);
  const arma::Mat<double> u = rng.randn(12, 2);
  const arma::Mat<double> S = u.t() * u;
  arma::Mat<double> Sigma(2, 2, arma::fill::eye), iSigma(2, 2, arma::fill::eye);
  sem::scan::covariance_step step;
  for (int prior : {2, 3}) {
    boost::math::chi_squared const reference(2.0 * (prior == 2 ? 9.0 : 12.0));
    const auto values = sample(20000, [&] {
      step.draw(prior, u, rng, iSigma, Sigma);
      return arma::trace(S * iSigma);
    });
    EXPECT_LT(kolmogorov(values, [&](double x) { return boost::math::cdf(reference, x); }), 2.9) << prior;
  }
}

TEST(KernelInvariance, MissingOutcomes) {
  MixedModel m(2);
  Random rng(170, 1U);
  const arma::Col<arma::uword> missing = {0, 5, 13, 30};
  auto functions = [&](const arma::Mat<double>& u) {
    auto const& y = m.world.data.col(1);
    return std::vector<double>{y(0), y(5), y(13) * u(3, 0), y(30) * u(7, 1), y(5) * y(0), y(0) * y(1)};
  };
  step_leaves_joint(
      m, false, row_scale(0.7), rng, [&] { return m.draw_u(rng); }, functions,
      [&](sem::scan::equation_scan& scan, const arma::Mat<double>&) {
        scan.draw_missing(missing, row_scale(0.7), rng);
        for (arma::uword i : missing) m.world.data(i, 1) = scan.y()(i);
      });
}

}  // namespace
}  // namespace tovik::tests::kernel_invariance_test
