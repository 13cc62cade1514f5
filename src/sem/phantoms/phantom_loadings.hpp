#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem {

/// One phantom variable in one equation.
struct phantom_term {
  arma::uword column = 0;    ///< of the working matrix: its scores, N(0, 1) a priori
  arma::uword effect = 0;    ///< the random effect that it enters, counted within its level; 0: the residual
  bool signed_side = false;  ///< of the two equations of a correlation this one carries its sign
};

/// How phantoms enter one covariance matrix S of an equation: its residual variance (1 x 1), or that of the
/// random effects of one level (q x q).
///
/// A correlation rho between an element of S, of variance v, and an element of another equation, of variance
/// w, is carried by a standard normal P that enters one with sqrt(|rho| v) and the other with
/// sign(rho) sqrt(|rho| w): the covariance is rho sqrt(v w), and both variances stay what they are if what is
/// left beside P has the variance S - Lambda Lambda' (Palomo, Dunson & Bollen, 2007, in Handbook of Latent
/// Variable and Related Models, 163-188). It must be positive definite, so that the absolute correlations of
/// one element sum to less than 1.
class phantom_loadings {
 public:
  phantom_loadings() = default;
  /// No correlation yet: every rho is 0, and S counts as the identity.
  phantom_loadings(std::vector<phantom_term> terms, arma::uword q);

  bool empty() const { return terms_.empty(); }
  arma::uword size() const { return terms_.size(); }
  const std::vector<phantom_term>& terms() const { return terms_; }
  /// The phantom with these scores. Throws error_debug when there is none.
  arma::uword find(arma::uword column) const;

  /// Live storage of a correlation: whoever writes it calls refresh. Stays where it is while the object does.
  double& rho(arma::uword k) { return rhos_(k); }
  double rho(arma::uword k) const { return rhos_(k); }

  /// Loadings and what is left at the current correlations and S (q x q). False when that is not positive
  /// definite; the object is then not to be used before a refresh that succeeds.
  bool refresh(const arma::Mat<double>& S);
  bool refresh(double variance);
  /// The last refresh succeeded.
  bool valid() const { return valid_; }

  const arma::Mat<double>& loadings() const { return Lambda_; }          ///< q x phantoms
  const arma::Mat<double>& conditional() const { return conditional_; }  ///< S - Lambda Lambda'
  const arma::Mat<double>& precision() const { return precision_; }      ///< its inverse
  double log_det() const { return log_det_; }                            ///< log determinant of conditional()
  /// The only element of conditional(), of a residual.
  double variance() const { return conditional_(0, 0); }

  /// out := P Lambda' (units x q), what the phantoms add. `rows`: the row of the data for each unit; null for
  /// every row.
  void means(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows, arma::Mat<double>& out) const;

 private:
  std::vector<phantom_term> terms_;
  arma::Col<double> rhos_;
  arma::Mat<double> Lambda_, conditional_, precision_;
  arma::Col<double> work_;
  double log_det_ = 0.0;
  bool valid_ = true;
};

}  // namespace tovik::sem
