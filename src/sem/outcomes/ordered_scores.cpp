#include "sem/outcomes/ordered_scores.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/error.hpp"

namespace tovik::sem {

ordered_scores::ordered_scores(const ordered_values& observed, const arma::Col<arma::uword>& missing_units,
                               arma::uword column, unsigned level, const estimator::cluster& structure)
    : values(observed.of_unit.n_elem, arma::fill::zeros),
      sets(observed.of_unit, observed.values.n_elem, missing_units),
      codes_(observed.values),
      missing_(missing_units),
      level_(level),
      structure_(&structure),
      cells_(column, level, structure) {
  cuts = scan::thresholds(sets.observed_counts());
  std::vector<arma::uword> complete;
  for (arma::uword i = 0; i < values.n_elem; ++i)
    if (!sets.is_imputed(i)) complete.push_back(i);
  complete_ = arma::Col<arma::uword>(complete);
}

void ordered_scores::publish_in(arma::uword column) {
  score_cells_ = std::make_unique<outcome_scale>(column, level_, *structure_);
  published_ = {column};
}

void ordered_scores::write(arma::Mat<double>& data, arma::uword unit, double score) {
  values(unit) = score;
  if (score_cells_ != nullptr) score_cells_->write(data, unit, score);
}

void ordered_scores::write_all(arma::Mat<double>& data) {
  if (score_cells_ == nullptr) return;
  for (arma::uword i = 0; i < values.n_elem; ++i) score_cells_->write(data, i, values(i));
}

void ordered_scores::impute(arma::Mat<double>& data, arma::uword unit) {
  arma::uword const k = cuts.categorize(values(unit));
  sets.impute(unit, k);
  cells_.write(data, unit, codes_(k));
}

// Between two thresholds Y* keeps its share of the way; above the last it keeps its distance, and below the
// first, which is 0, it stays.
double ordered_scores::stretch(const arma::Col<double>& t, const double* weights) {
  const arma::Col<double>& tau = cuts.tau;
  arma::uword const K = tau.n_elem;
  double log_jacobian = 0.0;
  const auto& members = sets.all();
  for (arma::uword k = 1; k < K; ++k) {
    const double rate = (t[k] - t[k - 1]) / (tau[k] - tau[k - 1]);
    for (arma::uword i : members[k])
      values(i) = std::clamp(t[k - 1] + (values(i) - tau[k - 1]) * rate, t[k - 1], t[k]);
    double n = weights == nullptr ? static_cast<double>(members[k].n_elem) : 0.0;
    if (weights != nullptr)
      for (arma::uword i : members[k]) n += weights[i];
    log_jacobian += n * std::log(rate);
  }
  for (arma::uword i : members[K]) values(i) += t[K - 1] - tau[K - 1];
  return log_jacobian;
}

}  // namespace tovik::sem
