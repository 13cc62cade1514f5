#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/predictors/predictor_state.hpp"
#include "sem/predictors/published_columns.hpp"
#include "sem/scan/values/metropolis_values.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// The draw of the missing own scores of a predictor model, with the values or categories that follow:
///
///   S_0,i ~ N(S_1[parent] + W_0,i gamma_0, Sigma_0)
///
/// or, if outcome models read the values, a random walk in units of the square root of Sigma_0 whose target
/// is that density times the likelihood of these models.
class imputation_step : private scan::value_target {
 public:
  /// `missing`: units of the own level, rising.
  imputation_step(predictor_state& state, published_columns& published, arma::Col<arma::uword> missing);
  imputation_step(const imputation_step&) = delete;
  imputation_step& operator=(const imputation_step&) = delete;

  /// `readers->together` is by units of the own level.
  void set_readers(std::unique_ptr<estimator::likelihood> readers);
  bool has_readers() const { return readers_ != nullptr; }

  void draw(const level_scores& own);
  /// By Metropolis; throws error_debug without readers.
  void draw(arma::Mat<double>& data, const level_scores& own);

  estimator::tune_obj tune;

 private:
  void condition(const level_scores& own);
  void walk_from(const arma::Mat<double>& from, double scale);
  void write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
             unsigned char* usable) override;
  void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, double* out) override;
  void log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                      double* out) override;

  predictor_state& state_;
  published_columns& published_;
  arma::Col<arma::uword> missing_;
  std::vector<arma::uword> which_units_;
  std::unique_ptr<estimator::likelihood> readers_;
  scan::value_groups groups_;
  scan::metropolis_values metropolis_;
  arma::Mat<double> mean_, next_, current_, precision_, root_;
};

}  // namespace tovik::sem
