#pragma once

#include <armadillo>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "random/random.hpp"
#include "sem/chain/missing_summary.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/wiring/settings.hpp"
#include "sem/wiring/tune.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik {

class VariableList;
class ModelList;
class Summary;
class Model;

namespace sem {

class Outcomes;
class SimpleList;
class Variable;
class centered_copy;
class likelihood_totals;
struct excluded_level;
class predictor_set;
struct saved_columns;

/// One chain's estimator: the working matrix, the generator, the models of the predictors, and every equation
/// that a scan draws.
///
/// Inside, rows are sorted by cluster and levels count from the bottom; getData gives the rows in the order
/// of the data that came in. An object belongs to one chain and one thread, and stays where it is, since the
/// models hold addresses into it.
class Mcmc {
 public:
  /// Report correlations among residuals by size; also those that the model fixes.
  static inline bool& sort_rcorrs = sampler_settings::sort_rcorrs;
  static inline bool& print_all_rcorrs = sampler_settings::print_all_rcorrs;
  /// Show the statistics of fixed parameters as numbers.
  static inline bool& print_fixed_values = sampler_settings::print_fixed_values;

  /// `data`: rows are observations, columns the variables of the catalogue, missing cells NaN.
  /// `ids`: the columns of the identifiers, the finest first. Builds the models of the predictors and fills
  /// their missing cells; `xprior` (1, 2 or 3) is the prior of their variances, `ICCcutoff` the intraclass
  /// correlation below which a variable does not vary at a level. Throws tovik::error for means of clusters
  /// that cannot be had, and when there are too few units for a model.
  /// `scaled`: see priors::scaled.
  /// `saved`: what keep_saved_columns takes from these variables and data, shared by all chains of a run;
  /// null to have it taken here.
  Mcmc(const VariableList& variables, const arma::Mat<double>& data, const arma::Col<arma::uword>& ids,
       const Random& rng, const int& xprior, const double& ICCcutoff,
       std::shared_ptr<const saved_columns> saved = nullptr, bool scaled = false);
  /// Takes the identifiers from the catalogue.
  Mcmc(const VariableList& variables, const arma::Mat<double>& data, const Random& rng, const int& xprior,
       const double& ICCcutoff, std::shared_ptr<const saved_columns> saved = nullptr, bool scaled = false);
  ~Mcmc();
  Mcmc(const Mcmc&) = delete;
  Mcmc& operator=(const Mcmc&) = delete;

  /// Builds the ensemble of outcome models, fills their missing cells, sets starting values and ties the
  /// models of predictors to the equations that read them; once, after construction. Without equations there
  /// is no ensemble: the scan then imputes by the models of the predictors alone. Throws tovik::error for
  /// what cannot be estimated.
  void addOutcomes(const VariableList& variables, const ModelList& models, const priors& prior);

  /// Starts from these parameters: those of every outcome model in list order, then those of the models of
  /// the predictors; what follows from parameters is no part of them. Before the first scan. Throws
  /// error_debug for another number of values, and for values that a model cannot have; numeric_error for a
  /// matrix that is no covariance matrix.
  void restore(const arma::Col<double>& parameters);

  /// One Gibbs scan: the outcome models, which read the predictors of the scan before, then the models of the
  /// predictors.
  void oneRep();

  void tune() const;
  /// Adapts them a little, after a scan.
  void adapt() const;
  /// Throws sem::error_tuning when a proposal ended far from its target rate.
  void tune_check() const;
  /// True if some proposal's acceptance rate lies outside the band that tune_check allows.
  bool tune_warning() const;
  /// True if some proposal was ever made.
  bool hasTuningInfo() const;

  /// The report column of the current state: the rows of every outcome model in list order, then those of the
  /// models of the predictors.
  arma::Col<double> getParams() const;
  /// The params() rows of model i alone.
  arma::Col<double> getParams(const unsigned& i) const;
  arma::uword getTotalParams() const;
  /// Rows of the predictor models, at one level and in all; how many of them are estimated.
  arma::uword getTotalParams(const unsigned& level) const;
  arma::uword getCovariateModelNumParams() const;
  arma::uword getCovariateEstimatedNParams() const;

  /// The completed data in output form, rows in file order, everything in its own metric without centring:
  /// the columns of the data file (up to the constant), in which only missing cells are filled, and the
  /// definitions of MODEL; then on demand the latent values of outcomes and of predictor models, residuals,
  /// predicted values.
  arma::Mat<double> getData() const;
  arma::Mat<double> getData(const bool& latent, const bool& residual, const bool& predicted) const;
  /// The names of getData's columns, for the catalogue and the equations that the chain was built from.
  std::vector<std::string> dataNames(const VariableList& variables, const ModelList& models,
                                     const bool& latent, const bool& residual, const bool& predicted) const;

  /// Units of the highest level x 2 (marginal, conditional) x (models that have a likelihood, then their
  /// sum); empty without outcome models.
  /// Imputed cells of outcomes are no part of it.
  arma::Cube<double> getLikelihoods() const;
  /// The sums over the models of these for several draws together, without any yet; null without outcome
  /// models. After the first scan. This chain must outlive the object.
  std::unique_ptr<likelihood_totals> getLikelihoodTotals() const;
  /// How many these are.
  arma::uword getUnobservedCells() const;

  arma::Col<double> getCorrelations() const;
  arma::uword getNumberCorrelations() const;

  // Conditional effects. Defined beside their class.

  /// Takes a copy of the effects and ties it to the models of this chain. Throws error_debug before
  /// addOutcomes, tovik::error for an effect that is not defined.
  void addSimpleSlopes(const SimpleList& list);
  /// Takes every effect from the current state.
  void computeSimpleSlopes();
  /// By equation and effect the intercept, then the slope; empty without effects.
  arma::Col<double> getSimpleSlopes() const;
  /// Null without effects.
  const SimpleList* simpleSlopes() const;

  /// The structure above an outcome at the sampler's level `level`; empty for the top level.
  estimator::cluster clusters(const int& level) const;
  /// The sampling weights of the outcomes of that level; null where all are 1. Throws tovik::error when the
  /// data have none.
  const estimator::weights* weights(const int& level) const;

  /// The models of the predictors and of the variables to impute, then of the outcomes whose means or centred
  /// values other equations read (means_only()), each in catalogue order. A variable is incomplete if its
  /// `missing` is set; its kind is that of its variable().
  const std::vector<std::unique_ptr<Variable>>& predictors() const;
  /// The name of each column of the level scores, for Variable::layout.
  const std::vector<std::string>& predictor_column_names() const;
  /// Where variables had to be left out of the predictor models, in catalogue order, levels rising.
  const std::vector<excluded_level>& excluded_predictors() const;

  /// 1, 2 or 3.
  unsigned n_levels() const { return working_.n_levels(); }
  /// Rows for level 0, clusters for the levels above.
  arma::uword n_units(unsigned level) const { return working_.n_units(level); }

  /// The missing-data patterns of the model variables, their names (shown form), and the percentage of each
  /// variable's units, at its own level, that are missing.
  const missing_summary& missing() const { return missing_; }
  const patterns& missing_patterns() const { return missing_.table; }
  const std::vector<std::string>& pattern_names() const { return missing_.names; }
  const std::vector<double>& missing_percents() const { return missing_.percents; }

  int xprior() const { return xprior_; }
  double ICCcutoff() const { return icc_cutoff_; }
  const std::shared_ptr<Random>& rng() const { return rng_; }
  working_data& working() { return working_; }
  const working_data& working() const { return working_; }
  /// Null before addOutcomes.
  const Outcomes* outcomes() const { return outcomes_.get(); }

  // The report. Defined beside its tables.
  void printInfo(std::FILE* stream, const VariableList& variables, const ModelList& models) const;
  /// True if some model was printed.
  bool printOutcomes(std::FILE* stream, const VariableList& variables, const ModelList& models,
                     const Summary& iterations, const Summary& simple) const;
  /// The models of predictors; `iterations` has their rows and no others.
  void printCovariates(std::FILE* stream, const VariableList& variables, const Summary& iterations) const;
  /// The conditional effects of an equation from the first rows of `table`; returns how many rows it took. A
  /// null stream only counts. Throws tovik::error for an equation without effects.
  unsigned printSimpleSlopes(std::FILE* stream, const unsigned& model, const Model& equation,
                             const arma::Mat<double>& table, const std::vector<std::string>& labels) const;
  void printCorrelations(std::FILE* stream, const ModelList& models, const Summary& correlations) const;
  void printParameterLabels(std::FILE* stream, const VariableList& variables, const ModelList& models,
                            const Summary& burn) const;
  /// The names of all parameters for other programs: quoted model, kind and label, then the number of the row
  /// in the draws, from 1. Predictors and phantoms come before the models.
  void printParameterLabelsFile(std::FILE* stream, const VariableList& variables,
                                const ModelList& models) const;
  void printTuningInfo(std::FILE* stream, const VariableList& variables, const ModelList& models,
                       bool all) const;

 private:
  void link_centered_copies();
  void list_output(const VariableList& variables, const ModelList& models);
  arma::Mat<double> completed() const;

  std::shared_ptr<Random> rng_;
  working_data working_;
  std::shared_ptr<const saved_columns> saved_;
  /// What getData hands out, in order.
  struct output_part {
    enum class kind { always, latent, residual, predicted };
    kind what;
    std::vector<std::string> names;
    std::function<arma::Mat<double>()> columns;  ///< one per name, rows of the working matrix
  };
  std::vector<output_part> output_;  ///< behind the columns of the data file
  missing_summary missing_;
  mutable std::vector<estimator::tune_obj*> predictor_proposals_;  ///< filled on first use
  std::unique_ptr<predictor_set> predictors_;                      ///< never null
  std::vector<std::unique_ptr<centered_copy>> centered_copies_;
  std::unique_ptr<Outcomes> outcomes_;
  struct chain_slopes;
  std::shared_ptr<chain_slopes> simple_;  ///< null without conditional effects
  int xprior_;
  double icc_cutoff_;
};

}  // namespace sem
}  // namespace tovik
