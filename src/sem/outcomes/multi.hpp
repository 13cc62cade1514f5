#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcomes/priors.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/wiring/settings.hpp"
#include "sem/wiring/value_node.hpp"

namespace tovik::sem {

/// What is known of the covariance matrix of a block.
struct block_setup {
  /// How an element is drawn.
  enum element : unsigned char {
    drawn = 0,
    known = 1,
    labelled = 2,  ///< by its label, a parameter with a prior or with other places
  };
  std::vector<Regression*> members;  ///< of one level
  priors prior;
  arma::Mat<double> correlations;            ///< p x p, positive definite: known ones, starts of the others
  arma::Mat<unsigned char> elements;         ///< p x p, beside the diagonal
  arma::Col<unsigned char> known_variances;  ///< not 0 for a member whose start is its variance
};

/// How an unknown stands in a member of a block: see autosolver::solution; empty for the member whose own
/// outcome it is.
struct solved_role {
  const Regression* member;
  autosolver::solution how;
};

/// A block of p outcomes of one level with correlated residuals:
///
///   (e_i1, ..., e_ip) ~ N(0, Sigma),   e_ij = y*_ij - eta_ij of the j-th member.
///
/// The members are regressions of their own, drawn before the block. Each conditions on the residuals of the
/// others: with Omega = inv(Sigma) the residual of member j given these is normal with mean
///
///   c_ij = - sum over k != j of (Omega_jk / Omega_jj) e_ik   and variance   s_j = 1 / Omega_jj,
///
/// so that the member draws its parameters, effects and missing values as it does alone, from y* - c with the
/// residual variance s_j. The block draws Sigma from the residuals: how, its kind says. Where a likelihood is
/// asked of a member, it is the joint density of the block (see unit_densities), which counts once.
///
/// Members keep the block, not the block its members: these must outlive it.
class Multi : public virtual estimator::Outcome,
              public value_node,
              public std::enable_shared_from_this<Multi> {
 public:
  /// Candidates of a covariance matrix without a positive definite one before a proposal counts as rejected.
  static inline unsigned& max_iter = sampler_settings::multi_mh_max_iter;

  /// Throws error_debug for members of different levels, or that have phantoms of their residuals.
  Multi(const Estimator* estimator, const block_setup& setup);

  /// Makes the members part of the block. After the block has an owner.
  void register_ptrs();
  unsigned position_of(const Regression& member) const;

  /// The variance of a member given the others, and its whole variance.
  double residVar(const unsigned& position) const { return 1.0 / Omega_(position, position); }
  double average_variance(const unsigned& position) const { return Sigma_(position, position); }
  const arma::Mat<double>& covariance() const { return Sigma_; }
  const arma::Mat<double>& correlations() const { return R_; }
  const std::vector<Regression*>& members() const { return members_; }

  /// Takes the members' variances, where these start.
  void start();
  /// Sigma, the columns of its lower triangle.
  void addStarts(const arma::Col<double>& v) override;

  /// Sigma, then what follows from it in the members.
  void draw(arma::Mat<double>& data) override;
  /// Sigma by the columns of its lower triangle.
  arma::Col<double> params() const override;
  /// For each member its standard deviation, then its correlations with those behind it.
  arma::Col<double> postDraw(const arma::Mat<double>& data) const override;
  arma::Col<double> params(const arma::Mat<double>& data) const override;
  arma::uword n_params() const override { return size() * (size() + 1) / 2; }

  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  void addLogLiklihood(const arma::Mat<double>& data, const int& level, const arma::Col<arma::uword>& units,
                       double* out) const override;
  double logLiklihood(const arma::Mat<double>& data) const override;
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;
  /// The cells of the outcomes are the members'.
  void addTransform(const evaluate::pair& pair) override;
  void addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) override;

  /// A handle on a correlation: phantom_correlation with the index j + i p of the pair j < i. Writing it puts
  /// Sigma there; its term is the density of the block.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;

  // What the members say together of an unknown that stands in some of them: one factor of its full
  // conditional distribution, in place of one for each member (see Regression::distributionFunc). The
  // functions hold a pointer to the block.

  /// Of these units of a variable of the level `at`.
  autosolver::contribution<autosolver::normal> distributionFunc(const std::vector<solved_role>& roles,
                                                                const int& at,
                                                                const arma::Col<arma::uword>& units) const;
  /// Of a labelled coefficient.
  autosolver::contribution<autosolver::normal_1D> distributionFunc(
      const std::vector<solved_role>& roles) const;

  /// Hands to the block of their coefficients what the joint density says of several members, the effects and
  /// the coefficients of the others given.
  void collect_coefficients(const arma::Mat<double>& data, const std::vector<Regression*>& of,
                            scan::coefficient_block& coefficients);

  /// The residuals of some members change by -t times a column each (`change`, per member; empty: by
  /// nothing): what the joint density says of t, as a normal factor.
  Regression::told told_of_change(const arma::Mat<double>& data,
                                  const std::vector<arma::Col<double>>& change);
  /// A member is multiplied by g: its residuals are, and its row and column of Sigma.
  void scale_member(unsigned position, double g);
  /// The variance of a member is drawn.
  virtual bool variance_moves(unsigned) const { return true; }
  /// What the prior of Sigma says of that g, with respect to d log g: g^dimension exp(-inverse / (2 g^2)).
  struct scale_prior {
    double dimension, inverse;
  };
  scale_prior prior_of_scale(unsigned position);

  // What the members ask.

  /// Log density of each unit, the effects given.
  void unit_densities(const arma::Mat<double>& data, double* out) const;
  /// The same of some units; passes over no others.
  void densities_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units, double* out) const;
  /// c of a member, from the residuals of the others at the data.
  void given_others(const Regression& member, const arma::Mat<double>& data, arma::Col<double>& c);
  /// The residuals of a member that has just been drawn: r, from which c was taken.
  void keep_residual(const Regression& member, const arma::Col<double>& r, const arma::Col<double>& c);
  /// Residuals that are kept are of another state: they are computed again.
  void forget_residuals();
  /// The variance of a member has a model of its own. Throws error_debug "Cannot form variance link." for a
  /// block whose variances are elements of Sigma alone.
  virtual void addLogScale(LogScale* model, const unsigned& position);

 protected:
  /// Covariances of a member that count as elements of their own.
  virtual arma::uword n_free(arma::uword) { return size() - 1; }
  const arma::Mat<double>& first_correlations() const { return start_; }
  /// What a concrete kind hands to its virtual base.
  static shape shape_of(const Estimator* estimator, const block_setup& setup);
  arma::uword size() const { return members_.size(); }
  /// Of all members at the data: units x p.
  const arma::Mat<double>& residuals(const arma::Mat<double>& data);
  /// The rows from which Sigma is drawn.
  virtual const arma::Mat<double>& sample(const arma::Mat<double>& data) { return residuals(data); }
  /// The sampling weights of the units, which all members share; null for none.
  const estimator::weights* sampling() const { return members_.front()->sampling(); }
  double n_units() const { return static_cast<double>(n_units_); }
  arma::uword residual_count() const { return n_units_; }
  /// What Sigma is that of: the residuals of a member, of these of its `n` units or of all for null, become
  /// those in units that the kind says, in place.
  virtual void standardize(const arma::Mat<double>& /*data*/, arma::uword /*member*/,
                           const arma::uword* /*units*/, arma::uword /*n*/, double* /*e*/) const {}
  /// Back from there; then: takes the logarithms of the units of all members off log densities.
  virtual void restore_units(const arma::Mat<double>& /*data*/, arma::uword /*member*/, double* /*e*/) const {
  }
  virtual void subtract_units(const arma::Mat<double>& /*data*/, const arma::uword* /*units*/,
                              arma::uword /*n*/, double* /*out*/) const {}
  /// Draws Sigma_ given the residuals at the data.
  virtual void draw_matrix(const arma::Mat<double>& data) = 0;
  /// Sigma_ stands at a starting state.
  virtual void prepare() {}
  /// Sigma_ was written: brings its inverse and the correlations up to date. NaN, and false, where it is not
  /// positive definite.
  bool refresh();
  /// The 1 of the first prior of each member's variance.
  const arma::Col<double>& scales();
  int prior() const { return prior_.resvar; }
  double log_det() const { return log_det_; }

  /// The term of a correlation: the log density of all residuals at the data.
  estimator::constraint::term density_term() const;
  /// A correlation that others write: links, and what follows from it, without terms.
  std::shared_ptr<estimator::constraint> correlation_handle(arma::uword i, arma::uword j);

  arma::Mat<double> Sigma_, Omega_, R_;
  arma::Mat<unsigned char> elements_;  ///< see block_setup

 private:
  class solved_members;
  void tell_members();
  void refresh_residual(const arma::Mat<double>& data, arma::uword k);
  void check_kept(const arma::Mat<double>& data, arma::uword k);
  void take_correlation(arma::uword i, arma::uword j);
  void add_densities(arma::uword n, double* out) const;

  std::vector<Regression*> members_;
  priors prior_;
  arma::uword n_units_;
  arma::Mat<double> start_;       ///< correlations
  arma::Mat<double> residuals_;   ///< units x p
  std::vector<bool> is_current_;  ///< per member: its residuals are those of its last draw
  arma::Col<double> scales_;
  arma::Mat<double> factor_;            ///< T, upper triangular: Omega = T T'
  double log_det_ = 0.0;                ///< of Sigma
  mutable std::vector<double> at_;      ///< residuals of a likelihood, by members; a chain is one thread
  mutable std::vector<double> column_;  ///< likewise
  arma::Mat<double> products_;          ///< of the predictors of two members
  arma::Col<double> gradient_;
};

}  // namespace tovik::sem
