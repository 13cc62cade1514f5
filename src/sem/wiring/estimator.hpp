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
  /// Adapts every proposal a little: after each scan between two calls of tune().
  virtual void adapt() = 0;
  /// Throws sem::error_tuning when a proposal ended far from its target rate.
  virtual void tune_check() = 0;

  /// The parameters of all models in list order; the same with the quantities that follow from them; those of
  /// one model.
  virtual arma::Col<double> params() const = 0;
  virtual arma::Col<double> params(const arma::Mat<double>& data) const = 0;
  virtual arma::Col<double> params(const unsigned& model) const = 0;
  /// Values of the computed parameters.
  virtual arma::Col<double> computations() const = 0;

  virtual arma::uword n_params() const = 0;
  virtual arma::uword n_estimated() const = 0;
  virtual arma::uword n_params(const arma::Mat<double>& data) const = 0;
  virtual arma::uword n_params(const unsigned& model) const = 0;
  virtual arma::uword n_computations() const = 0;
  virtual arma::uword n_correlations() const = 0;
  virtual arma::uword n_defines() const = 0;

  /// Writes the category of every nominal outcome into `raw`.
  virtual void categorize_nominal(arma::Mat<double>& raw, const arma::Mat<double>& data) const = 0;

  /// Log likelihood of each unit of a level, and of all data.
  virtual arma::Col<double> logLiklihood(const arma::Mat<double>& data, int level) const = 0;
  virtual double logLiklihood(const arma::Mat<double>& data) const = 0;
  virtual arma::Col<double> computeLL(const arma::Mat<double>& data, int level) const = 0;
  virtual double computeLL(const arma::Mat<double>& data) const = 0;

  /// The chain's generator; outlives every model.
  virtual Random* rng() const = 0;
  /// The proposals of every model and shared parameter.
  virtual std::vector<estimator::tune_results> acceptance() const = 0;
  /// Coefficients of one model.
  virtual const arma::Mat<double>& betas(const unsigned& model) const = 0;
  /// Per outcome column, the percentage that is missing.
  virtual std::vector<double> getMissingPercents() const = 0;
  /// Columns of the working matrix that hold published latent values.
  virtual arma::Col<arma::uword> indicators() const = 0;

  /// Columns for output: rows are the rows of `data`.
  virtual arma::Mat<double> latent(const arma::Mat<double>& data) const = 0;
  virtual arma::Mat<double> residual(const arma::Mat<double>& data) const = 0;
  virtual arma::Mat<double> predicted(const arma::Mat<double>& data) const = 0;
  virtual arma::Mat<double> defines(const arma::Mat<double>& data) const = 0;
  virtual arma::Col<double> correlations(const arma::Mat<double>& data) const = 0;

  /// Units of the highest level x 2 (marginal, conditional log likelihood) x (models, then their sum).
  virtual arma::Cube<double> likelihood(const arma::Mat<double>& data) const = 0;
};

}  // namespace tovik::sem
