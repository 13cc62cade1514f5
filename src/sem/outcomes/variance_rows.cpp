#include "sem/outcomes/variance_rows.hpp"

#include "support/error.hpp"

namespace tovik::sem {

arma::Col<double> variance_rows(const arma::Col<double>& v, const arma::Col<double>& proportions) {
  if (proportions.n_elem != 3) throw error_debug("Variances are reported at three quantiles.");
  if (v.is_empty() || v.has_nan())
    return arma::Col<double>(n_variance_rows, arma::fill::value(arma::datum::nan));
  const arma::Col<double> precisions = 1.0 / v;
  const double mean = arma::mean(precisions);
  const double index = v.n_elem < 2 ? 0.0 : arma::var(precisions) / (mean * mean);
  const arma::Col<double> q = arma::quantile(v, proportions);
  return {index, q(0), q(1), arma::mean(v), q(2)};
}

}  // namespace tovik::sem
