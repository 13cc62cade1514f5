#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/cluster.hpp"
#include "sem/wiring/compute.hpp"

namespace tovik::sem::scan {

/// One matrix of predictors: plain columns of the working matrix, then computed ones, at the units of the
/// equation. A column is static when no cell it reads is ever written after set-up: it is read once.
class columns {
 public:
  columns() = default;
  /// `mutable_columns`: for each column of the working matrix, whether it is written after set-up; empty
  /// means none. A computed column is mutable if a column it reads is, or if it holds a parameter or a random
  /// number.
  columns(arma::Col<arma::uword> plain, std::vector<estimator::compute> computed,
          const std::vector<bool>& mutable_columns);

  /// Reads all columns at the first call and the mutable ones at later calls. `rows`: the row of the working
  /// matrix for each unit; null for every row.
  void refresh(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows);

  /// Column j at these data: the kept copy if it is static, else evaluated into `scratch`.
  const double* at(arma::uword j, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                   arma::Col<double>& scratch) const;

  /// Column j at these data, of the given units only (positions among the units of the equation), into `out`.
  /// Touches no other unit, unless a computed column couples rows.
  void at_units(arma::uword j, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                const arma::Col<arma::uword>& units, double* out) const;

  /// True if column j never changes and has been read.
  bool is_kept(arma::uword j) const { return filled_ && !is_dynamic_[j]; }
  /// False before the columns are first read.
  bool filled() const { return filled_; }
  /// Where column j stands, indexed by units, without a copy; null for a column that must be gathered or
  /// evaluated.
  const double* stored(arma::uword j, const arma::Mat<double>& data,
                       const arma::Col<arma::uword>* rows) const {
    if (is_kept(j)) return values_.colptr(j);
    return rows == nullptr && j < plain_.n_elem ? data.colptr(plain_(j)) : nullptr;
  }

  /// Units x columns, as last read.
  const arma::Mat<double>& values() const { return values_; }
  arma::uword size() const { return plain_.n_elem + computed_.size(); }
  bool is_dynamic(arma::uword j) const { return is_dynamic_[j]; }
  bool all_static() const { return dynamic_.empty(); }
  /// True if a computed column reads a parameter.
  bool holds_parameters() const { return holds_parameters_; }
  /// The positions of the mutable columns, rising.
  const std::vector<arma::uword>& dynamic() const { return dynamic_; }

 private:
  void read(arma::uword j, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
            double* out) const;

  arma::Col<arma::uword> plain_;
  std::vector<estimator::compute> computed_;
  std::vector<bool> is_dynamic_;
  std::vector<arma::uword> dynamic_;
  arma::Mat<double> values_;
  bool filled_ = false;
  bool holds_parameters_ = false;
  mutable std::vector<arma::uword> chosen_;  ///< rows of the units asked for; a chain is one thread
};

/// True if the value of the tree can change between scans.
bool is_mutable(const evaluate::node& tree, const std::vector<bool>& mutable_columns);

/// The design of an equation: its predictors, and the covariates of the random effects of each level above.
struct design {
  columns x;
  std::vector<columns> z;

  void refresh(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows) {
    x.refresh(data, rows);
    for (columns& level : z) level.refresh(data, rows);
  }
};

}  // namespace tovik::sem::scan
