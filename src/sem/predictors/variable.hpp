#pragma once

#include <armadillo>
#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "random/random.hpp"
#include "sem/predictors/level_scores.hpp"
#include "sem/predictors/unit_chain.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::data {
class variable;
}

namespace tovik::sem {

class working_data;

/// What a row of a predictor model is; tables and label files print by it.
struct predictor_row {
  enum class kind { grand_mean, coefficient, residual_variance, variance, covariance, threshold };
  kind what = kind::grand_mean;
  unsigned level = 0;  ///< counted from 1 (the rows) as reports do; 0 for grand means and thresholds
  std::string name;  ///< outcome of a coefficient; the (first) variable of the others; dummies by their names
  std::string other;    ///< predictor of a coefficient, second variable of a covariance
  unsigned number = 0;  ///< of a threshold, from 1
  bool fixed = false;   ///< held at its value, not estimated
};

/// The steps of a scan that may have to heed the outcome models.
enum class predictor_step { imputation, level_mean, grand_mean };

/// What every predictor model is built from.
struct predictor_setup {
  std::shared_ptr<Random> rng;
  const working_data* working = nullptr;
  const data::variable* variable = nullptr;
  unsigned level = 0;          ///< the variable's own level of the working data
  std::vector<bool> deviates;  ///< per distance above the own level: varies there; entry 0 is true
  bool means_only = false;     ///< an outcome with an equation of its own, modelled for its means only
  int xprior = 1;              ///< 1, 2 or 3: the prior of variances
  double unit = 1.0;           ///< the 1 of the first
  /// Of a means-only model: the columns that take the centred values (one, or one per dummy code), if some
  /// model reads them. The outcome's own columns stay as they are.
  arma::Col<arma::uword> centred_columns = {};
};

/// The model of one variable by levels, as a predictor of others or as a variable to impute.
///
/// With d_0 = 0 < d_1 < ... < d_m the distances above its own level at which the variable varies, S_0 its own
/// scores (values, or latent normal scores of categories), S_q its latent mean at the q-th of these levels
/// and mu the grand mean:
///
///   S_q = S_{q+1}[cluster] + W_q gamma_q + r_q,   r_q ~ N(0, Sigma_q),   S_{m+1} = mu
///
/// where W_q holds the deviations of the other variables at that level. So the deviations S_q - S_{q+1} of
/// all variables at a level are jointly normal (Asparouhov & Muthen, 2010; Enders, Keller & Levy, 2018,
/// Psychological Methods 23, 298-317). S has one column, or one per dummy code of a nominal variable.
///
/// Outcome models read the variable through columns of the working matrix that publish() writes: the values
/// (categories, dummy codes) less their centring, and latent means. A step of predictor_step whose quantity
/// moves such a column needs the likelihood of the models that read it; it is then a random-walk Metropolis
/// step. Otherwise it draws from the normal full conditional.
class Variable {
 public:
  bool missing = false;                            ///< has missing values to impute
  std::vector<bool> deviates;                      ///< per distance above the own level
  std::vector<arma::Col<arma::uword>> predictors;  ///< W_q: columns of level_data, per place q of the chain
  arma::Col<arma::uword> observed_units, missing_units;  ///< of the own level, rising
  unsigned level = 0;                                    ///< own level, rows are 0
  unsigned n_levels = 1;                                 ///< of the data
  bool fixed = false;
  int prior = 1;      ///< kind of the variances' prior
  int mode = 2;       ///< 0 grand mean centred, 1 group mean centred, 2 not centred
  int mean_mode = 0;  ///< 3 group-centred, 2 grand-centred, 1 means are read, 0 none

  virtual ~Variable() = default;

  // --- steps of a scan; `data` is the working matrix -----------------------------------------------------

  /// Of a means-only model: takes the current values as own scores.
  virtual void read(const arma::Mat<double>& data) = 0;
  /// The latent means d > 0 levels above the own one, from their full conditional. `upper` and `lower` are
  /// the scores of that level and of the next lower one at which the variable varies. Throws error_debug "l
  /// is less than 1" for d = 0.
  virtual void drawComponent(unsigned d, const level_scores& upper, const level_scores& lower) = 0;
  /// The same by Metropolis with the likelihood of the models that read what moves; publishes in `data`.
  virtual void drawComponent(arma::Mat<double>& data, unsigned d, const level_scores& upper,
                             const level_scores& lower) = 0;
  /// After the first, of latent means that no equation reads: their covariance matrix given the standardised
  /// means, which move with it.
  virtual void redrawCovariance(unsigned d) = 0;
  virtual void drawGrandMean(const level_scores& top) = 0;
  virtual void drawGrandMean(arma::Mat<double>& data, const level_scores& top) = 0;
  /// Coefficients and variance d levels above the own one; of a categorical variable at d = 0 also thresholds
  /// and latent scores, which are written into `scores`.
  virtual void drawParam(unsigned d, level_scores& scores) = 0;
  virtual void drawImputation(const level_scores& own) = 0;
  virtual void drawImputation(arma::Mat<double>& data, const level_scores& own) = 0;
  /// Writes every column that outcome models read, over all rows.
  virtual void publish(arma::Mat<double>& data) const = 0;
  /// The same after an imputation, where nothing moved but the missing values.
  virtual void publishImputed(arma::Mat<double>& data) const { publish(data); }

  // --- links to outcome models
  // -------------------------------------------------------------------------------

  /// The list of models that read what this step moves (`d`: distance of a latent mean, else 0); the step
  /// becomes a Metropolis step. Replaces one held; null brings the plain step back.
  virtual void setLikelihood(predictor_step step, unsigned d,
                             std::unique_ptr<estimator::likelihood> readers) = 0;
  virtual bool needsLikelihood(predictor_step step, unsigned d) const = 0;
  /// Columns of the working matrix that hold the values (a nominal variable: dummy codes) as outcome models
  /// read them, and the latent means d levels above (empty if no model asks for them).
  virtual arma::Col<arma::uword> value_columns() const = 0;
  virtual arma::Col<arma::uword> mean_columns(unsigned d) const = 0;

  // --- state -----------------------------------------------------------------------------------------------

  /// Columns of level_data: one, or one per dummy code.
  virtual arma::Col<arma::uword> columns() const = 0;
  virtual const data::variable& variable() const = 0;
  virtual const unit_chain& chain() const = 0;
  virtual bool means_only() const = 0;
  /// The level of the data at which the grand mean is estimated: the top of the chain.
  virtual unsigned grandMeanLevel() const = 0;
  /// Standard deviation of the variable as its centring leaves it, and of its latent means; the addresses
  /// stay.
  virtual const double& sd() const = 0;
  virtual const double& sdLatentMeans() const = 0;
  /// e = S_q - S_{q+1}, units x columns(). Throws error_debug if there is none d levels above the own one.
  virtual arma::Mat<double> deviation(unsigned d) const = 0;
  /// Writes it into the scores of its level.
  virtual void writeDeviation(unsigned d, level_scores& to) const { to.write(columns(), deviation(d)); }
  /// After an imputation: the same at the own level, where only the missing units moved.
  virtual void writeImputed(level_scores& own) const { writeDeviation(0, own); }
  bool isDeviation(unsigned d) const { return d < deviates.size() && deviates[d]; }
  /// What outcome models read: units of the own level x value_columns().
  virtual arma::Mat<double> data() const = 0;
  /// The same in the metric of the data; of a nominal variable the category codes (one column) first, then
  /// dummies.
  virtual arma::Mat<double> uncenteredData() const = 0;

  /// Grand means; thresholds; per level coefficients (one dummy after the other) and variance(s).
  virtual arma::Col<double> params() const = 0;
  virtual arma::uword numParams() const = 0;
  /// Takes grand means, coefficients and variances from such a column. Thresholds go with latent scores, and
  /// stay where the data have put both. Before the first draw.
  virtual void restore(const arma::Col<double>& values);
  virtual unsigned numThresh() const { return 0; }
  /// Without what is held fixed.
  virtual arma::uword n_estimated() const = 0;
  /// What each row of params() is. `names`: the name of each column of level_data.
  virtual std::vector<predictor_row> layout(const std::vector<std::string>& names) const = 0;

  /// Adapts proposals; those of latent means, grand mean and imputations only if there are outcome models.
  virtual void tune(bool has_outcomes) = 0;
  virtual estimator::tune_results tuneResults() const = 0;
  /// Appends every proposal that is adapted.
  virtual void addProposals(std::vector<estimator::tune_obj*>& to) = 0;

  /// Units of the own level x (levels above x columns()): S_1 .. S_m, from the nearest level up, uncentred.
  virtual std::vector<arma::Mat<double>> latentMeans() const = 0;
  /// Latent scores of a categorical variable, units of the own level; no columns for a continuous one.
  virtual arma::Mat<double> latentScores() const = 0;
  /// For output, one row per row of the working matrix: latent scores of a categorical variable, then latent
  /// means, the nearest level first.
  virtual arma::Mat<double> getLatent() const = 0;
  /// Percentage of the units of the own level that is missing.
  virtual double getMissingPercent() const = 0;
  virtual void print_debug(std::ostream& out) const = 0;
};

/// Builds the model that fits the variable's kind: continuous (and counts as means-only), ordinal, nominal.
/// Missing cells of `data` are filled, per unit of the own level, and the latent means start at cluster
/// means. `predictors`: W_q per place of the chain. Throws tovik::error when there are too few units
/// for a regression.
std::unique_ptr<Variable> make_predictor(const predictor_setup& setup,
                                         const std::vector<arma::Col<arma::uword>>& predictors,
                                         arma::Mat<double>& data);

}  // namespace tovik::sem
