#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcomes/missing_categories.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/scan/logit.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::sem {

/// Logistic regression of a variable with the values 0 and 1:
///
///   P(y_i = 1) = 1 / (1 + exp(-psi_i)),   psi_i = eta_i - o_i,   b_j ~ N(0, V),
///
/// o an offset that a caller may give, else 0. With weights w_i ~ PG(1, psi_i) the likelihood of eta is that
/// of a normal regression with the working response (y_i - 1/2) / w_i + o_i and the variances 1 / w_i
/// (Polson, Scott & Windle, 2013, JASA 108, 1339-1349). A scan draws w first, at the state that the scan
/// before has left; coefficients and effects follow as in every regression. Last come missing y: from the
/// equation, or, when other equations read y, by a Metropolis step with the equation as its proposal.
///
/// A phantom of the residual adds l P_i to psi_i. What is left beside the phantoms has the logistic variance
/// pi^2 / 3, so that with correlations rho the whole latent variance is V = pi^2 / 3 / (1 - sum |rho|), and
/// l = +-sqrt(|rho| V) as in every regression.
///
/// A linear predictor that is not finite, or a weight whose draw has failed, makes whatever is drawn here
/// NaN, and so the report; values of the data stay.
class Logistic : public Regression {
 public:
  /// Prior variance of each coefficient, 5 by default.
  static inline double& priBeta = categorical_priors::logistic;

  Logistic(const Estimator* estimator, const equation_setup& setup);

  void draw(arma::Mat<double>& data) override { draw(data, nullptr); }
  /// The same with an offset for each unit, or null. Throws error_debug when there are not as many.
  void draw(arma::Mat<double>& data, const arma::Col<double>* offset);

  bool make_ready(arma::Mat<double>& data) override;
  estimator::tune_results tuneResults() const override;
  /// NaN with random effects, over which the logistic likelihood has no closed integral.
  arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const override;
  void refreshShares(const arma::Mat<double>& data) override;
  void addTransform(const evaluate::pair& pair) override;
  /// Both throw error_debug.
  void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
               const distribution_type& kind) override;
  void addMulti(const std::shared_ptr<Multi>& block) override;
  std::unique_ptr<correlated_side> correlated(arma::uword column) override;
  /// As the next two, for every row: what phantoms carry is left in, since a probability is one of psi.
  arma::Mat<double> residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  /// In the working scale of the weights of the last draw: sqrt(w_i) times working response less eta_i.
  arma::Mat<double> compute_residual(const arma::Mat<double>& data) const override;
  /// The probabilities of 1.
  arma::Mat<double> compute_predicted(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_predicted_prob(const arma::Mat<double>& data) const;

  // For those who are made of logistic regressions.
  using Regression::at_rows;
  using Regression::predictor;
  using Regression::predictor_at;

  arma::Col<double> omega;          ///< weights of the last draw; 1/4, the mean of PG(1, 0), before
  arma::Col<double> binary_values;  ///< y of each unit at the last draw
  estimator::tune_obj impute_tune;  ///< counts; there is nothing to tune

 protected:
  double residual_variance() const override { return 1.0; }
  double correlated_variance() const override;
  scan::row_scale scale() const override { return scan::row_scale::per_row(omega); }
  const arma::Col<double>* response(const arma::Mat<double>&) override { return &response_; }
  void copy_response(const arma::Mat<double>& data, double* out) const override;
  void condition_on_auxiliary(bool given) override { weights_given_ = given; }
  void draw_values(arma::Mat<double>& data) override;
  void unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                        const double* mu, double* out) const override;
  bool has_units() const override { return false; }
  arma::uword n_telling(const arma::Mat<double>& data, unsigned L) const override;
  double share_variance() const override { return unexplained_; }
  /// Odds ratios, of all coefficients.
  void coefficient_rows(std::vector<double>& out) const override;
  /// The variance of the logistic distribution, to read: the last of those that make the total.
  std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                        const unsigned& index) override;
  void set_value_list(std::unique_ptr<estimator::likelihood> list) override;

 private:
  friend class logistic_side;

  bool draw_weights(const arma::Mat<double>& data);
  void set_offset(const arma::Col<double>* offset);
  double offset(arma::uword i) const { return offset_.is_empty() ? 0.0 : offset_(i); }
  double working(arma::uword i, double y) const { return (y - 0.5) / omega(i) + offset(i); }
  bool has_effects() const;

  outcome_scale scale_;         ///< of the transformation, if there is one
  missing_categories imputed_;  ///< reads and writes scale_
  arma::Col<double> offset_;    ///< of the last draw; empty: none
  arma::Col<double> psi_, response_;
  std::vector<double> imputed_response_;
  double unexplained_ = scan::logistic_variance;  ///< a constant, with an address
  bool lost_ = false;                             ///< the last scan could not be made
  bool weights_given_ = false;
};

}  // namespace tovik::sem
