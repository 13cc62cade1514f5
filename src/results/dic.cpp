#include "results/dic.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "results/table.hpp"
#include "sem/ensemble/likelihood_totals.hpp"
#include "support/error.hpp"

namespace tovik::sem {

DIC DIC::of_totals() {
  DIC out;
  out.totals_ = out.one_column_ = true;
  return out;
}

DIC& DIC::operator+=(const arma::Cube<double>& log_likelihood) {
  if (log_likelihood.is_empty()) return *this;
  if (totals_)
    add_totals(log_likelihood);
  else
    add(log_likelihood);
  return *this;
}

void DIC::add(const arma::Cube<double>& sample) {
  stat_ += sample;
  log_sum_ += sample;
}

void DIC::add_totals(const arma::Cube<double>& log_likelihood) {
  const arma::uword n = log_likelihood.n_rows;
  const double* total = log_likelihood.slice_memptr(log_likelihood.n_slices - 1);
  if (one_column_ && (log_likelihood.n_cols != 2 || std::memcmp(total, total + n, n * sizeof(double)) != 0))
    split();
  const arma::uword columns = one_column_ ? 1 : log_likelihood.n_cols;
  add(arma::Cube<double>(const_cast<double*>(total), n, columns, 1, false, true));
}

void DIC::split() {
  if (!one_column_) return;
  one_column_ = false;
  if (stat_.count == 0) return;
  for (arma::Cube<double>* kept : {&stat_.mean, &stat_.M2, &log_sum_.sum, &log_sum_.max}) {
    if (kept->is_empty()) continue;
    arma::Cube<double> both(kept->n_rows, 2, 1);
    both.slice(0).col(0) = kept->slice(0).col(0);
    both.slice(0).col(1) = kept->slice(0).col(0);
    *kept = std::move(both);
  }
}

/// Accumulators of no iterations, for totals that come together.
void DIC::make_room(arma::uword units, arma::uword columns) {
  stat_.mean.zeros(units, columns, 1);
  stat_.M2.zeros(units, columns, 1);
  log_sum_.sum.zeros(units, columns, 1);
  log_sum_.max.set_size(units, columns, 1);
  log_sum_.max.fill(-std::numeric_limits<double>::infinity());
}

DIC& DIC::operator+=(likelihood_totals& kept) {
  if (!totals_) throw error_debug("The parts of models do not come together.");
  if (kept.n_draws() == 0 || kept.n_units() == 0) return *this;
  if (kept.n_columns() == 2) split();
  const arma::uword n = kept.n_units(), columns = kept.n_columns(), draws = kept.n_draws();
  if (stat_.count == 0) make_room(n, columns);
  if (stat_.M2.is_empty()) stat_.M2.zeros(arma::size(stat_.mean));
  if (stat_.mean.n_rows != n || stat_.mean.n_cols != columns) throw error_debug("Does not match.");
  for (arma::uword first = 0; first < n; first += likelihood_totals::most_rows) {
    const arma::uword rows = std::min(likelihood_totals::most_rows, n - first);
    const double* values = kept.evaluate(first, rows);
    for (arma::uword c = 0; c < columns; ++c, values += rows * draws) {
      const arma::uword at = c * n + first;
      run_stat::add_columns(rows, stat_.count, draws, values, stat_.mean.memptr() + at,
                            stat_.M2.memptr() + at);
      log_sum::add_columns(rows, draws, values, log_sum_.max.memptr() + at, log_sum_.sum.memptr() + at);
    }
  }
  stat_.count += static_cast<std::uint32_t>(draws);
  log_sum_.count += draws;
  return *this;
}

DIC& DIC::operator+=(const DIC& other) {
  if (other.stat_.count == 0) return *this;
  if (stat_.count == 0) return *this = other;
  if (one_column_ != other.one_column_) {
    split();
    DIC apart = other;
    apart.split();
    return *this += apart;
  }
  stat_ += other.stat_;
  log_sum_ += other.log_sum_;
  return *this;
}

double DIC::sum_lppd(arma::uword column, arma::uword slice) const {
  const double log_count = std::log(static_cast<double>(log_sum_.count));
  double total = 0.0;
  for (arma::uword i = 0; i < log_sum_.max.n_rows; ++i) {
    total += std::log(log_sum_.sum(i, column, slice)) + log_sum_.max(i, column, slice) - log_count;
  }
  return total;
}

DIC::criteria DIC::compute(arma::uword column) const {
  const arma::uword last = stat_.mean.n_slices - 1;
  if (one_column_) column = 0;
  double mean = last == 0 ? arma::accu(stat_.mean.slice(0).col(column)) : 0.0;
  for (arma::uword s = 0; s < last; ++s) mean += arma::accu(stat_.mean.slice(s).col(column));
  const double variance = arma::accu(stat_.M2.slice(last).col(column)) / (stat_.count - 1.0);
  const double lppd = sum_lppd(column, last);
  return {2.0 * lppd - 4.0 * mean, -2.0 * lppd + 2.0 * variance};
}

void DIC::print(std::FILE* stream) const {
  if (!exists()) return;
  const auto block = [stream](const char* title, const criteria& c) {
    std::fprintf(stream, "    %s Likelihood\n", title);
    std::fprintf(stream, "      DIC2                  %.3f\n", printable(c.dic2));
    std::fprintf(stream, "      WAIC                  %.3f\n", printable(c.waic));
  };
  const criteria m = marginal(), c = conditional();
  const bool differs = m.dic2 != c.dic2 || m.waic != c.waic;
  if (differs && (std::isfinite(m.dic2) || std::isfinite(m.waic))) {
    block("Marginal", m);
    std::fprintf(stream, "\n");
  }
  block("Conditional", c);
}

arma::Mat<double> DIC::likel_mat() const {
  const bool any = stat_.count > 0 && !stat_.mean.is_empty() && !totals_;
  arma::Mat<double> out(any ? stat_.mean.n_slices : 0, 7);
  for (arma::uword s = 0; s < out.n_rows; ++s) {
    out(s, 0) = static_cast<double>(s) + 1.0;
    for (arma::uword c = 0; c < 2; ++c) {
      out(s, 1 + c) = sum_lppd(c, s);
      out(s, 3 + c) = arma::accu(stat_.mean.slice(s).col(c));
      out(s, 5 + c) =
          stat_.count > 1 ? arma::accu(stat_.M2.slice(s).col(c)) / (stat_.count - 1.0) : arma::datum::nan;
    }
  }
  return out;
}

}  // namespace tovik::sem
