#include "sem/predictors/normal_rectangle.hpp"

#include <cmath>
#include <vector>

#include "random/densities.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

constexpr arma::uword n_points = 256;

std::vector<double> roots_of_primes(arma::uword n) {
  std::vector<unsigned> primes;
  std::vector<double> roots;
  for (unsigned candidate = 2; roots.size() < n; ++candidate) {
    bool prime = true;
    for (unsigned p : primes)
      if (candidate % p == 0) prime = false;
    if (!prime) continue;
    primes.push_back(candidate);
    roots.push_back(std::sqrt(static_cast<double>(candidate)));
  }
  return roots;
}

/// A lattice rule folded into a tent, which makes the integrand periodic: one point after the other.
arma::Mat<double> frozen_points(arma::uword dim) {
  const std::vector<double> root = roots_of_primes(dim);
  arma::Mat<double> w(dim, n_points);
  for (arma::uword p = 0; p < n_points; ++p)
    for (arma::uword i = 0; i < dim; ++i) {
      const double at = static_cast<double>(p + 1) * root[i];
      w(i, p) = std::fabs(2.0 * (at - std::floor(at)) - 1.0);
    }
  return w;
}

}  // namespace

normal_rectangle::normal_rectangle(const arma::Mat<double>& sigma) {
  if (sigma.is_empty() || !arma::chol(C_, sigma)) throw numeric_error::not_positive_definite();
  if (dim() > 1) points_ = frozen_points(dim() - 1);
  y_.set_size(dim());
}

double normal_rectangle::at(const double* bound, const double* w) {
  double product = 1.0;
  for (arma::uword i = 0; i < dim(); ++i) {
    const double* const c = C_.colptr(i);
    double sum = 0.0;
    for (arma::uword j = 0; j < i; ++j) sum += c[j] * y_[j];
    const double e = phi((bound[i] - sum) / c[i]);
    product *= e;
    if (product == 0.0) return 0.0;
    if (i + 1 < dim()) y_[i] = iPhi(e * w[i]);
  }
  return product;
}

double normal_rectangle::operator()(const double* bound) {
  if (dim() == 1) return at(bound, nullptr);
  double sum = 0.0;
  for (arma::uword p = 0; p < n_points; ++p) sum += at(bound, points_.colptr(p));
  return sum / static_cast<double>(n_points);
}

}  // namespace tovik::sem
