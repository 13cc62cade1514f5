#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "model/autosolver_info.hpp"
#include "model/block_map.hpp"
#include "model/constraint_info.hpp"
#include "model/correlation.hpp"
#include "model/model.hpp"
#include "model/parameter_info.hpp"
#include "model/term_key.hpp"
#include "support/block.hpp"

namespace tovik {

namespace model {
struct waldtest;
}

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
  /// or "{ y1 y2 } ~ x" (the same predictors for each). Throws tovik::error.
  void add_seq(const block::one_model& statement, const VariableList& variables);
  /// One equation; an empty block name is block "model". Throws tovik::error.
  void add_model(const block::one_model& statement, const VariableList& variables);
  /// "f -> x1 x2 | rest" and "f =~ x1 x2 | rest": an equation for each x, and one for a factor without any.
  /// The equations of a Wald test take the loadings that those of the run, `full`, hold at a value, and add
  /// none for the factor. Throws tovik::error.
  void add_loading(const block::one_model& statement, const VariableList& variables,
                   const ModelList* full = nullptr);
  /// "a b ~~ c d" and "a b <-> c d": every pair; a pair of one variable sets its residual variance, another
  /// makes a phantom with a model of its own. Throws tovik::error.
  void add_correlation(const block::one_model& statement, VariableList& variables);
  /// "name = expression". Throws tovik::error.
  void add_define(const block::one_model& statement, const VariableList& variables);
  /// PARAMETERS: "a b ~ distribution(p, q)" and "name = expression". Throws tovik::error.
  void add_parameter(const std::string& statement);
  void add_computation(const std::string& statement);

  /// Joins the equations of one outcome; variance models join only each other.
  void reduce();
  /// Pairs each variance model with the (first) model of its outcome, which receives its link. Throws
  /// tovik::error where there is none or it may not have a variance model.
  void pair_variance_models();
  /// Turns residual correlations into blocks of outcomes where that is possible: whole connected sets of
  /// equations become blocks or stay with phantoms, never a part of one.
  void optimize();
  /// Gives each missing indicator in use, and each latent variable, that has no equation one with an
  /// intercept; one warning names them.
  void checkMissingModels(const VariableList& variables);
  void checkFactorModels(const VariableList& variables);
  /// Holds the mean of a factor at 0 where a free intercept of an indicator leaves it without information.
  void fix_factor_means();
  /// Fixes at 1 the residual variance of a factor whose loadings are all free, or have labels without a
  /// proper prior: otherwise nothing sets its scale. A warning names the factors. After PARAMETERS are added.
  void fix_factor_scales();
  /// An intercept that varies as a latent variable takes the place of the default random intercept of that
  /// level: only their sum is identified. Throws tovik::error for one that was written.
  void replace_random_intercepts();
  /// Gives each phantom variable that the user wrote into equations a model of its own, and tells its terms
  /// what they correlate. Correlations that were written as such have both already. Throws tovik::error for a
  /// phantom that does not stand in the equations of two outcomes.
  void complete_phantoms();
  /// Stops at two models of one outcome of which one is transformed inline; for lists that are not reduced.
  void checkTransform() const;
  /// Sampling order; equal models keep the order of their statements.
  void sort();
  /// Gives each variable its role: outcomes first, then predictors.
  void set_roles() const;
  /// A warning for each model that holds a predictor twice.
  void warn_duplicates() const;
  /// A warning for each set of outcomes that predict each other in a cycle.
  void warn_cycles() const;
  /// Stops at a variance set for an outcome that has none, and at two links for one outcome. Throws
  /// tovik::error.
  void check_outcomes() const;
  /// Normal single outcomes below a cluster level get a residual variance per cluster.
  void set_heterogeneous();
  /// Every equation takes sampling weights (see Model::setWeights).
  void set_weights();
  /// Enters the parameters of generate_map into `names`.
  void define_parameters();
  /// Points each definition at the final columns of its variables. Throws tovik::error for a definition that
  /// was declared and never given.
  void update_def() const;

  /// The trees of the definitions by name, parsed against `names`, unbound.
  std::vector<std::pair<std::string, std::unique_ptr<evaluate::node>>> get_evaluates() const;

  /// The terms of this type in all models (with the outcomes if `outcomes`), computed terms and definitions
  /// included, sorted and without repeats.
  std::vector<model::anyVariable> variables(model::type type, bool outcomes) const;
  /// All variables of all models, in catalogue terms, each once.
  std::vector<std::shared_ptr<data::variable>> variables() const;
  /// Makes find() quick; for whoever has changed the list and only reads it from now on.
  void index();
  /// The model of an outcome (variance models do not count), the first if there are several, or null.
  Model* find(const model::anyVariable& outcome);
  const Model* find(const model::anyVariable& outcome) const;
  /// Indices of the models that hold the term, as an outcome too if `outcomes`.
  std::vector<unsigned> subset(const model::anyVariable& term, const bool& outcomes) const;
  std::vector<unsigned> subset(const std::shared_ptr<data::variable>& variable, model::type type,
                               bool outcomes) const;
  /// Indices of the blocks.
  std::vector<unsigned> subset_multi() const;
  /// Index of the block of which the model is a member, or -1.
  int has_multi(const Model& member) const;
  /// Indices of the members of a block, in its order.
  std::vector<unsigned> find_multi(const Model& block) const;
  /// The hypotheses of a Wald test: what these equations leave out of those of the run or hold at a value.
  /// Throws tovik::error for an equation that the run has not, that says more than the run's, or that no test
  /// can speak of.
  model::waldtest operator-(const ModelList& full) const;
  using std::vector<Model>::operator[];
  /// The first model of this variable in its own meaning. Throws tovik::error_debug if there is none.
  const Model& operator[](const std::shared_ptr<data::variable>& variable) const;
  /// (model, its variance model) for each variance model of the list.
  std::vector<std::pair<unsigned, unsigned>> scale_pairs() const;
  /// The definitions that belong to a level, as text with a prefix, for the report.
  std::vector<std::string> definitions_text(const std::string& prefix) const;
  /// Names "a <-> b" of all residual correlations at a catalogue level, for the report.
  std::vector<std::string> rcorr_names(int level_value) const;
  /// For each of these whether a model of the block "_hidden" has a side of it.
  std::vector<bool> rcorr_hidden(int level_value) const;

  /// The labelled parameters of all models, sorted and without repeats.
  std::vector<model::parameter> constraints() const;
  /// Every use of a label, in model order. Throws tovik::error for a use that cannot be shared.
  std::vector<model::constraint_info> constraintInfo(const model::parameter& p) const;
  /// The models that hold a phantom or random-effect variable.
  std::vector<model::constraint_info> constraintInfo(const std::shared_ptr<data::variable>& variable) const;
  /// How many statements speak of a label: coefficients, variances and correlations that carry it, computed
  /// terms that read it, a prior of its name, and computed parameters that depend on it and are labels
  /// themselves. A label with one appearance is an ordinary parameter with a name.
  unsigned appearances(const model::parameter& p) const;
  /// All of that for every label at once, by lower-cased label, in one pass. Checks nothing.
  std::unordered_map<std::string, model::label_uses> label_table() const;

  /// The plan of the full conditional distribution of an incomplete outcome, a factor, a propensity or a
  /// phantom, or of a labelled coefficient or residual variance: one entry for each equation in which it
  /// stands, in model order, its own equation not counted. Empty where the distribution is not normal (of a
  /// variance: inverse gamma) for sure; the unknown is then drawn by other means. Needs the columns of the
  /// prepared data.
  std::vector<model::autosolver_info> autosolverInfo(const model::anyVariable& unknown) const;
  std::vector<model::autosolver_info> autosolverInfo(const model::parameter& label) const;

  /// First row of a model in the estimates, and its row count; one row for each of its names. Throws
  /// tovik::error_debug if the model is not in the list. For many models take a model::row_table.
  std::pair<unsigned, unsigned> estimates_span(const Model& model) const;

  /// The parameters of a run by lower-cased name, each with a new cell. Slots are a function of the list
  /// alone: the five variances of each model in list order, then the labels, then PARAMETERS in file order.
  /// Throws tovik::error for a computed parameter that reads an unknown name or a variable.
  std::unordered_map<std::string, model::parameter_info> generate_map() const;

 private:
  void add_variance(const model::anyVariable& left, const model::anyVariable& right,
                    const block::one_model& statement, const VariableList& variables);
  void add_phantom_pair(const model::anyVariable& left, const model::anyVariable& right,
                        const block::one_model& statement, VariableList& variables);
  model::correlation_side correlated_side(const model::anyVariable& term, const block::one_model& statement,
                                          const VariableList& variables);
  void insert_correlation(const model::correlation& ends, const model::parameter& p,
                          const block::one_model& statement, VariableList& variables);
  void hold_variance(Model& model, const model::parameter& value);
  void complete_phantom(const model::anyVariable& phantom, std::size_t holder);
  void add_named_parameter(const std::string& text, const std::string& statement);
  void index_from(std::size_t first);

  /// Names of the PARAMETERS models, in lower case.
  std::unordered_set<std::string> parameter_names_;
  /// The first model of each outcome, for the first `indexed_` models.
  std::unordered_map<model::term_key, std::size_t, model::term_key::hash> index_;
  std::size_t indexed_ = 0;
};

}  // namespace tovik
