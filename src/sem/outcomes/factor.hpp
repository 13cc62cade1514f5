#pragma once

#include <armadillo>

#include "sem/outcomes/normal.hpp"

namespace tovik::sem {

/// A latent variable, at any level: a regression with normal errors of which no value is known,
///
///   f_i = eta_i + e_i,   e_i ~ N(0, s2).
///
/// Priors and full conditionals of the coefficients, effects and variances are those of Normal, given the
/// scores f. The scores come last in a scan: from the equation when nobody reads them, else from
///
///   p(f_i | ...)  ~  N(f_i; eta_i, s2)  times the density of each equation that holds f,
///
/// solved where it is normal, by a Metropolis or slice step otherwise. A loading is the coefficient of f in
/// the equation of an indicator, and is drawn there (Lee & Zhu, 2000, Br. J. Math. Stat. Psychol. 53,
/// 209-232).
class Factor : public Normal {
 public:
  /// All units of the setup's level are unknown, whatever it says of missing ones.
  Factor(const Estimator* estimator, equation_setup setup);

  /// The setup with all units unknown.
  static equation_setup without_values(equation_setup setup);

  /// The scores, then the random effects of each level, at every row of `data`.
  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  arma::uword n_scores() const override { return 1; }

  /// A score is no cell of the data: fit statistics count the indicators alone.
  arma::Col<double> observed_logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::uword n_unobserved() const override { return 0; }

 protected:
  /// Every score bounds the variance and the coefficients, as the indicators tell of each.
  arma::uword n_known() const override { return n_units; }

 private:
  struct prepared {
    equation_setup setup;
  };
  Factor(const Estimator* estimator, const prepared& whole);
};

}  // namespace tovik::sem
