#pragma once

#include <armadillo>

namespace tovik::sem::scan {

/// The residual variance of each unit of an equation: one for all, one per cluster, or one per unit. The
/// kernels ask for it in this form only, so that their algebra is written once.
class row_scale {
 public:
  enum class form { one, per_cluster, per_row };

  /// One variance.
  explicit row_scale(double variance = 1.0) : form_(form::one), variance_(variance) {}
  /// One per cluster; `cluster_of` gives the cluster of each unit. Both must outlive this object.
  row_scale(arma::Col<double> const& variances, arma::Col<arma::uword> const& cluster_of)
      : form_(form::per_cluster), values_(variances.memptr()), cluster_of_(cluster_of.memptr()) {}
  /// One per unit. Must outlive this object.
  explicit row_scale(arma::Col<double> const& variances)
      : form_(form::per_row), values_(variances.memptr()) {}

  form kind() const { return form_; }
  bool is_one() const { return form_ == form::one; }

  /// The variance of all units; only for the first form.
  double value() const { return variance_; }
  double variance(arma::uword i) const {
    switch (form_) {
      case form::per_cluster:
        return values_[cluster_of_[i]];
      case form::per_row:
        return values_[i];
      default:
        return variance_;
    }
  }
  double precision(arma::uword i) const { return 1.0 / variance(i); }

 private:
  form form_;
  double variance_ = 1.0;
  double const* values_ = nullptr;
  arma::uword const* cluster_of_ = nullptr;
};

}  // namespace tovik::sem::scan
