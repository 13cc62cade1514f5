#include "results/wald_test.hpp"

#include <algorithm>
#include <cmath>

#include "results/chisq_upper.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

using contrast_list = std::vector<model::contrast>;

/// The rows of the estimates that the contrasts speak of, ascending.
std::vector<arma::uword> rows_of_contrasts(const contrast_list& contrasts, arma::uword n_rows) {
  std::vector<arma::uword> out;
  for (const model::contrast& one : contrasts) {
    for (const auto& [row, coefficient] : one.rows) out.push_back(row);
  }
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  if (!out.empty() && out.back() >= n_rows)
    throw error_debug("A contrast speaks of a row that is not there.");
  return out;
}

/// The contrasts in the rows that they speak of: k x number of those rows.
arma::Mat<double> contrast_matrix(const contrast_list& contrasts, const std::vector<arma::uword>& rows) {
  arma::Mat<double> C(contrasts.size(), rows.size(), arma::fill::zeros);
  for (std::size_t j = 0; j < contrasts.size(); ++j) {
    for (const auto& [row, coefficient] : contrasts[j].rows) {
      const auto at = std::lower_bound(rows.begin(), rows.end(), arma::uword{row});
      C(j, static_cast<arma::uword>(at - rows.begin())) += coefficient;
    }
  }
  return C;
}

/// Adds C times the draws of one chain, less the constants, behind what stands in `out`. `draw(t)` points at
/// the parameters of draw t.
template <class Draw>
void append_contrasts(const contrast_list& contrasts, arma::uword n, const Draw& draw, arma::Mat<double>& out,
                      arma::uword first) {
  for (arma::uword t = 0; t < n; ++t) {
    const double* values = draw(t);
    for (std::size_t j = 0; j < contrasts.size(); ++j) {
      double sum = -contrasts[j].constant;
      for (const auto& [row, coefficient] : contrasts[j].rows) sum += coefficient * values[row];
      out(j, first + t) = sum;
    }
  }
}

bool full_row_rank(const contrast_list& contrasts, arma::uword n_rows) {
  return arma::rank(contrast_matrix(contrasts, rows_of_contrasts(contrasts, n_rows))) == contrasts.size();
}

}  // namespace

bool WaldTest::accept(const contrast_list& contrasts, arma::uword n_rows) {
  df = static_cast<std::int32_t>(contrasts.size());
  orthogonal = df == 0 || full_row_rank(contrasts, n_rows);
  return df > 0 && orthogonal;
}

WaldTest::WaldTest(const model::waldtest& test, const arma::Mat<double>& draws) {
  const contrast_list contrasts = test.contrasts();
  if (!accept(contrasts, draws.n_rows)) return;
  arma::Mat<double> values(contrasts.size(), draws.n_cols);
  append_contrasts(
      contrasts, draws.n_cols, [&](arma::uword t) { return draws.colptr(t); }, values, 0);
  compute(values);
}

WaldTest::WaldTest(const model::waldtest& test, const Summary& draws) {
  const contrast_list contrasts = test.contrasts();
  if (!accept(contrasts, draws.n_rows())) return;
  arma::Mat<double> values(contrasts.size(), draws.n_iterations());
  arma::uword first = 0;
  for (const chain_draws& chain : draws.chains()) {
    append_contrasts(
        contrasts, chain.n_cols(), [&](arma::uword t) { return chain.draw(t); }, values, first);
    first += chain.n_cols();
  }
  compute(values);
}

/// In standard deviations of each contrast, so that units do not decide what is singular: d' S^-1 d is the
/// same with the correlation matrix R and z = d / sd.
void WaldTest::compute(const arma::Mat<double>& contrasts) {
  // Below this the correlations of the draws cannot be told from those of dependent contrasts.
  constexpr double least_rcond = 1e-13;
  if (contrasts.n_cols < 2) return;
  const arma::Col<double> d = arma::mean(contrasts, 1);
  const arma::Col<double> sd = arma::stddev(contrasts, 0, 1);
  if (!contrasts.is_finite() || arma::any(sd == 0.0)) return;
  const arma::Mat<double> R = arma::cov(contrasts.t()) / (sd * sd.t());
  const arma::Col<double> z = d / sd;
  arma::Col<double> weights;
  if (!(arma::rcond(R) > least_rcond) || !arma::solve(weights, R, z)) return;
  statistic = arma::dot(z, weights);
}

double WaldTest::probability() const {
  return chisq_upper(statistic, df);
}

void WaldTest::print(std::FILE* stream) const {
  if (df < 1) {
    std::fputs("WARNING: No constraints imposed for this test.\n\n", stream);
  } else if (statistic >= 0.0) {
    std::fprintf(stream,
                 "    Wald Statistic (Chi-Square)            %10.3f\n"
                 "    Number of Parameters Tested (df)       %10i\n"
                 "    Probability                            %10.3f\n\n",
                 statistic, df, probability());
  } else if (orthogonal) {
    const std::string none = format("%f", arma::datum::nan);
    std::fprintf(stream,
                 "WARNING: The Wald Statistic was unable to be computed. This may\n"
                 "         indicate convergence issues in the sampler.\n\n"
                 "    Wald Statistic (Chi-Square)            %10s\n"
                 "    Number of Parameters Tested (df)       %10i\n"
                 "    Probability                            %10s\n\n",
                 none.c_str(), df, none.c_str());
  } else {
    std::fputs(
        "WARNING: The Wald Statistic was unable to be computed\n"
        "         because the contrasts are not orthogonal.\n"
        "         Make sure you do not have duplicate constraints.\n\n",
        stream);
  }
}

arma::Mat<double> WaldTest::results(const std::vector<model::waldtest>& tests, const Summary& draws) {
  arma::Mat<double> out(tests.size(), 4);
  for (std::size_t i = 0; i < tests.size(); ++i) {
    const WaldTest one(tests[i], draws);
    out(i, 0) = static_cast<double>(i) + 1.0;
    out(i, 1) = one.df;
    out(i, 2) = one.statistic >= 0.0 ? one.statistic : arma::datum::nan;
    out(i, 3) = one.probability();
  }
  return out;
}

}  // namespace tovik::sem
