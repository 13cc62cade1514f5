#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "data/dummy.hpp"
#include "data/named_effect.hpp"
#include "data/variable.hpp"

namespace tovik {

/// The catalogue of a run: data columns, the constant, dummy codes, latent factors, phantoms, random effects,
/// in this order. Read-only while chains run.
class VariableList {
 public:
  using variable_ptr = std::shared_ptr<data::variable>;

  std::unordered_map<std::string, std::string> renames;  ///< full name to shown name, filled by truncateNames
  std::vector<variable_ptr> variables;
  std::vector<variable_ptr> clusters;  ///< clustering identifiers, from level 2 up

  /// The roles of the variables are settled: what no equation speaks of is fixed, and an outcome that is
  /// fixed is one without an equation, not a mistake of its statement.
  bool settled = false;

  /// Longest shown name, set before the list is built.
  static std::uint64_t truncate;

  /// The variable with this name without regard to letter case, by full names first and shown names after;
  /// null if there is none. Quick for the variables that index() has seen.
  variable_ptr find(std::string_view name) const;
  /// Makes find() quick for the variables appended since the last call. From then on their shown names change
  /// by truncateNames() only.
  void index();

  /// Selections, each in catalogue order.
  std::vector<variable_ptr> subset(data::type kind) const;
  std::vector<variable_ptr> subset(data::usage role) const;
  std::vector<variable_ptr> weights() const;
  /// Data columns (continuous, ordinal, count, nominal) that are outcomes or predictors.
  std::vector<variable_ptr> modelvars() const;
  /// Data columns that are outcomes and have latent means, or stand centred in other equations.
  std::vector<variable_ptr> outcomeWithMeans() const;
  /// Data columns that are predictors, or outcomes of which outcomeWithMeans() speaks.
  std::vector<variable_ptr> covarAndOutMeans() const;
  /// The shown names of all variables.
  std::vector<std::string> variableNames() const;

  /// Appends a phantom at level 0, without a column (no_column). The caller sets its level; it gets a column
  /// when the data are prepared, if an equation still has it as outcome by then.
  variable_ptr add_phantom(const std::string& name);

  /// Puts the identifiers (type id) into `clusters`, from level 2 up, whatever their order in the list.
  void order_clusters();

  /// Shortens shown names to `truncate` characters, keeps them distinct without regard to letter case, and
  /// returns one report line "\n           full -> short" for each change. Trailing numbers survive where
  /// they fit: "item_number12345" becomes "item12345" at 9 characters. Dummy codes follow their parents.
  std::string truncateNames();

 private:
  void forget_index();

  /// Where the first `indexed_` variables stand, by lower-cased name; the first of equal names counts.
  std::unordered_map<std::string, std::size_t> full_names_;
  std::unordered_map<std::string, std::size_t> shown_names_;
  std::size_t indexed_ = 0;
};

}  // namespace tovik
