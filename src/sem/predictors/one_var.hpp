#pragma once

#include "sem/predictors/modeled_variable.hpp"

namespace tovik::sem {

/// A continuous variable: its own scores are its values, its grand mean has a flat prior. Counts are modelled
/// so, too, and factors for their means only.
class OneVar : public modeled_variable {
 public:
  /// Missing values start near the observed ones, latent means at the means of their units. Throws
  /// error_debug when no value is observed, tovik::error when the values do not vary, std::runtime_error when
  /// they are too few.
  OneVar(predictor_setup const& setup, std::vector<arma::Col<arma::uword>> const& predictors,
         arma::Mat<double> const& data);

 private:
  void take_values(arma::Col<double> const& values) override;
};

}  // namespace tovik::sem
