#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "data/variable.hpp"
#include "evaluate/pair.hpp"
#include "model/parameter.hpp"
#include "model/parameter_info.hpp"

namespace tovik {
class VariableList;
namespace evaluate {
class defines;
}
}  // namespace tovik

namespace tovik::model {

struct correlation;

/// What a term refers to.
enum class type : int {
  variable = 0,  ///< the variable itself
  mean = 1,      ///< its latent group mean
  latent = 2,    ///< its latent propensity
  missing = 3,   ///< its missing data indicator
  random = 4,    ///< a named random effect
  phantom = 5,   ///< a phantom variable
  multi = 6,     ///< the outcome of a multivariate block
  variance = 7,  ///< a log residual variance
};

/// One column of the design that a term gives.
struct term_column {
  std::string name;    ///< as rows show it
  unsigned column;     ///< in the prepared data; data::variable::no_column until they are prepared
  unsigned level = 0;  ///< catalogue level: the column varies within clusters of every smaller one
};

/// One term of a statement: a variable of the catalogue, what is meant of it, and its parameter.
class anyVariable {
 public:
  model::parameter param;
  std::shared_ptr<data::variable> variable;
  model::type type = model::type::variable;
  std::string modifier;                   ///< the text in brackets, empty for none
  std::shared_ptr<data::variable> level;  ///< the identifier named in brackets, null for none
  bool is_derived = false;                ///< made by the program and not written by the user
  std::string transformation;             ///< of an outcome: the inline expression as written, empty for none
  model::parameter lambda;  ///< of a Yeo-Johnson outcome: label, fixed value or start of its lambda
  /// The level was written as a number, "name$k": only a covariance, or a phantom, selects levels in this
  /// way. `level` and `modifier` then hold the identifier, and are empty for the residual of the variable.
  bool is_numbered = false;
  /// Of a phantom: what it correlates (model/correlation.hpp). Null for every other term, and for a phantom
  /// of the user's that does not stand in two equations.
  std::shared_ptr<const correlation> ends;

  /// Reads one term "name", "name@value", "name@label", "name[id]%start" and so on. `is_outcome` adds the
  /// checks that an outcome must pass. Throws tovik::error with the text for the user.
  static anyVariable parse(const std::string& term, const VariableList& variables, evaluate::defines* names,
                           bool is_outcome);

  /// Reads an outcome with an inline transformation, an expression of one variable that has an inverse.
  /// `statement` is the whole statement, for messages. Throws tovik::error.
  static anyVariable parse_transform(const std::string& expression, const std::string& statement,
                                     const VariableList& variables, evaluate::defines* names);

  /// The intercept as a term: the constant of the catalogue.
  static anyVariable intercept(const VariableList& variables);

  bool is_intercept() const;

  /// The printed name: the shown name of the variable with ".latent", ".missing" or ".mean" by type;
  /// "Intercept" for the constant.
  std::string name() const;
  /// name() without the bracket level, from the full name of the variable.
  std::string fullname_noModifer() const;
  /// The full name with type suffix and bracket text, in lower case.
  std::string fullname_lower() const;
  std::string nameNoModifier() const { return name(); }
  /// The term as written in a statement, with bracket level and parameter.
  std::string text() const;

  /// The design columns, known in number, name and level from the start. A nominal variable gives its dummy
  /// codes. Latent cluster means give a column for each level above the variable, the nearest first, or the
  /// one that the bracket selects; their names end in the identifier, "x.mean[id]", where `clusters` holds it
  /// and the variable has several such levels.
  std::vector<term_column> columns(const std::vector<std::shared_ptr<data::variable>>& clusters = {}) const;
  /// The catalogue level of the term: of latent cluster means that of the nearest ones.
  unsigned top_level() const;
  /// One name for each design column.
  std::vector<std::string> names() const;
  /// The design columns in the data matrix, by what is meant of the variable: of a nominal variable those of
  /// its dummy codes; of an outcome that is centred its centred copy; the columns of its latent group means,
  /// propensity or missing indicator; the column of a named random effect or a phantom. Derived columns exist
  /// once the data are prepared.
  std::vector<unsigned> indicator() const;
  const model::parameter& parameter() const { return param; }

  /// True for an outcome that is transformed inline.
  bool is_transformed() const { return !transformation.empty(); }
  /// The transformation as two trees of "#DATA(0)": the function (data side) and its inverse (parameter
  /// side); `flag` is set if there is one. Empty trees for an outcome in its own scale.
  evaluate::pair pair() const;

  /// Ties the label of the term to its entry in the table of parameters, which is then no longer new. Throws
  /// tovik::error if the table lacks it or if the label is the name of a vector in `names`, and
  /// tovik::error_debug for an outcome with a transformation. A term without a label changes nothing.
  void addNode(std::unordered_map<std::string, parameter_info>& map, const evaluate::defines& names) const;

  /// True if the term varies within clusters of catalogue level `level_value` and its bracket, if any,
  /// selects that level. An intercept varies at every level.
  bool isRE(unsigned level_value) const;
};

/// The same variable, type, level and modifier; the parameter does not count.
bool operator==(const anyVariable& a, const anyVariable& b);
/// Natural order of name().
bool operator<(const anyVariable& a, const anyVariable& b);

}  // namespace tovik::model
