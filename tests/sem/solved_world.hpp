#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "evaluate/value.hpp"
#include "sem/ensemble/labels.hpp"
#include "sem/ensemble/solvers.hpp"
#include "sem/scan_world.hpp"
#include "sem/small_run.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::tests {

/// Equations in some random state, without an ensemble: what solved distributions say of an unknown there can
/// be held against the densities of all equations.
class SolvedWorld {
 public:
  small_run run;
  LoneEstimator estimator;
  sem::working_data working;
  std::unordered_map<std::string, model::parameter_info> cells;
  std::vector<std::shared_ptr<sem::estimator::Outcome>> models;
  std::vector<sem::drawn_label> labels;

  /// `ordinal`: names of variables with categories; `latent`: of factors.
  SolvedWorld(const std::vector<std::string>& names, const arma::mat& columns,
              const std::vector<std::string>& ids, const std::vector<std::string>& statements,
              const std::vector<std::string>& parameters = {}, const std::vector<std::string>& ordinal = {},
              const std::vector<std::string>& latent = {});

  arma::mat& data() { return working.data; }
  /// Index of the equation of an outcome, by its name.
  unsigned index(const std::string& outcome) const;
  sem::Regression& equation(const std::string& outcome) const;
  sem::drawn_label& label(const std::string& name);
  sem::solver_world solvers() { return {run.models, models, cells, estimator.random}; }
  sem::priors prior() const { return prior_; }

  /// Log density of all values, scores and effects at the data.
  double log_density() const;
  /// Writes the value of a unit of an outcome, or its propensity, where all equations read it.
  void write(const std::string& outcome, arma::uword unit, double value);
  double read(const std::string& outcome, arma::uword unit) const;

 private:
  static small_run prepared(small_run run);
  void draw_state();
  static void correlate(sem::Multi& block);

  sem::priors prior_{1, 1};
};

}  // namespace tovik::tests
