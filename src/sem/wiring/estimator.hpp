#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/settings.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik {
class Random;
}

namespace tovik::sem {

/// The whole sampler as one outcome model, or the chain, sees it. Rows of `data` are the rows of the working
/// matrix of the chain; levels count from 0, the rows, upwards.
class Estimator {
 public:
  static inline bool& use_autosolver = sampler_settings::use_autosolver;
  static inline bool& optimize_draws = sampler_settings::optimize_draws;

  virtual ~Estimator() = default;

  /// One update of every model and every shared parameter.
  virtual void draw(arma::Mat<double>& data) = 0;
  virtual void tune() = 0;
  /// Throws sem::error_tuning when a proposal ended far from its target rate.
  virtual void tune_check() = 0;

  /// The parameters of all models in list order; the same with the quantities that follow from them; those of
  /// one model.
  virtual arma::Col<double> params() const = 0;
  virtual arma::Col<double> params(arma::Mat<double> const& data) const = 0;
  virtual arma::Col<double> params(unsigned const& model) const = 0;
  /// Values of the computed parameters.
  virtual arma::Col<double> computations() const = 0;

  virtual arma::uword n_params() const = 0;
  virtual arma::uword n_estimated() const = 0;
  virtual arma::uword n_params(arma::Mat<double> const& data) const = 0;
  virtual arma::uword n_params(unsigned const& model) const = 0;
  virtual arma::uword n_computations() const = 0;
  virtual arma::uword n_correlations() const = 0;
  virtual arma::uword n_defines() const = 0;

  /// Writes the category of every nominal outcome into `raw`.
  virtual void categorize_nominal(arma::Mat<double>& raw, arma::Mat<double> const& data) const = 0;

  /// Log likelihood of each unit of a level, and of all data.
  virtual arma::Col<double> logLiklihood(arma::Mat<double> const& data, int level) const = 0;
  virtual double logLiklihood(arma::Mat<double> const& data) const = 0;
  virtual arma::Col<double> computeLL(arma::Mat<double> const& data, int level) const = 0;
  virtual double computeLL(arma::Mat<double> const& data) const = 0;

  /// The chain's generator; outlives every model.
  virtual Random* rng() const = 0;
  /// The proposals of every model and shared parameter.
  virtual std::vector<estimator::tune_results> acceptance() const = 0;
  /// Coefficients of one model.
  virtual arma::Mat<double> const& betas(unsigned const& model) const = 0;
  /// Per outcome column, the percentage that is missing.
  virtual std::vector<double> getMissingPercents() const = 0;
  /// Columns of the working matrix that hold published latent values.
  virtual arma::Col<arma::uword> indicators() const = 0;

  /// Columns for output: rows are the rows of `data`.
  virtual arma::Mat<double> latent(arma::Mat<double> const& data) const = 0;
  virtual arma::Mat<double> residual(arma::Mat<double> const& data) const = 0;
  virtual arma::Mat<double> predicted(arma::Mat<double> const& data) const = 0;
  virtual arma::Mat<double> defines(arma::Mat<double> const& data) const = 0;
  virtual arma::Col<double> correlations(arma::Mat<double> const& data) const = 0;

  /// Units of the highest level x 2 (marginal, conditional log likelihood) x (models, then their sum).
  virtual arma::Cube<double> likelihood(arma::Mat<double> const& data) const = 0;
};

}  // namespace tovik::sem
