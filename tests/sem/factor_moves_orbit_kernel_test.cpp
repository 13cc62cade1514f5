// The priors of covariance matrices may be no distributions: moves of the scores of a factor in a block then
// have no joint distribution to leave unchanged, but a density along the orbit of a state, from which they
// are to draw.

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/math/distributions/normal.hpp>
#include <cmath>

#include "correlated_indicators.hpp"
#include "sample_tests.hpp"

namespace tovik::tests::factor_moves_orbit_kernel_test {
namespace {

constexpr unsigned char known = sem::block_setup::known, labelled = sem::block_setup::labelled;

/// The states that one of the moves reaches from a state, by the definition of the moves, and their density.
class Orbit {
 public:
  Orbit(CorrelatedIndicators& w)
      : w_(w), scores_(w.world.data.col(w.column)), Sigma_(factor_block().covariance()) {
    for (const auto& model : w.models) betas_.push_back(model->betas_);
  }

  /// All scores times g = exp(l), and what goes along.
  void scale(double l) {
    restore();
    const double g = std::exp(l);
    w_.world.data.col(w_.column) *= g;
    for (arma::uword j : w_.models[0]->free) w_.models[0]->betas_(j) *= g;
    for (std::size_t k = 1; k < 4; ++k)
      if (drawn(k, 1)) w_.models[k]->betas_(1) /= g;
    if (!w_.form.variance_moves()) return;
    arma::mat S = Sigma_;
    S.row(0) *= g;
    S.col(0) *= g;
    write(S);
  }
  double scale_at() const { return std::log(w_.world.data(0, w_.column) / scores_(0)); }
  /// Log density of the scaled state with respect to dl: the elements of the state that are free each bring
  /// the logarithm of what they are multiplied by.
  double log_density_of_scale(double l) {
    scale(l);
    double count = static_cast<double>(w_.models[0]->n_units + w_.models[0]->free.n_elem);
    for (std::size_t k = 1; k < 4; ++k) count -= drawn(k, 1) ? 1.0 : 0.0;
    if (w_.form.variance_moves()) count += 2.0 + n_free_covariances();
    return log_density() + count * l;
  }

  /// All scores plus c.
  void shift(double c) {
    restore();
    w_.world.data.col(w_.column) += c;
    if (drawn(0, 0)) w_.models[0]->betas_(0) += c;
    for (std::size_t k = 1; k < 4; ++k)
      if (drawn(k, 0)) w_.models[k]->betas_(0) -= w_.models[k]->betas_(1) * c;
  }
  double shift_at() const { return w_.world.data(0, w_.column) - scores_(0); }
  double log_density_of_shift(double c) {
    shift(c);
    return log_density();
  }

  /// Everything that a move may write.
  arma::vec state() const {
    arma::vec out = arma::join_cols(w_.world.data.col(w_.column), factor_block().params());
    for (const auto& model : w_.models) out = arma::join_cols(out, model->betas_.as_col());
    return out;
  }

 private:
  sem::Multi& factor_block() const { return *w_.blocks.front(); }
  bool drawn(std::size_t m, arma::uword j) const { return arma::any(w_.models[m]->free == j); }
  double n_free_covariances() const {
    const double others = static_cast<double>(factor_block().members().size()) - 2.0;
    const bool moves = w_.form.elements == sem::block_setup::drawn ||
                       (w_.form.elements == labelled && !w_.form.label_has_prior);
    return others + (moves ? 1.0 : 0.0);
  }
  void write(const arma::mat& Sigma) const {
    arma::vec v(factor_block().n_params());
    arma::uword at = 0;
    for (arma::uword j = 0; j < Sigma.n_cols; ++j)
      for (arma::uword i = j; i < Sigma.n_rows; ++i) v(at++) = Sigma(i, j);
    factor_block().addStarts(v);
  }
  void restore() {
    w_.world.data.col(w_.column) = scores_;
    for (std::size_t m = 0; m < betas_.size(); ++m) w_.models[m]->betas_ = betas_[m];
    write(Sigma_);
    for (const auto& block : w_.blocks) block->forget_residuals();
  }
  double log_prior(const arma::mat& Sigma, const arma::vec& units) const {
    const double p = static_cast<double>(Sigma.n_rows), log_det = std::log(arma::det(Sigma));
    if (w_.form.prior == 1)
      return -(p + 1.0) * log_det - 0.5 * arma::dot(units, arma::inv_sympd(Sigma).eval().diag());
    return w_.form.prior == 2 ? 0.0 : -0.5 * (p + 1.0) * log_det;
  }
  double log_density() const {
    double sum = 0.0;
    for (const auto& block : w_.blocks) {
      const auto& members = block->members();
      arma::mat E(members.front()->n_units, members.size());
      arma::vec units(members.size());
      for (std::size_t k = 0; k < members.size(); ++k) {
        E.col(k) = members[k]->compute_residual(w_.world.data);
        units(k) = members[k]->residual_unit();
      }
      const arma::mat& Sigma = block->covariance();
      sum += log_prior(Sigma, units) - 0.5 * static_cast<double>(E.n_rows) * std::log(arma::det(Sigma)) -
             0.5 * arma::trace(E.t() * E * arma::inv_sympd(Sigma));
    }
    for (std::size_t m = 1; m < w_.models.size(); ++m)
      for (arma::uword j : w_.models[m]->free)
        sum -= 0.5 * std::pow(w_.models[m]->betas_(j), 2) / w_.models[m]->coefficient_variance(j);
    return sum;
  }

  CorrelatedIndicators& w_;
  arma::vec scores_;
  std::vector<arma::mat> betas_;
  arma::mat Sigma_;
};

void expect_state(const Orbit& orbit, const arma::vec& moved, const char* what) {
  const arma::vec wanted = orbit.state();
  for (arma::uword i = 0; i < wanted.n_elem; ++i)
    ASSERT_NEAR(moved(i), wanted(i), 1e-8 * std::max(1.0, std::fabs(wanted(i)))) << what << " " << i;
}

/// Where loadings have flat priors the density may have a pole at g = 0: moves stay above the foot of the
/// pole, and above a tenth of the mode. The first of the cells that count.
std::size_t first_cell(const std::vector<double>& log_density, double width) {
  // A density of g^d dl there, d an integer or as good as infinite.
  if ((log_density[1] - log_density[0]) / width > 0.5) return 0;
  std::size_t mode = log_density.size() - 1;
  while (mode > 0 && log_density[mode - 1] > log_density[mode]) --mode;
  if (mode == 0) return log_density.size();
  std::size_t foot = mode;
  while (foot > 0 && log_density[foot - 1] < log_density[foot]) --foot;
  const auto tenth = static_cast<std::size_t>(std::log(10.0) / width);
  return std::max(foot, mode < tenth ? 0 : mode - tenth);
}

/// From places on the orbit drawn from its density by a sum over cells: a step leads to places of the same.
void scale_leaves_orbit(CorrelatedIndicators& w) {
  constexpr int cells = 1600, draws = 4000;
  constexpr double far = 8.0;
  Orbit orbit(w);
  std::vector<double> log_density, F = {0.0};
  for (int k = 0; k < cells; ++k)
    log_density.push_back(orbit.log_density_of_scale(far * (2.0 * (k + 0.5) / cells - 1.0)));
  const std::size_t first = first_cell(log_density, 2.0 * far / cells);
  if (first == log_density.size()) {
    orbit.scale(0.0);
    w.moves->move_scale(w.world.data, w.rng);
    EXPECT_EQ(orbit.scale_at(), 0.0);
    return;
  }
  const double top =
      *std::max_element(log_density.begin() + static_cast<std::ptrdiff_t>(first), log_density.end());
  for (std::size_t k = 0; k < log_density.size(); ++k)
    F.push_back(F.back() + (k < first ? 0.0 : std::exp(log_density[k] - top)));
  for (double& one : F) one /= F.back();
  ASSERT_LT(std::max(F[1], 1.0 - F[cells - 1]), 1e-4);
  const auto cell_of = [&](double u) {
    return static_cast<std::size_t>(std::upper_bound(F.begin(), F.end(), u) - F.begin()) - 1;
  };
  std::vector<double> after;
  int moved = 0;
  for (int t = 0; t < draws; ++t) {
    const double u = w.rng.runif();
    const auto k = std::min(cell_of(u), std::size_t{cells - 1});
    const double l = far * (2.0 * (static_cast<double>(k) + (u - F[k]) / (F[k + 1] - F[k])) / cells - 1.0);
    orbit.scale(l);
    w.moves->move_scale(w.world.data, w.rng);
    after.push_back(orbit.scale_at());
    moved += std::fabs(after.back() - l) > 0.02 ? 1 : 0;
    if (t % 100 != 0) continue;
    const arma::vec state = orbit.state();
    orbit.scale(after.back());
    expect_state(orbit, state, "scaled");
  }
  EXPECT_LT(kolmogorov(after,
                       [&](double l) {
                         const double at = std::clamp(0.5 * (l / far + 1.0), 0.0, 1.0) * cells;
                         const auto k = std::min(static_cast<std::size_t>(at), std::size_t{cells - 1});
                         return F[k] + (at - static_cast<double>(k)) * (F[k + 1] - F[k]);
                       }),
            2.5);
  EXPECT_GT(moved, draws / 2);
}

/// The density along the orbit is normal: three of its values tell mean and variance.
void shift_has_its_density(CorrelatedIndicators& w) {
  Orbit orbit(w);
  const double here = orbit.log_density_of_shift(0.0), up = orbit.log_density_of_shift(1.0),
               down = orbit.log_density_of_shift(-1.0), q = 2.0 * here - up - down;
  const boost::math::normal normal(0.5 * (up - down) / q, 1.0 / std::sqrt(q));
  std::vector<double> after;
  for (int t = 0; t < 4000; ++t) {
    orbit.shift(0.0);
    w.moves->move_location(w.world.data, w.rng);
    after.push_back(orbit.shift_at());
    if (t % 100 != 0) continue;
    const arma::vec state = orbit.state();
    orbit.shift(after.back());
    expect_state(orbit, state, "shifted");
  }
  EXPECT_LT(kolmogorov(after, [&](double c) { return boost::math::cdf(normal, c); }), 2.5);
}

/// Under each of the priors, the units of the first other than 1.
void moves_follow_their_orbits(block_form form) {
  for (const int prior : {1, 2, 3}) {
    form.prior = prior;
    CorrelatedIndicators w(form);
    for (std::size_t m = 0; m < w.models.size(); ++m)
      w.models[m]->scale_priors(0.3 + 1.7 * static_cast<double>(m + 1), w.world.data);
    for (int state = 0; state < (form.flat ? 6 : 2); ++state) {
      w.draw_joint();
      scale_leaves_orbit(w);
      shift_has_its_density(w);
      if (::testing::Test::HasFailure()) FAIL() << "prior " << prior << " state " << state;
    }
  }
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorWithAnIndicatorOfItsBlock) {
  moves_follow_their_orbits({});
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorWithAKnownVariance) {
  moves_follow_their_orbits({.variance = 0.7});
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorWithAKnownCorrelation) {
  moves_follow_their_orbits({.elements = known, .correlation = 0.4});
  moves_follow_their_orbits({.elements = known});
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorWithALabelledCorrelation) {
  moves_follow_their_orbits({.elements = labelled});
  moves_follow_their_orbits({.elements = labelled, .label_has_prior = false});
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorWithCoefficientsInABlockOfThree) {
  moves_follow_their_orbits({.wide = true});
  moves_follow_their_orbits({.elements = known, .correlation = 0.4, .wide = true});
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorWithFlatPriorsOfLoadings) {
  moves_follow_their_orbits({.flat = true});
  moves_follow_their_orbits({.level = 1, .elements = known, .correlation = 0.4, .flat = true});
}

TEST(FactorMovesAlongTheirOrbits, OfAFactorOfClusters) {
  moves_follow_their_orbits({.level = 1});
  moves_follow_their_orbits({.level = 1, .elements = known, .correlation = -0.3, .wide = true});
}

}  // namespace
}  // namespace tovik::tests::factor_moves_orbit_kernel_test
