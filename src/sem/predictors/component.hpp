#pragma once

#include <armadillo>
#include <limits>
#include <memory>
#include <string>

#include "random/random.hpp"
#include "sem/predictors/level_scores.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/matrix_coefficients.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// What a component is built from.
struct component_setup {
  std::shared_ptr<Random> rng;
  arma::uword n_units = 0;       ///< of the level
  arma::uword n_predictors = 0;  ///< columns of W
  arma::uword dim = 1;           ///< score columns
  int prior = 1;                 ///< 1, 2, 3: kind of the prior of variances
  double unit = 1.0;             ///< the 1 of the first
  double gamma_prior = flat;     ///< prior variance of each coefficient
  std::string name = {};         ///< of the variable, for messages
  unsigned level = 0;            ///< counted from 1 (the rows) as reports do; 0 where there is one level only

  static constexpr double flat = std::numeric_limits<double>::infinity();
};

/// The regression of a variable's deviations at one level on those of other variables,
///
///   e = S - S_above[cluster] = W gamma + r,   r ~ N(0, Sigma),
///
/// with gamma flat or N(0, gamma_prior) for each element. Here Sigma = sigma2 of one column, with pseudo
/// degrees of freedom and sum of squares 2 and `unit`, -2 and 0, 0 and 0 for prior 1, 2, 3. There is no
/// intercept: deviations have mean 0 and the grand mean is the variable's. A kind of scores that cannot do an
/// operation throws error_debug.
class Component {
 public:
  std::shared_ptr<Random> rng;
  arma::Mat<double> gamma;  ///< coefficients, predictors x score columns; start at 0
  double sigma2 = 1.0;      ///< residual variance
  arma::Mat<double> score;  ///< S, the total scores at this level (value or latent mean), units x columns
  int prior;                ///< kind of the variance's prior
  double unit;              ///< the 1 of the first
  double floor = 0.0;       ///< drawn variances do not fall below it: 1 / sigma2 stays finite under any prior

  /// Scores start at 0. Throws tovik::error when there are fewer than n_predictors + 3 units.
  explicit Component(const component_setup& setup);
  virtual ~Component() = default;

  virtual void setScore(const arma::Mat<double>& scores);
  /// The rows `units` only: `scores` has one row for each of them.
  virtual void setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units);
  /// Starts the residual (co)variances at those of these deviations, not below `least`.
  virtual void startVariance(const arma::Mat<double>& deviations, double least);

  /// The covariance matrix of several score columns.
  virtual const arma::Mat<double>& SigmaE() const;
  /// The same for every kind, 1 x 1 for one column.
  virtual arma::Mat<double> covariance() const;
  /// Takes the residual covariance matrix, dim x dim. Not for one that is held fixed.
  virtual void setCovariance(const arma::Mat<double>& Sigma);
  /// One Gibbs update of gamma and of the variances that are free, given the deviations that stand in the
  /// columns `own` of `level`; W are its columns `x`, which may be none. Throws numeric_error "inv(): matrix
  /// is singular" when columns of W are collinear under a flat prior, tovik::error when the deviations all
  /// vanish and neither the prior nor `floor` leaves a variance.
  virtual void draw(level_scores& level, const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& own);
  const arma::Mat<double>& data() const { return score; }
  /// Updates thresholds and latent scores of a categorical variable; `mean` is S_above[cluster] + W gamma,
  /// units x columns. Values are scores already: nothing happens here.
  virtual void drawLatent(const arma::Mat<double>& mean);
  /// The category, as a position among the variable's `values`, of each row of scores.
  virtual arma::Col<arma::uword> categorize(const arma::Mat<double>& scores) const;
  /// All thresholds, the first of which is 0.
  virtual const arma::Col<double>& thresholds() const;
  virtual estimator::tune_results tuneResults() const;
  virtual void tune();
  virtual void addProposals(std::vector<estimator::tune_obj*>&) {}
  /// Coefficients and variances (and thresholds after the first) that are not held fixed.
  virtual arma::uword n_estimated() const;
  /// The variances as parameters: sigma2, or the lower triangle of SigmaE column by column. Never throws.
  virtual arma::Col<double> variances() const;

  arma::uword n_units() const { return score.n_rows; }
  arma::uword dim() const { return score.n_cols; }

  /// W gamma, units x score columns: all units, or the given ones.
  arma::Mat<double> regression(const level_scores& level, const arma::Col<arma::uword>& x) const;
  arma::Mat<double> regression(const level_scores& level, const arma::Col<arma::uword>& x,
                               const arma::Col<arma::uword>& units) const;
  /// out += W gamma.
  void addRegression(const level_scores& level, const arma::Col<arma::uword>& x,
                     arma::Mat<double>& out) const;

 protected:
  void drawCoefficients(level_scores& level, const arma::Col<arma::uword>& x,
                        const arma::Col<arma::uword>& own, const arma::Mat<double>& Sigma);
  /// e - W gamma.
  const arma::Mat<double>& residuals(const level_scores& level, const arma::Col<arma::uword>& x,
                                     const arma::Col<arma::uword>& own);

 private:
  double sumOfSquares(level_scores& level, const arma::Col<arma::uword>& x,
                      const arma::Col<arma::uword>& own);

  std::string subject_;  ///< the variable and its level, for messages
  scan::matrix_coefficient_step coefficients_;
  arma::Mat<double> residuals_, G_, H_, own_square_;
};

/// The regression of several score columns with one residual covariance matrix: a level above a nominal
/// variable's own. Sigma is inverse Wishart given the residuals R, with scale R'R + I and df n + q + 1, R'R
/// and n - q - 1, R'R and n for prior 1, 2, 3 and q columns.
class MultivarComponent : public Component {
 public:
  /// Throws tovik::error when there are fewer than 2 dim + n_predictors + 1 or n_predictors + 3 units.
  explicit MultivarComponent(const component_setup& setup);

  void startVariance(const arma::Mat<double>& deviations, double least) override;
  const arma::Mat<double>& SigmaE() const override { return Sigma_; }
  arma::Mat<double> covariance() const override { return Sigma_; }
  void setCovariance(const arma::Mat<double>& Sigma) override { Sigma_ = Sigma; }
  void draw(level_scores& level, const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& own) override;
  arma::uword n_estimated() const override;
  arma::Col<double> variances() const override;

 private:
  arma::Mat<double> Sigma_, precision_;
  scan::covariance_step step_;
};

/// Throws tovik::error that names the variable and its level when they have fewer units than `least`.
void require_units(const component_setup& setup, arma::uword least);

/// The elements of a symmetric matrix with row >= column, column by column.
arma::Col<double> lower_triangle(const arma::Mat<double>& S);

}  // namespace tovik::sem
