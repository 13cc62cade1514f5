#include "sem/factor_world.hpp"

#include <cmath>

#include "sem/scan/covariance.hpp"
#include "sem/scan/slice_step.hpp"

namespace tovik::tests {

factor_world::factor_world(arma::uword clusters, arma::uword q, bool weighted, double mean, double spread) {
  Random rng(31, 0U);
  std::vector<arma::uword> of;
  for (arma::uword c = 0; c < clusters; ++c)
    for (arma::uword i = 0; i <= (3 * c) % 7; ++i) of.push_back(c);
  cluster_of = arma::Col<arma::uword>(of);
  Z = mean + spread * rng.randn(static_cast<int>(of.size()), static_cast<int>(q));
  Z.col(0).ones();
  weight.set_size(of.size());
  for (double& w : weight) w = weighted ? 0.5 + 6.0 * rng.runif() : 4.0;
  y.zeros(of.size());
  sum_designs();
  sum_outcomes();
}

void factor_world::sum_designs() {
  arma::uword const q = Z.n_cols, C = cluster_of.back() + 1;
  A.zeros(C, q * (q + 1) / 2);
  for (arma::uword i = 0; i < y.n_elem; ++i)
    for (arma::uword j = 0; j < q; ++j)
      for (arma::uword l = 0; l <= j; ++l)
        A(cluster_of(i), j * (j + 1) / 2 + l) += weight(i) * Z(i, j) * Z(i, l);
}

arma::Mat<double> factor_world::orthonormal() const {
  return arma::chol(Z.t() * arma::diagmat(weight) * Z, "lower");
}

void factor_world::sum_outcomes() {
  t.zeros(cluster_of.back() + 1, Z.n_cols);
  for (arma::uword i = 0; i < y.n_elem; ++i) t.row(cluster_of(i)) += weight(i) * y(i) * Z.row(i);
}

arma::Mat<double> factor_world::draw_u(const arma::Mat<double>& Sigma, Random& rng) const {
  return rng.randn(static_cast<int>(cluster_of.back() + 1), static_cast<int>(Z.n_cols)) * arma::chol(Sigma);
}

void factor_world::draw_y(const arma::Mat<double>& u, Random& rng) {
  for (arma::uword i = 0; i < y.n_elem; ++i)
    y(i) = arma::dot(Z.row(i), u.row(cluster_of(i))) + rng.rnorm() / std::sqrt(weight(i));
  sum_outcomes();
}

double factor_world::log_likelihood(const arma::Mat<double>& u) const {
  double sum = 0.0;
  for (arma::uword i = 0; i < y.n_elem; ++i)
    sum -= 0.5 * weight(i) * std::pow(y(i) - arma::dot(Z.row(i), u.row(cluster_of(i))), 2);
  return sum;
}

void draw_factor_naively(const factor_world& world, const sem::scan::covariance_prior& prior, Random& rng,
                         arma::Mat<double>& u, arma::Mat<double>& Sigma) {
  arma::uword const q = Sigma.n_rows;
  const arma::Mat<double> T = world.orthonormal();
  arma::Mat<double> L = arma::chol(arma::symmatu(T.t() * Sigma * T), "lower");
  const arma::Mat<double> xi = arma::solve(arma::trimatl(L), T.t() * u.t()).t();
  const double df = sem::scan::prior_degrees(prior.code, static_cast<int>(q));
  arma::Mat<double> S0(q, q, arma::fill::zeros);
  if (prior.code == 1)
    S0 = prior.units == nullptr ? arma::Mat<double>(q, q, arma::fill::eye)
                                : arma::Mat<double>(arma::diagmat(*prior.units));
  const auto factor = [&](const arma::Mat<double>& of) {
    return arma::Mat<double>(arma::solve(arma::trimatu(T.t()), of));
  };
  const auto likelihood = [&](const arma::Mat<double>& of) {
    return world.log_likelihood(xi * factor(of).t());
  };
  const auto log_density = [&](const arma::Mat<double>& of) {
    const arma::Mat<double> F = factor(of), S = F * F.t();
    double out =
        likelihood(of) - 0.5 * (df + static_cast<double>(q) + 1.0) * 2.0 * arma::accu(arma::log(of.diag()));
    out -= 0.5 * arma::trace(S0 * arma::inv(S));
    for (arma::uword j = 0; j < q; ++j) out += static_cast<double>(q - j) * std::log(of(j, j));
    return out;
  };
  for (arma::uword k = 0; k < q; ++k) {
    if (k > 0) {
      const auto at = [&](const arma::Row<double>& v) {
        arma::Mat<double> of = L;
        of.submat(k, 0, k, k - 1) = v;
        return log_density(of);
      };
      const arma::Mat<double> e(k, k, arma::fill::eye);
      const arma::Row<double> none(k, arma::fill::zeros);
      arma::Mat<double> P(k, k);
      arma::Col<double> h(k);
      for (arma::uword i = 0; i < k; ++i) {
        h(i) = 0.5 * (at(e.row(i)) - at(-e.row(i)));
        for (arma::uword j = 0; j < k; ++j)
          P(i, j) = at(e.row(i)) + at(e.row(j)) - at(none) - at(e.row(i) + e.row(j));
      }
      arma::Row<double> z(k);
      for (double& one : z) one = rng.rnorm();
      L.submat(k, 0, k, k - 1) = arma::solve(P, h).t() + z * arma::chol(arma::inv(arma::symmatu(P)));
    }
    const auto at = [&](double x) {
      arma::Mat<double> of = L;
      of(k, k) = x;
      return log_density(of);
    };
    arma::Mat<double> one(q, q, arma::fill::zeros);
    double flat = likelihood(one), up = 0.0, down = 0.0;
    one(k, k) = 1.0;
    up = likelihood(one);
    one(k, k) = -1.0;
    down = likelihood(one);
    L(k, k) = sem::scan::slice_step(L(k, k), sem::scan::effect_factor_step::least(prior.code),
                                    2.0 / std::sqrt(2.0 * flat - up - down), at, rng);
  }
  L = factor(L);
  Sigma = L * L.t();
  u = xi * L.t();
}

}  // namespace tovik::tests
