#pragma once

#include <armadillo>

namespace tovik::sem::scan {

/// The distribution of unknown values (missing outcomes, latent scores) as the steps on values see it. Values
/// and groups are numbered as in value_groups.
class value_target {
 public:
  virtual ~value_target() = default;

  /// Makes values[j] the value of unknown which(j): writes it, on the scale of the data, into every row of
  /// its unit, and refreshes what follows from the column. usable[j] := 0 for a value that has no place on
  /// the scale of the data; that unknown stays as it is. Touches no other unit. Values that are vectors come
  /// as a matrix with one row for each, column by column.
  virtual void write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
                     unsigned char* usable) = 0;
  /// out[j] := the log density, up to a constant, of the values of groups(j) at the data, given everything
  /// else. `groups` rises.
  virtual void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                           double* out) = 0;
  /// The same without the normal density that the values have in their own equation.
  virtual void log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                              double* out) = 0;
};

}  // namespace tovik::sem::scan
