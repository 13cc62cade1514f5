#pragma once

#include "sem/predictors/modeled_variable.hpp"

namespace tovik::sem {

class NomComponent;

/// An unordered categorical variable with C categories: C - 1 latent differences of utilities from that of
/// the reference, the first of the variable's `values`, with a covariance matrix that is free above the own
/// level.
class OneVarNominal : public modeled_variable {
 public:
  /// Prior variance of each grand mean: categorical_priors::predictor_nominal_mu, 5 by default.
  static double& muPrior;

  /// Missing categories start by the observed shares. Throws error_debug when no value is observed, one is no
  /// category, or dummy codes do not fit the values; std::runtime_error when there are too few units.
  OneVarNominal(predictor_setup const& setup, std::vector<arma::Col<arma::uword>> const& predictors,
                arma::Mat<double> const& data);

 private:
  void take_values(arma::Col<double> const& values) override;

  NomComponent* own_ = nullptr;
};

}  // namespace tovik::sem
