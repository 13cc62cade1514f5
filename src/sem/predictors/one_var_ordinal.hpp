#pragma once

#include "sem/predictors/modeled_variable.hpp"

namespace tovik::sem {

class OrdComponent;

/// An ordered categorical variable: its own scores are latent normals with variance 1 that thresholds cut
/// into the categories. The category of every unit is part of the state.
class OneVarOrdinal : public modeled_variable {
 public:
  /// Prior variance of the grand mean: categorical_priors::predictor_ordinal_mu, 5 by default.
  static double& muPrior;

  /// Missing categories start by the observed shares. Throws error_debug when no value is observed or one is
  /// no category, std::runtime_error when there are too few units.
  OneVarOrdinal(predictor_setup const& setup, std::vector<arma::Col<arma::uword>> const& predictors,
                arma::Mat<double> const& data);

 private:
  void take_values(arma::Col<double> const& values) override;
  void heed_missing(bool read) override;
  arma::Col<double> free_thresholds() const override;

  OrdComponent* own_ = nullptr;
};

}  // namespace tovik::sem
