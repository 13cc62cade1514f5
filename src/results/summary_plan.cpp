#include "results/summary_plan.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "results/chisq_upper.hpp"
#include "results/summary_row.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

using column = Summary::column;

/// The probabilities of a column of quantiles; none for any other.
std::vector<double> probabilities_of(column which) {
  switch (which) {
    case column::quantiles:
      return {0.025, 0.25, 0.5, 0.75, 0.975};
    case column::quant99:
      return {0.005, 0.995};
    case column::quant95:
      return {0.025, 0.975};
    case column::quant50:
      return {0.25, 0.75};
    default:
      return {};
  }
}

}  // namespace

summary_plan::summary_plan(const std::vector<column>& which, const char* unknown)
    : which_(which), probabilities_{summary_row::median_probability} {
  for (const column c : which_) {
    if (c < column::mean || c > column::pvalue) throw error_debug(unknown);
    const std::vector<double> p = probabilities_of(c);
    probabilities_.insert(probabilities_.end(), p.begin(), p.end());
    width_ += std::max<std::size_t>(p.size(), 1);
    psr_ |= c == column::psr;
    ess_ |= c == column::n_eff || c == column::mcmc_se;
    mad_ |= c == column::mad_sd;
    ranks_ |= !p.empty() || c == column::median || c == column::mad_sd;
  }
}

void summary_plan::fill(double* x, std::size_t n, double psr, double ess, arma::Mat<double>& out,
                        arma::uword row) const {
  if (summary_row::has_nan(x, n)) {
    out.row(row).fill(std::numeric_limits<double>::quiet_NaN());
    return;
  }
  const summary_row::moments m = summary_row::mean_variance(x, n);
  const std::vector<double> q = ranks_ ? summary_row::quantiles(x, n, probabilities_) : std::vector<double>();
  const double mad = mad_ ? summary_row::mad(x, n, q[0]) : std::numeric_limits<double>::quiet_NaN();
  std::size_t next_q = 1;
  arma::uword c = 0;
  for (const column which : which_) {
    switch (which) {
      case column::mean:
        out(row, c++) = m.mean;
        break;
      case column::median:
        out(row, c++) = q[0];
        break;
      case column::stddev:
        out(row, c++) = std::sqrt(m.variance);
        break;
      case column::variance:
        out(row, c++) = m.variance;
        break;
      case column::mad_sd:
        out(row, c++) = mad;
        break;
      case column::psr:
        out(row, c++) = psr;
        break;
      case column::n_eff:
        out(row, c++) = ess;
        break;
      case column::mcmc_se:
        out(row, c++) = std::sqrt(m.variance) / std::sqrt(ess);
        break;
      case column::chisq:
        out(row, c++) = summary_row::wald(m);
        break;
      case column::pvalue:
        out(row, c++) = chisq_upper(summary_row::wald(m), 1.0);
        break;
      default:
        for (std::size_t k = probabilities_of(which).size(); k > 0; --k) out(row, c++) = q[next_q++];
    }
  }
}

arma::Mat<double> summary_plan::table(const arma::Mat<double>& x) const {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  arma::Mat<double> out(x.n_rows, width_);
  std::vector<double> values(x.n_cols);
  for (arma::uword r = 0; r < x.n_rows; ++r) {
    for (arma::uword t = 0; t < x.n_cols; ++t) values[t] = x(r, t);
    fill(values.data(), values.size(), nan, nan, out, r);
  }
  return out;
}

}  // namespace tovik
