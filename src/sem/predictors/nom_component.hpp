#pragma once

#include <vector>

#include "sem/predictors/component.hpp"

namespace tovik::sem {

/// The own level of a nominal variable with categories 0 (the reference) .. D: latent differences Z of the
/// utilities of the categories 1 .. D from that of the reference, normal around S_above[cluster] + W gamma
/// with covariance (I + 11') / 2. The category is that of the largest difference, or the reference when all
/// are below 0 (Aitchison & Bennett, 1970, Biometrika 57; Albert & Chib, 1993, JASA 88).
///
/// The covariance is that of differences of independent utilities with equal variances, so that the model
/// does not depend on which category is the reference; it is held fixed because the data hardly tell about
/// it.
class NomComponent : public Component {
 public:
  /// Prior variance of each coefficient: categorical_priors::predictor_nominal_gamma, 5 by default.
  static double& gammaPrior;

  /// `categories`: of every unit, 0 .. setup.dim; `missing`: the units whose category is imputed, rising. The
  /// coefficients' prior is gammaPrior whatever the setup says. Scores start at +-0.5 by their category.
  NomComponent(component_setup const& setup, arma::Col<arma::uword> categories,
               arma::Col<arma::uword> const& missing);

  /// Imputed units: scores, and the categories that follow from them.
  void setScore(arma::Mat<double> const& scores, arma::Col<arma::uword> const& units) override;
  using Component::setScore;
  /// Replaces all categories by these, as observed ones; scores that break the rule start at +-0.5 again.
  void setCategories(arma::Col<arma::uword> const& categories);
  arma::Col<arma::uword> const& categories() const { return categories_; }

  arma::Mat<double> const& SigmaE() const override { return Sigma_; }
  arma::Mat<double> covariance() const override { return Sigma_; }
  /// Scores of the observed units: completeLatentDraws().
  void drawLatent(arma::Mat<double> const& mean) override;
  /// One Gibbs sweep over the score columns, each from its normal given the others, truncated by the rule.
  void completeLatentDraws(arma::Mat<double> const& mean);
  /// gamma only.
  void draw(level_scores& level, arma::Col<arma::uword> const& x, arma::Col<arma::uword> const& own) override;
  void startVariance(arma::Mat<double> const&, double) override {}
  arma::Col<arma::uword> categorize(arma::Mat<double> const& scores) const override;
  arma::uword n_estimated() const override { return gamma.n_elem; }
  arma::Col<double> variances() const override;

 private:
  void startScores(arma::uword unit);
  void drawUnit(arma::uword unit, arma::Mat<double> const& mean);

  arma::Col<arma::uword> categories_, observed_;
  arma::Mat<double> Sigma_;
};

}  // namespace tovik::sem
