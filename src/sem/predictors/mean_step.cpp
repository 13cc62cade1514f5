#include "sem/predictors/mean_step.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

#include "sem/predictors/normal_rows.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

mean_step::mean_step(predictor_state& state, published_columns& published, unsigned q)
    : tune(1.5 / std::sqrt(static_cast<double>(state.dim)), estimator::tune_obj::kind_type::latent,
           state.top() == q ? "Grand Mean" : "L" + std::to_string(state.chain.level(q) + 1) + " means"),
      state_(state),
      published_(published),
      q_(q),
      kind_(state.n_units(q)) {
  std::map<arma::uword, arma::uword> known;
  for (arma::uword j = 0; j < kind_.n_elem; ++j) {
    arma::uword const n = q == state.top() ? state.n_units(q - 1) : state.chain.n_children(q)(j);
    kind_(j) = known.emplace(n, known.size()).first->second;
  }
  n_children_.set_size(known.size());
  for (const auto& [n, kind] : known) n_children_(kind) = static_cast<double>(n);
  precision_.set_size(state.dim, state.dim, known.size());
  variance_ = precision_;
  root_ = precision_;
  sums_.set_size(kind_.n_elem, state.dim);
  // No step of the grand mean is accepted too often: there is a longest one.
  if (q == state.top()) tune.upper = std::numeric_limits<double>::infinity();
}

void mean_step::set_readers(std::unique_ptr<estimator::likelihood> readers) {
  readers_ = std::move(readers);
  if (readers_ == nullptr) return;
  if (q_ == state_.top()) {
    const unsigned highest = state_.working->n_levels() - 1;
    const arma::Col<arma::uword> all(state_.working->n_units(highest), arma::fill::zeros);
    groups_ = scan::value_groups({0}, highest, estimator::acceptance(highest, {0}, all));
    centred_ = published_.grand_centred_columns();
    return;
  }
  arma::uword const n = state_.n_units(q_);
  if (!readers_->together.each_alone() && readers_->together.group_of_value().n_elem != n)
    throw error_debug("Groups of latent means are groups of their clusters.");
  arma::Col<arma::uword> units(n);
  for (arma::uword j = 0; j < n; ++j) units(j) = j;
  groups_ = scan::value_groups(std::move(units), state_.chain.level(q_), readers_->together);
}

// The variances, by number of children.
void mean_step::factor() {
  const arma::Mat<double> h = arma::inv_sympd(state_.components[q_ - 1]->covariance());
  arma::Mat<double> own = state_.mean_precision * arma::eye(state_.dim, state_.dim);
  if (q_ < state_.top()) own = arma::inv_sympd(state_.components[q_]->covariance());
  for (arma::uword k = 0; k < n_children_.n_elem; ++k) {
    precision_.slice(k) = n_children_(k) * h + own;
    variance_.slice(k) = arma::inv_sympd(precision_.slice(k));
    root_.slice(k) = arma::chol(variance_.slice(k));
  }
}

namespace {

/// out += x H.
void add_product(const arma::Mat<double>& x, const arma::Mat<double>& H, arma::Mat<double>& out) {
  for (arma::uword c = 0; c < out.n_cols; ++c)
    for (arma::uword k = 0; k < x.n_cols; ++k)
      scan::add_scaled(out.n_rows, H(k, c), x.colptr(k), out.colptr(c));
}

}  // namespace

void mean_step::condition(const level_scores* at, const level_scores& below) {
  factor();
  arma::uword const dim = state_.dim;
  const Component& lower = *state_.components[q_ - 1];
  unit_groups by;
  if (q_ < state_.top()) by = {state_.chain.level(q_), state_.n_units(q_), state_.parent(q_ - 1).memptr()};
  for (arma::uword k = 0; k < dim; ++k) by.sum(lower.score.n_rows, lower.score.colptr(k), sums_.colptr(k));
  const arma::Col<arma::uword>& W = state_.predictors[q_ - 1];
  for (arma::uword p = 0; p < W.n_elem; ++p) {
    const double* const w = below.sums(by, W(p));
    for (arma::uword k = 0; k < dim; ++k)
      scan::add_scaled(sums_.n_rows, -lower.gamma(p, k), w, sums_.colptr(k));
  }
  next_.zeros(sums_.n_rows, dim);
  add_product(sums_, arma::inv_sympd(lower.covariance()), next_);
  if (q_ < state_.top()) {
    state_.expected(q_, *at, expected_);
    add_product(expected_, arma::inv_sympd(state_.components[q_]->covariance()), next_);
  }
  mean_.zeros(next_.n_rows, dim);
  for (arma::uword j = 0; j < next_.n_rows; ++j) {
    const double* V = variance_.slice_memptr(kind_(j));
    for (arma::uword c = 0; c < dim; ++c)
      for (arma::uword k = 0; k < dim; ++k) mean_(j, c) += next_(j, k) * V[k + c * dim];
  }
}

void mean_step::walk_from(const arma::Mat<double>& from, double scale) {
  walk_rows(
      from, scale, [this](arma::uword j) { return root_.slice_memptr(kind_(j)); }, *state_.rng, next_);
}

void mean_step::draw(const level_scores* at, const level_scores& below) {
  condition(at, below);
  walk_from(mean_, 1.0);
  state_.scores(q_) = next_;
  published_.refresh(q_);
}

// A variance below the floor of its draws is refused, which leaves the density above it as it is.
void mean_step::redraw_covariance() {
  if (readers_ != nullptr || q_ == state_.top())
    throw error_debug("The means of a second draw are read, or are no level's.");
  Component& component = *state_.components[q_];
  arma::Mat<double>& means = state_.scores(q_);
  arma::uword const n = means.n_rows, dim = state_.dim;
  const arma::Mat<double> h = arma::inv_sympd(state_.components[q_ - 1]->covariance());
  A_.set_size(n, dim * (dim + 1) / 2);
  effects_.set_size(n, dim);
  t_.zeros(n, dim);
  for (arma::uword k = 0; k < dim; ++k) {
    for (arma::uword l = 0; l <= k; ++l) {
      double* a = A_.colptr(scan::cluster_products::packed(l, k));
      for (arma::uword j = 0; j < n; ++j) a[j] = n_children_(kind_(j)) * h(l, k);
    }
    for (arma::uword j = 0; j < n; ++j) {
      effects_(j, k) = means(j, k) - expected_(j, k);
      sums_(j, k) -= n_children_(kind_(j)) * expected_(j, k);
    }
  }
  add_product(sums_, h, t_);
  Sigma_ = component.covariance();
  inverse_ = arma::inv_sympd(Sigma_);
  units_.set_size(dim);
  units_.fill(component.unit);
  if (!factor_.draw(A_, t_, 1.0, {component.prior, &units_}, *state_.rng, effects_, inverse_, Sigma_)) return;
  for (arma::uword k = 0; k < dim; ++k)
    if (!(Sigma_(k, k) >= component.floor)) return;
  component.setCovariance(Sigma_);
  for (arma::uword k = 0; k < dim; ++k)
    for (arma::uword j = 0; j < n; ++j) means(j, k) = expected_(j, k) + effects_(j, k);
}

void mean_step::draw(arma::Mat<double>& data, const level_scores* at, const level_scores& below) {
  if (readers_ == nullptr) throw error_debug("No likelihood was given for the means.");
  condition(at, below);
  current_ = state_.scores(q_);
  if (q_ == state_.top()) {
    tune.value = std::min(tune.value, 1.0);
    walk_from(mean_ + std::sqrt(1.0 - tune.value * tune.value) * (current_ - mean_), tune.value);
  } else {
    walk_from(current_, tune.value);
  }
  published_.keep(q_);
  if (!readers_->intercepts.empty()) published_.grand_centres(centre_);
  proposing_ = true;
  metropolis_.accept(groups_, *this, static_cast<unsigned>(state_.dim), next_.memptr(), *state_.rng, tune,
                     data, current_.memptr());
}

void mean_step::move_intercepts() {
  if (readers_->intercepts.empty()) return;
  published_.grand_centres(change_);
  change_ -= centre_;
  for (estimator::moving_intercept& intercept : readers_->intercepts) intercept.follow(centred_, change_);
}

// Candidates of all units come first, then what is taken back.
void mean_step::write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
                      unsigned char*) {
  arma::Mat<double>& means = state_.scores(q_);
  for (arma::uword k = 0; k < state_.dim; ++k)
    for (arma::uword j = 0; j < which.n_elem; ++j) means(which(j), k) = values[k * which.n_elem + j];
  if (proposing_) {
    published_.refresh(q_);
    move_intercepts();
  } else {
    published_.take_back(q_, which);
    for (estimator::moving_intercept& intercept : readers_->intercepts) intercept.take_back();
  }
  proposing_ = false;
  published_.write(data, q_, which);
}

void mean_step::log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                            double* out) {
  log_likelihood(data, groups, out);
  if (q_ == state_.top()) return;  // candidates come from the normal density
  const arma::Mat<double>& means = state_.scores(q_);
  for (arma::uword g = 0; g < groups.n_elem; ++g) {
    for (arma::uword at = groups_.begin(groups(g)); at < groups_.begin(groups(g) + 1); ++at) {
      arma::uword const j = groups_.value_at(at);
      out[g] -= 0.5 * squared_distance(means, j, mean_, j, precision_.slice_memptr(kind_(j)));
    }
  }
}

void mean_step::log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                               double* out) {
  groups_.density(*readers_, nullptr, data, groups, out);
}

}  // namespace tovik::sem
