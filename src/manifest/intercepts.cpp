#include "manifest/intercepts.hpp"

#include <algorithm>
#include <utility>

#include "sem/scan/blas.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/residual_variance.hpp"

namespace tovik::manifest {

using sem::scan::cluster_products;
using sem::scan::dot;

namespace {

arma::Col<arma::uword> first_positions(arma::uword n) {
  arma::Col<arma::uword> out(n);
  for (arma::uword j = 0; j < n; ++j) out[j] = j;
  return out;
}

}  // namespace

intercepts::intercepts(intercepts_setup setup, double start)
    : u(setup.n_clusters, setup.dim, arma::fill::zeros),
      t2(setup.dim, arma::fill::value(start)),
      setup_(std::move(setup)),
      between_(first_positions(setup_.between.n_elem), {}, setup_.coefficients),
      A_(u.n_rows, setup_.dim * (setup_.dim + 1) / 2),
      h_(u.n_rows, setup_.dim),
      sums_(u.n_rows, setup_.dim),
      iSigma_(setup_.dim, setup_.dim, arma::fill::zeros),
      Z_(u.n_rows, setup_.between.n_elem),
      weight_(u.n_rows),
      part_(setup_.between.n_elem),
      drawn_(setup_.between.n_elem, arma::fill::zeros) {}

void intercepts::add(double sign, arma::Mat<double>& out) const {
  const arma::uword* cluster = setup_.of_unit->memptr();
  for (arma::uword k = 0; k < out.n_cols; ++k) {
    const double* effect = u.colptr(k);
    double* to = out.colptr(k);
    for (arma::uword i = 0; i < out.n_rows; ++i) to[i] += sign * effect[cluster[i]];
  }
}

void intercepts::draw(const arma::Mat<double>& e, const arma::Col<arma::uword>& rows,
                      const arma::Mat<double>& P, const double* w, Random& rng) {
  const arma::uword* cluster = setup_.of_unit->memptr();
  arma::uword const dim = u.n_cols;
  weight_.zeros();
  sums_.zeros();
  for (arma::uword i : rows) {
    const double weight = w == nullptr ? 1.0 : w[i];
    weight_[cluster[i]] += weight;
    for (arma::uword k = 0; k < dim; ++k) sums_(cluster[i], k) += weight * e(i, k);
  }
  for (arma::uword c = 0; c < dim; ++c) {
    for (arma::uword r = 0; r <= c; ++r) A_.col(cluster_products::packed(r, c)) = P(r, c) * weight_;
    iSigma_(c, c) = 1.0 / t2[c];
  }
  h_ = sums_ * P;
  effects_.draw(A_, h_, 1.0, iSigma_, nullptr, rng, u);
}

void intercepts::draw_variances(Random& rng) {
  const double n = static_cast<double>(u.n_rows);
  for (arma::uword k = 0; k < u.n_cols; ++k) {
    const double ss = dot(u.n_rows, u.colptr(k), u.colptr(k));
    const double precision = sem::scan::draw_precision(setup_.prior, n, ss, rng, setup_.unit);
    t2[k] = std::max(setup_.floor, 1.0 / precision);
  }
}

void intercepts::recentre(const arma::Mat<double>& X, const arma::Col<arma::uword>& columns, Random& rng,
                          arma::Mat<double>& b) {
  const arma::Col<arma::uword>& between = setup_.between;
  arma::uword const p = between.n_elem;
  for (arma::uword c = 0; c < p; ++c) {
    const double* x = X.colptr(columns[between[c]]);
    for (arma::uword j = 0; j < u.n_rows; ++j) Z_(j, c) = x[setup_.first_unit[j]];
  }
  G_ = Z_.t() * Z_;
  between_.factor(G_, u.n_rows);
  for (arma::uword k = 0; k < u.n_cols; ++k) {
    double* effect = u.colptr(k);
    for (arma::uword c = 0; c < p; ++c)
      sem::scan::add_scaled(u.n_rows, b(between[c], k), Z_.colptr(c), effect);
    sem::scan::multiply_transposed(1.0, Z_, effect, 0.0, part_.memptr());
    between_.draw(G_, part_.memptr(), t2[k], rng, drawn_.memptr());
    for (arma::uword c = 0; c < p; ++c) {
      b(between[c], k) = drawn_[c];
      sem::scan::add_scaled(u.n_rows, -drawn_[c], Z_.colptr(c), effect);
    }
  }
}

}  // namespace tovik::manifest
