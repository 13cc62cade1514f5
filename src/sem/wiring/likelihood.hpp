#pragma once

#include <armadillo>
#include <functional>
#include <utility>
#include <vector>

#include "sem/wiring/acceptance.hpp"
#include "sem/wiring/moving_intercept.hpp"

namespace tovik::sem::estimator {

/// One model's part of the log likelihood of the units of a level.
class likelihood_function {
 public:
  /// Log likelihood of each unit of the level at the data: units x 1.
  using whole = std::function<arma::Col<double>(const arma::Mat<double>& data, const int& level)>;
  /// Adds to out[k] the log likelihood of the k-th of the given units (ascending) of the level.
  using part = std::function<void(const arma::Mat<double>& data, const int& level,
                                  const arma::Col<arma::uword>& units, double* out)>;

  likelihood_function() = default;
  /// A contribution that passes over all units even when some are asked for.
  likelihood_function(const void* source, whole all);
  /// `source` is what the contribution stands for, a model or a block of models: a list holds it once.
  likelihood_function(const void* source, whole all, part some)
      : source_(source), all_(std::move(all)), some_(std::move(some)) {}

  arma::Col<double> operator()(const arma::Mat<double>& data, const int& level) const {
    return all_(data, level);
  }
  void add(const arma::Mat<double>& data, const int& level, const arma::Col<arma::uword>& units,
           double* out) const {
    some_(data, level, units, out);
  }
  const void* source() const { return source_; }

 private:
  const void* source_ = nullptr;
  whole all_;
  part some_;
};

/// The contributions of all models in which a variable stands, each once.
class likelihood : public std::vector<likelihood_function> {
 public:
  using std::vector<likelihood_function>::vector;

  /// Appends a contribution unless the list holds its source.
  void add_once(likelihood_function f);

  /// The sum over the models, one value per unit of `level`; an empty column if there is no contribution.
  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const;
  /// The same for the given units (ascending) of the level only; `out` is resized.
  void logLiklihood(const arma::Mat<double>& data, const int& level, const arma::Col<arma::uword>& units,
                    arma::Col<double>& out) const;

  /// Which of the variable's values are accepted together.
  acceptance together;
  /// Of a grand mean: the intercepts that go along with what is centred at it.
  std::vector<moving_intercept> intercepts;
};

}  // namespace tovik::sem::estimator
