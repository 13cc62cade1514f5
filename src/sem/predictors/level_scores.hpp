#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem {

/// The units of a level by what holds them: a unit of a level above, or the whole.
struct unit_groups {
  static constexpr unsigned whole = static_cast<unsigned>(-1);
  unsigned level = whole;                ///< of the data: where the groups are units; or `whole`
  arma::uword n = 1;                     ///< number of groups
  const arma::uword* of_unit = nullptr;  ///< not read for the whole

  /// out[g] := the sum of x over the units of group g.
  void sum(arma::uword n_units, const double* x, double* out) const;
};

/// The deviations of all variables at one level of the data, and their cross-products.
///
/// One row per unit of the level, the columns of the working matrix; a variable without a deviation at the
/// level has zeros. Of a nominal variable the columns of its dummy codes hold the latent differences. The
/// products Z'Z of all columns that predict something are formed once in a scan; every regression of the
/// level takes its blocks from them, so that a scan over p variables costs O(n p^2) and not O(n p^3).
class level_scores {
 public:
  level_scores() = default;
  /// `used`: the columns that take part in regressions of this level, rising.
  level_scores(arma::uword n_units, arma::uword n_columns, arma::Col<arma::uword> used);

  const arma::Mat<double>& data() const { return data_; }
  arma::uword n_units() const { return data_.n_rows; }

  /// Replaces columns; their products are formed anew when they are asked for.
  void write(const arma::Col<arma::uword>& columns, const arma::Mat<double>& deviations);

  /// The storage of a column for a caller that writes some or all of its cells; otherwise the same.
  double* rewrite(arma::uword column);

  /// Sums of a used column by group, kept until the column is written. Groups of one level are the same in
  /// every call.
  const double* sums(const unit_groups& by, arma::uword column) const;

  /// x'x of these columns, and x'y of columns `x` and `y`; every column among `used`.
  arma::Mat<double> products(const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& y);
  void products(const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& y, arma::Mat<double>& out);

 private:
  struct column_sums {
    unsigned level;
    arma::Mat<double> by_group;  ///< groups x used columns
    std::vector<unsigned char> stale;
  };

  arma::uword place(arma::uword column) const;
  void refresh();
  void refresh_all(const double* Z);
  void refresh_some(const double* Z);
  const double* used_columns();

  arma::Mat<double> data_;
  arma::Col<arma::uword> used_;
  std::vector<arma::uword> place_;  ///< of a column of the data among the used ones
  arma::Mat<double> products_;
  std::vector<unsigned char> stale_;
  std::vector<arma::uword> moved_;         ///< scratch: places that are stale
  arma::Mat<double> copy_;                 ///< of the used columns, where others stand between them
  mutable std::vector<column_sums> sums_;  ///< by level of the groups; a chain is one thread
};

}  // namespace tovik::sem
