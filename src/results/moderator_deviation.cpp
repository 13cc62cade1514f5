#include "results/moderator_deviation.hpp"

#include <algorithm>
#include <cmath>

#include "data/levels.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::sem {

namespace {

double deviation(double squares, double freedom) {
  return freedom > 0 ? std::sqrt(squares / freedom) : arma::datum::nan;
}

}  // namespace

ModeratorDeviation::ModeratorDeviation(const deviation_source& source, const working_data& working)
    : working_(&working), source_(source), level_(sampler_level(working.n_levels() - 1, source.level)) {
  update();
}

double ModeratorDeviation::at(arma::uword column, arma::uword unit) const {
  return working_->data(working_->first_rows(level_)[unit], column);
}

void ModeratorDeviation::update() {
  if (source_.centering != data::center::cluster) {
    value_ = total();
  } else if (source_.latent) {
    value_ = around_zero();
  } else {
    value_ = within_clusters();
  }
}

double ModeratorDeviation::total() {
  arma::uword const n = working_->n_units(level_);
  double sum = 0.0;
  for (arma::uword i = 0; i < n; ++i) sum += at(source_.column, i);
  const double mean = sum / static_cast<double>(n);
  double squares = 0.0;
  for (arma::uword i = 0; i < n; ++i) {
    const double d = at(source_.column, i) - mean;
    squares += d * d;
  }
  return deviation(squares, static_cast<double>(n) - 1.0);
}

double ModeratorDeviation::around_zero() {
  arma::uword const n = working_->n_units(level_);
  double squares = 0.0;
  for (arma::uword i = 0; i < n; ++i) squares += at(source_.column, i) * at(source_.column, i);
  return deviation(squares, static_cast<double>(n) - 1.0);
}

double ModeratorDeviation::within_clusters() {
  arma::uword const n = working_->n_units(level_);
  arma::uword const n_clusters = working_->n_units(level_ + 1);
  const arma::Col<arma::uword>& clusters = working_->units(level_ + 1);
  const arma::Col<arma::uword>& rows = working_->first_rows(level_);
  sums_.assign(n_clusters, 0.0);
  counts_.assign(n_clusters, 0.0);
  for (arma::uword i = 0; i < n; ++i) {
    sums_[clusters[rows[i]]] += at(source_.column, i);
    counts_[clusters[rows[i]]] += 1.0;
  }
  double squares = 0.0;
  for (arma::uword i = 0; i < n; ++i) {
    arma::uword const c = clusters[rows[i]];
    const double d = at(source_.column, i) - sums_[c] / counts_[c];
    squares += d * d;
  }
  return deviation(squares, static_cast<double>(n) - static_cast<double>(n_clusters));
}

}  // namespace tovik::sem
