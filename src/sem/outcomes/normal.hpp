#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <utility>

#include "sem/outcomes/missing_outcomes.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/outcomes/regression.hpp"

namespace tovik::sem {

/// Regression of a continuous variable with normal errors:
///
///   g(y_i) = eta_i + e_i,   e_i ~ N(0, s2),
///
/// g a transformation, or none: the equation is that of g(y), and so are residuals, predictions and log
/// likelihoods. Flat prior for the coefficients; s2 has the (improper) inverse gamma prior of `priors`. After
/// the effects a scan draws s2 from its full conditional, with phantoms of the residual by
/// Metropolis-Hastings from the draw without them; last, missing y from the equation, or, when other
/// equations read y, by a Metropolis or slice step on the product of all equations that hold it.
class Normal : public Regression {
 public:
  Normal(const Estimator* estimator, const equation_setup& setup);

  void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
               const distribution_type& kind) override;
  void addTransform(const evaluate::pair& pair) override;
  void tune() override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  /// Also the residual variance, if it is drawn.
  arma::uword n_estimated() const override;

  /// Log likelihood of all units when the whole residual variance has been written.
  double residVarAR(const double& value, const arma::Mat<double>& data);

  /// Missing values have a solved distribution; draws them from it, between scans.
  bool is_solved() const { return solver_ != nullptr; }
  void draw_scores(arma::Mat<double>& data) { imputed_.draw_solved(*solver_, data); }

  /// |g(y) - eta|^2 over all units.
  double squared_residuals(const arma::Mat<double>& data);

  bool is_normal() const override { return true; }

  /// For a regression without random effects whose columns stay as they are.
  std::unique_ptr<estimator::block_likelihood> blockLiklihood(const arma::Mat<double>& data) const override;

  double sigma2;  ///< residual variance
  bool estimate_resid;
  estimator::tune_obj imp_tune;

 protected:
  /// For a kind that is a normal regression of other values; `type`: what its outcome is.
  Normal(const Estimator* estimator, const equation_setup& setup, data::type type);

  /// The transformation has moved: y* of every unit follows from its value anew.
  void forget_values() { scale_.forget(); }
  /// What `range` tells at each draw bounds y*.
  void bound_values(std::function<value_range()> range) { scale_.bound(std::move(range)); }

  double residual_variance() const override { return sigma2; }
  bool residual_variance_moves() const override { return estimate_resid; }
  void set_residual_variance(double v) override { sigma2 = v; }
  const arma::Col<double>* response(const arma::Mat<double>& data) override;
  void copy_response(const arma::Mat<double>& data, double* out) const override;
  void response_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                   double* out) const override;
  void draw_own(const arma::Mat<double>& data) override;
  void draw_values(arma::Mat<double>& data) override;
  void unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                        const double* mu, double* out) const override;
  double log_likelihood_from_products() const override;
  bool log_likelihood_from_sums(unsigned above, arma::Col<double>& out) const override;
  double share_variance() const override { return sigma2; }
  arma::Col<double> own_rows() const override { return {sigma2}; }
  void take_own_rows(const double* v) override { sigma2 = *v; }
  /// The residual variance, to drive (its proposal variance is 2 s2^2 / (n - 2)) or to read.
  std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                        const unsigned& index) override;
  void set_value_list(std::unique_ptr<estimator::likelihood> list) override;

 private:
  void draw_variance_with_phantoms(const arma::Mat<double>& data);
  std::shared_ptr<estimator::constraint> driven_variance();

  outcome_scale scale_;       ///< of the transformation, if there is one
  missing_outcomes imputed_;  ///< reads and writes scale_
  std::shared_ptr<autosolver::solver<autosolver::normal>> solver_;  ///< of missing values; null for none
  arma::Mat<double> values_;                                        ///< residuals, phantoms left in
  arma::Col<double> response_values_, fitted_;                      ///< of squared_residuals
};

}  // namespace tovik::sem
