// The residuals of a model and their variances.

#include <algorithm>
#include <cmath>
#include <utility>

#include "manifest/var.hpp"
#include "sem/scan/residual_variance.hpp"

namespace tovik::manifest {

Var::VarE::VarE(double start, arma::uword n_clusters)
    : Sigma(1, 1, arma::fill::value(n_clusters > 0 ? 1.0 : start)),
      clusters_(n_clusters, start),
      n_(n_clusters),
      ss_(n_clusters) {
  follow();
}

Var::VarE::VarE(arma::Mat<double> held) : Sigma(std::move(held)), drawn(false) {
  follow();
}

void Var::VarE::follow() {
  if (Sigma.n_elem == 1) {
    precision_ = 1.0 / Sigma;
    root_ = arma::sqrt(Sigma);
    return;
  }
  precision_ = arma::inv_sympd(Sigma);
  root_ = arma::chol(Sigma);
}

void Var::VarE::spread(const arma::Col<arma::uword>& cluster) {
  weight_.set_size(cluster.n_elem);
  for (arma::uword i = 0; i < cluster.n_elem; ++i) weight_[i] = 1.0 / clusters_.v[cluster[i]];
}

void Var::VarE::draw(const arma::Mat<double>& e, const arma::Col<arma::uword>& rows,
                     const arma::Col<arma::uword>* cluster, Random& rng) {
  if (!drawn) return;
  if (by_cluster()) {
    n_.zeros();
    ss_.zeros();
    for (arma::uword i : rows) {
      n_[(*cluster)[i]] += 1.0;
      ss_[(*cluster)[i]] += e[i] * e[i];
    }
    clusters_.draw(n_, ss_, rng, floor);
    spread(*cluster);
    return;
  }
  double ss = 0.0;
  for (arma::uword i : rows) ss += e[i] * e[i];
  const bool vanished = !(ss > 0.0) && prior != 1;  // residuals that vanish leave no scale to draw from
  const double n = static_cast<double>(rows.n_elem);
  const double least = std::max(floor, std::numeric_limits<double>::min());
  const double variance = vanished ? 0.0 : 1.0 / sem::scan::draw_precision(prior, n, ss, rng, unit);
  Sigma(0, 0) = std::max(least, variance);
  precision_(0, 0) = 1.0 / Sigma(0, 0);
  root_(0, 0) = std::sqrt(Sigma(0, 0));
}

void Var::VarE::scale(const arma::Col<arma::uword>& units, arma::Mat<double>& z) const {
  arma::uword const dim = z.n_cols;
  for (arma::uword i = 0; i < z.n_rows; ++i) {
    const double by = by_cluster() ? 1.0 / std::sqrt(weight_[units[i]]) : 1.0;
    // From the last column down each uses elements that still are normals.
    for (arma::uword c = dim; c-- > 0;) {
      double sum = 0.0;
      for (arma::uword k = 0; k <= c; ++k) sum += z(i, k) * root_(k, c);
      z(i, c) = by * sum;
    }
  }
}

}  // namespace tovik::manifest
