#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcomes/missing_categories.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/outcomes/regression.hpp"

namespace tovik::sem {

/// A regression whose likelihood is normal given a Polya-Gamma weight w_i of each unit (Polson, Scott &
/// Windle, 2013, JASA 108, 1339-1349):
///
///   p(y_i | eta_i) ~ exp(kappa_i psi_i - w_i psi_i^2 / 2),   psi_i = eta_i - o_i,   w_i ~ PG(b_i, psi_i),
///
/// which is that of a normal regression with the working response kappa_i / w_i + o_i and the variances
/// 1 / w_i. A scan draws w first, at the state that the scan before has left; coefficients, with the prior
/// N(0, V), and effects follow as in every regression. Last come missing y: from the equation, or, when other
/// equations read y, by a Metropolis step with the equation as its proposal. What kappa, b and the offset o
/// are, and the likelihood itself, each kind says.
///
/// A phantom of the residual adds l P_i to eta_i, l = +-sqrt(|rho| V) as in every regression; V, the variance
/// of the latent residual, is what the kind says.
///
/// The sources: polya_gamma_regression; polya_gamma_phantoms (correlations of the residual).
class polya_gamma_regression : public Regression {
 public:
  polya_gamma_regression(const Estimator* estimator, const data::type& type, const equation_setup& setup);

  void draw(arma::Mat<double>& data) override;
  bool make_ready(arma::Mat<double>& data) override;
  estimator::tune_results tuneResults() const override;
  /// NaN with random effects, over which the likelihood has no closed integral.
  arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const override;
  void refreshShares(const arma::Mat<double>& data) override;
  void addTransform(const evaluate::pair& pair) override;
  /// Both throw error_debug.
  void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
               const distribution_type& kind) override;
  void addMulti(const std::shared_ptr<Multi>& block) override;
  std::unique_ptr<correlated_side> correlated(arma::uword column) override;
  /// As the next two, for every row: what phantoms carry is left in, since a mean is one of eta.
  arma::Mat<double> residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  /// In the working scale of the weights of the last draw: sqrt(w_i) times working response less eta_i.
  arma::Mat<double> compute_residual(const arma::Mat<double>& data) const override;
  /// The means of y.
  arma::Mat<double> compute_predicted(const arma::Mat<double>& data) const override;

  arma::Col<double> omega;          ///< weights of the last draw
  arma::Col<double> unit_values;    ///< y of each unit at the last draw
  estimator::tune_obj impute_tune;  ///< counts; there is nothing to tune

 protected:
  /// "Logistic": what messages about the program call the kind.
  virtual const char* class_name() const = 0;
  virtual double kappa(double y) const = 0;
  virtual double offset(arma::uword i) const = 0;
  virtual double draw_weight(Random& rng, double y, double psi) const = 0;
  /// kappa, the offset and the weights belong to the parameters as they stand from now on.
  virtual void settle() {}
  /// log p(y_i | eta), weights integrated out.
  virtual double log_density(arma::uword i, double y, double eta) const = 0;
  virtual double mean(double eta) const = 0;
  /// A draw of the value of each of these units from the equation.
  virtual void draw_candidates(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                               std::vector<double>& out) = 0;
  /// Where a value stands between those that random effects without bound would give.
  virtual place place_of(double y) const = 0;
  /// The parameters or the weights are not finite.
  virtual void fail() { lose_state(); }
  /// The working response of unit i with the value y.
  double working(arma::uword i, double y) const { return kappa(y) / omega(i) + offset(i); }
  double value_at(const arma::Mat<double>& data, arma::uword i) const { return scale_.at(data, i); }
  bool has_effects() const;

  double residual_variance() const override { return 1.0; }
  scan::row_scale scale() const override { return scan::row_scale::per_row(omega); }
  const arma::Col<double>* response(const arma::Mat<double>&) override { return &response_; }
  void copy_response(const arma::Mat<double>& data, double* out) const override;
  void condition_on_auxiliary(bool given) override { weights_given_ = given; }
  void draw_values(arma::Mat<double>& data) override;
  void unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                        const double* mu, double* out) const override;
  bool has_units() const override { return false; }
  arma::uword n_telling(const arma::Mat<double>& data, unsigned L) const override;
  /// exp(b), of all coefficients.
  void coefficient_rows(std::vector<double>& out) const override;
  void set_value_list(std::unique_ptr<estimator::likelihood> list) override;

 private:
  friend class polya_gamma_side;

  bool draw_weights(const arma::Mat<double>& data);

  outcome_scale scale_;         ///< of the transformation, if there is one
  missing_categories imputed_;  ///< reads and writes scale_
  arma::Col<double> psi_, response_;
  std::vector<double> imputed_response_;
  bool lost_ = false;  ///< the last scan could not be made
  bool weights_given_ = false;
};

}  // namespace tovik::sem
