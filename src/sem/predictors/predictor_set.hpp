#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sem/predictors/excluded_level.hpp"
#include "sem/predictors/level_scores.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik {
class VariableList;
}

namespace tovik::sem {

/// The predictor models of a chain, the scores they share, and the order of their scan.
///
/// All predictors that have no equation of their own predict each other at every level at which they vary:
/// those that are modelled, and those that are fixed, whose deviations from the means of their clusters are
/// taken once and conditioned on. Outcomes of equations predict no predictor: their equations enter the draws
/// of predictors as likelihoods already. An outcome whose latent means, or centred values, other equations
/// read has a model without predictors, for its means only.
///
/// A scan:  1. latent means, from the lowest level up   2. grand means
///          3. coefficients and variances, by level     4. missing values
class predictor_set {
 public:
  struct options {
    int xprior = 1;           ///< the prior of variances: 1, 2 or 3
    double icc_cutoff = 0.0;  ///< the intraclass correlation below which a variable does not vary at a level
    bool scaled = false;      ///< the 1 of the first prior is the observed variance of each variable
  };

  /// Builds a model from a setup, the columns that predict at each place of its chain, and the data, whose
  /// missing cells of the variable it fills.
  using maker = std::function<std::unique_ptr<Variable>(
      const predictor_setup&, const std::vector<arma::Col<arma::uword>>&, arma::Mat<double>&)>;

  predictor_set() = default;
  /// Builds all models, fills the missing cells of the predictors in `working` and publishes what outcome
  /// models read; missing cells of outcomes stay. Throws tovik::error for cluster means that cannot be had,
  /// for models of predictors in a run with sampling weights, and when there are too few units.
  predictor_set(const VariableList& variables, working_data& working, const std::shared_ptr<Random>& rng,
                const options& settings, const maker& make = make_predictor);

  const std::vector<std::unique_ptr<Variable>>& models() const { return variables_; }
  const std::vector<std::string>& column_names() const { return column_names_; }
  const std::vector<excluded_level>& excluded() const { return excluded_; }
  /// By level, from the rows up.
  const std::vector<level_scores>& scores() const { return level_data_; }

  /// One scan, after the outcome models have been drawn.
  void draw(arma::Mat<double>& data);

  arma::Col<double> params() const;
  arma::uword n_params() const;
  arma::uword n_params(unsigned level) const;
  arma::uword n_estimated() const;

 private:
  void means_step(arma::Mat<double>& data);
  void level_mean(Variable& v, unsigned d, arma::Mat<double>& data);
  void grand_mean_step(arma::Mat<double>& data);
  void parameter_step();
  void imputation_step(arma::Mat<double>& data);
  void write_scores(const Variable& v, unsigned d);

  std::vector<std::unique_ptr<Variable>> variables_;
  std::vector<level_scores> level_data_;
  std::vector<std::string> column_names_;
  std::vector<excluded_level> excluded_;
};

}  // namespace tovik::sem
