#include "sem/predictors/imputation_step.hpp"

#include <cmath>
#include <utility>

#include "sem/predictors/normal_rows.hpp"
#include "support/error.hpp"

namespace tovik::sem {

imputation_step::imputation_step(predictor_state& state, published_columns& published,
                                 arma::Col<arma::uword> missing)
    : tune(1.5 / std::sqrt(static_cast<double>(state.dim)), estimator::tune_obj::kind_type::imputation,
           "missing values"),
      state_(state),
      published_(published),
      missing_(std::move(missing)) {}

void imputation_step::set_readers(std::unique_ptr<estimator::likelihood> readers) {
  readers_ = std::move(readers);
  if (readers_ != nullptr) groups_ = scan::value_groups(missing_, state_.level, readers_->together);
}

void imputation_step::condition(const level_scores& own) {
  const arma::Mat<double>& above = state_.scores(1);
  const arma::uword* up = state_.parent(0).memptr();
  mean_.set_size(missing_.n_elem, state_.dim);
  const arma::Col<arma::uword>& W = state_.predictors[0];
  const arma::Mat<double>& gamma = state_.components[0]->gamma;
  for (arma::uword k = 0; k < state_.dim; ++k) {
    double* m = mean_.colptr(k);
    for (arma::uword i = 0; i < missing_.n_elem; ++i) m[i] = above(up[missing_[i]], k);
    arma::uword p = 0;
    for (; p + 3 < W.n_elem; p += 4) {  // four at a time, so that positions and sums are read once for all
      const double *w0 = own.data().colptr(W(p)), *w1 = own.data().colptr(W(p + 1));
      const double *w2 = own.data().colptr(W(p + 2)), *w3 = own.data().colptr(W(p + 3));
      const double g0 = gamma(p, k), g1 = gamma(p + 1, k), g2 = gamma(p + 2, k), g3 = gamma(p + 3, k);
      for (arma::uword i = 0; i < missing_.n_elem; ++i) {
        arma::uword const u = missing_[i];
        m[i] = m[i] + g0 * w0[u] + g1 * w1[u] + g2 * w2[u] + g3 * w3[u];
      }
    }
    for (; p < W.n_elem; ++p) {
      const double* w = own.data().colptr(W(p));
      const double g = gamma(p, k);
      for (arma::uword i = 0; i < missing_.n_elem; ++i) m[i] += g * w[missing_[i]];
    }
  }
  const arma::Mat<double> Sigma = state_.components[0]->covariance();
  root_ = arma::chol(Sigma);
  precision_ = arma::inv_sympd(Sigma);
}

void imputation_step::walk_from(const arma::Mat<double>& from, double scale) {
  walk_rows(
      from, scale, [this](arma::uword) { return root_.memptr(); }, *state_.rng, next_);
}

void imputation_step::draw(const level_scores& own) {
  condition(own);
  walk_from(mean_, 1.0);
  state_.set_own(next_, missing_);
}

void imputation_step::draw(arma::Mat<double>& data, const level_scores& own) {
  if (readers_ == nullptr) throw error_debug("No likelihood was given for the values.");
  condition(own);
  const arma::Mat<double>& scores = state_.scores(0);
  current_.set_size(missing_.n_elem, state_.dim);
  for (arma::uword k = 0; k < state_.dim; ++k)
    for (arma::uword i = 0; i < missing_.n_elem; ++i) current_(i, k) = scores(missing_(i), k);
  walk_from(current_, tune.value);
  metropolis_.accept(groups_, *this, static_cast<unsigned>(state_.dim), next_.memptr(), *state_.rng, tune,
                     data, current_.memptr());
}

void imputation_step::write(arma::Mat<double>& data, const arma::Col<arma::uword>& which,
                            const double* values, unsigned char*) {
  which_units_.resize(missing_.n_elem);  // a vector, since matrices give their memory back as they shrink
  for (arma::uword j = 0; j < which.n_elem; ++j) which_units_[j] = missing_(which(j));
  const arma::Col<arma::uword> units(which_units_.data(), which.n_elem, false, true);
  const arma::Mat<double> rows(const_cast<double*>(values), which.n_elem, state_.dim, false, true);
  state_.set_own(rows, units);
  published_.write(data, 0, units);
}

void imputation_step::log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                  double* out) {
  log_likelihood(data, groups, out);
  const arma::Mat<double>& scores = state_.scores(0);
  if (state_.dim == 1 && groups_.n_groups() == groups_.n_values()) {  // every value is a group of its own
    const double* const s = scores.memptr();
    const double half = 0.5 * precision_(0, 0);
    for (arma::uword g = 0; g < groups.n_elem; ++g) {
      arma::uword const v = groups(g);
      const double d = s[missing_(v)] - mean_(v);
      out[g] -= half * d * d;
    }
    return;
  }
  for (arma::uword g = 0; g < groups.n_elem; ++g) {
    for (arma::uword at = groups_.begin(groups(g)); at < groups_.begin(groups(g) + 1); ++at) {
      arma::uword const v = groups_.value_at(at);
      out[g] -= 0.5 * squared_distance(scores, missing_(v), mean_, v, precision_.memptr());
    }
  }
}

void imputation_step::log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                     double* out) {
  groups_.density(*readers_, nullptr, data, groups, out);
}

}  // namespace tovik::sem
