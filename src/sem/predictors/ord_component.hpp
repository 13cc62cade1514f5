#pragma once

#include "sem/predictors/component.hpp"
#include "sem/scan/category_sets.hpp"
#include "sem/scan/thresholds.hpp"

namespace tovik::sem {

/// The own level of an ordinal variable with categories 0 .. K: latent normal scores Y* with variance 1
/// around S_above[cluster] + W gamma, cut by thresholds 0 = tau_0 < ... < tau_{K-1}. Every unit has its
/// category as a state of its own; that of a unit without an observation was imputed.
class OrdComponent : public Component {
 public:
  /// Prior variance of each coefficient: categorical_priors::predictor_ordinal_gamma, 5 by default.
  static double& gammaPrior;

  /// `categories`: of every unit, 0 .. n_categories - 1; `missing`: the units whose category is imputed,
  /// rising. The coefficients' prior is gammaPrior whatever the setup says. Thresholds start at the normal
  /// quantiles of the observed shares; scores are drawn by startScores().
  OrdComponent(const component_setup& setup, arma::Col<arma::uword> categories, arma::uword n_categories,
               const arma::Col<arma::uword>& missing);

  /// Whether outcome models read the categories: imputed ones are then part of the state that thresholds and
  /// scores heed. Otherwise the imputed units have free scores, which drawLatent() passes over.
  bool heed_missing = false;

  /// Draws the scores of all units around `mean` (units x 1) within their categories.
  void startScores(const arma::Mat<double>& mean);
  /// Minus the normal quantile of the observed share of category 0: the start of the grand mean.
  double startMean() const;
  /// Imputed units: scores, and the categories in which they fall.
  void setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units) override;
  using Component::setScore;
  /// Replaces all categories by these, as observed ones; scores that left theirs are drawn anew around
  /// `mean`.
  void setCategories(const arma::Col<arma::uword>& categories, const arma::Mat<double>& mean);
  const arma::Col<arma::uword>& categories() const { return sets_.categories(); }

  /// Thresholds by a Metropolis step with the scores integrated out, then the scores within the categories if
  /// the thresholds moved; with one threshold the scores alone. One block: scores have no meaning between.
  void drawLatent(const arma::Mat<double>& mean) override;
  /// gamma only.
  void draw(level_scores& level, const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& own) override;
  void startVariance(const arma::Mat<double>&, double) override {}
  arma::Col<arma::uword> categorize(const arma::Mat<double>& scores) const override;
  const arma::Col<double>& thresholds() const override { return tau_.tau; }
  estimator::tune_results tuneResults() const override;
  void tune() override { tau_.adapt(); }
  void addProposals(std::vector<estimator::tune_obj*>& to) override { to.push_back(&tau_.tuning); }
  arma::uword n_estimated() const override;

 private:
  scan::category_sets sets_;
  scan::thresholds tau_;
};

}  // namespace tovik::sem
