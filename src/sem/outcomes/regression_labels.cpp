// Coefficients that are drawn together with those of other equations, or with parameters that stand at
// several of them.

#include <algorithm>

#include "sem/outcomes/regression.hpp"
#include "support/error.hpp"

namespace tovik::sem {

void Regression::label_coefficient(arma::uword j) {
  labelled_.push_back(j);
  driven_.add(j);
  split_coefficients();
}

/// The scan draws labelled coefficients with the others; to all else they are parameters from outside.
void Regression::split_coefficients() {
  const auto labelled = [this](arma::uword j) {
    return std::find(labelled_.begin(), labelled_.end(), j) != labelled_.end();
  };
  std::vector<arma::uword> drawn;
  for (arma::uword j : scan_->terms().free)
    if (!labelled(j)) drawn.push_back(j);
  free = arma::Col<arma::uword>(drawn);
  fixed = arma::join_cols(scan_->terms().fixed, arma::Col<arma::uword>(labelled_));
}

void Regression::share_coefficients(const std::shared_ptr<scan::coefficient_block>& block,
                                    const arma::Col<arma::uword>& parameters) {
  scan_->share(block, parameters);
}

bool Regression::make_ready(arma::Mat<double>& data) {
  draw_auxiliary(data);
  return true;
}

void Regression::collect_coefficients(const arma::Mat<double>& data) {
  begin_scan(data);
  draw_integrated(data);
}

void Regression::follow_coefficients(arma::Mat<double>& data) {
  const unsigned L = integrated_level();
  if (L == n_levels) return;
  begin_scan(data);
  if (!draw_nested(L)) scan_->keep_coefficients(betas_);
  draw_effects(data, L);
}

const arma::Mat<double>& Regression::read_design(const arma::Mat<double>& data) {
  return scan_->read_design(data);
}

const arma::Col<arma::uword>& Regression::shared_parameters() const {
  if (scan_->shared() == nullptr) throw error_debug("The coefficients of the equation belong to no block.");
  return scan_->shared()->parameters;
}

bool Regression::coefficient_moves(arma::uword j) const {
  return arma::any(free == j) && !driven_.holds(j) && scan_->terms().prior.mean(j) == 0.0 &&
         std::find(labelled_.begin(), labelled_.end(), j) == labelled_.end();
}

}  // namespace tovik::sem
