#include "sem/scan/category_sets.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::sem::scan {

category_sets::category_sets(arma::Col<arma::uword> categories, arma::uword n_categories,
                             const arma::Col<arma::uword>& imputed)
    : categories_(std::move(categories)), counts_(n_categories, arma::fill::zeros), imputed_(n_units(), 0) {
  for (arma::uword i : imputed) imputed_.at(i) = 1;
  check();
  for (arma::uword i = 0; i < n_units(); ++i)
    if (!is_imputed(i)) ++counts_[categories_[i]];
  sort(true, false, observed_);
}

void category_sets::check() const {
  if (n_units() > 0 && categories_.max() >= n_categories())
    throw error_debug("Categories of an ordinal variable do not fit.");
}

void category_sets::impute(arma::uword unit, arma::uword category) {
  if (!is_imputed(unit)) throw error_debug("An observed category cannot be imputed.");
  stale_ = stale_ || categories_[unit] != category;
  categories_[unit] = category;
}

void category_sets::observe(const arma::Col<arma::uword>& categories) {
  if (categories.n_elem != n_units()) throw error_debug("Categories of an ordinal variable do not fit.");
  categories_ = categories;
  check();
  imputed_.assign(n_units(), 0);
  sort(true, false, observed_);
  stale_ = true;
}

void category_sets::sort(bool with_observed, bool with_imputed, unit_sets& out) const {
  const auto takes = [&](arma::uword i) { return is_imputed(i) ? with_imputed : with_observed; };
  arma::uword const K = n_categories();
  arma::Col<arma::uword> counts(K, arma::fill::zeros), at(K);
  for (arma::uword i = 0; i < n_units(); ++i)
    if (takes(i)) ++counts[categories_[i]];
  out.units.resize(n_units());
  out.by_category.clear();
  out.by_category.reserve(K);
  for (arma::uword k = 0, begin = 0; k < K; begin += counts[k++]) {
    at[k] = begin;
    out.by_category.emplace_back(out.units.data() + begin, counts[k], false, true);
  }
  for (arma::uword i = 0; i < n_units(); ++i)
    if (takes(i)) out.units[at[categories_[i]]++] = i;
}

const std::vector<arma::Col<arma::uword>>& category_sets::all() {
  if (stale_) sort(true, true, all_);
  stale_ = false;
  return all_.by_category;
}

const std::vector<arma::Col<arma::uword>>& category_sets::imputed() {
  sort(false, true, some_);
  return some_.by_category;
}

}  // namespace tovik::sem::scan
