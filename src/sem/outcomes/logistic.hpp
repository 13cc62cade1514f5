#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/polya_gamma_regression.hpp"
#include "sem/scan/logit.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::sem {

/// Logistic regression of a variable with the values 0 and 1:
///
///   P(y_i = 1) = 1 / (1 + exp(-psi_i)),   psi_i = eta_i - o_i,   b_j ~ N(0, V),
///
/// o an offset that a caller may give, else 0: in the terms of polya_gamma_regression kappa = y - 1/2 and
/// b = 1. What is left beside phantoms of the residual has the logistic variance pi^2 / 3, so that with
/// correlations rho the whole latent variance is V = pi^2 / 3 / (1 - sum |rho|).
///
/// A linear predictor that is not finite, or a weight whose draw has failed, makes whatever is drawn here
/// NaN, and so the report; values of the data stay.
class Logistic : public polya_gamma_regression {
 public:
  /// Prior variance of each coefficient, 5 by default.
  static inline double& priBeta = categorical_priors::logistic;

  Logistic(const Estimator* estimator, const equation_setup& setup);

  void draw(arma::Mat<double>& data) override { draw(data, nullptr); }
  /// The same with an offset for each unit, or null. Throws error_debug when there are not as many.
  void draw(arma::Mat<double>& data, const arma::Col<double>* offset);

  bool make_ready(arma::Mat<double>& data) override;
  arma::Mat<double> compute_predicted_prob(const arma::Mat<double>& data) const;

  // For those who are made of logistic regressions.
  using Regression::at_rows;
  using Regression::predictor;
  using Regression::predictor_at;

 protected:
  const char* class_name() const override { return "Logistic"; }
  double kappa(double y) const override { return y - 0.5; }
  double offset(arma::uword i) const override { return offset_.is_empty() ? 0.0 : offset_(i); }
  double draw_weight(Random& rng, double, double psi) const override { return rng.rpg(psi); }
  double log_density(arma::uword i, double y, double eta) const override {
    return scan::log_bernoulli(y, eta - offset(i));
  }
  double mean(double eta) const override { return scan::logistic(eta); }
  void draw_candidates(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                       std::vector<double>& out) override;
  place place_of(double y) const override { return y > 0.5 ? place::last : place::first; }
  double correlated_variance() const override;
  double share_variance() const override { return unexplained_; }
  /// The variance of the logistic distribution, to read: the last of those that make the total.
  std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                        const unsigned& index) override;

 private:
  void set_offset(const arma::Col<double>* offset);

  arma::Col<double> offset_;                      ///< of the last draw; empty: none
  double unexplained_ = scan::logistic_variance;  ///< a constant, with an address
};

}  // namespace tovik::sem
