#pragma once

#include <array>
#include <numeric>

namespace tovik::sem {

/// Settings of the sampler that the command file may change. Written before chains start, only read after
/// that.
struct sampler_settings {
  /// Draw latent and missing values by the elliptical slice sampler instead of random-walk Metropolis.
  inline static bool ess_sampler = false;
  /// Steps after which the elliptical slice sampler gives up.
  inline static unsigned ess_max_niter = 1000;
  /// Draw from conditional distributions that can be derived from the equations.
  inline static bool use_autosolver = true;
  /// Draw blocks of outcomes jointly where the model list has found them.
  inline static bool optimize_draws = true;
  /// Draw coefficients with random effects integrated out where that can be; off for comparison only.
  inline static bool integrate_effects = true;
  /// Draw the parameters of Yeo-Johnson transformations with coefficients and residual variances integrated
  /// out where that can be; off for comparison only.
  inline static bool integrate_lambda = true;
  /// Propose thresholds from their normal approximation besides the random walk, and move all that is in
  /// units of a latent score by a common factor; off for comparison only.
  inline static bool newton_thresholds = true;
  inline static bool scale_scores = true;
  /// Draw labelled parameters together with what they stand beside where that can be; off for comparison
  /// only.
  inline static bool draw_label_blocks = true;
  /// Draw covariance matrices of random effects a second time, given the standardised effects, where that can
  /// be; off for comparison only.
  inline static bool redraw_factors = true;
  /// Move the scores of a factor together with what is measured in their units, beside their solved
  /// distribution; off for comparison only.
  inline static bool move_factors = true;
  /// Move the residual variances of all clusters together with what they share, beside their own draws; off
  /// for comparison only.
  inline static bool move_variances = true;
  /// Propose the coefficients of a variance model from their normal approximation besides the random walks;
  /// off for comparison only.
  inline static bool leap_variances = true;
  /// Draw loadings and variances of indicators with the scores of their factor integrated out where that can
  /// be; off for comparison only.
  inline static bool collapse_factors = true;
  /// Print internal information about constraints and about tuning.
  inline static bool print_debug_constraint = false;
  inline static bool print_debug_tune = false;
  /// Proposals after which a multivariate Metropolis draw counts as rejected.
  inline static unsigned multi_mh_max_iter = 1000;
  /// Lower bound of the linear predictor of a log-variance model.
  inline static double logvar_trunc_point = -6.0;
  /// Print fixed values in place of their (constant) summaries.
  inline static bool print_fixed_values = false;
  /// Which correlations among residuals are printed, and in which order.
  inline static bool print_all_rcorrs = false;
  inline static bool sort_rcorrs = false;
};

/// Prior variances of the coefficients of categorical models, each a normal prior with mean 0.
struct categorical_priors {
  inline static double logistic = 5.0;
  inline static double ordinal = 5.0;
  inline static double rstar = 5.0;                 ///< underlying scores of missing data indicators
  inline static double predictor_nominal_mu = 5.0;  ///< grand means of incomplete nominal predictors
  inline static double predictor_nominal_gamma = 5.0;
  inline static double predictor_ordinal_mu = 5.0;  ///< grand means of incomplete ordinal predictors
  inline static double predictor_ordinal_gamma = 5.0;

  static void set(double variance) {
    logistic = ordinal = rstar = variance;
    predictor_nominal_mu = predictor_nominal_gamma = variance;
    predictor_ordinal_mu = predictor_ordinal_gamma = variance;
  }
};

/// The mean of the seven prior variances, for the report.
inline double getCategoricalPriors() {
  using p = categorical_priors;
  const std::array<double, 7> all = {p::logistic,
                                     p::ordinal,
                                     p::rstar,
                                     p::predictor_nominal_mu,
                                     p::predictor_nominal_gamma,
                                     p::predictor_ordinal_mu,
                                     p::predictor_ordinal_gamma};
  return std::accumulate(all.begin(), all.end(), 0.0) / static_cast<double>(all.size());
}

}  // namespace tovik::sem
