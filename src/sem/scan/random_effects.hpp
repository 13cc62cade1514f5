#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// The random effects of one level, given everything else (conjugate step). For each cluster c
///
///   u_c | ... ~ N(V_c (w t_c + iSigma mu_c), V_c),   inv(V_c) = w A_c + iSigma,
///
/// with A_c = Z_c'Z_c, t_c = Z_c'(y - everything but this level's effects), w the residual precision (1 when
/// A and t are weighted already) and mu_c the mean of the effects, zero unless given.
class random_effects_step {
 public:
  /// `A`: clusters x q(q + 1)/2, upper triangles packed by columns; `t`: clusters x q; `mu`: clusters x q or
  /// null; `u`: clusters x q, overwritten in place. Consumes q normals per cluster, cluster by cluster.
  /// Throws numeric_error "chol(): decomposition failed" when a precision is not positive definite.
  void draw(const arma::Mat<double>& A, const arma::Mat<double>& t, double w, const arma::Mat<double>& iSigma,
            const arma::Mat<double>* mu, Random& rng, arma::Mat<double>& u);

 private:
  void draw_1(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
              const arma::Mat<double>& iSigma, const arma::Mat<double>* mu, arma::Mat<double>& u);
  void draw_2(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
              const arma::Mat<double>& iSigma, const arma::Mat<double>* mu, arma::Mat<double>& u);
  void draw_any(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                const arma::Mat<double>& iSigma, const arma::Mat<double>* mu, arma::Mat<double>& u);

  arma::Col<double> z_;
  arma::Col<double> P_, h_;
};

}  // namespace tovik::sem::scan
