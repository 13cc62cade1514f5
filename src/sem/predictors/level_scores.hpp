#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem {

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

  arma::Mat<double> const& data() const { return data_; }
  arma::uword n_units() const { return data_.n_rows; }

  /// Replaces columns; their products are formed anew when they are asked for.
  void write(arma::Col<arma::uword> const& columns, arma::Mat<double> const& deviations);

  /// x'x of these columns, and x'y of columns `x` and `y`; every column among `used`.
  arma::Mat<double> products(arma::Col<arma::uword> const& x, arma::Col<arma::uword> const& y);

 private:
  void refresh();

  arma::Mat<double> data_;
  arma::Col<arma::uword> used_;
  std::vector<arma::uword> place_;  ///< of a column of the data among the used ones
  arma::Mat<double> products_;
  std::vector<unsigned char> stale_;
};

}  // namespace tovik::sem
