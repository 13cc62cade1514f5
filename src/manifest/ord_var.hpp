#pragma once

#include "manifest/var.hpp"
#include "sem/predictors/ord_component.hpp"

namespace tovik::manifest {

/// The model of an incomplete ordinal variable: the regression of Var for a latent normal score with residual
/// variance 1, cut by thresholds 0 = tau_0 < tau_1 < ... into the categories; b ~ N(0,
/// OrdComponent::gammaPrior). As a predictor of others it has its category codes.
class OrdVar : public Var {
 public:
  OrdVar(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how);

  void tune() override { latent_.tune(); }
  sem::estimator::tune_results tuneResults() const override { return latent_.tuneResults(); }
  const arma::Col<arma::uword>& categories() const { return latent_.categories(); }

  /// Scores and thresholds. Those of all units heed categories that were imputed, unless parameters are drawn
  /// from the observed units alone.
  class Latent : public sem::OrdComponent {
   public:
    using sem::OrdComponent::OrdComponent;
  };

 protected:
  void drawLatent(const arma::Mat<double>& mean) override;
  void take(const arma::Mat<double>& drawn) override;
  arma::Col<double> thresholds() const override;

 private:
  Latent latent_;
  arma::Mat<double> codes_;
};

}  // namespace tovik::manifest
