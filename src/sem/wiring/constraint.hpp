#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "sem/wiring/parameterT.hpp"
#include "sem/wiring/settings.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik {
class Random;
}

namespace tovik::sem {
class Estimator;
}

namespace tovik::sem::estimator {

/// A parameter that no single model owns: its value, the addresses in the models that follow it, what has to
/// be brought up to date when it moves, and the log density terms in which it appears.
class constraint {
 public:
  /// One log density, at a candidate value that has been written to all links.
  class term {
   public:
    using function = std::function<double(const double&, const arma::Mat<double>&)>;

    /// A term of no model, such as a prior.
    template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, term>>>
    term(F f) : f_(std::move(f)) {}
    /// `source` is what the term stands for, a model or a block of models: a parameter that stands there
    /// several times has the term once.
    term(const void* source, function f) : source_(source), f_(std::move(f)) {}

    double operator()(const double& x, const arma::Mat<double>& data) const { return f_(x, data); }
    const void* source() const { return source_; }

   private:
    const void* source_ = nullptr;
    function f_;
  };

  static inline bool& print_debug =
      sampler_settings::print_debug_constraint;  ///< report tuning as it happens

  constraint() = default;
  explicit constraint(const Estimator* estimator);
  constraint(Random* rng, const parameterT<double>& parameter);
  /// `variance` is that of the proposal before its multiplier. Throws error_debug "Invalid starting values."
  /// when it is negative or infinite.
  constraint(Random* rng, const parameterT<double>& parameter, const double& variance);
  explicit constraint(const std::string& name);
  constraint(const constraint&) = default;
  virtual ~constraint() = default;

  /// Appends the other's links, refreshers, and those of its terms whose source is not held.
  constraint& operator+=(const constraint& other);

  /// The only address. Throws error_debug "Not correct length." unless there is exactly one.
  double* ptr() const;

  /// Appends a term unless one of its source is held.
  void add_once(term f);

  /// Sets the value here and at every link, then brings up to date what follows from it.
  void write(double x);
  /// Before moves from the current state: other parameters that go along do so from here.
  virtual void anchor() {}
  /// Writes x, and takes along what goes along. Back at the value of the last anchor() all is as it was.
  virtual void move(double x) { write(x); }
  /// The data have moved: how others go along is to be found anew. While proposals are adapted.
  virtual void connect() {}
  /// The sum of the terms at the current value.
  double log_density(const arma::Mat<double>& data) const;
  /// Moves to x and returns the sum of the terms there; minus infinity when an expression that reads the
  /// parameter has no value at x.
  double move_to(double x, const arma::Mat<double>& data);

  /// It moves by draw(): it stands somewhere and has a density. One that is drawn otherwise has no terms.
  bool walks() const { return n_links > 0 && !likelihoods.empty(); }

  /// One random-walk Metropolis update at the data: nothing without links or without terms. A candidate
  /// without a density (minus infinity or NaN) is never accepted.
  virtual void draw(const arma::Mat<double>& data);

  tune_obj tune{1.0, tune_obj::kind_type::parameter};
  Random* rng = nullptr;
  double value = 0.0;
  unsigned level = 0;
  std::vector<double*> links;
  std::vector<std::function<void()>> refresh;  ///< called in order after every write to the links
  std::vector<term> likelihoods;
  unsigned n_links = 0;  ///< 0 while empty
  double variance = 1.0;
  std::string name;
};

}  // namespace tovik::sem::estimator
