#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/block_map.hpp"
#include "model/model.hpp"
#include "model/parameter_info.hpp"
#include "support/block.hpp"

namespace tovik {

/// The equations of a run in sampling order, with the names that they share. Text and slots only, no tree and
/// no cell: every chain makes its own.
class ModelList : public std::vector<Model> {
 public:
  block::map blocks;
  std::shared_ptr<evaluate::defines> names;
  /// MODEL definitions in statement order.
  std::vector<std::pair<std::string, model::combinationOfAnyVariable>> definitions;

  ModelList();
  explicit ModelList(const block::map& blocks);

  /// A statement with "~" that may name several outcomes: "y1 y2 ~ x" (each regressed on the later ones too)
  /// or
  /// "{ y1 y2 } ~ x" (the same predictors for each). Throws tovik::error.
  void add_seq(const block::one_model& statement, const VariableList& variables);
  /// One equation; an empty block name is block "model". Throws tovik::error.
  void add_model(const block::one_model& statement, const VariableList& variables);
  /// "a b ~~ c d": every pair; a pair of one variable sets its residual variance. Throws tovik::error.
  void add_correlation(const block::one_model& statement, const VariableList& variables);

  /// Joins the equations of one outcome.
  void reduce();
  /// Sampling order; equal models keep the order of their statements.
  void sort();
  /// Gives each variable its role: outcomes first, then predictors.
  void set_roles() const;
  /// A warning for each model that holds a predictor twice.
  void warn_duplicates() const;
  /// Enters the parameters of generate_map into `names`.
  void define_parameters();

  /// The terms of this type in all models (with the outcomes if `outcomes`), sorted and without repeats.
  std::vector<model::anyVariable> variables(model::type type, bool outcomes) const;
  /// The model of an outcome, or null.
  Model* find(const model::anyVariable& outcome);
  const Model* find(const model::anyVariable& outcome) const;

  /// The labelled parameters of all models, sorted and without repeats.
  std::vector<model::parameter> constraints() const;
  /// The number of design columns and variances that carry the label of `p`.
  unsigned appearances(const model::parameter& p) const;

  /// First row of a model in the estimates, and its row count; one row for each of its names. Throws
  /// tovik::error_debug if the model is not in the list.
  std::pair<unsigned, unsigned> estimates_span(const Model& model) const;

  /// The parameters of a run by lower-cased name, each with a new cell. Slots are a function of the list
  /// alone: the five variances of each model in list order, then the labels.
  std::unordered_map<std::string, model::parameter_info> generate_map() const;

 private:
  void add_variance(const model::anyVariable& left, const model::anyVariable& right,
                    const block::one_model& statement, const VariableList& variables);
};

}  // namespace tovik
