#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/wiring/correlated_side.hpp"
#include "sem/wiring/outcome.hpp"
#include "sem/outcomes/driven_coefficients.hpp"
#include "sem/outcomes/missing_outcomes.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/phantoms/phantom_part.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/scan/effects_walk.hpp"
#include "sem/scan/equation_scan.hpp"

namespace tovik::sem {

/// What the ensemble passes to a regression of one continuous variable. Columns are columns of the working
/// matrix; vectors "per level" have one entry for each level above the outcome's own, the nearest first.
struct normal_setup {
  arma::uword y = 0;
  arma::Col<arma::uword> x;                                ///< plain predictors, the intercept's column first
  std::vector<estimator::compute> x_compute;               ///< computed predictors
  std::vector<arma::Col<arma::uword>> z;                   ///< per level, plain random-effect covariates
  std::vector<std::vector<estimator::compute>> z_compute;  ///< per level; may be empty when there are none
  std::vector<bool> mutable_columns;     ///< per data column: written after set-up; empty: none
  estimator::cluster cluster;            ///< made for the outcome's level
  unsigned n_levels = 0;                 ///< levels above the outcome, with effects or not
  unsigned level = 0;                    ///< 0: rows
  arma::Col<arma::uword> missing_units;  ///< units of the outcome without an observed value
  arma::Col<arma::uword> fixed;          ///< coefficients that are not drawn
  arma::Col<double> fixed_values;        ///< one each
  bool estimate_resid = true;            ///< the residual variance is drawn
  double resid_value = 1.0;              ///< its value otherwise, and before starts are given
  bool has_intercept = true;             ///< coefficient 0 is the intercept
  std::vector<int> icept;                ///< per level, 1 if its first term is an intercept
  /// Phantoms of the residual, then those of the random effects of each level; empty: none.
  std::vector<std::vector<phantom_term>> phantoms;
  priors prior;
};

/// Regression of a continuous variable with normal errors and random effects at up to two levels above it:
///
///   y_i = x_i' b + sum over levels L of z_Li' u_L,c(i) + e_i,   e_i ~ N(0, s2),   u_L,c ~ N(0, Sigma_L).
///
/// Flat prior for b; s2 and Sigma_L have the (improper) inverse gamma and inverse Wishart priors of `priors`.
/// A scan draws b, each u_L, s2, each Sigma_L from their full conditionals, then missing y from the equation
/// (Gelfand & Smith, 1990, JASA 85, 398-409; Gelman et al., Bayesian Data Analysis, ch. 14-15), or, when
/// other equations read y, by a Metropolis or slice step on the product of all equations that hold it. With a
/// transformation g the equation is that of g(y), and so are residuals, predictions and log likelihoods.
///
/// With phantoms P of the residual or of the effects of a level, e_i ~ N(l'P_i, s2 - l'l) and
/// u_L,c ~ N(Lambda P_c, Sigma_L - Lambda Lambda'); s2 and Sigma_L stay the whole variances. They are then
/// proposed from their draw without phantoms and accepted by Metropolis-Hastings. Random effects that other
/// equations read as variables are drawn by a random walk, all terms of a cluster together.
class Normal : public virtual estimator::Outcome {
 public:
  Normal(Estimator const* estimator, normal_setup const& setup);

  void draw(arma::Mat<double>& data) override;
  arma::Col<double> params() const override;
  arma::Col<double> postDraw(arma::Mat<double> const& data) const override;
  arma::Col<double> params(arma::Mat<double> const& data) const override;
  arma::Col<double> logLiklihood(arma::Mat<double> const& data, int const& level) const override;
  void addLogLiklihood(arma::Mat<double> const& data, int const& level, arma::Col<arma::uword> const& units,
                       double* out) const override;
  arma::Col<double> marginal_logLiklihood(arma::Mat<double> const& data) const override;
  double logLiklihood(arma::Mat<double> const& data) const override;
  void addIndicator(arma::Col<arma::uword> const& cols, indicator_type const& kind) override;
  void addLL(estimator::likelihood* l, likelihood_type const& kind) override;
  void addDist(std::shared_ptr<autosolver::solver<autosolver::normal>> const& solver,
               distribution_type const& kind) override;
  void addStarts(arma::Col<double> const& v) override;
  void tune() override;
  estimator::tune_results tuneResults() const override;
  /// 1 x 1: s2 / x_i'x_i for the column x_i of the coefficient.
  arma::Mat<double> betaCovB(arma::Mat<double> const& data, unsigned const& index) const override;
  arma::Mat<double> const& betas() const override { return betas_; }
  /// A coefficient (`index`) or the residual variance, which is from then on not drawn here; a correlation
  /// with phantoms; or a handle to read: an element of Sigma of the level above with number `level` (`index`
  /// counts by columns), the residual variance, variance shares. The proposal variance of a residual variance
  /// is 2 s2^2 / (n - 2), of all others 1.
  std::shared_ptr<estimator::constraint> constraint(parameter_type const& kind, unsigned const& index,
                                                    unsigned const& level) override;
  std::shared_ptr<estimator::constraint> moved_intercept() override;
  estimator::likelihood_function likelihoodFunc(likelihood_type const& kind) const override;
  autosolver::contribution<autosolver::normal> distributionFunc(distribution_type const& kind,
                                                                autosolver::solution const& solution,
                                                                int const& level) const override;
  autosolver::contribution<autosolver::normal_1D> distributionFunc(
      distribution_type const& kind, autosolver::solution const& solution) const override;
  autosolver::contribution<autosolver::inv_gamma> distributionFunc(
      distribution_type const& kind) const override;
  void addTransform(evaluate::pair const& pair) override;
  void setCentering(estimator::covariate_link* link) override;
  double getMissingPercent() const override;
  std::vector<double> getMissingPercents() const override;
  /// The random effects of each level, the nearest level first, at every row of `data`.
  arma::Mat<double> latent(arma::Mat<double> const& data) const override;
  arma::Mat<double> residual(arma::Mat<double> const& data) const override;
  arma::Mat<double> predicted(arma::Mat<double> const& data) const override;
  arma::Mat<double> compute_residual(arma::Mat<double> const& data) const override;
  arma::Mat<double> compute_predicted(arma::Mat<double> const& data) const override;
  /// Coefficients that are drawn, the residual variance if it is, the elements of the covariance matrices.
  arma::uword n_estimated() const override;
  void addMulti(std::shared_ptr<Multi> const& block) override;

  std::unique_ptr<correlated_side> correlated(arma::uword column) override;

  /// The variance that conditions the draws: what phantoms leave.
  double residVar() const { return parts_[0].empty() ? sigma2 : parts_[0].loadings.variance(); }
  /// Covariance and precision of the random effects given the phantoms of their level.
  arma::Mat<double> const& Sigma_s(int const& L) const {
    auto const l = static_cast<std::size_t>(L);
    return parts_[l + 1].empty() ? Sigma[l] : parts_[l + 1].loadings.conditional();
  }
  arma::Mat<double> const& iSigma_s(int const& L) const {
    auto const l = static_cast<std::size_t>(L);
    return parts_[l + 1].empty() ? iSigma[l] : parts_[l + 1].loadings.precision();
  }
  /// Phantoms of the residual (0) or of the effects of the level above with this number less one.
  phantom_part& part(unsigned place) { return parts_[place]; }
  /// Loadings and conditional variances of a place after a correlation, s2 or Sigma was written. False when
  /// nothing positive definite is left.
  bool refresh_phantoms(unsigned place);

  /// Log likelihood of the units when a correlation of the residual, or of a level's effects, has been
  /// written; -inf when the correlations leave no variance. They need `value` for their place in a list of
  /// terms only.
  double compute_LL_correlation(double const& value, arma::Mat<double> const& data);
  double compute_LL_correlation_L(double const& value, arma::Mat<double> const& data, int const& L);
  /// Log likelihood of all units when the whole residual variance has been written.
  double residVarAR(double const& value, arma::Mat<double> const& data);
  /// Takes the values that the phantoms of a place enter, at the data; read_part also takes the phantoms.
  void read_values(unsigned place, arma::Mat<double> const& data);
  void read_part(unsigned place, arma::Mat<double> const& data);
  /// The row of the data for each unit that the phantoms of a place have; null for every row.
  arma::Col<arma::uword> const* phantom_rows(unsigned place) const;

  /// Writes the random effects that are variables into their columns.
  void publish_effects(arma::Mat<double>& data) const;
  /// Other equations tie the clusters of the level together: their proposals are accepted or rejected in one.
  void accept_together(unsigned L) { together_[L] = true; }

  arma::Col<double> compute_logLiklihood(arma::Mat<double> const& data, int const& level) const;
  arma::Col<double> compute_marginal_logLiklihood(arma::Mat<double> const& data) const;
  arma::Mat<double> compute_latent(arma::Mat<double> const& data) const;
  /// Keeps the residual of every unit in each scan, also where cross-products would do: for comparison,
  /// before the first draw.
  void keep_rows();
  /// By how much the residual that the steps of a scan keep differs from that at the data, relative to the
  /// outcome; 0 where cross-products take its place.
  double residual_error(arma::Mat<double> const& data) const;
  /// Every step of a scan then looks at it, and throws error_debug where it shows: in debug builds.
#ifdef NDEBUG
  static inline bool check_residuals = false;
#else
  static inline bool check_residuals = true;
#endif

  /// Sum of logLiklihood(data, level) at the own level, from cross-products where they serve. `value` is the
  /// parameter that was written, for its place in a list of terms only.
  double compute_LL_node(double const& value, arma::Mat<double> const& data) const;
  /// Recomputes variance shares and standardised coefficients at the current parameters, after some were
  /// written from outside.
  void refreshShares(arma::Mat<double> const& data) override;
  /// Drawn coefficients go along with driven ones (see driven_coefficients). Again while proposals are
  /// adapted.
  void connectDriven(arma::Mat<double> const& data) override;

  /// Log density of the random effects of the L-th level above, one value per cluster.
  arma::Col<double> compute_Us_LL(arma::Mat<double> const& data, int const& L) const;

  estimator::cluster cluster;
  arma::uword n_units;                    ///< rows, or clusters of the outcome's level
  arma::Col<arma::uword> missing_rows;    ///< units whose outcome is missing
  std::vector<arma::Mat<double>> u;       ///< per level, clusters x terms
  std::vector<arma::Mat<double>> iSigma;  ///< per level, precision of the random effects
  std::vector<arma::Mat<double>> Sigma;   ///< per level, their covariance
  arma::Mat<double> betas_;               ///< coefficients, plain columns first
  arma::Mat<double> std_betas;            ///< standardised coefficients of the last draw
  double sigma2;                          ///< residual variance
  arma::Col<arma::uword> free;            ///< coefficients drawn here
  arma::Col<arma::uword> fixed;           ///< coefficients that are not
  bool estimate_resid;
  int raneff_prior;
  int resid_prior;
  bool has_intercept;
  std::vector<int> icept;
  std::vector<estimator::tune_obj> re_tune;
  estimator::tune_obj imp_tune;
  /// Per level, for each term the column that other models read it from, or data::variable::no_column; empty
  /// when none is read.
  std::vector<arma::Col<arma::uword>> re_indicators;

 private:
  void make_parts(normal_setup const& setup);
  void begin_scan(arma::Mat<double> const& data);
  void check_residual(arma::Mat<double> const& data) const;
  void draw_effects(arma::Mat<double>& data, unsigned L);
  void draw_published(arma::Mat<double>& data, unsigned L, arma::Mat<double> const* mu);
  arma::Mat<double> const* effect_means(arma::Mat<double> const& data, unsigned L) const;
  void write_effects(arma::Mat<double>& data, unsigned L) const;
  void draw_variance(arma::Mat<double> const& data);
  void draw_covariance(arma::Mat<double> const& data, unsigned L);
  void subtract_phantoms(arma::Mat<double> const& data, arma::Col<double>& r) const;
  arma::Col<double> marginal_with_phantoms(arma::Mat<double> const& data) const;
  std::vector<arma::Mat<double>> effect_designs(arma::Mat<double> const& data) const;
  bool has_phantoms() const;
  std::shared_ptr<estimator::constraint> driven_coefficient(unsigned index);
  std::shared_ptr<estimator::constraint> driven_variance();
  /// The phantom with this index of a place (see part()).
  std::shared_ptr<estimator::constraint> driven_correlation(unsigned index, unsigned place);
  double* covariance_element(unsigned index, unsigned L);
  void make_scan(std::vector<bool> const& mutable_columns);
  /// Starts a scan at the outcome, transformed if it is.
  void start_scan(arma::Mat<double> const& data);
  void impute(arma::Mat<double>& data);
  void update_shares();
  arma::Col<arma::uword> const* unit_rows() const;
  arma::Col<double> outcome_values(arma::Mat<double> const& data) const;
  /// y - Xb - Zu, in the scale of the equation; kept until the next call.
  arma::Col<double> const& values_without_phantoms(arma::Mat<double> const& data);
  void subtract_fixed(arma::Mat<double> const& data, arma::Col<double>& r) const;
  void subtract_random(arma::Mat<double> const& data, arma::Col<double>& r) const;
  double const* static_part(arma::Mat<double> const& data, arma::Col<arma::uword> const& units) const;
  void residuals_at(arma::Mat<double> const& data, arma::Col<arma::uword> const& units, double* r) const;
  arma::Mat<double> at_rows(arma::Mat<double> const& units) const;

  std::unique_ptr<estimator::likelihood> us_ll;
  outcome_scale scale_;                                            ///< of the transformation, if there is one
  missing_outcomes imputed_;                                       ///< reads and writes scale_
  std::shared_ptr<autosolver::solver<autosolver::normal>> solver;  ///< of missing values; null for none
  std::unique_ptr<estimator::covariate_link> centering;
  std::unique_ptr<scan::equation_scan> scan_;
  std::vector<scan::covariance_step> covariance_;  ///< per level
  std::vector<phantom_part> parts_;                ///< residual, then per level
  std::vector<bool> together_;                     ///< per level
  scan::effects_walk walk_;
  bool reads_own_effects_ = false;      ///< a column of its own design is one of its random effects
  bool varies_by_own_effects_ = false;  ///< among them one that a random effect multiplies
  struct phantom_scratch {
    arma::Col<double> e;
    arma::Mat<double> residual, values, Sigma, iSigma;
    std::vector<arma::Mat<double>> effects;  ///< per level
  };
  mutable phantom_scratch means_;
  struct published_scratch {
    arma::Mat<double> kept, change;
    arma::Col<double> gain;
  };
  published_scratch published_;
  driven_coefficients driven_;
  scan::shares shares_;
  struct part_scratch {
    std::vector<arma::uword> units;
    std::vector<double> r, column;
    std::vector<arma::uword> of_units;  ///< what `fixed` belongs to
    std::vector<double> of_betas, fixed;
    bool was_filled = false;
  };
  mutable part_scratch part_;  ///< of addLogLiklihood; a chain is one thread
};

}  // namespace tovik::sem
