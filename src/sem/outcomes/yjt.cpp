#include "sem/outcomes/yjt.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/residual_variance.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem {

template <class T>
void yjt<T>::wire(const Estimator* whole, bool drawn) {
  this->addTransform(g_.pair());
  this->bound_values([this] { return g_.range(); });
  if (!drawn) return;
  prior_ = default_lambda_prior(whole);
  constexpr double first_sd = 2.0;
  lambda_.rng = this->rng;
  lambda_.value = g_.lambda();
  lambda_.level = this->level;
  lambda_.links = {g_.address()};
  lambda_.n_links = 1;
  lambda_.variance = first_sd * first_sd / static_cast<double>(this->n_units);
  lambda_.tune.what = "lambda";
  // The prior first: outside of it nothing else is looked at.
  lambda_.likelihoods.emplace_back(
      nullptr, [this](const double& x, const arma::Mat<double>& data) { return prior_->prior(x, data); });
  lambda_.likelihoods.emplace_back(
      nullptr, [this](const double& x, const arma::Mat<double>&) { return log_density(x); });
}

template <class T>
void yjt<T>::draw(arma::Mat<double>& data) {
  draw_lambda(data);
  T::draw(data);
}

template <class T>
void yjt<T>::draw_lambda(const arma::Mat<double>& data) {
  if (!lambda_.walks()) return;
  g_.read(data, this->n_units);
  from_ = g_.lambda();
  squares_ = candidate_ = std::numeric_limits<double>::quiet_NaN();  // unless looked at
  integrates_ = may_integrate() && read_integrated(data);
  if (!integrates_) read_means(data);
  lambda_.draw(data);
  const bool moved = g_.lambda() != from_;
  if (moved) this->forget_values();
  if (!integrates_) return;
  if (moved) grow_effects(g_.growth(from_, g_.lambda()));
  if constexpr (has_variance_model) {
    if (moved) variances_.move(g_.lambda() - from_, this->log_scale().betas_);
  }
  const double squares = moved ? candidate_ : squares_;
  if (this->estimate_resid && std::isfinite(squares))
    this->sigma2 = 1.0 / scan::draw_precision(this->resid_prior, integrated_.rows_left(), squares, *this->rng,
                                              this->residual_unit());
}

/// Nothing else in the run has a say in the effects, or in how far the values are from their means.
template <class T>
bool yjt<T>::may_integrate() const {
  const bool known_form = has_variance_model || this->variances().is_one();
  if (!sampler_settings::integrate_lambda || this->link != nullptr || !known_form) return false;
  for (unsigned place = 0; place <= this->n_levels; ++place)
    if (!this->part(place).empty()) return false;
  return std::all_of(this->re_indicators.begin(), this->re_indicators.end(),
                     [](const auto& columns) { return columns.is_empty(); });
}

/// The design of the coefficients that are integrated out, and what the others and the effects add to the
/// means. False when the density does not exist.
template <class T>
bool yjt<T>::read_integrated(const arma::Mat<double>& data) {
  const scan::equation& terms = this->equation().terms();
  const bool drawn_next = terms.prior.is_flat() && this->equation().shared() == nullptr;
  const arma::Col<arma::uword>& columns = drawn_next ? this->free : none_;
  if (!design_kept_) {
    read_design(data, columns);
    if (!has_variance_model && !integrated_.factor()) return false;
    design_kept_ = terms.terms.x.all_static();
  }
  if constexpr (has_variance_model) {
    this->log_scale().begin_shear(g_.log_slopes_of_units(), data, variances_);
    variances_.at(0.0);
    if (!integrated_.factor(variances_.roots())) return false;
  }
  if (this->estimate_resid && !integrated_.is_proper(this->resid_prior)) return false;
  means_.zeros(this->n_units);
  for (arma::uword j = 0; j < this->betas_.n_elem; ++j) {
    if (std::find(columns.begin(), columns.end(), j) != columns.end() || this->betas_(j) == 0.0) continue;
    const double* column = terms.terms.x.at(j, data, this->unit_rows(), scratch_);
    scan::add_scaled(this->n_units, this->betas_(j), column, means_.memptr());
  }
  effects_.zeros(this->n_units);
  this->add_random(data, 1.0, effects_);
  return true;
}

template <class T>
void yjt<T>::read_design(const arma::Mat<double>& data, const arma::Col<arma::uword>& columns) {
  arma::Mat<double>& X = integrated_.design();
  X.set_size(this->n_units, columns.n_elem);
  for (arma::uword j = 0; j < columns.n_elem; ++j) {
    const double* column = this->equation().terms().terms.x.at(columns(j), data, this->unit_rows(), scratch_);
    std::copy_n(column, this->n_units, X.colptr(j));
  }
}

/// In a block a residual is normal around what the others say of it, and these do not move.
template <class T>
void yjt<T>::read_means(const arma::Mat<double>& data) {
  this->read_variances(data, nullptr, 0);
  this->predictor(data, means_);
  if (const arma::Col<double>* others = this->read_others(data)) means_ += *others;
}

template <class T>
double yjt<T>::log_density(double lambda) {
  g_.values(lambda, y_);
  const double sum = integrates_ ? integrated_density(lambda) : given_all();
  return sum + (lambda - 1.0) * g_.log_slopes();
}

// Effects u of one level stand for c u / c, c the growth of the unit of y*: the density of u / c, given the
// covariance matrix S / c^2 in the same unit, does not change, and the prior of S, with its Jacobian, brings
// c^(-df q) and, for the first prior, exp(-tr(inv(S) diag(units)) / 2).
template <class T>
double yjt<T>::integrated_density(double lambda) {
  const double c = g_.growth(from_, lambda);
  for (arma::uword i = 0; i < y_.n_elem; ++i) y_(i) -= means_(i) + c * effects_(i);
  double out = density_of_values(lambda);
  for (unsigned L = 0; L < this->n_levels; ++L) {
    const auto q = static_cast<int>(this->n_random(L));
    if (q == 0) continue;
    out -= scan::prior_degrees(this->raneff_prior, q) * q * std::log(c);
    for (arma::uword j = 0; this->raneff_prior == 1 && j < this->iSigma[L].n_rows; ++j)
      out -= 0.5 * this->effect_unit(L, j) * this->iSigma[L](j, j) / (c * c);
  }
  return out;
}

/// Of y_, their residuals given all but what is integrated out.
template <class T>
double yjt<T>::density_of_values(double lambda) {
  if constexpr (has_variance_model) {
    const double rest = variances_.at(lambda - from_);
    if (!integrated_.factor(variances_.roots())) return -std::numeric_limits<double>::infinity();
    y_ %= variances_.roots();
    return rest - 0.5 * (integrated_.log_determinant() + integrated_.squares(y_));
  }
  const double squares = integrated_.squares(y_);
  (lambda == from_ ? squares_ : candidate_) = squares;
  return this->estimate_resid ? integrated_.log_density(squares, this->resid_prior, this->residual_unit())
                              : scan::integrated_regression::log_density(squares, this->sigma2);
}

template <class T>
double yjt<T>::given_all() const {
  const scan::row_scale v = this->variances();
  double sum = 0.0;
  for (arma::uword i = 0; i < y_.n_elem; ++i) {
    const double e = y_(i) - means_(i);
    sum += e * e * v.precision(i);
  }
  return -0.5 * sum;
}

template <class T>
void yjt<T>::grow_effects(double factor) {
  for (unsigned L = 0; L < this->n_levels; ++L) {
    this->u[L] *= factor;
    this->Sigma[L] *= factor * factor;
    this->iSigma[L] /= factor * factor;
  }
}

template <class T>
void yjt<T>::settle_lambda(const arma::Mat<double>& data) {
  if (!lambda_.walks()) return;
  start_lambda(inside(*prior_, g_.lambda()), data);
  lambda_.write(g_.lambda());
}

template <class T>
void yjt<T>::start_lambda(double to, const arma::Mat<double>& data) {
  const double from = g_.lambda();
  if (to == from) return;
  *g_.address() = to;
  g_.read(data, this->n_units);
  g_.values(from, y_);
  const double mean = arma::mean(y_), c = g_.growth(from, to);
  g_.values(to, y_);
  for (arma::uword j : this->free) {
    double& b = this->betas_(j);
    b = this->has_intercept && j == 0 ? arma::mean(y_) + c * (b - mean) : c * b;
  }
  if (this->estimate_resid) this->sigma2 *= c * c;
  grow_effects(c);
  for (unsigned place = 0; place <= this->n_levels; ++place) this->refresh_phantoms(place);
  this->anchor_coefficients();
  this->forget_values();
}

template <class T>
void yjt<T>::take_lambda_prior(const std::shared_ptr<Parameter>& prior, const std::vector<double*>& links) {
  if (!lambda_.walks()) throw error_debug("The transformation has no parameter that is drawn.");
  prior_ = prior;
  lambda_.links.insert(lambda_.links.end(), links.begin(), links.end());
  lambda_.n_links = static_cast<unsigned>(lambda_.links.size());
}

template <class T>
std::shared_ptr<estimator::constraint> yjt<T>::constraint(const parameter_type& kind, const unsigned& index,
                                                          const unsigned& at_level) {
  if (kind != parameter_type::lambda) return T::constraint(kind, index, at_level);
  auto out = this->handle(g_.address(), this->level, lambda_.variance);
  lambda_.links.clear();
  lambda_.n_links = 0;
  out->refresh.emplace_back([this] {
    this->forget_values();
    if (this->link != nullptr) this->link->forget_residuals();
  });
  out->likelihoods.push_back(this->coefficient_term());
  out->likelihoods.emplace_back(nullptr, [this](const double& x, const arma::Mat<double>& data) {
    g_.read(data, this->n_units);
    return (x - 1.0) * g_.log_slopes();
  });
  return out;
}

template <class T>
void yjt<T>::tune() {
  if (lambda_.walks()) lambda_.tune.tune();
  T::tune();
}

template <class T>
estimator::tune_results yjt<T>::tuneResults() const {
  estimator::tune_results results;
  if (lambda_.walks()) results.push_back(lambda_.tune);
  const estimator::tune_results others = T::tuneResults();
  results.insert(results.end(), others.begin(), others.end());
  return results;
}

template <class T>
void yjt<T>::addProposals(std::vector<estimator::tune_obj*>& to) {
  if (lambda_.walks()) to.push_back(&lambda_.tune);
  T::addProposals(to);
}

template <class T>
arma::uword yjt<T>::n_estimated() const {
  return T::n_estimated() + (lambda_.walks() ? 1 : 0);
}

template <class T>
arma::Col<double> yjt<T>::last_rows() const {
  return arma::join_cols(T::last_rows(), arma::Col<double>{g_.lambda()});
}

template <class T>
void yjt<T>::take_last_rows(const double* v) {
  T::take_last_rows(v);
  const double lambda = v[T::last_rows().n_elem];
  if (lambda_.walks())
    lambda_.write(lambda);
  else
    *g_.address() = lambda;
  this->forget_values();
}

template <class T>
arma::Mat<double> yjt<T>::latent(const arma::Mat<double>& data) const {
  arma::Mat<double> values(this->n_units, 1);
  this->copy_response(data, values.memptr());
  return arma::join_rows(this->at_rows(values), Regression::latent(data));
}

template <class T>
void yjt<T>::addLogJacobian(const arma::Mat<double>& data, arma::Col<double>& out) const {
  const arma::Col<arma::uword>* rows = this->unit_rows();
  arma::Col<double> values(this->n_units);
  for (arma::uword i = 0; i < this->n_units; ++i)
    values(i) =
        (g_.lambda() - 1.0) * yeo_johnson::log_slope(data(rows == nullptr ? i : (*rows)(i), this->y(0)));
  for (arma::uword i : this->missing_rows) values(i) = 0.0;
  out += this->sums_at(this->cluster.n_levels(), std::move(values));
}

template class yjt<Normal>;
template class yjt<Factor>;
template class yjt<NormalScale>;
template class yjt<FactorScale>;

}  // namespace tovik::sem
