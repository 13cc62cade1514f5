#pragma once

#include <armadillo>
#include <memory>

#include "sem/predictors/predictor_state.hpp"
#include "sem/predictors/published_columns.hpp"
#include "sem/scan/effect_factor.hpp"
#include "sem/scan/values/metropolis_values.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// The draw of the means at one place q >= 1 of a predictor model: latent means, or at the last place the
/// grand mean, which is the mean of one unit that holds all others. With h = Sigma^{-1}, unit j with n_j
/// children i and parent p,
///
///   precision = n_j h_{q-1} + h_q
///   mean = precision^{-1} [h_{q-1} sum_i (S_{q-1,i} - W_{q-1,i} gamma_{q-1}) + h_q (S_{q+1,p} + W_{q,j}
///   gamma_q)]
///
/// where the grand mean has its prior's precision and mean 0 in the place of h_q and of what stands above. If
/// outcome models read what follows from the means, the step is a random walk in units of the square root of
/// the variance, each unit accepted by itself or, where equations tie units, with its group.
///
/// With the grand mean go the intercepts of the list (see moving_intercept), after which readers hardly mind
/// where it is. A candidate is then
///
///   mean + sqrt(1 - s^2) (mu - mean) + s N(0, precision^{-1}),   s = min(tune.value, 1),
///
/// which leaves the normal conditional as it is, so that the likelihood alone accepts (Cotter, Roberts,
/// Stuart & White, 2013, Statistical Science 28, 424-446). At s = 1 readers that do not mind make it a draw
/// from the conditional; where they do s is tuned, and small steps are those of a random walk.
///
/// The means are random effects about what stands above, u = S_q - S_{q+1,p} - W_q gamma_q, and have the same
/// hold on their covariance matrix: little variance among them keeps them together, and they keep it. So the
/// matrix is drawn a second time with the standardised u held (see effect_factor_step), the children being
/// the data: A_j = n_j h_{q-1} and t_j = h_{q-1} sum_i (S_{q-1,i} - W_{q-1,i} gamma_{q-1} - S_{q+1,p} -
/// W_{q,j} gamma_q).
class mean_step : private scan::value_target {
 public:
  mean_step(predictor_state& state, published_columns& published, unsigned q);
  mean_step(const mean_step&) = delete;
  mean_step& operator=(const mean_step&) = delete;

  /// `readers->together` is by units of the level of the means. Throws error_debug when it is by others.
  void set_readers(std::unique_ptr<estimator::likelihood> readers);
  bool has_readers() const { return readers_ != nullptr; }

  /// From the full conditional. `at` has the scores of the level of the means, null for the grand mean;
  /// `below` those of the next lower place.
  void draw(const level_scores* at, const level_scores& below);
  /// By Metropolis; throws error_debug without readers.
  void draw(arma::Mat<double>& data, const level_scores* at, const level_scores& below);

  /// The second draw of the covariance matrix of latent means that no equation reads; right after draw(), by
  /// whose sums it goes. Moves the means with it.
  void redraw_covariance();

  estimator::tune_obj tune;

 private:
  void condition(const level_scores* at, const level_scores& below);
  void factor();
  void move_intercepts();
  void walk_from(const arma::Mat<double>& from, double scale);
  void write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
             unsigned char* usable) override;
  void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, double* out) override;
  void log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                      double* out) override;

  predictor_state& state_;
  published_columns& published_;
  unsigned q_;
  std::unique_ptr<estimator::likelihood> readers_;
  scan::value_groups groups_;
  scan::metropolis_values metropolis_;

  bool proposing_ = false;

  // Units with the same number of children share their variance.
  arma::Col<arma::uword> kind_;                     ///< of each unit
  arma::Col<double> n_children_;                    ///< of each kind
  arma::Cube<double> precision_, variance_, root_;  ///< of each kind; root'root = variance
  arma::Mat<double> sums_, expected_, mean_, next_, current_;

  // Of the second draw of the covariance matrix.
  scan::effect_factor_step factor_;
  arma::Mat<double> A_, t_, effects_, inverse_, Sigma_;
  arma::Col<double> units_;

  arma::Col<arma::uword> centred_;     ///< columns that stand less the grand mean
  arma::Col<double> centre_, change_;  ///< of these columns, before the step; and what a candidate adds
};

}  // namespace tovik::sem
