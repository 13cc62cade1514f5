#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "evaluate/value.hpp"
#include "sem/ensemble/labels.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/scan_world.hpp"
#include "sem/small_run.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::tests {

/// Equations with their labels wired, without an ensemble: every state can be set and every step called
/// alone.
class label_bench {
 public:
  small_run run;
  LoneEstimator estimator;
  sem::working_data working;
  std::unordered_map<std::string, model::parameter_info> cells;
  std::vector<std::shared_ptr<sem::estimator::Outcome>> models;
  std::vector<sem::drawn_label> labels;
  std::vector<std::unique_ptr<sem::joint_coefficients>> blocks;

  /// With `changing` the data may be written between scans, so that nothing of them is kept.
  label_bench(const std::vector<std::string>& names, const arma::mat& columns,
              const std::vector<std::string>& ids, const std::vector<std::string>& statements,
              const std::vector<std::string>& parameters, sem::priors prior, std::uint32_t seed,
              bool changing, const std::vector<std::string>& ordinal = {});

  /// Makes the models anew, at the data as they are.
  void build();

  /// The equation of an outcome.
  sem::Regression& regression(const std::string& outcome) const;
  /// The same, of a normal outcome.
  sem::Normal& equation(const std::string& outcome) const;
  /// The column of a variable.
  arma::uword column(const std::string& name) { return run.vars.find(name)->column; }
  sem::drawn_label& label(const std::string& name);
  double cell(const std::string& name) const { return cells.at(name).cell->eval(); }
  arma::mat& data() { return working.data; }

  /// The outcome of an equation from the equation, at its current parameters; of categories 0 or 1, or a
  /// count.
  void draw_outcome(const std::string& outcome);

  /// Of every label: the variance of its proposals, and none yet accepted or refused.
  void set_proposals(double variance);
  /// Labels of blocks, the equations, the labels one by one.
  void scan();

  /// The k-th correlation that a phantom carries, counted from 0 in the order of the list.
  sem::Phantom& phantom(std::size_t k) const;

 private:
  /// Columns for the scores of phantoms, as the preparation of the data makes them.
  static small_run with_scores(small_run run);

  sem::priors prior_;
  bool changing_;
};

}  // namespace tovik::tests
