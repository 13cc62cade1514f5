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
  NomComponent(const component_setup& setup, arma::Col<arma::uword> categories,
               const arma::Col<arma::uword>& missing);

  /// Imputed units: scores, and the categories that follow from them.
  void setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units) override;
  using Component::setScore;
  /// Replaces all categories by these, as observed ones; scores that break the rule start at +-0.5 again.
  void setCategories(const arma::Col<arma::uword>& categories);
  const arma::Col<arma::uword>& categories() const { return categories_; }

  const arma::Mat<double>& SigmaE() const override { return Sigma_; }
  arma::Mat<double> covariance() const override { return Sigma_; }
  /// Scores of the observed units: completeLatentDraws().
  void drawLatent(const arma::Mat<double>& mean) override;
  /// One Gibbs sweep over the score columns, each from its normal given the others, truncated by the rule.
  void completeLatentDraws(const arma::Mat<double>& mean);
  /// gamma only.
  void draw(level_scores& level, const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& own) override;
  void startVariance(const arma::Mat<double>&, double) override {}
  arma::Col<arma::uword> categorize(const arma::Mat<double>& scores) const override;
  arma::uword n_estimated() const override { return gamma.n_elem; }
  arma::Col<double> variances() const override;

 private:
  void startScores(arma::uword unit);
  void drawUnit(arma::uword unit, const arma::Mat<double>& mean);

  arma::Col<arma::uword> categories_, observed_;
  arma::Mat<double> Sigma_;
};

}  // namespace tovik::sem
