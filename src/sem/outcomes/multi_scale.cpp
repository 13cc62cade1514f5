#include "sem/outcomes/multi_scale.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// Flat in the elements of the matrix.
block_setup with_flat_prior(block_setup setup) {
  setup.prior.resvar = 2;
  return setup;
}

}  // namespace

MultiScale::MultiScale(const Estimator* estimator_, block_setup setup)
    : Outcome(shape_of(estimator_, setup)),
      MultiStruct(estimator_, with_flat_prior(std::move(setup))),
      scales_(size(), nullptr),
      averages_(size(), size(), arma::fill::ones),
      sds_(residual_count(), size(), arma::fill::ones),
      mean_(residual_count()),
      squares_(residual_count()),
      cross_(residual_count()) {
  keep_correlations();
}

void MultiScale::addLogScale(LogScale* model, const unsigned& position) {
  members().at(position)->addLogScale(model);
  scales_[position] = model;
  forget_residuals();
}

const double* MultiScale::log_sd(const arma::Mat<double>& data, arma::uword member, const arma::uword* units,
                                 arma::uword n) const {
  if (log_sd_.size() < n) log_sd_.resize(n);
  scales_[member]->log_variances(data, units, n, log_sd_.data());
  for (arma::uword k = 0; k < n; ++k) log_sd_[k] = 0.5 * std::max(log_sd_[k], LogScale::trunc_point);
  return log_sd_.data();
}

void MultiScale::standardize(const arma::Mat<double>& data, arma::uword member, const arma::uword* units,
                             arma::uword n, double* e) const {
  if (scales_[member] == nullptr) return;
  const double* l = log_sd(data, member, units, n);
  for (arma::uword k = 0; k < n; ++k) e[k] *= std::exp(-l[k]);
}

void MultiScale::restore_units(const arma::Mat<double>& data, arma::uword member, double* e) const {
  if (scales_[member] == nullptr) return;
  const double* l = log_sd(data, member, nullptr, residual_count());
  for (arma::uword k = 0; k < residual_count(); ++k) e[k] *= std::exp(l[k]);
}

void MultiScale::subtract_units(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                                double* out) const {
  for (arma::uword j = 0; j < size(); ++j) {
    if (scales_[j] == nullptr) continue;
    const double* l = log_sd(data, j, units, n);
    for (arma::uword k = 0; k < n; ++k) out[k] -= l[k];
  }
}

arma::Col<double> MultiScale::variances(const arma::Mat<double>& data, const unsigned& position) const {
  arma::Col<double> out(residual_count(), arma::fill::value(residVar(position)));
  if (const LogScale* model = scales_.at(position)) out %= model->variances(data);
  return out;
}

double MultiScale::average_variance(const arma::Mat<double>& data, const unsigned& position) const {
  const LogScale* model = scales_.at(position);
  return average_variance(position) * (model == nullptr ? 1.0 : arma::mean(model->variances(data)));
}

arma::Col<double> MultiScale::A_vec(const arma::Mat<double>& data, const unsigned& position) {
  arma::Col<double> out;
  given_others(*members().at(position), data, out);
  return out;
}

// Coefficients of one variance model after another, each given the residuals of all; then Sigma.
void MultiScale::draw_matrix(const arma::Mat<double>& data) {
  for (unsigned j = 0; j < size(); ++j)
    if (scales_[j] != nullptr) draw_log_scale(data, j);
  forget_residuals();
  MultiStruct::draw_matrix(data);
}

void MultiScale::draw_log_scale(const arma::Mat<double>& data, unsigned position) {
  residual_.set_size(residual_count());
  members()[position]->residual_into(data, residual_.memptr());
  given_others(*members()[position], data, mean_);
  // The mean without the unit of the member, which moves here.
  standardize(data, position, nullptr, residual_count(), mean_.memptr());
  double square = 0.0;
  for (arma::uword i = 0; i < residual_count(); ++i) {
    squares_(i) = residual_(i) * residual_(i);
    cross_(i) = residual_(i) * mean_(i);
    square += mean_(i) * mean_(i);
  }
  scan::log_variance_terms terms;
  terms.squares = squares_.memptr();
  terms.cross = cross_.memptr();
  terms.left = residVar(position);
  terms.information = 0.5 + 0.25 * square / (n_units() * terms.left);
  scales_[position]->draw_given(terms, data);
}

void MultiScale::draw(arma::Mat<double>& data) {
  MultiStruct::draw(data);
  average(data);
}

void MultiScale::average(const arma::Mat<double>& data) {
  for (arma::uword j = 0; j < size(); ++j) {
    if (scales_[j] == nullptr) continue;
    const double* l = log_sd(data, j, nullptr, residual_count());
    for (arma::uword i = 0; i < residual_count(); ++i) sds_(i, j) = std::exp(l[i]);
  }
  averages_ = sds_.t() * sds_ / n_units();
}

arma::Col<double> MultiScale::params() const {
  arma::Col<double> out = MultiStruct::params();
  arma::uword at = 0;
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = j; i < size(); ++i) out(at++) *= averages_(i, j);
  return out;
}

arma::Col<double> MultiScale::postDraw(const arma::Mat<double>& data) const {
  arma::Col<double> out = MultiStruct::postDraw(data);
  for (arma::uword j = 0, at = 0; j < size(); at += size() - j++) out(at) *= std::sqrt(averages_(j, j));
  return out;
}

void MultiScale::addStarts(const arma::Col<double>&) {
  throw error_debug("A block with variance models has no starting values of its own.");
}

}  // namespace tovik::sem
