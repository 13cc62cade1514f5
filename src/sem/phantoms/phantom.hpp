#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "sem/phantoms/phantom_group.hpp"
#include "sem/phantoms/phantom_part.hpp"
#include "sem/wiring/correlated_side.hpp"
#include "sem/wiring/value_node.hpp"

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
/// A scan draws rho by a random walk of its artanh, a scale without bounds on which some step has any
/// acceptance that is wanted, however little the data tell of rho; with the scores integrated out (Liu, 1994,
/// JASA 89, 958-966, on such a collapse), then the scores from their full conditional; all phantoms of a
/// chain together (see phantom_group). The two equations are seen through their correlated_side only.
class Phantom : public virtual estimator::Outcome, public value_node {
 public:
  /// The correlation, whose links are its two places in the equations.
  class correlation : public virtual estimator::constraint {
   public:
    correlation(Random* rng, double c);

    /// Metropolis-Hastings: artanh(rho) moves by a normal step with the variance tune.value^2 * variance.
    /// Nothing without links, or after hold().
    void draw(const arma::Mat<double>& data) override;
    /// The same parameter as a plain constraint, for who reads it.
    estimator::constraint make_constraint() const;
    /// The prior is the terms' alone.
    void drop_prior() { has_prior_ = false; }
    /// No draw here: the value is known, or another correlation draws it.
    void hold() { held_ = true; }
    bool held() const { return held_; }

    double log_prior(double x) const;
    /// log of d rho / d artanh(rho).
    static double log_jacobian(double x);
    /// The first variance of the steps, from the shape of the log density at the data.
    void find_proposal(const arma::Mat<double>& data);
    /// Adapts the steps (see adapt_proposal).
    void adapt(const arma::Mat<double>& data);

   private:
    /// Calls f with the steps as those of an unbounded parameter, and takes them over.
    template <class F>
    void in_steps(const arma::Mat<double>& data, F f);

    double c_;
    bool has_prior_ = true;
    bool held_ = false;
  };

  Phantom(const Estimator* estimator, const phantom_setup& setup);

  /// Adds an equation that holds the phantom; before starts are given.
  void attach(std::unique_ptr<correlated_side> side);
  const std::vector<std::unique_ptr<correlated_side>>& sides() const { return sides_; }
  /// Makes it the next of a group; once, with both sides attached.
  void join(std::shared_ptr<phantom_group> group);
  /// The values of both sides are in the block, whose density the correlation moves.
  void enter(phantom_block& block);
  phantom_block* block() const { return block_; }
  /// Nothing but the two variances and the own prior depends on the correlation.
  bool stands_alone() const { return !rho.held() && !labelled_; }
  /// Other places of the same label: they are drawn here. `moves_equations`: what follows the label moves
  /// more than the correlation, so that the terms are computed anew from the data in every evaluation.
  /// `has_prior`: the terms hold the prior of the label, which takes the place of the own one.
  void addRho(const estimator::constraint& label, bool has_prior = false, bool moves_equations = true);
  /// The correlation has one label with that of `leader`, which draws both.
  void follow(Phantom& leader);
  /// At the first phantom of the group: the first proposals of all correlations from the shape of their log
  /// densities at the data.
  void find_proposals(const arma::Mat<double>& data);
  /// Scores from N(0, 1), into the rows of their units.
  void draw_start(arma::Mat<double>& data);

  /// All correlations and scores of the group at the turn of its first phantom, nothing at the others'.
  void draw(arma::Mat<double>& data) override;
  /// One number for each unit, into the rows of the units.
  void write_scores(arma::Mat<double>& data, const double* values) const;
  /// Those that stand there.
  void read_scores(const arma::Mat<double>& data, double* values) const;
  arma::uword n_units() const { return n_units_; }
  arma::Col<double> params() const override { return {rho.value}; }
  arma::Col<double> params(const arma::Mat<double>&) const override { return {rho.value}; }
  /// log N(P; 0, 1) of each unit of the level.
  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const override;
  /// 0: scores are no data.
  arma::Col<double> observed_logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const override;
  double logLiklihood(const arma::Mat<double>& data) const override;
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;
  /// The correlation; a fixed one keeps its value.
  void addStarts(const arma::Col<double>& v) override;
  /// Both sides are left with positive definite matrices.
  bool feasible() const;
  void tune() override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override { to.push_back(&rho.tune); }
  estimator::tune_results tuneResults() const override { return {rho.tune}; }
  arma::uword n_estimated() const override { return rho.held() ? 0 : 1; }
  /// A handle on the correlation.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;

  estimator::cluster cluster;
  correlation rho;

 private:
  arma::uword row(arma::uword unit) const { return level == 0 ? unit : cluster.rows->start[unit]; }

  std::vector<std::unique_ptr<correlated_side>> sides_;
  std::shared_ptr<phantom_group> group_;
  phantom_block* block_ = nullptr;
  bool fixed_ = false;
  bool labelled_ = false;
  arma::uword n_units_ = 0;
};

}  // namespace tovik::sem
