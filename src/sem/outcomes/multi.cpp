#include "sem/outcomes/multi.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "random/constants.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem {

estimator::Outcome::shape Multi::shape_of(const Estimator* estimator, const block_setup& setup) {
  if (setup.members.size() < 2) throw error_debug("A block has at least two outcomes.");
  return {.estimator = estimator,
          .type = data::type::multi,
          .n_levels = 0,
          .level = setup.members.front()->level,
          .missing = false};
}

Multi::Multi(const Estimator* estimator_, const block_setup& setup)
    : Outcome(shape_of(estimator_, setup)),
      value_node("Multi"),
      Sigma_(setup.correlations),
      R_(setup.correlations),
      elements_(setup.elements),
      members_(setup.members),
      prior_(setup.prior),
      n_units_(setup.members.front()->n_units),
      start_(setup.correlations),
      residuals_(n_units_, members_.size()),
      is_current_(members_.size(), false) {
  for (const Regression* member : members_) {
    if (member->level != level || member->n_units != n_units_)
      throw error_debug("The members of a block have different levels.");
    if (!member->part(0).empty())
      throw error_debug("Multi Models not allowed with Phantom Variables at level-1");
  }
  if (Sigma_.n_rows != size() || elements_.n_rows != size() || setup.known_variances.n_elem != size())
    throw error_debug("What is known of a block does not match its members.");
  Omega_.set_size(size(), size());
  factor_.set_size(size(), size());
  if (!refresh()) throw numeric_error::not_positive_definite();
}

void Multi::register_ptrs() {
  const std::shared_ptr<Multi> self = shared_from_this();
  for (Regression* member : members_) member->addMulti(self);
  tell_members();
}

unsigned Multi::position_of(const Regression& member) const {
  for (std::size_t k = 0; k < members_.size(); ++k)
    if (members_[k] == &member) return static_cast<unsigned>(k);
  throw error_debug("The equation is not in the block.");
}

void Multi::start() {
  arma::Col<double> v(size());
  for (arma::uword k = 0; k < size(); ++k) v(k) = members_[k]->covariance(0)(0, 0);
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = 0; i < size(); ++i)
      Sigma_(i, j) = i == j ? v(j) : start_(i, j) * std::sqrt(v(i) * v(j));
  refresh();
  tell_members();
  prepare();
}

void Multi::addStarts(const arma::Col<double>& v) {
  if (v.n_elem != n_params()) throw error_debug("Starting values do not match the parameters.");
  arma::uword at = 0;
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = j; i < size(); ++i) Sigma_(i, j) = Sigma_(j, i) = v(at++);
  if (!refresh()) throw numeric_error::not_positive_definite();
  forget_residuals();
  tell_members();
  prepare();
}

bool Multi::refresh() {
  arma::uword const p = size();
  for (arma::uword j = 0; j < p; ++j)
    for (arma::uword i = 0; i < p; ++i)
      R_(i, j) = i == j ? 1.0
                 : elements_(i, j) == block_setup::known
                     ? start_(i, j)
                     : Sigma_(i, j) / std::sqrt(Sigma_(i, i) * Sigma_(j, j));
  std::copy_n(Sigma_.memptr(), p * p, factor_.memptr());
  bool done = scan::reverse_cholesky(factor_.memptr(), p);
  if (done) {
    log_det_ = scan::log_determinant(factor_.memptr(), p);
    for (arma::uword j = 0; j < p; ++j) {
      double* column = Omega_.colptr(j);
      std::fill_n(column, p, 0.0);
      column[j] = 1.0;
      scan::solve_upper(factor_.memptr(), p, column);
      scan::solve_upper_transposed(factor_.memptr(), p, column);
    }
    std::copy_n(Omega_.memptr(), p * p, factor_.memptr());
    done = scan::reverse_cholesky(factor_.memptr(), p);
  }
  if (done) return true;
  log_det_ = std::numeric_limits<double>::quiet_NaN();
  Omega_.fill(log_det_);
  factor_.fill(log_det_);
  return false;
}

void Multi::tell_members() {
  for (unsigned k = 0; k < size(); ++k) members_[k]->take_variances(average_variance(k), residVar(k));
}

void Multi::addLogScale(LogScale*, const unsigned&) {
  throw error_debug("Cannot form variance link.");
}

const arma::Col<double>& Multi::scales() {
  scales_.set_size(size());
  for (arma::uword k = 0; k < size(); ++k) scales_(k) = members_[k]->residual_unit();
  return scales_;
}

void Multi::draw(arma::Mat<double>& data) {
  draw_matrix(data);
  refresh();
  tell_members();
  for (Regression* member : members_) member->refreshShares(data);
}

arma::Col<double> Multi::params() const {
  arma::Col<double> out(n_params());
  arma::uword at = 0;
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = j; i < size(); ++i) out(at++) = Sigma_(i, j);
  return out;
}

arma::Col<double> Multi::postDraw(const arma::Mat<double>&) const {
  arma::Col<double> out(n_params());
  arma::uword at = 0;
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = j; i < size(); ++i) out(at++) = i == j ? std::sqrt(Sigma_(j, j)) : R_(i, j);
  return out;
}

arma::Col<double> Multi::params(const arma::Mat<double>& data) const {
  return arma::join_cols(params(), postDraw(data));
}

arma::Col<double> Multi::logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  return members_.front()->logLiklihood(data, at_level);
}

void Multi::addLogLiklihood(const arma::Mat<double>& data, const int& at_level,
                            const arma::Col<arma::uword>& units, double* out) const {
  members_.front()->addLogLiklihood(data, at_level, units, out);
}

double Multi::logLiklihood(const arma::Mat<double>& data) const {
  return members_.front()->Regression::logLiklihood(data);
}

estimator::likelihood_function Multi::likelihoodFunc(const likelihood_type& kind) const {
  if (kind != likelihood_type::imputed) return value_node::likelihoodFunc(kind);
  return members_.front()->likelihoodFunc(kind);
}

void Multi::addTransform(const evaluate::pair&) {
  throw error_debug("A block of outcomes has no transformation.");
}

void Multi::addLL(std::unique_ptr<estimator::likelihood>, const likelihood_type&) {
  throw error_debug("A block of outcomes has no values of its own.");
}

estimator::constraint::term Multi::density_term() const {
  return {this, [this](const double&, const arma::Mat<double>& data) { return logLiklihood(data); }};
}

std::shared_ptr<estimator::constraint> Multi::correlation_handle(arma::uword i, arma::uword j) {
  estimator::parameterT<double> parameter;
  parameter.value = R_(i, j);
  parameter.level = level;
  parameter.links = {R_.colptr(j) + i};
  auto out = std::make_shared<estimator::constraint>(rng, parameter);
  out->refresh.emplace_back([this, i, j] { take_correlation(i, j); });
  return out;
}

std::shared_ptr<estimator::constraint> Multi::constraint(const parameter_type& kind, const unsigned& index,
                                                         const unsigned& at_level) {
  if (kind != parameter_type::phantom_correlation) return value_node::constraint(kind, index, at_level);
  arma::uword const j = index % size(), i = index / size();
  if (!(j < i) || i >= size()) throw error_debug("The block has no such correlation.");
  auto out = correlation_handle(i, j);
  out->add_once(density_term());
  return out;
}

/// R_(i, j), below the diagonal, was written.
void Multi::take_correlation(arma::uword i, arma::uword j) {
  const double value = R_(i, j) * std::sqrt(Sigma_(i, i) * Sigma_(j, j));
  Sigma_(i, j) = Sigma_(j, i) = value;
  refresh();
  tell_members();
}

}  // namespace tovik::sem
