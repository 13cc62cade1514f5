// The order of a scan of the predictor models.

#include "sem/predictors/predictor_set.hpp"

#include <algorithm>

#include "data/variable.hpp"

namespace tovik::sem {

namespace {

using step = predictor_step;

/// Whether columns that outcome models read follow from more than the variable's own values.
bool has_derived_columns(const Variable& v) {
  return v.mode != 2 || !v.variable().means.empty();
}

}  // namespace

void predictor_set::draw(arma::Mat<double>& data) {
  if (variables_.empty()) return;
  for (const auto& v : variables_) {
    if (v->means_only()) v->read(data);
  }
  means_step(data);
  grand_mean_step(data);
  parameter_step();
  imputation_step(data);
}

void predictor_set::write_scores(const Variable& v, unsigned d) {
  v.writeDeviation(d, level_data_[v.level + d]);
}

/// Deviations of own values follow means and values where these move; only the values of a means-only model
/// have come from elsewhere.
void predictor_set::means_step(arma::Mat<double>& data) {
  for (unsigned level = 0; level < level_data_.size(); ++level) {
    for (const auto& v : variables_) {
      if (v->level > level) continue;
      const unsigned d = level - v->level;
      if (d == 0 && v->means_only()) write_scores(*v, 0);
      if (d > 0 && v->isDeviation(d)) level_mean(*v, d, data);
    }
  }
}

void predictor_set::level_mean(Variable& v, unsigned d, arma::Mat<double>& data) {
  const unit_chain& chain = v.chain();
  const unsigned below = chain.level(chain.place(d) - 1);
  const level_scores& upper = level_data_[v.level + d];
  const level_scores& lower = level_data_[below];
  if (v.needsLikelihood(step::level_mean, d)) {
    v.drawComponent(data, d, upper, lower);
  } else {
    v.drawComponent(d, upper, lower);
    v.redrawCovariance(d);
  }
  write_scores(v, d);
  write_scores(v, below - v.level);
}

void predictor_set::grand_mean_step(arma::Mat<double>& data) {
  for (const auto& v : variables_) {
    const level_scores& top = level_data_[v->grandMeanLevel()];
    if (v->needsLikelihood(step::grand_mean, 0))
      v->drawGrandMean(data, top);
    else
      v->drawGrandMean(top);
    write_scores(*v, v->grandMeanLevel() - v->level);
  }
}

void predictor_set::parameter_step() {
  for (unsigned level = 0; level < level_data_.size(); ++level) {
    for (const auto& v : variables_) {
      if (v->level <= level && v->isDeviation(level - v->level))
        v->drawParam(level - v->level, level_data_[level]);
    }
  }
}

/// With parameters also the map from the scores of a categorical variable to its expected codes has moved, so
/// that what is derived from it is written anew.
void predictor_set::imputation_step(arma::Mat<double>& data) {
  for (const auto& v : variables_) {
    const bool reads_likelihood = v->missing && v->needsLikelihood(step::imputation, 0);
    if (reads_likelihood)
      v->drawImputation(data, level_data_[v->level]);
    else if (v->missing)
      v->drawImputation(level_data_[v->level]);
    if (v->missing) v->writeImputed(level_data_[v->level]);
    if (has_derived_columns(*v))
      v->publish(data);
    else if (v->missing && !reads_likelihood)
      v->publishImputed(data);
  }
}

arma::Col<double> predictor_set::params() const {
  arma::Col<double> out(n_params());
  double* to = out.memptr();
  for (const auto& v : variables_) {
    const arma::Col<double> own = v->params();
    to = std::copy(own.begin(), own.end(), to);
  }
  return out;
}

arma::uword predictor_set::n_params() const {
  arma::uword n = 0;
  for (const auto& v : variables_) n += v->numParams();
  return n;
}

arma::uword predictor_set::n_params(unsigned level) const {
  arma::uword n = 0;
  for (const auto& v : variables_) {
    const bool counts = v->level == level || static_cast<int>(v->n_levels) - 3 == static_cast<int>(level);
    if (counts) n += v->numParams();
  }
  return n;
}

arma::uword predictor_set::n_estimated() const {
  arma::uword n = 0;
  for (const auto& v : variables_) n += v->n_estimated();
  return n;
}

}  // namespace tovik::sem
