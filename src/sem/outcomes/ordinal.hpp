#pragma once

#include <armadillo>
#include <memory>

#include "sem/outcomes/ordered_scores.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/outcomes/score_walk.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::sem {

namespace scan {
struct orbit_scale;
}

/// Probit regression of a binary or ordered variable with K + 1 categories through a normal propensity
/// (Albert & Chib, 1993, JASA 88, 669-679):
///
///   Y*_i = eta_i + e_i,   e_i ~ N(0, 1),   category k where tau(k-1) < Y*_i <= tau(k),   tau(0) = 0.
///
/// Coefficients have the prior N(0, priBeta), thresholds a flat one. A scan begins with the thresholds, Y*
/// integrated out (Cowles, 1996, Statistics and Computing 6, 101-111), and Y* given these, all or nothing;
/// the rest is that of every regression with Y* as the response. Likelihoods are those of Y*. Beside the walk
/// thresholds and intercept are proposed from their normal approximation (scan/threshold_newton), and all
/// that is in the units of Y* is multiplied by a common factor (scan/orbit_scale).
///
/// Where other equations read Y*, integrating it out would leave their densities out: a move of the
/// thresholds then carries every Y* along, stretched to the new width of its category, and Y* moves by
/// Metropolis within it. A solved distribution of Y* serves in place of the equation's own. A missing
/// category is that of its Y*, which is free, or moves by a random walk where other equations read it. In a
/// block of outcomes with correlated residuals Y* is that of the equation given the others' residuals.
///
/// With sampling weights (see weighted) each unit's log mass counts W times for the thresholds, and Y* is
/// drawn without weights. The coefficients given Y* are then not those of the density in which it is
/// integrated out, so that the intercept stays where the thresholds leap, and nothing is rescaled.
class Ordinal : public Regression {
 public:
  /// Prior variance of the coefficients.
  static inline double& priBeta = categorical_priors::ordinal;

  /// Throws error_debug for categories that do not match the units.
  Ordinal(const Estimator* estimator, const equation_setup& setup, const ordered_values& observed);

  void addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) override;
  void addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) override;
  void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
               const distribution_type& kind) override;
  void addTransform(const evaluate::pair& pair) override;
  void addStarts(const arma::Col<double>& v) override;
  void publish(arma::Mat<double>& data) override;
  arma::Col<arma::uword> published() const override { return propensity.published(); }
  void tune() override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  /// Also the thresholds but the first.
  arma::uword n_estimated() const override;
  bool is_normal() const override { return true; }
  arma::uword n_scores() const override { return 1; }
  /// Y*, then the random effects.
  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  /// The probability of each category, then the linear predictor.
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  /// The same with one row per unit.
  arma::Mat<double> compute_predicted_prob(const arma::Mat<double>& data) const;

  const arma::Col<double>& tau() const { return propensity.cuts.tau; }
  /// The category, 0 to K, in which a value of Y* falls. Throws error_debug for NaN.
  arma::uword categorize(double score) const { return propensity.cuts.categorize(score); }
  arma::Col<arma::uword> categorize(const arma::Col<double>& scores) const;
  using Outcome::categorize;

  // The steps on Y*, within a scan.

  /// Of units with a category: around mu within it.
  void drawLatent(const arma::Col<double>& mu);
  /// The same around the solved mean. Throws error_debug "No likelihod specified" without a solution.
  void drawLatentAuto_Cmp(arma::Mat<double>& data);
  /// Of units without a category, from the solved distribution.
  void drawLatentAuto_Mis(arma::Mat<double>& data);
  /// Metropolis steps on all equations that hold Y* or the category: of units with a category by proposals
  /// within it, of the others by a random walk that takes the category along.
  void drawLatentMH_Cmp(arma::Mat<double>& data);
  void drawLatentMH_Mis(arma::Mat<double>& data);

  ordered_scores propensity;  ///< Y*, thresholds, categories
  estimator::tune_obj tune_mis, tune_cmp;

 protected:
  double residual_variance() const override { return sigma2_; }
  const arma::Col<double>* response(const arma::Mat<double>&) override { return &propensity.values; }
  void copy_response(const arma::Mat<double>& data, double* out) const override;
  void response_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                   double* out) const override;
  void draw_auxiliary(arma::Mat<double>& data) override;
  /// Multiplies thresholds, Y*, the coefficients that are drawn and the effects by a common factor.
  void draw_own(const arma::Mat<double>& data) override;
  void draw_values(arma::Mat<double>& data) override { propensity.write_all(data); }
  void unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                        const double* mu, double* out) const override;
  bool has_units() const override { return false; }
  arma::uword n_telling(const arma::Mat<double>& data, unsigned L) const override;
  double share_variance() const override { return sigma2_; }
  arma::Col<double> own_rows() const override { return {sigma2_}; }
  arma::Col<double> last_rows() const override { return tau().tail(n_reported_); }
  void take_last_rows(const double* v) override;
  /// At construction, with sampling weights.
  void weigh_thresholds();
  std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                        const unsigned& index) override;
  void set_value_list(std::unique_ptr<estimator::likelihood> list) override;

 private:
  /// Y* of the units with a category moves by itself, and not with the thresholds from one distribution.
  bool walks() const { return scores_read_ && solver_ == nullptr; }
  bool walks_missing() const { return solver_ == nullptr ? list_ != nullptr : values_read_; }
  void set_list(std::unique_ptr<estimator::likelihood> list);
  void read_distribution(const arma::Mat<double>& data);
  bool leap();
  bool can_rescale() const;
  void read_held_part();
  scan::orbit_scale scale_density() const;
  void draw_with_thresholds(arma::Mat<double>& data);
  void move_with_scores(arma::Mat<double>& data);
  void draw_free(arma::Mat<double>& data);
  double step_sd(const arma::Mat<double>& data) const;
  const double* sd() const { return sd_.is_empty() ? nullptr : sd_.memptr(); }

  double sigma2_ = 1.0;  ///< the unit of the propensity; never drawn
  arma::uword n_reported_;

  std::unique_ptr<estimator::likelihood> list_;  ///< all densities that Y* or the category of a unit enters
  bool scores_read_ = false, values_read_ = false;  ///< by other equations
  std::shared_ptr<autosolver::solver<autosolver::normal>> solver_;
  score_walk walk_all_, walk_complete_, walk_missing_;

  arma::Col<double> mean_, sd_;  ///< of Y* in this scan; no sd: 1
  arma::Col<double> kept_, held_;
};

}  // namespace tovik::sem
