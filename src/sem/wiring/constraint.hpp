#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sem/wiring/parameterT.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik {
class Random;
}

namespace tovik::sem {
class Estimator;
}

namespace tovik::sem::estimator {

/// A parameter that no single model owns: its value, the addresses in the models that follow it, and the log
/// density terms in which it appears.
class constraint {
 public:
  /// The log density at a candidate value that has been written to all links.
  using term = std::function<double(double const&, arma::Mat<double> const&)>;

  constraint() = default;
  explicit constraint(Estimator const* estimator);
  constraint(Random* rng, parameterT<double> const& parameter);
  /// `variance` is that of the proposal before its multiplier. Throws error_debug "Invalid starting values."
  /// when it is negative or infinite.
  constraint(Random* rng, parameterT<double> const& parameter, double const& variance);
  explicit constraint(std::string const& name);
  constraint(constraint const&) = default;
  virtual ~constraint() = default;

  /// Appends the other's links and terms.
  constraint& operator+=(constraint const& other);

  /// The only address. Throws error_debug "Not correct length." unless there is exactly one.
  double* ptr() const;

  /// One update of the parameter at the data.
  virtual void draw(arma::Mat<double> const& data);

  tune_obj tune{1.0, tune_obj::kind_type::parameter};
  Random* rng = nullptr;
  double value = 0.0;
  unsigned level = 0;
  std::vector<double*> links;
  std::vector<term> likelihoods;
  unsigned n_links = 0;  ///< 0 while empty
  double variance = 1.0;
  std::string name;
};

}  // namespace tovik::sem::estimator
