#pragma once

#include <armadillo>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "evaluate/pair.hpp"
#include "sem/wiring/cluster.hpp"
#include "sem/wiring/transform.hpp"

namespace tovik::sem {

/// Where the values of a transformation lie.
struct value_range {
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();

  bool is_bounded() const { return std::isfinite(lower) || std::isfinite(upper); }
};

/// The scale on which an outcome is modelled, y* = g(y), beside the scale of the data, y.
///
/// The y* of each unit is kept with the cell that belongs to it: g is evaluated again only where the cell
/// has changed, and a drawn y* is not rounded by the way through the data. Without a transformation y* = y,
/// and nothing is kept.
class outcome_scale {
 public:
  /// `column`: the outcome's column of the working matrix. `structure` is that of the outcome's level.
  outcome_scale(arma::uword column, unsigned level, const estimator::cluster& structure);

  void set(const evaluate::pair& pair);
  bool has_transform() const { return transform_ != nullptr; }
  const estimator::transform& transform() const { return *transform_; }

  /// The transformation has changed: nothing that is kept holds.
  void forget() { cells_.clear(); }
  /// Of a transformation whose values are known to be bounded: the bounds, whenever asked.
  void bound(std::function<value_range()> range) { range_ = std::move(range); }
  value_range range() const { return range_ ? range_() : value_range(); }

  /// y* of all units at the data, kept. Only with a transformation.
  const arma::Col<double>& read(const arma::Mat<double>& data);
  /// y* of one unit at the data.
  double at(const arma::Mat<double>& data, arma::uword unit) const {
    const double cell = data(row(unit), column_);
    if (transform_ == nullptr) return cell;
    return unit < cells_.size() && cells_[unit] == cell ? values_(unit) : transform_->forward(cell);
  }
  /// The values of all units where they stand, when y* is the cell of a row; else null.
  const double* cells(const arma::Mat<double>& data) const {
    return transform_ == nullptr && rows_ == nullptr ? data.colptr(column_) : nullptr;
  }
  double* cells(arma::Mat<double>& data) {
    return transform_ == nullptr && rows_ == nullptr ? data.colptr(column_) : nullptr;
  }
  /// Makes y* the value of a unit and writes y into the rows of the unit. False, with nothing done, when y*
  /// is outside the range of the transformation.
  bool write(arma::Mat<double>& data, arma::uword unit, double value) {
    if (transform_ != nullptr || rows_ != nullptr) return write_all(data, unit, value);
    data.colptr(column_)[unit] = value;
    return true;
  }
  /// The same for the values of several unknown units: values[j] becomes that of units(which(j)). usable[j]
  /// := 0 where it has no place.
  void write(arma::Mat<double>& data, const arma::Col<arma::uword>& units,
             const arma::Col<arma::uword>& which, const double* values, unsigned char* usable);

 private:
  bool write_all(arma::Mat<double>& data, arma::uword unit, double value);
  arma::uword row(arma::uword unit) const { return rows_ == nullptr ? unit : rows_->start[unit]; }

  arma::uword column_;
  const estimator::selector* rows_;  ///< the rows of each unit; null for an outcome of the rows
  std::unique_ptr<estimator::transform> transform_;
  std::function<value_range()> range_;
  std::vector<double> cells_;  ///< the cells that values_ belong to
  arma::Col<double> values_;
};

}  // namespace tovik::sem
