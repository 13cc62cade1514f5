#include "model/row_layout.hpp"

namespace tovik::model {
namespace {

/// One number, of a model that is no regression.
row_layout single(row_frame frame) {
  row_layout out;
  out.frame = frame;
  return out;
}

row_layout covariance_matrix() {
  row_layout out = single(row_frame::covariance_matrix);
  out.standardized = standardized_rows::correlations;
  return out;
}

/// The log of a variance: coefficients alone.
row_layout variance_model() {
  row_layout out;
  out.random_effects = false;
  return out;
}

row_layout normal() {
  row_layout out;
  out.residual = residual_rows::one;
  out.standardized = standardized_rows::coefficients;
  out.shares = true;
  return out;
}

row_layout probit() {
  row_layout out = normal();
  out.residual = residual_rows::unit;
  out.thresholds = true;
  return out;
}

/// The residual variance of a logistic variable is a constant, pi^2 / 3, and no parameter.
row_layout logistic() {
  row_layout out = normal();
  out.residual = residual_rows::none;
  out.standardized = standardized_rows::odds_ratios;
  return out;
}

row_layout count() {
  row_layout out;
  out.residual = residual_rows::dispersion;
  out.standardized = standardized_rows::exponentiated;
  return out;
}

/// For each dummy code a logit against the reference category.
row_layout nominal() {
  row_layout out;
  out.standardized = standardized_rows::odds_ratios;
  out.per_code = true;
  return out;
}

row_layout of_kind(kind what, link how) {
  switch (what) {
    case kind::normal:
    case kind::latent:
      return how == link::logit ? logistic() : normal();
    case kind::ordinal:
      return how == link::logit ? logistic() : probit();
    case kind::missing:
      return probit();
    case kind::count:
      return count();
    case kind::nominal:
      return nominal();
    case kind::phantom:
      return single(row_frame::correlation);
    case kind::block:
      return covariance_matrix();
    case kind::parameter:
    case kind::computation:
      return single(row_frame::value);
    case kind::log_variance:
      break;
  }
  return variance_model();
}

}  // namespace

row_layout rows_of(kind what, link how) {
  if (how == link::log_variance) return variance_model();
  row_layout out = of_kind(what, how);
  if (out.frame != row_frame::equation || what == kind::log_variance) return out;
  if (has_many_variances(how)) out.residual = residual_rows::spread;
  out.lambda = has_lambda(how);
  return out;
}

row_layout rows_of_several(link how) {
  row_layout out;
  out.residual = has_many_variances(how) ? residual_rows::spread : residual_rows::one;
  out.standardized = standardized_rows::correlations;
  return out;
}

}  // namespace tovik::model
