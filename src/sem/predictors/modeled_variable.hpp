#pragma once

#include <memory>
#include <vector>

#include "sem/predictors/imputation_step.hpp"
#include "sem/predictors/mean_step.hpp"
#include "sem/predictors/predictor_state.hpp"
#include "sem/predictors/published_columns.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::sem {

/// What all kinds of modelled variables share: the steps of a scan on their scores, the columns that they
/// publish, parameters and output. A kind adds the component of its own level and its starts.
///
/// Categories turn means into expected codes by way of the variances and thresholds of the levels below. A
/// draw of these parameters moves centred codes and published proportions too, without asking the models that
/// read them: a cut that keeps the parameter step conjugate. What lies between two parameter steps is exact.
class modeled_variable : public Variable {
 public:
  void read(const arma::Mat<double>& data) override;
  void drawComponent(unsigned d, const level_scores& upper, const level_scores& lower) override;
  void drawComponent(arma::Mat<double>& data, unsigned d, const level_scores& upper,
                     const level_scores& lower) override;
  void redrawCovariance(unsigned d) override;
  void drawGrandMean(const level_scores& top) override;
  void drawGrandMean(arma::Mat<double>& data, const level_scores& top) override;
  void drawParam(unsigned d, level_scores& scores) override;
  void drawImputation(const level_scores& own) override;
  void drawImputation(arma::Mat<double>& data, const level_scores& own) override;
  void publish(arma::Mat<double>& data) const override;
  void publishImputed(arma::Mat<double>& data) const override;

  /// The groups of a list of latent means are by units of their level. Throws error_debug for the imputation
  /// of a variable without missing values and for a level at which the variable does not vary.
  void setLikelihood(predictor_step step, unsigned d,
                     std::unique_ptr<estimator::likelihood> readers) override;
  bool needsLikelihood(predictor_step step, unsigned d) const override;
  arma::Col<arma::uword> value_columns() const override { return published_.value_columns(); }
  arma::Col<arma::uword> mean_columns(unsigned d) const override { return published_.mean_columns(d); }

  arma::Col<arma::uword> columns() const override { return columns_; }
  const data::variable& variable() const override { return variable_; }
  const unit_chain& chain() const override { return state_.chain; }
  bool means_only() const override { return means_only_; }
  unsigned grandMeanLevel() const override { return state_.chain.level(state_.top() - 1); }
  /// From the first call on kept up to date by publish() and by the imputation.
  const double& sd() const override;
  const double& sdLatentMeans() const override;
  arma::Mat<double> deviation(unsigned d) const override;
  void writeDeviation(unsigned d, level_scores& to) const override;
  void writeImputed(level_scores& own) const override;
  arma::Mat<double> data() const override;
  arma::Mat<double> uncenteredData() const override;
  arma::Col<double> params() const override;
  arma::uword numParams() const override;
  void restore(const arma::Col<double>& values) override;
  arma::uword n_estimated() const override;
  std::vector<predictor_row> layout(const std::vector<std::string>& names) const override;
  void tune(bool has_outcomes) override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  std::vector<arma::Mat<double>> latentMeans() const override;
  arma::Mat<double> latentScores() const override;
  arma::Mat<double> getLatent() const override;
  double getMissingPercent() const override;
  void print_debug(std::ostream& out) const override;

 protected:
  /// Finds the missing units in `data`. `dim`: score columns.
  modeled_variable(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& predictors,
                   arma::uword dim, const arma::Mat<double>& data);
  component_setup setup_of(unsigned q) const;
  /// Builds the components above the own level; `gamma_prior`: prior variance of their coefficients.
  template <typename Upper>
  void add_upper(double gamma_prior = component_setup::flat) {
    for (unsigned q = 1; q < state_.top(); ++q) {
      component_setup setup = setup_of(q);
      setup.gamma_prior = gamma_prior;
      state_.components.push_back(std::make_unique<Upper>(setup));
    }
  }
  /// After components, scores and grand mean have started: the steps.
  void finish();

  /// The values of the own units, NaN where they are missing; of a nominal variable the categories' codes.
  arma::Col<double> coded_values(const arma::Mat<double>& data) const;

  /// Takes the values of the own units, all observed.
  virtual void take_values(const arma::Col<double>& values) = 0;
  /// Whether outcome models read imputed values.
  virtual void heed_missing(bool) {}
  /// The thresholds that are parameters.
  virtual arma::Col<double> free_thresholds() const { return {}; }
  unsigned numThresh() const override { return static_cast<unsigned>(free_thresholds().n_elem); }

  predictor_state state_;
  published_columns published_;

 private:
  mean_step& step_above(unsigned d);
  void in_step(arma::Mat<double>& data);
  void set_links();
  void refresh_sd() const;
  void follow_sd() const;

  double unit_ = 1.0;  ///< see predictor_setup
  const data::variable& variable_;
  bool means_only_;
  arma::Col<arma::uword> columns_;
  std::vector<std::unique_ptr<mean_step>> means_;  ///< places 1 .. m + 1
  std::unique_ptr<imputation_step> imputation_;
  std::vector<arma::Mat<double>> spread_;  ///< variances of the regressions, by place
  bool links_moved_ = false;               ///< published columns do not follow the parameters yet
  arma::Mat<double> scratch_;
  mutable bool sd_is_read_ = false;
  mutable double sd_ = 0, sd_means_ = 0;
};

}  // namespace tovik::sem
