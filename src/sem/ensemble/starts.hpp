#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/cluster.hpp"

namespace tovik {
class Model;
class Random;
}  // namespace tovik

namespace tovik::sem {

/// Mean and variance of the observed values of an outcome over its units, on the scale of the equation: of
/// g(y) for an outcome with the transformation g, of the latent score for categories, of the logarithm for
/// counts. The variance of fewer than two values, or of equal ones, counts as 1: it only has to set a scale.
struct outcome_moments {
  double mean = 0;
  double variance = 1;
  double central = 0;  ///< the observed value, on the scale of the data, whose g(y) is closest to the mean
  arma::Col<double> categories = {};   ///< of a categorical outcome or of counts, ascending; else empty
  arma::Col<arma::uword> counts = {};  ///< observed units of each
  double dispersion = 1;               ///< of counts, where mean and variance place it
};

/// One for each outcome column of the model. `data`: the working matrix with missing cells NaN. Throws
/// tovik::error if no unit is observed, or if the transformation of an observed value is not finite.
std::vector<outcome_moments> observed_moments(const Model& model, const arma::Mat<double>& data,
                                              const estimator::cluster& structure);

/// The starting state of an outcome in the order of its params(): with m and v the observed moments,
///
///   covariance matrices of the random effects, from the top level down: start_scale * v / (2 z_j) on the
///     diagonal
///   residual variance: start_scale * v; 1 for a latent score; none for a logit; for counts of mean a and
///     variance s^2 start_scale times the dispersion a^2 / (s^2 - a), held within 0.1 and 100, or 10 if
///     s^2 <= a
///   intercept: m + start_shift * sqrt(v)
///   slopes: 0
///   thresholds: the normal quantiles of the observed shares, less the first
///   of a nominal outcome all of it for each dummy code, m the log odds of its category and the reference
///   lambda of a Yeo-Johnson transformation: 1, at which the moments are those of the values themselves
///
/// with z_j the mean square of the covariate of an effect, so that all effects start at one half of the
/// variance of the outcome whatever the units of their covariates. A starting value of the user takes the
/// place of v / (2 z_j), v, m or 0; a fixed value stands as it is. `squares`: z_j per level above the
/// outcome, the nearest first; 1 where it is not given. `data`: the working matrix with missing cells NaN.
/// Throws what observed_moments throws.
arma::Col<double> generateStarts(const Model& model, const arma::Mat<double>& data,
                                 const estimator::cluster& structure, const double& start_scale,
                                 const double& start_shift,
                                 const std::vector<arma::Col<double>>& squares = {});
/// The same from given moments. `slopes`: where free coefficients start instead of at 0, one for each, or
/// none.
arma::Col<double> generateStarts(const Model& model, const outcome_moments& moments,
                                 const double& start_scale, const double& start_shift,
                                 const std::vector<arma::Col<double>>& squares = {},
                                 const arma::Col<double>& slopes = {});

/// The outcome in `column` at each row, on the scale of the equation: NaN where it is not observed. Of
/// ordered categories and of counts the numbers, put on the scale of the moments; of unordered categories NaN.
arma::Col<double> values_on_scale(const Model& model, unsigned column, const outcome_moments& moments,
                                  const arma::Mat<double>& data);

/// One draw m + sqrt(v) z for each of `n` missing values; of a categorical outcome a category by the observed
/// shares. For a transformed outcome the result is back on the
/// scale of the data; draws outside the range of the transformation are made again, up to 100 times, and the
/// mean stands in for what is left,
/// or, where even that is outside, the observed value closest to it.
arma::Col<double> draw_missing(const Model& model, const outcome_moments& moments, arma::uword n,
                               Random& rng);

}  // namespace tovik::sem
