#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "data/variable_list.hpp"
#include "sem/predictors/excluded_level.hpp"
#include "sem/predictors/level_scores.hpp"
#include "sem/predictors/unit_chain.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::manifest {

/// How the levels of the data are tied together.
enum class method {
  no_means = 0,  ///< regressions hold the values of their own and of higher levels
  means = 1,     ///< and the means of the clusters, beside deviations from them
};

/// A variable of the imputation model: values that all units have, as columns of numbers (the value, the code
/// of an ordered category, the dummy codes of a nominal one), and their means.
struct member {
  VariableList::variable_ptr variable;
  unsigned level = 0;  ///< own level, rows are 0
  bool incomplete = false;
  std::vector<const data::variable*> columns;  ///< what each column is called by
  std::unique_ptr<sem::unit_chain> chain;      ///< own level and those above at which the variable varies
  arma::Col<arma::uword> missing;              ///< units of the own level, rising
  /// Per place of the chain: units x columns. Place 0 holds the values; a mean is that of the units directly
  /// below, each with the same weight.
  std::vector<arma::Mat<double>> values;
  arma::Row<double> origin;                    ///< means of the observed values
  std::vector<std::vector<bool>> is_constant;  ///< per place and column: the observed values do not vary
};

/// A predictor of the regressions of a level.
struct predictor {
  std::size_t owner;       ///< member; of the constant `Data::none`
  arma::uword column;      ///< of the member
  unsigned place;          ///< of the owner's chain
  bool deviation;          ///< less the mean of the next place; otherwise less the origin
  unsigned constant_from;  ///< the lowest level at which units have one value each
};

/// The variables of an imputation model, and for every level the predictors of its regressions, one row per
/// unit of the level: the constant; of a variable of the level or of a higher one its values; of a lower one
/// its means at the level. With `method::means` they are taken apart into deviations from the means of each
/// higher level and these means: the same span, with within- and between-cluster slopes as coefficients.
///
/// Columns stand around the observed means of their variables, so that products keep their digits whatever
/// the units of the data.
class Data {
 public:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  /// The predictors of the imputation (VariableList::covarAndOutMeans), varying at levels where their
  /// observed intraclass correlation is at least `icc_cutoff`. Missing values are NaN until they are set.
  /// Throws tovik::error for a type that cannot be imputed and for a variable that does not vary within
  /// clusters.
  Data(const VariableList& variables, const sem::working_data& working, method how, double icc_cutoff);
  Data(const Data&) = delete;
  Data& operator=(const Data&) = delete;

  unsigned n_levels() const { return working_.n_levels(); }
  const sem::working_data& working() const { return working_; }
  arma::uword row(unsigned level) const { return working_.n_units(level); }
  arma::uword col(unsigned level) const { return predictors_.at(level).size(); }
  sem::level_scores& data(unsigned level) { return *levels_.at(level); }
  const std::vector<predictor>& predictors(unsigned level) const { return predictors_.at(level); }
  /// "x", or "x.mean[school]"; "1" for the constant.
  std::string name(const predictor& one) const;

  const std::vector<member>& members() const { return members_; }
  const member& at(std::size_t k) const { return members_.at(k); }
  /// The columns of a level that predict member k: all others.
  arma::Col<arma::uword> predictors_of(std::size_t k) const;
  /// For each unit of `level` the unit of a level not below it.
  const arma::Col<arma::uword>& above(unsigned level, unsigned higher) const;

  /// The incomplete members below or above a level: those whose columns convUpLvlCol and convDownLvlCol
  /// bring.
  const std::vector<std::size_t>& misVarsUp(unsigned level) const { return mis_up_.at(level); }
  const std::vector<std::size_t>& misVarsDown(unsigned level) const { return mis_down_.at(level); }

  /// Replaces values of these units of the member's own level; one row for each.
  void set(std::size_t k, const arma::Col<arma::uword>& units, const arma::Mat<double>& values);
  /// The means of a member from its values, and its columns at its own level.
  void updateMeans(std::size_t k);
  /// Writes the columns of all incomplete members below `level` into it.
  void convUpLvlCol(unsigned level);
  /// Writes the columns of the incomplete members of `level` into the levels below.
  void convDownLvlCol(unsigned level);
  /// Means and columns of everything, once the missing values have been set.
  void refresh();

  /// Where variables predict nothing although the level has regressions.
  const std::vector<sem::excluded_level>& excluded() const { return excluded_; }

 private:
  void add_member(const VariableList::variable_ptr& v, double icc_cutoff);
  void add_predictors(unsigned level);
  void list_excluded();
  void write(std::size_t k, unsigned level);
  unsigned first_place(const member& m, unsigned level) const;

  const sem::working_data& working_;
  method how_;
  std::vector<std::string> cluster_names_;
  std::vector<member> members_;
  std::vector<std::vector<predictor>> predictors_;           ///< by level
  std::vector<std::unique_ptr<sem::level_scores>> levels_;   ///< their values
  std::vector<std::vector<arma::Col<arma::uword>>> above_;   ///< [level][higher - level]
  std::vector<std::vector<std::size_t>> mis_up_, mis_down_;  ///< by level
  std::vector<sem::excluded_level> excluded_;
};

}  // namespace tovik::manifest
