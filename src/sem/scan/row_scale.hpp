#pragma once

#include <armadillo>
#include <cmath>

namespace tovik::sem::scan {

/// The scale of the residuals of an equation: one variance for all units, or a precision per cluster or per
/// unit, so that the weights of a working outcome enter as they are. The kernels ask for it in this form
/// only, so that their algebra is written once.
class row_scale {
 public:
  enum class form { one, per_cluster, per_row };

  /// One variance.
  explicit row_scale(double variance = 1.0) : form_(form::one), variance_(variance) {}
  /// One precision per cluster; `cluster_of` gives the cluster of each unit. Both must outlive this object.
  static row_scale per_cluster(const arma::Col<double>& precisions,
                               const arma::Col<arma::uword>& cluster_of) {
    row_scale out;
    out.form_ = form::per_cluster;
    out.precisions_ = precisions.memptr();
    out.cluster_of_ = cluster_of.memptr();
    return out;
  }
  /// One precision per unit. Must outlive this object.
  static row_scale per_row(const arma::Col<double>& precisions) {
    row_scale out;
    out.form_ = form::per_row;
    out.precisions_ = precisions.memptr();
    return out;
  }

  form kind() const { return form_; }
  bool is_one() const { return form_ == form::one; }

  /// The variance of all units; only for the first form.
  double value() const { return variance_; }
  /// Of unit i, in every form.
  double precision(arma::uword i) const {
    switch (form_) {
      case form::per_cluster:
        return precisions_[cluster_of_[i]];
      case form::per_row:
        return precisions_[i];
      default:
        return 1.0 / variance_;
    }
  }
  double variance(arma::uword i) const { return is_one() ? variance_ : 1.0 / precision(i); }
  double sd(arma::uword i) const { return std::sqrt(variance(i)); }

 private:
  form form_;
  double variance_ = 1.0;
  const double* precisions_ = nullptr;
  const arma::uword* cluster_of_ = nullptr;
};

}  // namespace tovik::sem::scan
