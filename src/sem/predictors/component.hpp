#pragma once

#include <armadillo>
#include <limits>
#include <memory>

#include "sem/predictors/level_scores.hpp"
#include "random/random.hpp"
#include "sem/scan/symmetric_eigen.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// What a component is built from.
struct component_setup {
  std::shared_ptr<Random> rng;
  arma::uword n_units = 0;       ///< of the level
  arma::uword n_predictors = 0;  ///< columns of W
  arma::uword dim = 1;           ///< score columns
  int prior = 1;                 ///< 1, 2, 3: kind of the prior of variances
  double gamma_prior = flat;     ///< prior variance of each coefficient

  static constexpr double flat = std::numeric_limits<double>::infinity();
};

/// The regression of a variable's deviations at one level on those of other variables,
///
///   e = S - S_above[cluster] = W gamma + r,   r ~ N(0, Sigma),
///
/// with gamma flat or N(0, gamma_prior) for each element. Here Sigma = sigma2 of one column, with pseudo
/// degrees of freedom and sum of squares 2 and 1, -2 and 0, 0 and 0 for prior 1, 2, 3. There is no intercept:
/// deviations have mean 0 and the grand mean is the variable's. A kind of scores that cannot do an operation
/// throws error_debug.
class Component {
 public:
  std::shared_ptr<Random> rng;
  arma::Mat<double> gamma;  ///< coefficients, predictors x score columns; start at 0
  double sigma2 = 1.0;      ///< residual variance
  arma::Mat<double> score;  ///< S, the total scores at this level (value or latent mean), units x columns
  int prior;                ///< kind of the variance's prior
  double gamma_prior;       ///< prior variance of each coefficient; infinite if flat
  double floor = 0.0;       ///< drawn variances do not fall below it: 1 / sigma2 stays finite under any prior

  /// Scores start at 0. Throws std::runtime_error when there are fewer than n_predictors + 3 units.
  explicit Component(component_setup const& setup);
  virtual ~Component() = default;

  virtual void setScore(arma::Mat<double> const& scores);
  /// The rows `units` only: `scores` has one row for each of them.
  virtual void setScore(arma::Mat<double> const& scores, arma::Col<arma::uword> const& units);
  /// Starts the residual (co)variances at those of these deviations, not below `least`.
  virtual void startVariance(arma::Mat<double> const& deviations, double least);

  /// The covariance matrix of several score columns.
  virtual arma::Mat<double> const& SigmaE() const;
  /// The same for every kind, 1 x 1 for one column.
  virtual arma::Mat<double> covariance() const;
  /// One Gibbs update of gamma and of the variances that are free, given the deviations that stand in the
  /// columns `own` of `level`; W are its columns `x`, which may be none. Throws std::runtime_error "inv():
  /// matrix is singular" when columns of W are collinear under a flat prior.
  virtual void draw(level_scores& level, arma::Col<arma::uword> const& x, arma::Col<arma::uword> const& own);
  arma::Mat<double> const& data() const { return score; }
  /// Updates thresholds and latent scores of a categorical variable; `mean` is S_above[cluster] + W gamma,
  /// units x columns. Values are scores already: nothing happens here.
  virtual void drawLatent(arma::Mat<double> const& mean);
  /// The category, as a position among the variable's `values`, of each row of scores.
  virtual arma::Col<arma::uword> categorize(arma::Mat<double> const& scores) const;
  /// All thresholds, the first of which is 0.
  virtual arma::Col<double> const& thresholds() const;
  virtual estimator::tune_results tuneResults() const;
  virtual void tune();
  /// Standard normal distribution function of x / sd.
  virtual double pnorm(double const& x, double const& sd) const;
  virtual arma::Col<double> pnorm(arma::Col<double> x, double const& sd) const;
  /// Coefficients and variances (and thresholds after the first) that are not held fixed.
  virtual arma::uword n_estimated() const;
  /// The variances as parameters: sigma2, or the lower triangle of SigmaE column by column. Never throws.
  virtual arma::Col<double> variances() const;

  arma::uword n_units() const { return score.n_rows; }
  arma::uword dim() const { return score.n_cols; }

  /// W gamma, units x score columns: all units, or the given ones.
  arma::Mat<double> regression(level_scores const& level, arma::Col<arma::uword> const& x) const;
  arma::Mat<double> regression(level_scores const& level, arma::Col<arma::uword> const& x,
                               arma::Col<arma::uword> const& units) const;
  /// out += W gamma.
  void addRegression(level_scores const& level, arma::Col<arma::uword> const& x,
                     arma::Mat<double>& out) const;

 protected:
  void drawCoefficients(level_scores& level, arma::Col<arma::uword> const& x,
                        arma::Col<arma::uword> const& own, arma::Mat<double> const& Sigma);
  /// e - W gamma.
  arma::Mat<double> const& residuals(level_scores const& level, arma::Col<arma::uword> const& x,
                                     arma::Col<arma::uword> const& own);

 private:
  double sumOfSquares(level_scores& level, arma::Col<arma::uword> const& x,
                      arma::Col<arma::uword> const& own);

  arma::Mat<double> residuals_, G_, T_, H_, z_, own_square_, rotated_;
  scan::symmetric_eigen eigen_;
};

}  // namespace tovik::sem
