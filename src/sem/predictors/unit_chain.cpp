#include "sem/predictors/unit_chain.hpp"

#include <cmath>

#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// Mean over the units of each group whose value is known.
arma::Col<double> means(const arma::Col<double>& values, const arma::Col<arma::uword>& group, arma::uword n) {
  arma::Col<double> sum(n, arma::fill::zeros);
  arma::Col<double> count(n, arma::fill::zeros);
  for (arma::uword i = 0; i < values.n_elem; ++i) {
    if (std::isnan(values[i])) continue;
    sum[group[i]] += values[i];
    count[group[i]] += 1.0;
  }
  return sum / count;  // 0 / 0 is NaN
}

double known_mean(const arma::Col<double>& values) {
  return means(values, arma::Col<arma::uword>(values.n_elem, arma::fill::zeros), 1)[0];
}

double mean_square(const arma::Col<double>& values) {
  return known_mean(arma::square(values));
}

}  // namespace

unit_chain::unit_chain(const working_data& working, unsigned own, const std::vector<bool>& deviates)
    : place_(working.n_levels(), -1) {
  if (own >= working.n_levels()) throw error_debug("A variable stands above all levels of the data.");
  for (unsigned d = 0; own + d < working.n_levels(); ++d) {
    if (d > 0 && (d >= deviates.size() || !deviates[d])) continue;
    place_[d] = static_cast<int>(levels_.size());
    levels_.push_back(own + d);
    n_units_.push_back(working.n_units(own + d));
  }
  // Clusters nest, so that a unit's parent at any level is that of its first row.
  for (std::size_t q = 0; q + 1 < levels_.size(); ++q) {
    parents_.push_back(working.units(levels_[q + 1]).elem(working.first_rows(levels_[q])));
    arma::Col<arma::uword> children(n_units_[q + 1], arma::fill::zeros);
    for (arma::uword parent : parents_.back()) ++children[parent];
    n_children_.push_back(std::move(children));
  }
}

unsigned unit_chain::place(unsigned d) const {
  if (d >= place_.size() || place_[d] < 0)
    throw error_debug("A variable has no deviation at the level that was asked for.");
  return static_cast<unsigned>(place_[d]);
}

const arma::Col<arma::uword>& unit_chain::n_children(unsigned q) const {
  if (q == 0 || q > n_children_.size()) throw error_debug("There are no units below.");
  return n_children_[q - 1];
}

manifest_scores::manifest_scores(const unit_chain& chain, const arma::Col<double>& values) {
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
