#pragma once

#include <armadillo>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sem/autosolver/solution.hpp"
#include "sem/outcomes/driven_coefficients.hpp"
#include "sem/outcomes/equation_setup.hpp"
#include "sem/outcomes/regression_hooks.hpp"
#include "sem/phantoms/phantom_part.hpp"
#include "sem/scan/effects_walk.hpp"
#include "sem/scan/equation_scan.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/wiring/autosolver_fwd.hpp"
#include "sem/wiring/correlated_side.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem::estimator {
class weights;
}

namespace tovik::sem {

class LogScale;
struct solved_units;

/// The regression that every outcome kind is, with random effects at up to two levels above it:
///
///   y*_i = eta_i + e_i,   eta_i = x_i' b + sum over levels L of z_Li' u_L,c(i),   u_L,c ~ N(0, Sigma_L),
///
/// where the response y* of a unit is what the kind says: the observed value, a transformation of it, a
/// latent score, a working value with its own precision. A scan draws b and each u_L from their full
/// conditionals given y*, and each Sigma_L under the (improper) inverse Wishart prior of `priors` (Gelfand &
/// Smith, 1990, JASA 85, 398-409; Gelman et al., Bayesian Data Analysis, ch. 14-15). What a kind alone knows
/// it says in the hooks (regression_hooks).
///
/// With phantoms P of the residual or of the effects of a level, e_i ~ N(l'P_i, v - l'l), v the whole
/// residual variance, and u_L,c ~ N(Lambda P_c, Sigma_L - Lambda Lambda'); Sigma_L stays the whole matrix,
/// proposed from its draw without phantoms and accepted by Metropolis-Hastings. Random effects that other
/// equations read as variables are drawn by a random walk, all terms of a cluster together.
///
/// The sources beside regression.cpp: regression_distribution (what the equation says of an unknown that
/// stands in it), regression_effects (random effects), regression_likelihood (what the model says of the
/// data), regression_parameters (parameters seen from outside), regression_phantoms,
/// regression_propriety, regression_weights (sampling weights).
class Regression : public virtual estimator::Outcome, protected regression_hooks {
 public:
  /// Throws error_debug for a setup that contradicts itself.
  Regression(const Estimator* estimator, const data::type& type, const equation_setup& setup);
  /// What a concrete kind hands to its virtual base.
  static shape parts_of(const Estimator* estimator, const data::type& type, const equation_setup& setup);

  void draw(arma::Mat<double>& data) override;
  arma::Col<double> params() const override;
  arma::Col<double> postDraw(const arma::Mat<double>& data) const override;
  arma::Col<double> params(const arma::Mat<double>& data) const override;
  arma::uword n_params() const override;
  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  void addLogLiklihood(const arma::Mat<double>& data, const int& level, const arma::Col<arma::uword>& units,
                       double* out) const override;
  arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::Col<double> observed_logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::uword n_unobserved() const override { return missing_rows.n_elem; }
  double logLiklihood(const arma::Mat<double>& data) const override;
  void addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) override;
  void addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) override;
  void addStarts(const arma::Col<double>& v) override;
  std::vector<arma::Col<double>> covariate_squares(const arma::Mat<double>& data) const override;
  void check_propriety(const arma::Mat<double>& data, const equation_names& names) const override;
  void check_design(const arma::Mat<double>& data, const equation_names& names) const override;
  void scale_priors(double response, const arma::Mat<double>& observed) override;
  double residual_unit() const override { return residual_unit_; }
  /// Proposals of random effects that other equations read.
  void tune() override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  /// 1 x 1: v / x_i'x_i for the column x_i of the coefficient, v the whole residual variance.
  arma::Mat<double> betaCovB(const arma::Mat<double>& data, const unsigned& index) const override;
  const arma::Mat<double>& betas() const override { return betas_; }
  double coefficient_variance(arma::uword j) const override;
  /// A coefficient (`index`), which is from then on not drawn here; a correlation with phantoms; or a handle
  /// to read: an element of Sigma of the level above with number `level` (`index` counts by columns),
  /// variance shares. Its proposal variance is 1. Other kinds: own_constraint.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;
  std::shared_ptr<estimator::constraint> moved_intercept() override;
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;
  void setCentering(std::unique_ptr<estimator::covariate_link> link) override;
  double getMissingPercent() const override;
  std::vector<double> getMissingPercents() const override;
  /// The random effects of each level, the nearest level first, at every row of `data`.
  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  arma::Mat<double> residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_predicted(const arma::Mat<double>& data) const override;
  /// Coefficients that are drawn, the elements of the covariance matrices.
  arma::uword n_estimated() const override;

  std::unique_ptr<correlated_side> correlated(arma::uword column) override;

  /// The variance that conditions the draws: what phantoms, or the other outcomes of a block, leave of the
  /// residual variance.
  double residVar() const {
    if (link != nullptr) return variance_given_others_;
    return parts_[0].empty() ? residual_variance() : parts_[0].loadings.variance();
  }
  /// Covariance and precision of the random effects given the phantoms of their level.
  const arma::Mat<double>& Sigma_s(const int& L) const {
    const auto l = static_cast<std::size_t>(L);
    return parts_[l + 1].empty() ? Sigma[l] : parts_[l + 1].loadings.conditional();
  }
  const arma::Mat<double>& iSigma_s(const int& L) const {
    const auto l = static_cast<std::size_t>(L);
    return parts_[l + 1].empty() ? iSigma[l] : parts_[l + 1].loadings.precision();
  }
  /// Phantoms of the residual (0) or of the effects of the level above with this number less one.
  phantom_part& part(unsigned place) { return parts_[place]; }
  const phantom_part& part(unsigned place) const { return parts_[place]; }
  /// The whole covariance matrix of a place, phantoms included.
  arma::Mat<double> covariance(unsigned place) const;
  /// The response given its parameters is normal with one residual variance, so that it has a joint density
  /// with others.
  virtual bool is_normal() const { return false; }
  /// The sampling weights by which its parameters are drawn; null for none. See weighted.
  virtual const estimator::weights* sampling() const { return nullptr; }
  /// y* - Xb of every unit, random effects and phantoms left in.
  arma::Col<double> fixed_residual(const arma::Mat<double>& data) const;
  /// Per level, Z: units x terms.
  std::vector<arma::Mat<double>> effect_designs(const arma::Mat<double>& data) const;
  /// Loadings and conditional variances of a place after a correlation, the residual variance or Sigma was
  /// written. False when nothing positive definite is left.
  bool refresh_phantoms(unsigned place);

  /// Log likelihood of the units when a correlation of the residual, or of a level's effects, has been
  /// written; -inf when the correlations leave no variance. They need `value` for their place in a list of
  /// terms only.
  double compute_LL_correlation(const double& value, const arma::Mat<double>& data);
  double compute_LL_correlation_L(const double& value, const arma::Mat<double>& data, const int& L);
  /// Takes the values that the phantoms of a place enter, at the data; read_part also takes the phantoms.
  void read_values(unsigned place, const arma::Mat<double>& data);
  void read_part(unsigned place, const arma::Mat<double>& data);
  /// The row of the data for each unit that the phantoms of a place have; null for every row.
  const arma::Col<arma::uword>* phantom_rows(unsigned place) const;

  // A member of a block of outcomes with correlated residuals (see Multi): regression_block.cpp.

  /// Before the first draw. Likelihoods are from then on those of the block.
  void addMulti(const std::shared_ptr<Multi>& block) override;
  /// The residual variance as the block has drawn it, and what is left of it given the other residuals.
  void take_variances(double whole, double given_others);
  /// Between its own draws nothing moves the residual of a unit.
  bool residual_is_own() const;
  /// y* - eta of every unit; of some units, without looking at others.
  void residual_into(const arma::Mat<double>& data, double* out) const;
  void residual_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units, double* out) const;

  /// The model of the logarithm of the residual variance, which must outlive this one. Throws error_debug
  /// "Cannot form variance link." for a kind whose variance has no model.
  virtual void addLogScale(LogScale* model);
  /// The residual variances of the units where they differ, covariance(0) being 1 then; else empty.
  virtual arma::Col<double> unit_variances(const arma::Mat<double>& /*data*/) const { return {}; }
  /// All units have the same residual variance.
  bool has_one_variance() const { return variances().is_one(); }

  void publish_effects(arma::Mat<double>& data) const override;
  void accept_together(unsigned L) override { together_[L] = true; }

  arma::Col<double> compute_logLiklihood(const arma::Mat<double>& data, const int& level) const;
  arma::Col<double> compute_marginal_logLiklihood(const arma::Mat<double>& data) const;
  arma::Mat<double> compute_latent(const arma::Mat<double>& data) const;
  /// Keeps the residual of every unit in each scan, also where cross-products would do: for comparison,
  /// before the first draw.
  void keep_rows();
  /// By how much the residual that the steps of a scan keep differs from that at the data, relative to the
  /// response; 0 where cross-products take its place.
  double residual_error(const arma::Mat<double>& data) const;
  /// Every step of a scan then looks at it, and throws error_debug where it shows: in debug builds.
#ifdef NDEBUG
  static inline bool check_residuals = false;
#else
  static inline bool check_residuals = true;
#endif

  /// Sum of logLiklihood(data, level) at the own level, from cross-products where they serve. `value` is the
  /// parameter that was written, for its place in a list of terms only.
  double compute_LL_node(const double& value, const arma::Mat<double>& data) const;
  /// The coefficients that are drawn here, and those with labels of the block, are from now on drawn as
  /// parameters of the block: in draw(), or, for one with several equations, before it by the next two.
  /// `parameters`: of each coefficient, or coefficient_block::none. After all constraints on coefficients.
  void share_coefficients(const std::shared_ptr<scan::coefficient_block>& block,
                          const arma::Col<arma::uword>& parameters);
  /// The log likelihood of the units, for a parameter that stands at a coefficient.
  estimator::constraint::term coefficient_term();
  /// Labelled coefficients were written: the drawn ones go along.
  void follow_labels() {
    driven_.follow(betas_);
  }
  /// Drawn coefficients go along with driven ones although their prior is not flat: whoever drives these has
  /// log_prior_of_drawn() among the terms.
  void carry_prior() {
    carries_prior_ = true;
  }
  double log_prior_of_drawn() const;
  /// The curvature of the log likelihood in two labelled coefficients, drawn ones going along, at the data
  /// and the variance of the last connectDriven(): with the opposite sign.
  double label_curvature(arma::uword j, arma::uword k) const {
    return driven_.left(j, k) / (link != nullptr ? residVar() : residual_variance());
  }
  /// Coefficient j has a label and is drawn here all the same, by the block that will have it.
  void label_coefficient(arma::uword j);
  /// Draws what makes the response, as draw() does. False where there is none.
  virtual bool make_ready(arma::Mat<double>& data);
  /// Hands the products to the block, random effects integrated out as in draw(). Nothing that they depend on
  /// may have been written since make_ready().
  void collect_coefficients(const arma::Mat<double>& data);
  /// Draws the random effects that were integrated out, given the coefficients. Must follow.
  void follow_coefficients(arma::Mat<double>& data);
  /// The predictors at the data, units x coefficients; the parameters of the block at each coefficient.
  const arma::Mat<double>& read_design(const arma::Mat<double>& data);
  const arma::Col<arma::uword>& shared_parameters() const;

  /// Recomputes variance shares and standardised coefficients at the current parameters, after some were
  /// written from outside.
  void refreshShares(const arma::Mat<double>& data) override;
  /// Drawn coefficients go along with driven ones (see driven_coefficients). Again while proposals are
  /// adapted.
  void connectDriven(const arma::Mat<double>& data) override;

  /// Log density of the random effects of the L-th level above, one value per cluster.
  arma::Col<double> compute_Us_LL(const arma::Mat<double>& data, const int& L) const;

  // What the equation says of an unknown that stands in it, as a factor of the unknown's full conditional
  // distribution: with A and e the slope and the residual without the unknown (see autosolver::solution) and
  // r_i the residual variance of a row, a normal factor of precision sum A_i^2 / r_i and linear term
  // sum A_i e_i / r_i over the rows of a unit of the unknown. The functions hold a pointer to this model.

  /// Of the values of a variable in a fixed term or in computed ones (fixed, compute). `at`: the level of the
  /// variable; `units`: which of its units, rising. Throws error_debug for another kind, and for a variable
  /// that varies within units of the outcome.
  autosolver::contribution<autosolver::normal> distributionFunc(const distribution_type& kind,
                                                                const autosolver::solution& how,
                                                                const int& at,
                                                                const arma::Col<arma::uword>& units) const;
  /// Of the scores of the k-th phantom of a place (see part()), one for each unit of its level.
  autosolver::contribution<autosolver::normal> phantomFunc(unsigned place, arma::uword k);
  /// Of a labelled coefficient (param).
  autosolver::contribution<autosolver::normal_1D> distributionFunc(const distribution_type& kind,
                                                                   const autosolver::solution& how) const;
  /// Of the residual variance. Throws error_debug where it is none of an inverse gamma distribution.
  autosolver::contribution<autosolver::inv_gamma> varianceFunc() const;
  /// The own distribution of the response of these units given all else in the equation: the first factor.
  autosolver::contribution<autosolver::normal> dist_self(const arma::Col<arma::uword>& units) const;
  /// Of a common shift c, or a common factor g, of all values of the unknown: a normal factor of this
  /// precision and linear term in c, or in g.
  struct told {
    double q, d;
  };
  told told_of_shift(const arma::Mat<double>& data, const autosolver::solution& how, solved_units& at) const;
  told told_of_scale(const arma::Mat<double>& data, const autosolver::solution& how, solved_units& at) const;
  /// Coefficient j is drawn here, by itself, from a prior with mean 0 or a flat one.
  bool coefficient_moves(arma::uword j) const;
  /// The units of this equation that belong to units of an unknown of the level `at`, with work space. Throws
  /// error_debug for an unknown that varies within units of the outcome.
  std::shared_ptr<solved_units> units_within(const int& at, const arma::Col<arma::uword>& units) const;
  std::shared_ptr<solved_units> every_unit() const;
  /// Fills mu: eta of these units; mu, A and e: what the equation says of an unknown.
  void predict_solved(const arma::Mat<double>& data, solved_units& at) const;
  void read_solved(const arma::Mat<double>& data, const autosolver::solution& how, solved_units& at) const;
  void read_without(const arma::Mat<double>& data, arma::uword position, solved_units& at) const;
  void read_responses(const arma::Mat<double>& data, solved_units& at) const;
  /// Coefficients were drawn from outside: steps that move others along start from here.
  void anchor_coefficients() {
    driven_.anchor(betas_);
  }

  estimator::cluster cluster;
  arma::uword n_units;                    ///< rows, or clusters of the outcome's level
  arma::Col<arma::uword> missing_rows;    ///< units whose outcome is missing
  std::vector<arma::Mat<double>> u;       ///< per level, clusters x terms
  std::vector<arma::Mat<double>> iSigma;  ///< per level, precision of the random effects
  std::vector<arma::Mat<double>> Sigma;   ///< per level, their covariance
  arma::Mat<double> betas_;               ///< coefficients, plain columns first
  arma::Mat<double> std_betas;            ///< standardised coefficients of the last draw
  arma::Col<arma::uword> free;            ///< coefficients drawn here
  arma::Col<arma::uword> fixed;           ///< coefficients that are not
  int raneff_prior;
  int resid_prior;
  bool has_intercept;
  std::vector<int> icept;
  std::vector<estimator::tune_obj> re_tune;
  /// Per level, for each term the column that other models read it from, or data::variable::no_column; empty
  /// when none is read.
  std::vector<arma::Col<arma::uword>> re_indicators;

 protected:
  // What a regression itself answers of the hooks; a kind that knows better overrides it.

  scan::row_scale variances() const override {
    return scan::row_scale(residVar());
  }
  void response_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                   double* out) const override;
  arma::uword n_known() const override {
    return n_units - missing_rows.n_elem;
  }
  void check_units(const equation_names& names) const override;
  arma::uword n_telling(const arma::Mat<double>&, unsigned L) const override {
    return u[L].n_rows;
  }
  void coefficient_rows(std::vector<double>& out) const override;

  // What the hooks build on.

  /// Throws for a prior of the residual variance that needs `spare` more values than coefficients. `instead`:
  /// what the user may do.
  void check_units(const equation_names& names, arma::uword spare, const std::string& instead) const;
  /// |e|^2 of one value for each unit, by sampling weights.
  double squares_of(const double* e) const;
  /// The same of the residuals of the scan.
  double residual_squares();
  /// With sampling weights: those of phantoms' values. At construction.
  void weigh_phantoms();
  /// Where the category of a unit stands among those of its variable.
  enum class place { first, between, last, unknown };
  /// The clusters of the L-th level above whose units are not all in the first category, nor all in the last.
  arma::uword n_mixed(unsigned L, const std::vector<place>& of_units) const;

  /// Coefficients that the data determine: drawn here, or following a parameter that is.
  arma::uword n_estimated_coefficients() const;
  /// In place of a scan that cannot be made: whatever is drawn here becomes NaN, for the report to tell.
  void lose_state();
  scan::equation_scan& equation() const {
    return *scan_;
  }
  bool phantoms_of_residual() const {
    return !parts_[0].empty();
  }
  /// Null: units are rows.
  const arma::Col<arma::uword>* unit_rows() const;
  /// eta of every unit, with what phantoms of the residual add to it.
  void predictor(const arma::Mat<double>& data, arma::Col<double>& mu) const;
  /// What they add: units x 1, kept until the next call.
  const arma::Mat<double>& phantom_means(const arma::Mat<double>& data) const;
  /// The same as predictor() at some units; passes over no others.
  void predictor_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units, double* mu) const;
  /// r += sign times the sum over levels of Z u.
  void add_random(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const;
  /// Values of units, summed in the clusters of the level above with this number.
  arma::Col<double> sums_at(unsigned above, arma::Col<double> values) const;
  /// Values of units at their rows.
  arma::Mat<double> at_rows(const arma::Mat<double>& units) const;
  /// What follows from the outcome's column after its values were written.
  void refresh_followers(arma::Mat<double>& data) const;
  /// The density of the units, as one address for all who hold it.
  const void* source() const {
    return link != nullptr ? static_cast<const void*>(link.get()) : this;
  }
  /// The unit of the first prior of a variance of effects.
  double effect_unit(unsigned L, arma::uword j) const {
    return effect_units_[L](j);
  }
  /// In a block: the mean of the residuals given those of the others at the data, kept until the next call.
  /// Else null.
  const arma::Col<double>* read_others(const arma::Mat<double>& data);
  /// A handle on a field of this model.
  std::shared_ptr<estimator::constraint> handle(double* address, unsigned at_level,
                                                double variance = 1.0) const;

 private:
  friend class regression_side;

  autosolver::normal _dist_compute(const arma::Mat<double>& data, autosolver::normal previous,
                                   const autosolver::solution& how, solved_units& at) const;
  autosolver::normal _dist_self(const arma::Mat<double>& data, autosolver::normal previous,
                                solved_units& at) const;
  autosolver::normal _dist_phantom(const arma::Mat<double>& data, autosolver::normal previous, unsigned place,
                                   arma::uword k);
  autosolver::normal_1D _dist_param(const arma::Mat<double>& data, autosolver::normal_1D previous,
                                    const autosolver::solution& how, solved_units& at) const;
  autosolver::inv_gamma _dist_variance(const arma::Mat<double>& data, autosolver::inv_gamma previous,
                                       solved_units& at) const;
  void make_parts(const equation_setup& setup);
  void make_scan(const equation_setup& setup);
  void begin_scan(const arma::Mat<double>& data);
  void check_residual(const arma::Mat<double>& data) const;
  void leave_residual();
  void densities(const arma::Mat<double>& data, arma::Col<double>& out) const;
  unsigned draw_coefficients(const arma::Mat<double>& data);
  unsigned draw_integrated(const arma::Mat<double>& data);
  unsigned integrated_level() const;
  bool has_one_density() const;
  const arma::Mat<double>& effects_by_weight(unsigned L);
  void weigh(const arma::Col<double>& by, arma::Col<double>& values) const;
  bool draw_nested(unsigned L);
  void split_coefficients();
  void draw_effects(arma::Mat<double>& data, unsigned L);
  std::optional<scan::second_draw> second_draw(unsigned L);
  void draw_published(arma::Mat<double>& data, unsigned L, const arma::Mat<double>* mu);
  const arma::Mat<double>* effect_means(const arma::Mat<double>& data, unsigned L) const;
  void write_effects(arma::Mat<double>& data, unsigned L) const;
  void draw_covariance(const arma::Mat<double>& data, unsigned L);
  bool is_estimated(arma::uword j) const;
  /// Estimated coefficients whose predictors do not vary within the clusters of the L-th level above.
  arma::uword n_between(const arma::Mat<double>& data, unsigned L) const;
  void check_clusters(const arma::Mat<double>& data, const equation_names& names) const;
  arma::Col<double> integrated_density(const arma::Mat<double>& data,
                                       const arma::Col<arma::uword>& left_out) const;
  bool has_phantoms() const;
  void start_effects();
  std::shared_ptr<estimator::constraint> driven_coefficient(unsigned index);
  /// The phantom with this index of a place (see part()).
  std::shared_ptr<estimator::constraint> driven_correlation(unsigned index, unsigned place);
  double* covariance_element(unsigned index, unsigned L);
  void update_shares();
  /// The response less eta over phantom_scale(), phantoms left in; kept until the next call.
  const arma::Col<double>& values_without_phantoms(const arma::Mat<double>& data);
  void set_fixed(const arma::Mat<double>& data, arma::Col<double>& mu) const;
  void add_fixed(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const;
  void add_phantoms(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const;
  void add_predictor(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const;
  void validate_level(int above) const;
  /// unit_log_density at some units; kept until the next call.
  const double* log_densities_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units) const;
  const double* static_part(const arma::Mat<double>& data, const arma::Col<arma::uword>& units) const;
  std::unique_ptr<estimator::likelihood> us_ll_;
  std::unique_ptr<estimator::covariate_link> centering_;
  std::unique_ptr<scan::equation_scan> scan_;
  std::vector<scan::covariance_step> covariance_;  ///< per level
  double residual_unit_ = 1.0;                     ///< of the first prior, as are:
  std::vector<arma::Col<double>> effect_units_;    ///< per level
  std::vector<phantom_part> parts_;                ///< residual, then per level
  std::vector<bool> together_;                     ///< per level
  double variance_given_others_ = 1.0;             ///< of a member of a block, as is:
  arma::Col<double> given_others_;                 ///< the mean of its residuals
  arma::Mat<double> weighted_effects_;             ///< scratch of effects_by_weight
  mutable arma::Col<double> residual_at_;          ///< scratch of residual_at
  scan::effects_walk walk_;
  bool reads_own_effects_ = false;      ///< a column of its own design is one of its random effects
  bool varies_by_own_effects_ = false;  ///< among them one that a random effect multiplies
  struct phantom_scratch {
    arma::Col<double> e, column;
    arma::Mat<double> residual, Sigma, iSigma;
    std::vector<arma::Mat<double>> effects;  ///< per level
  };
  mutable phantom_scratch means_;
  struct published_scratch {
    arma::Mat<double> kept, change;
    arma::Col<double> gain;
  };
  published_scratch published_;
  driven_coefficients driven_;
  bool carries_prior_ = false;
  std::vector<arma::uword> labelled_;  ///< coefficients whose labels a block draws
  scan::shares shares_;
  struct part_scratch {
    std::vector<arma::uword> units;
    std::vector<double> mu, column;
    std::vector<arma::uword> of_units;  ///< what `fixed` belongs to
    std::vector<double> of_betas, fixed;
    bool was_filled = false;
  };
  mutable part_scratch part_;  ///< of addLogLiklihood; a chain is one thread
};

}  // namespace tovik::sem
