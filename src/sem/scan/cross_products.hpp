#pragma once

#include <armadillo>
#include <vector>

#include "sem/scan/design.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/wiring/selector.hpp"

namespace tovik::sem::scan {

/// X'X of a design, or X'WX with precisions W. Computed once; with mutable columns only the rows and columns
/// that belong to them are computed again.
class gram {
 public:
  /// With one variance for all units the precisions are left out.
  void refresh(columns const& x, row_scale const& scale = row_scale());

  arma::Mat<double> const& values() const { return G_; }
  /// X'X of the current columns; null when precisions stand in it.
  arma::Mat<double> const* plain() const { return filled_ ? &G_ : nullptr; }
  /// How often anything was recomputed: a factor of G made at another count is stale.
  unsigned version() const { return version_; }

 private:
  arma::Mat<double> G_;
  arma::Mat<double> weighted_;
  bool filled_ = false;
  unsigned version_ = 0;
};

/// The products of the covariates of one level's random effects within each cluster c: the upper triangle of
/// Z_c'Z_c (or Z_c'W_cZ_c), packed by columns. One row per cluster, so that kernels run along columns.
class cluster_products {
 public:
  void refresh(columns const& z, estimator::selector const& clusters, row_scale const& scale = row_scale());

  /// Clusters x q(q + 1)/2; element (i, j), i <= j, stands in column packed(i, j).
  arma::Mat<double> const& values() const { return A_; }
  static arma::uword packed(arma::uword i, arma::uword j) { return j * (j + 1) / 2 + i; }

 private:
  arma::Mat<double> A_;
  bool filled_ = false;
};

/// out(c) := sum over the units of cluster c of a * b (times the precision when the scale is not one).
void cluster_sums(double const* a, double const* b, estimator::selector const& clusters,
                  row_scale const& scale, double* out);

/// out := Z'r within clusters: clusters x q.
void cluster_sums(arma::Mat<double> const& z, double const* r, estimator::selector const& clusters,
                  row_scale const& scale, arma::Mat<double>& out);

/// r -= z * effect(cluster).
void subtract_effect(double const* z, double const* effect, estimator::selector const& clusters, double* r);

/// r -= z_j * u_j(cluster) for every column j: the part of the random effects u (clusters x q).
void subtract_effects(arma::Mat<double> const& z, arma::Mat<double> const& u,
                      estimator::selector const& clusters, double* r);

/// out += A_c u_c for every cluster: what the current effects u contribute to Z'r.
void add_products(arma::Mat<double> const& A, arma::Mat<double> const& u, arma::Mat<double>& out);

/// Sum over clusters of u_c' A_c u_c.
double quadratic_form(arma::Mat<double> const& A, arma::Mat<double> const& u);

}  // namespace tovik::sem::scan
