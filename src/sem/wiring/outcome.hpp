#pragma once

#include <armadillo>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "data/variable.hpp"
#include "evaluate/pair.hpp"
#include "sem/wiring/autosolver_fwd.hpp"
#include "sem/wiring/block_likelihood.hpp"
#include "sem/wiring/cluster.hpp"
#include "sem/wiring/compute.hpp"
#include "sem/wiring/constraint.hpp"
#include "sem/wiring/covariate_link.hpp"
#include "sem/wiring/kinds.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/settings.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik {
class Random;
}

namespace tovik::sem {
class Estimator;
class Multi;
class correlated_side;
}  // namespace tovik::sem

namespace tovik::sem::estimator {

/// One model that is drawn in a scan. Concrete models derive virtually, because a block and a transformed
/// outcome inherit a second path to it. Models are neither copied nor moved: constraints and expressions hold
/// addresses of their fields.
///
/// "Units" are the rows of the working matrix for a model at level 0 and the clusters of its level above
/// that. An operation that a model does not support throws error_debug.
class Outcome {
 public:
  static inline bool& ess_sampler = sampler_settings::ess_sampler;
  static inline unsigned& ess_max_niter = sampler_settings::ess_max_niter;

  /// What a model is made of, for models that are many classes deep: each names its virtual base.
  struct shape {
    const Estimator* estimator = nullptr;
    data::type type{};
    arma::Col<arma::uword> y = {};
    arma::Col<arma::uword> x = {};
    std::vector<compute> x_compute = {};
    std::vector<arma::Col<arma::uword>> z = {};
    std::vector<std::vector<compute>> z_compute = {};
    std::vector<arma::Col<arma::uword>> phantoms = {};
    unsigned n_levels = 0, level = 0;
    bool missing = false;
  };
  explicit Outcome(shape parts);
  Outcome(const Outcome&) = delete;
  Outcome& operator=(const Outcome&) = delete;
  virtual ~Outcome() = default;

  /// One complete update within a scan: parameters, random effects, variances, imputations. Writes imputed
  /// values and what follows from them into `data`.
  virtual void draw(arma::Mat<double>& data) = 0;
  /// Estimated parameters in the order of the report: covariance elements of the random effects from the top
  /// level down (lower triangles by columns), residual variance, coefficients.
  virtual arma::Col<double> params() const = 0;
  /// What follows from a draw: standardised coefficients, variance shares.
  virtual arma::Col<double> postDraw(const arma::Mat<double>& data) const = 0;
  /// The report column: params(), then postDraw(data).
  virtual arma::Col<double> params(const arma::Mat<double>& data) const = 0;

  /// Log likelihood of each unit of `level`, which is not below the model's own.
  virtual arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const = 0;
  /// Adds to out[k] the log likelihood of the k-th of the given units (ascending) of `level`; passes over no
  /// others where it can.
  virtual void addLogLiklihood(const arma::Mat<double>& data, const int& level,
                               const arma::Col<arma::uword>& units, double* out) const;
  /// Random effects integrated out: one value per cluster of the highest level (per row without levels).
  virtual arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const = 0;
  /// The same two for the observed cells of the outcome alone, as fit statistics count them: an imputed cell
  /// is part of the state, and contributes 0. What is no outcome of the data contributes 0 altogether.
  virtual arma::Col<double> observed_logLiklihood(const arma::Mat<double>& data, const int& level) const;
  virtual arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const;
  /// Adds to `out`, one value per unit of the highest level, the logarithm of the derivative of the outcome's
  /// transformation at its observed cells, where the transformation has a parameter: the likelihoods above
  /// are those of the transformed values, and fit statistics compare densities of the data.
  virtual void addLogJacobian(const arma::Mat<double>& /*data*/, arma::Col<double>& /*out*/) const {}
  /// observed_logLiklihood of the units of the model's own level at several draws together, for a model that
  /// has a shorter way to it at its current design; the model must outlive the object. Null: draw by draw.
  /// After the first draw().
  virtual std::unique_ptr<block_likelihood> blockLiklihood(const arma::Mat<double>& /*data*/) const {
    return nullptr;
  }
  /// How many cells of the outcome, one per unit, were not observed.
  virtual arma::uword n_unobserved() const { return 0; }
  /// Sum of logLiklihood(data, level) at the own level.
  virtual double logLiklihood(const arma::Mat<double>& data) const = 0;

  /// Registers the columns that publish latent values.
  virtual void addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) = 0;
  /// Takes ownership of the likelihood list of this variable or of its random effects; replaces one held.
  virtual void addLL(std::unique_ptr<likelihood> list, const likelihood_type& kind) = 0;
  /// Sets the solved conditional distribution that replaces a Metropolis step.
  virtual void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
                       const distribution_type& kind) = 0;
  /// Restores a full state, in the order of params(). Throws error_debug when the length differs.
  virtual void addStarts(const arma::Col<double>& v) = 0;

  /// Per level above, the nearest first: the mean square of each random-effect covariate over the units where
  /// it is known, NaN where it is known nowhere.
  virtual std::vector<arma::Col<double>> covariate_squares(const arma::Mat<double>& data) const;

  /// The words of an equation for messages: its outcome, and the identifiers of its levels, the nearest
  /// first.
  struct equation_names {
    std::string outcome;
    std::vector<std::string> levels;
    std::vector<std::string> coefficients;  ///< the predictors, as the report names them
  };
  /// Throws tovik::error when priors that are no distributions leave no distribution given the data: too few
  /// units for the coefficients, too few clusters for the random effects. After all constraints are made,
  /// missing cells filled.
  virtual void check_propriety(const arma::Mat<double>&, const equation_names&) const {}
  /// Throws tovik::error with the names of predictors that never change and that are not finite, do not vary,
  /// or are combinations of others, so that no coefficients are determined.
  virtual void check_design(const arma::Mat<double>&, const equation_names&) const {}

  /// Puts the priors of variances on the scale of the data (see priors::scaled): `response` is the observed
  /// variance of the outcome on the scale of the equation, `observed` the working matrix with missing cells
  /// NaN. Before the first draw.
  virtual void scale_priors(double /*response*/, const arma::Mat<double>& /*observed*/) {}
  /// The 1 of the residual variance's first prior.
  virtual double residual_unit() const { return 1.0; }

  /// Adapts every proposal.
  virtual void tune() = 0;
  virtual tune_results tuneResults() const = 0;
  /// Appends every proposal that is adapted.
  virtual void addProposals(std::vector<tune_obj*>&) {}

  /// Conditional variance of a coefficient given the others: the default proposal of a constraint.
  virtual arma::Mat<double> betaCovB(const arma::Mat<double>& data, const unsigned& index) const = 0;
  /// Coefficients, a column. The address of an element stays the same for the model's life.
  virtual const arma::Mat<double>& betas() const = 0;
  /// A handle on one parameter of this model; a driven one is no longer drawn here.
  virtual std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                            const unsigned& level) = 0;
  /// The intercept, for a step that moves it along with other parameters: null unless it is drawn here from a
  /// flat prior. It is drawn here all the same.
  virtual std::shared_ptr<estimator::constraint> moved_intercept() { return nullptr; }
  /// The function that enters the likelihood lists of other variables; holds a pointer to this model.
  virtual likelihood_function likelihoodFunc(const likelihood_type& kind) const = 0;

  virtual void addTransform(const evaluate::pair& pair) = 0;
  /// Takes ownership of the link that refreshes centred columns after imputation.
  virtual void setCentering(std::unique_ptr<covariate_link> link) = 0;

  /// Share of the units that is missing, 0 to 1; one per outcome column.
  virtual double getMissingPercent() const = 0;
  virtual std::vector<double> getMissingPercents() const = 0;

  /// Columns for output; one row per row of `data`.
  virtual arma::Mat<double> latent(const arma::Mat<double>& data) const = 0;
  virtual arma::Mat<double> residual(const arma::Mat<double>& data) const = 0;
  virtual arma::Mat<double> predicted(const arma::Mat<double>& data) const = 0;
  /// One row per unit of the model.
  virtual arma::Mat<double> compute_residual(const arma::Mat<double>& data) const = 0;
  virtual arma::Mat<double> compute_predicted(const arma::Mat<double>& data) const = 0;

  /// Writes the category of each row into the outcome's column of `raw` where `data` holds its codes only;
  /// nothing for an outcome whose column holds its values.
  virtual void categorize(arma::Mat<double>& /*raw*/, const arma::Mat<double>& /*data*/) const {}

  /// How many parameters this model draws itself.
  virtual arma::uword n_estimated() const = 0;
  /// Recomputes what follows from the parameters (postDraw) after some were written from outside, since the
  /// last draw(); nothing for a model in which nothing does.
  virtual void refreshShares(const arma::Mat<double>&) {}
  /// All constraints on this model are made: prepares what their draws need of it.
  virtual void connectDriven(const arma::Mat<double>&) {}
  /// Makes this model part of a block of outcomes with correlated residuals.
  virtual void addMulti(const std::shared_ptr<Multi>& block) = 0;

  /// Writes the random effects that are variables into their columns. Throws error_debug for a model without.
  virtual void publish_effects(arma::Mat<double>& data) const;
  /// Other equations tie the clusters of the level together: proposals of their effects are accepted or
  /// rejected in one.
  virtual void accept_together(unsigned L);

  /// What the phantom in this column of the working matrix needs to see of this model. Throws error_debug
  /// when the model does not hold it.
  virtual std::unique_ptr<correlated_side> correlated(arma::uword column);

  /// Writes the starting values of what the outcome publishes beside its observed values (see published()),
  /// and of missing values that follow from these. After addStarts().
  virtual void publish(arma::Mat<double>&) {}
  /// Columns of latent() in front of the random effects.
  virtual arma::uword n_scores() const { return 0; }
  /// Prior variance of a coefficient; infinite for a flat prior.
  virtual double coefficient_variance(arma::uword) const { return std::numeric_limits<double>::infinity(); }

  /// Columns of the working matrix, beside y, in which the values of the outcome stand in another form for
  /// other equations to read: a latent propensity, the codes of its categories.
  virtual arma::Col<arma::uword> published() const { return {}; }
  /// All columns that hold the outcome: y, then published().
  arma::Col<arma::uword> columns() const { return arma::join_cols(y, published()); }

  /// Number of values in params().
  virtual arma::uword n_params() const = 0;
  /// Random-effect columns of the L-th level above.
  arma::uword n_random(unsigned L) const { return z[L].n_elem + z_compute[L].size(); }
  arma::uword n_coefficients() const { return x.n_elem + x_compute.size(); }
  /// True if a predictor, random-effect covariate or phantom of this model reads the column of the working
  /// matrix, directly or inside an expression.
  virtual bool reads(arma::uword column) const;
  /// True if such an expression makes the prediction of one unit depend on other units' values of the column.
  virtual bool couples(arma::uword column) const;

  Random* rng;
  const Estimator* estimator;
  std::vector<double> slope_var;  ///< per level above, variance of the random slopes' part; NaN before a draw
  std::vector<double> icept_var;  ///< per level above, variance at the means of the slopes' covariates
  double total_var;               ///< model-implied variance of the outcome
  double coef_var;                ///< variance of the fixed part
  double slope_total;             ///< sums over levels
  double icept_total;
  std::shared_ptr<Multi> link;  ///< the block that this model belongs to, if any
  data::type type;
  arma::Col<arma::uword> y;
  arma::Col<arma::uword> x;
  std::vector<compute> x_compute;  ///< columns of the design after those of x
  std::vector<arma::Col<arma::uword>> z;
  std::vector<std::vector<compute>> z_compute;
  std::vector<arma::Col<arma::uword>> phantoms;  ///< entry 0: the residual's; L + 1: those of level L
  unsigned n_levels;
  unsigned level;
  bool missing;
};

}  // namespace tovik::sem::estimator
