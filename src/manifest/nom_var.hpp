#pragma once

#include "manifest/var.hpp"
#include "sem/predictors/nom_component.hpp"

namespace tovik::manifest {

/// The model of an incomplete nominal variable with categories 0 (the reference) .. D: the regression of Var
/// for D latent differences of utilities, whose residuals have the covariance (I + 11') / 2, with a random
/// intercept for each of them; b ~ N(0, NomComponent::gammaPrior). As a predictor of others it has its dummy
/// codes.
class NomVar : public Var {
 public:
  NomVar(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how);

  arma::Col<double> values() const override;
  const arma::Col<arma::uword>& categories() const { return latent_.categories(); }
  /// The category of each row of scores: that of the largest, or the reference when all are below 0.
  arma::Col<arma::uword> nomMax(const arma::Mat<double>& scores) const { return latent_.categorize(scores); }

  /// The scores; those of imputed units are drawn with their categories.
  class NLatent : public sem::NomComponent {
   public:
    using sem::NomComponent::NomComponent;
  };

 protected:
  void drawLatent(const arma::Mat<double>& mean) override;
  void take(const arma::Mat<double>& drawn) override;

 private:
  NLatent latent_;
  arma::Mat<double> codes_;
};

}  // namespace tovik::manifest
