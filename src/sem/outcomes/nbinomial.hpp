#pragma once

#include <armadillo>
#include <vector>

#include "random/negative_binomial.hpp"
#include "random/polya_gamma.hpp"
#include "sem/outcomes/polya_gamma_regression.hpp"
#include "sem/scan/dispersion_step.hpp"
#include "sem/scan/negative_binomial.hpp"
#include "sem/scan/newton_move.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::sem {

/// Regression of counts under a log link:
///
///   y_i ~ negative binomial of mean exp(eta_i) and variance exp(eta_i) + exp(2 eta_i) / r,   b_j ~ N(0, V),
///
/// r the dispersion parameter with the prior of scan::dispersion_step; counts near those of a Poisson
/// distribution have a large r. In the terms of polya_gamma_regression the offset is o = log r,
/// kappa = (y - r) / 2 and b = y + r. Phantoms of the residual share a variance of V = 1: a count has no
/// scale of its own for them, and loadings without bound would ask for counts without bound.
///
/// Behind the effects a scan draws r, the weights integrated out: they are drawn anew before they are used
/// again. So are the moves of coefficients and effects that follow (see scan::newton_move). Coefficients with
/// labels, which a block has drawn given the weights, are among those that move: the sum of the columns of
/// its places is the covariate of a label. One that stands in several equations is moved by the block, if all
/// of these are equations of counts.
///
/// A linear predictor that is not finite, or one that asks for counts above 2e9, ends the run.
class NBinomial : public polya_gamma_regression {
 public:
  /// Throws tovik::error for an equation without an intercept.
  NBinomial(const Estimator* estimator, const equation_setup& setup);

  double dispersion() const { return law_.size(); }
  void set_dispersion(double r) { law_ = scan::negative_binomial(r); }
  /// The probabilities p = 1 / (1 + exp(eta - log r)) of the distribution, of mean r (1 - p) / p.
  arma::Mat<double> compute_predicted_prob(const arma::Mat<double>& data) const;

  void tune() override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  estimator::tune_results tuneResults() const override;
  arma::uword n_estimated() const override { return Regression::n_estimated() + 1; }
  /// Throws tovik::error: effects that other equations read have no draw here.
  void addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) override;

  /// For a move of these parameters of the block that the coefficients belong to, the weights integrated out:
  /// the counts and their linear predictors at the data. What is told lives until the next move or draw.
  void tell_counts(const arma::Mat<double>& data, const std::vector<arma::uword>& parameters,
                   scan::newton_move::part& out);

  estimator::tune_obj dispersion_tune;

 protected:
  const char* class_name() const override { return "NBinomial"; }
  double kappa(double y) const override { return 0.5 * (y - weighted_.size()); }
  double offset(arma::uword) const override { return weighted_.log_size(); }
  double draw_weight(Random& rng, double y, double psi) const override {
    return rpg(rng, y + weighted_.size(), psi);
  }
  void settle() override { weighted_ = law_; }
  double log_density(arma::uword, double y, double eta) const override {
    return law_.log_probability(y, eta);
  }
  double mean(double eta) const override { return std::exp(eta); }
  void draw_candidates(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                       std::vector<double>& out) override;
  place place_of(double y) const override { return y > 0.0 ? place::between : place::first; }
  void fail() override { throw negative_binomial_failure(); }
  void draw_own(const arma::Mat<double>& data) override;
  double share_variance() const override { return residual_variance(); }
  bool explains_variance() const override { return false; }
  /// The dispersion parameter.
  arma::Col<double> own_rows() const override { return {law_.size()}; }
  void take_own_rows(const double* values) override { set_dispersion(*values); }

 private:
  void move_coefficients();
  void move_parameters();
  /// Of `n` units from the one with the number `first`, without covariates.
  scan::newton_move::part& counts_of(arma::uword first, arma::uword n);
  void gather_columns(const std::vector<arma::uword>& parameters, scan::newton_move::part& out);
  void move_effects(const arma::Mat<double>& data, unsigned L);
  /// Probabilities at linear predictors, in place.
  void to_probabilities(arma::Col<double>& eta) const;

  scan::negative_binomial law_, weighted_;  ///< as it stands; as the weights of the last draw took it
  scan::dispersion_step dispersion_;
  scan::newton_move newton_;
  scan::newton_move::terms terms_;
  std::vector<scan::newton_move::part> parts_;  ///< one
  std::vector<arma::uword> own_;                ///< parameters of a block that stand in this equation alone
  std::vector<arma::Col<double>> sums_;         ///< of the columns of one parameter
  arma::Col<double> eta_, before_, probability_;
  arma::Mat<double> effect_means_;
};

}  // namespace tovik::sem
