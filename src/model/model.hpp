#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/any_variable.hpp"
#include "model/combination.hpp"
#include "model/distribution.hpp"
#include "model/kind.hpp"
#include "model/link.hpp"
#include "model/parameter.hpp"
#include "model/parameter_info.hpp"
#include "model/row.hpp"
#include "support/block.hpp"

namespace tovik::model {
struct difference;
struct row_layout;
struct term_text;
enum class standardized_rows;
}  // namespace tovik::model

namespace tovik {

/// One regression equation: outcome, fixed terms, random terms, link, variance parameter and block.
///
/// Levels. `levels` and every argument called `level_value` count the clustering levels above, as the
/// catalogue does: in three-level data 2 is the lowest level, and random effects of a level-1 outcome stand
/// at 1 (level 2) and 0 (level 3). Lists "per level" (zind, hasRandomIntercept) run from levels - 1 down to
/// 0, so that their index 0 is the nearest level above the outcome: the sampler's numbering of random
/// effects.
class Model {
 public:
  std::vector<model::anyVariable> outcomes;  ///< usually one
  std::vector<model::anyVariable> fixed;     ///< an intercept stands first
  std::vector<model::anyVariable> random;    ///< terms with random effects; intercepts stand first
  std::vector<model::anyVariable> phantoms;
  std::vector<model::combinationOfAnyVariable> fixed_compute;
  std::vector<model::combinationOfAnyVariable> random_compute;
  std::int32_t levels = -1;                               ///< largest catalogue level among the outcomes
  std::vector<std::shared_ptr<data::variable>> clusters;  ///< identifiers by catalogue level, descending
  bool has_random_intercept = false;
  bool has_fixed_intercept = false;
  bool fixed_intercept_given = false;   ///< written, or removed, in the statement
  bool random_intercept_given = false;  ///< the same for the random intercept
  bool intercept_customised = false;    ///< the written fixed intercept has a label, a value or a start
  model::link link = model::link::identity;
  bool link_given = false;
  evaluate::defines* table = nullptr;  ///< the name table of the run; not owned
  model::parameter variance;           ///< residual variance
  std::string block = block::predef::none;
  std::int32_t block_number = -1;
  model::distribution prior;  ///< of a PARAMETERS statement "name ~ distribution(a, b)"
  std::string computation;    ///< right side of a PARAMETERS statement "name = expression"
  /// The latent variables as which the intercept varies.
  std::vector<std::shared_ptr<data::variable>> intercept_varies;

  /// Several outcomes in one equation; a setting of the run.
  static bool allow_multivariate;

  /// Reads "outcome ~ predictors | random". Throws tovik::error with the text for the user.
  Model(const std::string& statement, const VariableList& variables, evaluate::defines* names);
  /// Reads a statement without variables, "name ~ distribution(a, b)" or "name = expression": a parameter
  /// with a prior or a computed parameter. Throws tovik::error.
  explicit Model(const std::string& statement);
  /// A model with this outcome and no terms; levels -1, block none. With multi_outcome() a block of outcomes.
  explicit Model(const model::anyVariable& outcome);

  /// The name of the outcome, or of the outcomes with a blank between them.
  std::string name() const;
  std::vector<std::string> names() const;
  /// The equation as text, such that parsing it again gives the same model:
  /// "logit(y) ~ Intercept x@b (x*z) | Intercept x". A block is "y1 <-> y2 ..." with its correlations, a
  /// phantom "a <-> b", a parameter its PARAMETERS statement.
  std::string command() const;
  /// What the equation is: by its first outcome, but normal if any outcome is, and a missing data indicator's
  /// or a variance model if any outcome is one.
  model::kind kind() const;
  std::vector<model::kind> kinds() const;  ///< of each outcome
  /// The outcome's transformation and its inverse.
  evaluate::pair pair() const;
  bool has(
      const model::anyVariable& term) const;  ///< among outcomes, fixed, random, phantom and computed terms
  std::string var_param_name() const;         ///< name of the single outcome in the parameter table
  bool is_multi() const { return kind() == model::kind::block; }

  /// Columns of the data matrix, valid once the data are prepared. yind is the outcome (of a block its
  /// members; of a nominal outcome the column of its categories), xind the plain fixed terms. zind has one
  /// list per level (see above); a term's level is its bracket's, else every level at which it varies. dind
  /// has the phantoms: those of the residuals first, then one list per level as in zind.
  std::vector<unsigned> yind() const;
  std::vector<unsigned> xind() const;
  std::vector<std::vector<unsigned>> zind() const;
  std::vector<std::vector<unsigned>> dind() const;
  /// yind without the latent substitution.
  std::vector<unsigned> rawIndicators() const;
  /// Of each computed term, for each design column, the columns that it reads.
  std::vector<std::vector<std::vector<unsigned>>> xindInter() const;
  std::vector<std::vector<std::vector<unsigned>>> zindInter() const;
  /// Data columns of the plain terms, fixed and random, that are propensities, missing indicators, named
  /// random effects; ascending, each once.
  std::vector<unsigned> latentIndicators() const;
  std::vector<unsigned> missingIndicators() const;
  std::vector<unsigned> randomIndicators() const;
  /// Positions among the coefficients: of the plain columns of a term; of the plain columns and whole
  /// computed terms that carry a label.
  std::vector<unsigned> fixedIndicators(const model::anyVariable& term) const;
  std::vector<unsigned> fixedIndicators(const model::parameter& p) const;
  /// Positions, among the columns of the computed fixed terms, of those that read a label inside.
  std::vector<unsigned> fixedComputeIndicators(const model::parameter& p) const;
  /// True if a normal full conditional can be worked out for the label: every computed fixed term that reads
  /// it is a sum of products, it stands in one factor of one product of each column, and no other parameter
  /// is multiplied with it. True without any such term.
  bool checkFixedCompute(const model::parameter& p) const;
  /// True if the term is a plain fixed term and stands nowhere else in the model.
  bool hasFixedOnly(const model::anyVariable& term) const;
  /// True if the label names the variance of a random effect.
  bool hasRandom(const model::parameter& p) const;
  /// Where a latent variable enters: of a factor, the position of its loading among the coefficients; of a
  /// phantom, the random effect that it loads on, counted within its level (0 for one of the residuals).
  /// Throws tovik::error for a block and for a random effect that the model does not have, tovik::error_debug
  /// for a variable that the model does not hold.
  unsigned lambdaInd(const std::shared_ptr<data::variable>& factor) const;

  using trees = std::vector<std::vector<std::unique_ptr<evaluate::node>>>;
  /// The trees of the computed fixed terms, one list per term, with their parameters bound to the cells of
  /// the map. The trees own no cell. Without a map they stay unbound.
  trees xindCompute(const std::unordered_map<std::string, model::parameter_info>& map) const;
  trees xindCompute() const;
  /// The same of the computed random terms, per level from the nearest up.
  std::vector<trees> zindCompute(const std::unordered_map<std::string, model::parameter_info>& map) const;

  /// Number of random effects (design columns), in all and at one level.
  unsigned n_re() const;
  unsigned n_re(unsigned level_value) const;
  /// Per level: whether a random intercept stands there.
  std::vector<bool> hasRandomIntercept() const;
  /// True if the random term stands at this level: below the outcome's levels, and varying within its
  /// clusters.
  bool isRE(const model::anyVariable& term, unsigned level_value) const;
  bool isRE(const model::combinationOfAnyVariable& term, unsigned level_value) const;
  /// Names of the random effects of a level, one per design column: intercept, plain terms, computed terms.
  std::vector<std::string> reName(int level_value) const;
  /// The printed number of a level: 2 for the nearest level above level 1 of the data.
  unsigned printed_level(unsigned level_value) const;

  /// One parameter per column of xind, then of the computed terms. Of a block: for each member a free one,
  /// then the correlations.
  std::vector<model::parameter> fixedParameters() const;
  /// One parameter (of the variance) per random effect of the level; a start is one of the variance.
  std::vector<model::parameter> randomParameters(unsigned level_value) const;
  /// The parameters of the fixed, random, computed fixed and computed random terms, then a labelled residual
  /// variance, then a labelled lambda.
  std::vector<model::parameter> constraints() const;

  /// The rows of the model in the estimates: variances and covariances from the top level down (lower
  /// triangle by columns), residual variance or what stands for it, coefficients, thresholds, lambda; then
  /// standardized slopes; then shares. Values come from the outcome model in the same order. For a nominal
  /// outcome they are the rows of one dummy code, and the list repeats n_codes() times. Made anew by each
  /// call; whoever reads those of a whole list takes a model::row_table.
  std::vector<model::row> rows() const;
  /// Which rows those are (model/row_layout.hpp).
  model::row_layout layout() const;
  /// The rows as text, model::row::tagged(): the parameters, the standardized slopes, the shares.
  std::vector<std::string> parameters() const;
  std::vector<std::string> standardized() const;
  std::vector<std::string> rsquare() const;
  /// The number of thresholds among the rows of one outcome.
  unsigned n_thresholds() const;
  /// A probit model whose first threshold is a parameter, because no intercept places its scale.
  bool has_free_thresholds() const;
  /// Takes the random intercept of a catalogue level out of those that stand by default. Throws tovik::error
  /// for one that was written.
  void remove_random_intercept(const data::variable& in_favour_of);
  /// The number of dummy codes of a nominal outcome, 1 for every other.
  unsigned n_codes() const;
  /// The number of rows of the model in the estimates.
  unsigned n_rows() const;

  /// The names of terms that stand twice; empty if there are none.
  std::vector<std::string> duplicateFixed() const;
  std::vector<std::string> duplicateRandom() const;

  /// True if both speak of the same outcome with the same link.
  bool isEquivalent(const Model& other) const;
  /// Takes over the terms of another model of the same outcome; a block takes the other's outcome as a
  /// member; a variance model marks the receiver's link and leaves its terms where they are. Throws
  /// tovik::error for what the user may not combine and tovik::error_debug for what the caller may not.
  Model& operator+=(const Model& other);
  /// Adds correlations to a block.
  Model& operator+=(const std::vector<model::anyVariable>& correlations);
  /// Takes the phantoms that two models of one block share, at their own level, out of both and returns them.
  static std::vector<model::anyVariable> optimize(Model& a, Model& b);
  /// May be a member of a block: a normal, latent or probit outcome that is no missing indicator and has no
  /// transformation with a parameter.
  bool can_join_block() const;

  /// What this equation, as a restricted one, leaves out of the full one or holds at a value. Throws
  /// tovik::error for equations of different outcomes, for one that says more than the full one, and for
  /// outcomes of which no difference can be tested.
  model::difference difference(const Model& full) const;
  model::difference operator-(const Model& full) const;

  /// Identity links become weighted ones. Throws tovik::error for an equation that has no form with sampling
  /// weights.
  void setWeights();

  /// "a#cor#b" decoded to "a <-> b", brackets and stars restored; of a phantom's model, its outcome.
  static std::string correlationParse(const std::string& name);
  static std::string correlationParse(const Model& phantom);
  /// Of a block: place j + i p of the correlation with this label in the p x p matrix by columns, -1 for
  /// none. Throws tovik::error if the label stands twice.
  int find_correlation(const model::parameter& p) const;
  /// Of a block: places and values of the correlations that are fixed.
  std::vector<std::pair<unsigned, double>> fixed_correlations() const;
  /// Of a block: the place of every correlation and what the statements say of it.
  std::vector<std::pair<unsigned, model::parameter>> correlation_parameters() const;
  /// Of a block: names "a <-> b" of the correlations that are not fixed at 0.
  std::vector<std::string> nonzero_correlations() const;

 private:
  void parse_outcome(const std::string& text, const std::string& statement, const VariableList& variables);
  void parse_fixed(const std::string& text, const std::string& statement, const VariableList& variables);
  void parse_random(const std::string& text, const std::string& statement, const VariableList& variables);
  void parse_intercept(const std::string& suffix, const std::string& term, const VariableList& variables);
  void parse_random_computed(const model::term_text& cut, const std::string& term,
                             const VariableList& variables);
  /// Over all levels, the design columns of a random term: each has a variance.
  std::size_t n_variances(const model::anyVariable& term) const;
  std::size_t n_variances(const model::combinationOfAnyVariable& term) const;
  void add_default_intercepts(const VariableList& variables);
  void check_levels() const;
  void check_phantom(const std::string& statement) const;
  void check_own_effects() const;
  void merge_fixed(const Model& other);
  void merge_random(const Model& other);
  void add_member(const Model& other);
  void mark_variance_model(const Model& variance_model);
  std::vector<model::term_column> design(const model::anyVariable& term) const;
  std::vector<model::term_column> design(const model::anyVariable& term, unsigned level_value) const;
  /// What a restricted equation says of each row of parameters().
  std::vector<model::parameter> restricted_rows(const Model& restricted) const;
  std::vector<model::parameter> restricted_coefficients(const Model& restricted) const;
  std::vector<model::parameter> restricted_variances(const Model& restricted) const;
  std::vector<model::row> parameter_rows(const model::row_layout& layout) const;
  std::vector<model::row> coefficient_rows(model::row_section section, bool with_intercept) const;
  std::vector<model::row> standardized_rows(model::standardized_rows which) const;
};

/// Order in which equations are sampled: block, rank of the kind, natural order of the outcome's name.
bool operator<(const Model& a, const Model& b);
/// The same outcomes.
bool operator==(const Model& a, const Model& b);

namespace model {
/// The outcome term "#_multi_#" of a block of correlated outcomes.
anyVariable multi_outcome();
}  // namespace model

}  // namespace tovik
