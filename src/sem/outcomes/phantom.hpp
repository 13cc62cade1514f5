#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "sem/outcomes/phantom_part.hpp"
#include "sem/outcomes/value_node.hpp"
#include "sem/scan/metropolis_values.hpp"
#include "sem/scan/slice_values.hpp"

namespace tovik::sem {

/// What the ensemble passes to a phantom.
struct phantom_setup {
  arma::uword column = 0;      ///< of the working matrix: the scores
  estimator::cluster cluster;  ///< made for the level of the covariance
  unsigned n_levels = 0;       ///< levels above
  unsigned level = 0;          ///< 0: rows
  bool fixed = false;          ///< the correlation is known
  double value = 0.0;          ///< its value then
  double c = 2.0;              ///< of the prior; 2: uniform on (-1, 1)
};

/// A correlation between two residuals, two random effects, or one of each, carried by a standard normal
/// variable P that enters both equations (see phantom_loadings):
///
///   P_i ~ N(0, 1),   (rho + 1) / 2 ~ Beta(c / 2, c / 2).
///
/// A scan draws rho by Metropolis-Hastings from a normal around its value, truncated to (-1, 1), then the
/// scores by random-walk Metropolis or elliptical slice steps. The two equations are seen through their
/// correlated_side only.
class Phantom : public virtual estimator::Outcome, public value_node {
 public:
  /// The correlation, whose links are its two places in the equations.
  class correlation : public virtual estimator::constraint {
   public:
    correlation(Random* rng, double c);

    /// Metropolis-Hastings on (-1, 1); nothing without links, or after hold().
    void draw(arma::Mat<double> const& data) override;
    /// The same parameter as a plain constraint, for who reads it.
    estimator::constraint make_constraint() const;
    /// The prior is the terms' alone.
    void drop_prior() { has_prior_ = false; }
    /// No draw here: the value is known, or another correlation draws it.
    void hold() { held_ = true; }
    bool held() const { return held_; }

    double log_prior(double x) const;
    /// log density of a proposal: a normal with mean `from` truncated to (-1, 1).
    static double log_proposal(double x, double from, double sd);

   private:
    double propose(double sd);

    double c_;
    bool has_prior_ = true;
    bool held_ = false;
  };

  Phantom(Estimator const* estimator, phantom_setup const& setup);

  /// Adds an equation that holds the phantom; before starts are given.
  void attach(std::unique_ptr<correlated_side> side);
  /// Other places of the same label: they are drawn here. With terms that depend on more than the two sides
  /// these are taken anew for every evaluation. `has_prior`: the terms hold the prior of the label, which
  /// takes the place of the own one.
  void addRho(estimator::constraint const& label, bool has_prior = false);
  /// The correlation has one label with that of `leader`, which draws both.
  void follow(Phantom& leader);
  /// Models that are drawn one after another share the count; the first one begins a new pass.
  void set_pass(std::shared_ptr<phantom_pass> pass, bool begins);
  /// Scores from N(0, 1), into the rows of their units.
  void draw_start(arma::Mat<double>& data);

  void draw(arma::Mat<double>& data) override;
  arma::Col<double> params() const override { return {rho.value}; }
  arma::Col<double> params(arma::Mat<double> const&) const override { return {rho.value}; }
  /// log N(P; 0, 1) of each unit of the level.
  arma::Col<double> logLiklihood(arma::Mat<double> const& data, int const& level) const override;
  arma::Col<double> marginal_logLiklihood(arma::Mat<double> const& data) const override;
  double logLiklihood(arma::Mat<double> const& data) const override;
  estimator::likelihood_function likelihoodFunc(likelihood_type const& kind) const override;
  /// The correlation; a fixed one keeps its value.
  void addStarts(arma::Col<double> const& v) override;
  /// Both sides are left with positive definite matrices.
  bool feasible() const;
  void tune() override;
  estimator::tune_results tuneResults() const override { return {imp_tune, rho.tune}; }
  arma::uword n_estimated() const override { return rho.held() ? 0 : 1; }
  /// A handle on the correlation.
  std::shared_ptr<estimator::constraint> constraint(parameter_type const& kind, unsigned const& index,
                                                    unsigned const& level) override;

  estimator::cluster cluster;
  estimator::tune_obj imp_tune{2.23606797749979, estimator::tune_obj::kind_type::latent_2};
  correlation rho;

 private:
  class score_target;

  void draw_scores(arma::Mat<double>& data);
  void begin(arma::Mat<double> const& data);
  arma::uword row(arma::uword unit) const { return level == 0 ? unit : cluster.rows->start[unit]; }
  void write(arma::Mat<double>& data, arma::uword unit, double value) const;

  std::vector<std::unique_ptr<correlated_side>> sides_;
  std::shared_ptr<phantom_pass> pass_;
  bool begins_pass_ = true;
  bool fixed_ = false;
  bool entangled_ = false;  ///< the label stands in more than the two sides
  scan::value_groups groups_;
  scan::metropolis_values metropolis_;
  scan::slice_values slice_;
  std::vector<double> scores_, mean_;
};

}  // namespace tovik::sem
