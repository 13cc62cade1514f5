#pragma once

#include <armadillo>

#include "sem/outcomes/log_scale.hpp"
#include "sem/scan/row_scale.hpp"

namespace tovik::sem {

/// The residual variances of the units of an equation by its variance model, as the steps of a scan and the
/// report take them.
class row_variances {
 public:
  /// The model must outlive this object. Throws error_debug "No Scale link." for null.
  void attach(LogScale* model);
  bool attached() const { return model_ != nullptr; }
  /// Throws error_debug "No Scale link." without one.
  LogScale& model() const;

  /// Brings scale() up to date with the data: for these units alone unless `units` is null. `left`: the share
  /// of each variance that is left given other residuals.
  void read(const arma::Mat<double>& data, const arma::uword* units, arma::uword n, double left);
  /// As last read: v_i left of each unit.
  scan::row_scale scale() const { return scan::row_scale::per_row(precisions_); }

  /// Keeps v of all units at the data for what is reported.
  void keep(const arma::Mat<double>& data, double left);
  /// The mean of what was kept; NaN before. Its address stays.
  const double& mean() const { return mean_; }
  double* mean_address() { return &mean_; }
  /// What a report says of them (see variance_rows).
  const arma::Col<double>& rows() const;

 private:
  LogScale* model_ = nullptr;
  arma::Col<double> precisions_, part_, of_betas_;
  double of_left_ = 0.0;
  bool is_current_ = false;  ///< of all units, and at `of_betas_` whatever the data
  arma::Col<double> kept_;
  double mean_ = arma::datum::nan;
  mutable arma::Col<double> rows_;  ///< empty: not computed; a chain is one thread
};

}  // namespace tovik::sem
