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
  void refresh(const columns& x, const row_scale& scale = row_scale());

  const arma::Mat<double>& values() const { return G_; }
  /// X'X of the current columns; null when precisions stand in it.
  const arma::Mat<double>* plain() const { return filled_ ? &G_ : nullptr; }
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
  void refresh(const columns& z, const estimator::selector& clusters, const row_scale& scale = row_scale());

  /// Clusters x q(q + 1)/2; element (i, j), i <= j, stands in column packed(i, j).
  const arma::Mat<double>& values() const { return A_; }
  static arma::uword packed(arma::uword i, arma::uword j) { return j * (j + 1) / 2 + i; }

 private:
  arma::Mat<double> A_;
  bool filled_ = false;
};

/// The products of the covariates of one level's random effects and the predictors within each cluster,
/// Z_c'X_c (or Z_c'W_cX_c).
class cluster_cross {
 public:
  void refresh(const columns& z, const columns& x, const estimator::selector& clusters,
               const row_scale& scale = row_scale());

  /// Per covariate: clusters x predictors.
  const std::vector<arma::Mat<double>>& values() const { return B_; }

 private:
  std::vector<arma::Mat<double>> B_;
  bool filled_ = false;
};

/// out(c) := sum over the units of cluster c of a * b (times the precision when the scale is not one).
void cluster_sums(const double* a, const double* b, const estimator::selector& clusters,
                  const row_scale& scale, double* out);

/// out := Z'r within clusters: clusters x q.
void cluster_sums(const arma::Mat<double>& z, const double* r, const estimator::selector& clusters,
                  const row_scale& scale, arma::Mat<double>& out);

/// r += scale * z * effect(cluster).
void add_effect(double scale, const double* z, const double* effect, const estimator::selector& clusters,
                double* r);

/// r -= z_j * u_j(cluster) for every column j: the part of the random effects u (clusters x q).
void subtract_effects(const arma::Mat<double>& z, const arma::Mat<double>& u,
                      const estimator::selector& clusters, double* r);

/// out += A_c u_c for every cluster: what the current effects u contribute to Z'r.
void add_products(const arma::Mat<double>& A, const arma::Mat<double>& u, arma::Mat<double>& out);

/// Sum over clusters of u_c' A_c u_c.
double quadratic_form(const arma::Mat<double>& A, const arma::Mat<double>& u);

}  // namespace tovik::sem::scan
