#pragma once

#include <armadillo>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <vector>

#include "calibration/coverage.hpp"

namespace tovik::tests::calibration {

/// Pools estimates and squared standard errors of imputed data sets (Rubin, 1987, Multiple imputation for
/// nonresponse in surveys), with the degrees of freedom of Barnard and Rubin (1999, Biometrika 86, 948-955).
inline estimate pool(const arma::Col<double>& estimates, const arma::Col<double>& variances,
                     double complete_df) {
  const double m = static_cast<double>(estimates.n_elem);
  if (m < 2) throw std::runtime_error("pooling needs two imputed data sets at least");
  const double within = arma::mean(variances), between = arma::var(estimates);
  const double total = within + (1 + 1 / m) * between;
  const double share = (1 + 1 / m) * between / total;
  const double observed = (complete_df + 1) / (complete_df + 3) * complete_df * (1 - share);
  const double old = (m - 1) / (share * share);
  const double df = share > 0 ? 1 / (1 / old + 1 / observed) : observed;
  const double half =
      boost::math::quantile(boost::math::students_t_distribution<double>(df), 0.975) * std::sqrt(total);
  const double mean = arma::mean(estimates);
  return {mean, std::sqrt(total), mean - half, mean + half};
}

/// Least squares: coefficients in the first column, their variances in the second.
inline arma::Mat<double> least_squares(const arma::Mat<double>& X, const arma::Col<double>& y) {
  const arma::Mat<double> inverse = arma::inv_sympd(X.t() * X);
  const arma::Col<double> b = inverse * (X.t() * y);
  const double s2 = arma::accu(arma::square(y - X * b)) / static_cast<double>(X.n_rows - X.n_cols);
  return arma::join_rows(b, s2 * inverse.diag());
}

/// `analysis`: of one completed data set, estimates in the first column, variances in the second; `df`: of
/// each with complete data.
inline std::vector<estimate> pool_sets(
    const sampled_run& run, const std::function<arma::Mat<double>(const arma::Mat<double>&)>& analysis,
    const std::vector<double>& df) {
  const std::vector<arma::Mat<double>>& sets = run.input->imputations;
  const arma::uword m = sets.size() - 1;  // the first is the incomplete data
  arma::Mat<double> values(m, df.size()), variances(m, df.size());
  for (arma::uword k = 0; k < m; ++k) {
    const arma::Mat<double> found = analysis(sets[k + 1]);
    values.row(k) = found.col(0).t();
    variances.row(k) = found.col(1).t();
  }
  std::vector<estimate> out;
  for (arma::uword j = 0; j < df.size(); ++j) out.push_back(pool(values.col(j), variances.col(j), df[j]));
  return out;
}

}  // namespace tovik::tests::calibration
