#pragma once

#include "sem/predictors/modeled_variable.hpp"

namespace tovik::sem {

class NomComponent;
class OrdComponent;

/// A continuous variable: its own scores are its values, its grand mean has a flat prior. Counts are modelled
/// so, too, and factors for their means only.
class OneVar : public modeled_variable {
 public:
  /// Missing values start near the observed ones, latent means at the means of their units. Throws
  /// error_debug when no value is observed, tovik::error when the values do not vary or are
  /// too few.
  OneVar(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& predictors,
         const arma::Mat<double>& data);

 private:
  void take_values(const arma::Col<double>& values) override;
};

/// An ordered categorical variable: its own scores are latent normals with variance 1 that thresholds cut
/// into the categories. The category of every unit is part of the state.
class OneVarOrdinal : public modeled_variable {
 public:
  /// Prior variance of the grand mean: categorical_priors::predictor_ordinal_mu, 5 by default.
  static double& muPrior;

  /// Missing categories start by the observed shares. Throws error_debug when no value is observed or one is
  /// no category, tovik::error when there are too few units.
  OneVarOrdinal(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& predictors,
                const arma::Mat<double>& data);

 private:
  void take_values(const arma::Col<double>& values) override;
  void heed_missing(bool read) override;
  arma::Col<double> free_thresholds() const override;

  OrdComponent* own_ = nullptr;
};

/// An unordered categorical variable with C categories: C - 1 latent differences of utilities from that of
/// the reference, the first of the variable's `values`, with a covariance matrix that is free above the own
/// level.
class OneVarNominal : public modeled_variable {
 public:
  /// Prior variance of each grand mean: categorical_priors::predictor_nominal_mu, 5 by default.
  static double& muPrior;

  /// Missing categories start by the observed shares. Throws error_debug when no value is observed, one is no
  /// category, or dummy codes do not fit the values; tovik::error when there are too few units.
  OneVarNominal(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& predictors,
                const arma::Mat<double>& data);

 private:
  void take_values(const arma::Col<double>& values) override;

  NomComponent* own_ = nullptr;
};

}  // namespace tovik::sem
