#pragma once

#include <string>
#include <vector>

#include "evaluate/value.hpp"
#include "model/constraint_info.hpp"
#include "sem/ensemble/coefficient_blocks.hpp"
#include "sem/ensemble/label_plan.hpp"
#include "sem/ensemble/labels.hpp"
#include "sem/wiring/constraint.hpp"

namespace tovik::sem {

class lambda_holder;
class MultiStruct;
class Phantom;

/// The work of wire_labels(). Beside labels.cpp: label_correlations.cpp has the labels of correlations,
/// label_starts.cpp where parameters start.
class label_wiring {
 public:
  explicit label_wiring(const label_world& world);

  wired_labels wire();  ///< once

 private:
  using constraint = estimator::constraint;
  using constraint_info = model::constraint_info;

  estimator::Outcome& model(unsigned i) const { return *world_.models.at(i); }
  evaluate::value* cell(const std::string& key) const;
  void bind(const std::string& key, double* address) const;
  void bind_variances() const;
  void bind_computation(unsigned i) const;
  /// Level of random effects by the catalogue's number: the nearest above the outcome first.
  unsigned effect_level(const constraint_info& info) const;
  Computation& computation(unsigned i) const;
  double* address(const constraint_info& info) const;
  lambda_holder& holder_of(const constraint_info& info) const;
  /// The lambda of one equation that nothing else follows stays with it, and takes its prior along.
  bool keep_lambda(const planned_label& label) const;
  static bool starts_at_lambda(const planned_label& label);
  void bind_handle(const planned_label& label) const;
  /// The likelihood of a model that reads the parameter inside a term.
  constraint::term model_term(unsigned i) const;
  /// Takes a place over into `to`; returns what one place tells of the proposal: 1 / variance.
  double take(const constraint_info& info, constraint& to) const;
  void place_derived(const planned_label& label) const;
  void make_drawn(const planned_label& label);
  void keep(const planned_label& label, drawn_label drawn);
  /// The cell holds its own number, one of the places that follow the parameter.
  void add_cell(const planned_label& label, constraint& parameter) const;
  static void add_link(constraint& parameter, double* address);
  void make_block_label(const planned_label& label, drawn_label out);
  void add_prior(const planned_label& label, constraint& parameter) const;
  void follow(Computation& node, constraint& parameter) const;
  /// The first phantom with the label draws it, for all others and for what else carries the label.
  void join_correlations(const planned_label& label);
  /// A correlation of a block alone, which the block draws whether or not it has a prior and other places.
  void join_block(const planned_label& label, constraint& others);
  /// As settle_correlations() does with phantoms: towards 0 until the matrices of the blocks have them.
  void settle_blocks() const;
  /// The middles of several priors may leave an outcome nothing beside its correlations: all starts then go
  /// towards 0, each as far as its prior lets it. Throws tovik::error where that does not do.
  void settle_correlations() const;
  const model::parameter* written_at(const constraint_info& info, model::parameter& scratch) const;
  /// Whether the drawn parameter can stand at x: its prior has a density there, and no variance is negative.
  bool admits(const planned_label& label, double x) const;
  /// The identity or the user's start, within the range of the prior.
  double start_of_lambda(const planned_label& label) const;
  /// The user's start, else the middle of the prior, else the first place's own. A start of the user holds
  /// whatever the prior says of it.
  double start_of(const planned_label& label) const;
  double start_of_variance(const planned_label& label, double near) const;
  void start();

  const label_world& world_;
  std::vector<planned_label> plan_;
  coefficient_blocks blocks_;
  std::vector<drawn_label> drawn_;
  std::vector<const planned_label*> planned_;  ///< of each drawn label
  struct labelled_correlation {
    Phantom* leader;
    const planned_label* label;
    double start;
  };
  std::vector<labelled_correlation> correlations_;
  struct block_correlation {
    MultiStruct* block;
    unsigned position;
    const planned_label* label;
    double start;
  };
  std::vector<block_correlation> block_correlations_;
};

}  // namespace tovik::sem
