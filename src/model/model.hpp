#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/any_variable.hpp"
#include "model/combination.hpp"
#include "model/link.hpp"
#include "model/parameter.hpp"
#include "support/block.hpp"

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

  /// Several outcomes in one equation; a setting of the run.
  static bool allow_multivariate;

  /// Reads "outcome ~ predictors | random". Throws tovik::error with the text for the user.
  Model(const std::string& statement, const VariableList& variables, evaluate::defines* names);

  /// The name of the outcome, or of the outcomes with a blank between them.
  std::string name() const;
  std::vector<std::string> names() const;
  /// The equation as text: "y ~ Intercept x z | Intercept x".
  std::string command() const;
  /// The number of the outcome's data::type; 0 if any outcome has type 0.
  int kind() const;
  bool has(const model::anyVariable& term) const;  ///< among outcomes, fixed, random and phantom terms
  std::string var_param_name() const;              ///< name of the single outcome in the parameter table

  /// Outcome, fixed and random columns of the data matrix; zind has one list per level (see above).
  std::vector<unsigned> yind() const;
  std::vector<unsigned> xind() const;
  std::vector<std::vector<unsigned>> zind() const;
  std::vector<unsigned> rawIndicators() const { return yind(); }

  /// Number of random effects (design columns), in all and at one level.
  unsigned n_re() const;
  unsigned n_re(unsigned level_value) const;
  /// Per level: whether a random intercept stands there.
  std::vector<bool> hasRandomIntercept() const;
  /// True if the random term stands at this level: below the outcome's levels, and varying within its
  /// clusters.
  bool isRE(const model::anyVariable& term, unsigned level_value) const;
  /// Names of the random effects of a level, one per design column.
  std::vector<std::string> reName(int level_value) const;
  /// The printed number of a level: 2 for the nearest level above level 1 of the data.
  unsigned printed_level(unsigned level_value) const;

  /// One parameter per column of xind, then of the computed terms.
  std::vector<model::parameter> fixedParameters() const;
  /// One parameter (of the variance) per random effect of the level; a start is one of the variance.
  std::vector<model::parameter> randomParameters(unsigned level_value) const;
  /// All parameters of the terms, the random ones too, then a labelled residual variance.
  std::vector<model::parameter> constraints() const;

  /// Row names. parameters(): variances and covariances from the top level down (lower triangle by columns),
  /// residual variance, coefficients; an 11-character tag in front. standardized(): slopes. rsquare():
  /// shares.
  std::vector<std::string> parameters() const;
  std::vector<std::string> standardized() const;
  std::vector<std::string> rsquare() const;

  /// The names of terms that stand twice; empty if there are none.
  std::vector<std::string> duplicateFixed() const;
  std::vector<std::string> duplicateRandom() const;

  /// True if both speak of the same outcome with the same link.
  bool isEquivalent(const Model& other) const;
  /// Takes over the terms of another model of the same outcome. Throws tovik::error_debug if outcomes or
  /// links differ.
  Model& operator+=(const Model& other);

 private:
  void parse_outcome(const std::string& text, const std::string& statement, const VariableList& variables);
  void parse_fixed(const std::string& text, const std::string& statement, const VariableList& variables);
  void parse_random(const std::string& text, const std::string& statement, const VariableList& variables);
  void check_random_parameter(const model::anyVariable& parsed, const std::string& term,
                              const std::string& statement) const;
  void add_default_intercepts(const VariableList& variables);
  void check_levels() const;
  void merge_fixed(const Model& other);
  void merge_random(const Model& other);
};

/// Order in which equations are sampled: block, rank of the kind, natural order of the outcome's name.
bool operator<(const Model& a, const Model& b);
/// The same outcomes.
bool operator==(const Model& a, const Model& b);

}  // namespace tovik
