#include "sem/predictors/manifest_scores.hpp"

#include <cmath>

namespace tovik::sem {

namespace {

/// Mean over the units of each group whose value is known.
arma::Col<double> means(arma::Col<double> const& values, arma::Col<arma::uword> const& group, arma::uword n) {
  arma::Col<double> sum(n, arma::fill::zeros);
  arma::Col<double> count(n, arma::fill::zeros);
  for (arma::uword i = 0; i < values.n_elem; ++i) {
    if (std::isnan(values[i])) continue;
    sum[group[i]] += values[i];
    count[group[i]] += 1.0;
  }
  return sum / count;  // 0 / 0 is NaN
}

double known_mean(arma::Col<double> const& values) {
  return means(values, arma::Col<arma::uword>(values.n_elem, arma::fill::zeros), 1)[0];
}

double mean_square(arma::Col<double> const& values) {
  return known_mean(arma::square(values));
}

}  // namespace

manifest_scores::manifest_scores(unit_chain const& chain, arma::Col<double> const& values) {
  // What rounding leaves of a constant is no variation.
  constexpr double rounding = 1e-24;
  total_ = mean_square(values - known_mean(values));
  if (total_ <= rounding * mean_square(values)) total_ = 0.0;
  arma::Col<double> below = values;
  for (unsigned q = 0; q < chain.n_above(); ++q) {
    arma::Col<double> above = means(below, chain.parent(q), chain.n_units(q + 1));
    deviations_.emplace_back(below - above.elem(chain.parent(q)));
    below = std::move(above);
  }
  deviations_.emplace_back(below - known_mean(below));
}

bool manifest_scores::is_constant(unsigned q) const {
  constexpr double least_share = 1e-10;
  const double here = mean_square(deviations_[q]);
  return !(here > 0.0) || total_ == 0.0 || here < least_share * total_;
}

}  // namespace tovik::sem
