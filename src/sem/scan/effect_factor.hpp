#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// What the prior of a covariance matrix says: its code, and the diagonal of the scale matrix of the first
/// one (see covariance_step), null for ones.
struct covariance_prior {
  int code = 2;
  const arma::Col<double>* units = nullptr;
};

/// A second draw of the covariance matrix of the random effects of one level, by which variances near zero
/// leave it. With u_c = L xi_c, LL' = Sigma, a draw of Sigma given u moves no
/// further than the effects let it, which follow Sigma in turn; here xi is held, and the elements of L are
/// coefficients of the regression
///
///   y - Xb = sum_{k >= l} L_kl (z_k xi_l) + e
///
/// (Liu & Wu, 1999, JASA 94, 1264-1274; Gelman et al., 2008, JCGS 17, 95-122; both draws together: Yu & Meng,
/// 2011, JCGS 20, 531-570). xi is standard normal whatever L, so that the target is
///
///   p(L | xi, y) ~ p(Sigma = LL') prod_j L_jj^(q - j + 1) N(y; Xb + Z L xi, .),
///
/// the product being the Jacobian of L -> Sigma. In an inverse Wishart of df degrees of freedom and scale S0
/// it becomes prod_j L_jj^(-j - df) exp(-tr(S0 inv(LL')) / 2). Off the diagonal, a row of L is normal, its
/// element on the diagonal is drawn by slice sampling.
///
/// Which factor of Sigma it is decides what is held. Here the covariates are taken orthonormal over all
/// units, z -> z inv(T)', TT' = w sum_c A_c with T lower triangular, and L is the lower Cholesky factor of
/// the covariance matrix of the effects T'u: of an intercept and slopes first the level at the mean of the
/// covariates, which is known best, then the slopes. Rows of L hardly depend on each other then, and the draw
/// is the same in whatever units and wherever the covariates are centred; T depends on neither L nor xi.
class effect_factor_step {
 public:
  /// As random_effects_step has them: `A` clusters x q(q + 1)/2, packed; `t` clusters x q, the level's
  /// effects left in; `w`. Replaces u, Sigma and iSigma. False, with no random number drawn, when the
  /// covariates are dependent or an element on the diagonal is not above its bound.
  bool draw(const arma::Mat<double>& A, const arma::Mat<double>& t, double w, const covariance_prior& prior,
            Random& rng, arma::Mat<double>& u, arma::Mat<double>& iSigma, arma::Mat<double>& Sigma);

  /// The bound of the elements on the diagonal of L, where one is the standard error of a coefficient in
  /// the regression on the covariates. The step goes nowhere below, and stays where it starts below: it
  /// leaves the distribution on either side as it is. The third prior is not integrable at a variance of
  /// zero, and the step would make for that pole as soon as the data do not hold it off.
  static double least(int prior);

 private:
  bool take_factor(const arma::Mat<double>& iSigma, double bound);
  bool start(const arma::Mat<double>& A, double w, const covariance_prior& prior,
             const arma::Mat<double>& iSigma);
  void take_products(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                     const arma::Mat<double>& u);
  void draw_row(arma::uword k, const covariance_prior& prior, Random& rng);
  void draw_diagonal(arma::uword k, const covariance_prior& prior, Random& rng);
  void take_others(arma::uword k);
  void scaled_row(arma::uword j);
  void invert();
  void finish(arma::Mat<double>& u, arma::Mat<double>& iSigma, arma::Mat<double>& Sigma);

  arma::uword q_ = 0;
  arma::Mat<double> T_, K_;        ///< TT' = w sum A; K' = inv(L)
  arma::Mat<double> B_;            ///< T inv(L)'
  arma::Mat<double> S_;            ///< T'S0 T
  arma::Mat<double> L_, inverse_;  ///< L and its inverse
  arma::Mat<double> xi_, pairs_;   ///< clusters x q; products of their columns, packed
  arma::Mat<double> M_;            ///< sums of A_c(k, k') xi_l xi_l', both packed
  arma::Mat<double> N_;            ///< the same in the orthonormal covariates: (l, l') packed, q x q each
  arma::Mat<double> H_;            ///< sums of t_k xi_l there
  arma::Mat<double> Q_;            ///< of one row: its precision
  arma::Col<double> g_;            ///< its linear term
  arma::Col<double> P_, work_, side_;
};

}  // namespace tovik::sem::scan
