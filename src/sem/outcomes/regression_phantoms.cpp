// Correlations of a regression with others, carried by phantoms: its conditional variances, and the draws of
// the covariance matrices that enter them.

#include <algorithm>
#include <cmath>
#include <limits>

#include "random/random.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

constexpr double impossible = -std::numeric_limits<double>::infinity();

}  // namespace

/// The residual or a random effect of a regression as the end of a correlation.
class regression_side : public correlated_side {
 public:
  regression_side(Regression& model, unsigned place, arma::uword k) : model_(model), place_(place), k_(k) {}

  void read(const arma::Mat<double>& data) override { model_.read_values(place_, data); }
  void read_given_scores(const arma::Mat<double>& data) override { model_.read_part(place_, data); }
  const phantom_part& part() const override { return model_.part(place_); }
  arma::uword term() const override { return k_; }
  double* rho() override { return &model_.part(place_).loadings.rho(k_); }
  // The density of the residuals is the likelihood of the units; that of random effects is another term.
  const void* source() const override { return place_ == 0 ? model_.source() : &model_.part(place_); }
  bool refresh() override { return model_.refresh_phantoms(place_); }

  bool variance_moves() const override {
    return model_.link == nullptr && (place_ > 0 || model_.residual_variance_moves());
  }
  double variance() const override {
    return place_ == 0 ? model_.residual_variance() : Sigma()(effect(), effect());
  }
  void set_variance(double v) override {
    if (place_ == 0) {
      model_.set_residual_variance(v);
      return;
    }
    arma::Mat<double>& S = Sigma();
    arma::Mat<double>& P = model_.iSigma[place_ - 1];
    arma::uword const t = effect();
    const double scale = std::sqrt(v / S(t, t));
    for (arma::uword j = 0; j < S.n_rows; ++j) {
      if (j == t) continue;
      S(t, j) = S(j, t) = scale * S(t, j);
      P(t, j) = P(j, t) = P(t, j) / scale;
    }
    S(t, t) = v;
    P(t, t) /= scale * scale;
  }
  void keep() override {
    if (place_ == 0) {
      kept_variance_ = model_.residual_variance();
    } else {
      kept_ = Sigma();
      kept_inverse_ = model_.iSigma[place_ - 1];
    }
  }
  void restore() override {
    if (place_ == 0) {
      model_.set_residual_variance(kept_variance_);
    } else {
      std::copy_n(kept_.memptr(), kept_.n_elem, Sigma().memptr());
      std::copy_n(kept_inverse_.memptr(), kept_.n_elem, model_.iSigma[place_ - 1].memptr());
    }
  }
  // An inverse Wishart with df degrees of freedom and the scale I or 0 in q dimensions is, in a variance v at
  // given correlations, v^-(df / 2 + 1) exp(-tr(inv(Sigma)) / 2) or without the exponential.
  double log_prior() const override {
    const int code = place_ == 0 ? model_.resid_prior : model_.raneff_prior;
    const double q = place_ == 0 ? 1.0 : static_cast<double>(Sigma().n_rows);
    const double df = code == 1 ? q + 1.0 : code == 2 ? -(q + 1.0) : 0.0;
    double out = -(0.5 * df + 1.0) * std::log(variance());
    if (code != 1) return out;
    if (place_ == 0) return out - 0.5 * model_.residual_unit_ / model_.residual_variance();
    const arma::Mat<double>& P = model_.iSigma[place_ - 1];
    for (arma::uword j = 0; j < P.n_rows; ++j) out -= 0.5 * model_.effect_units_[place_ - 1](j) * P(j, j);
    return out;
  }

 private:
  arma::Mat<double>& Sigma() const { return model_.Sigma[place_ - 1]; }
  arma::uword effect() const { return model_.part(place_).loadings.terms()[k_].effect; }

  Regression& model_;
  unsigned place_;
  arma::uword k_;
  double kept_variance_ = 0.0;
  arma::Mat<double> kept_, kept_inverse_;
};

std::unique_ptr<correlated_side> Regression::correlated(arma::uword column) {
  for (unsigned place = 0; place < parts_.size(); ++place)
    for (arma::uword k = 0; k < parts_[place].loadings.size(); ++k)
      if (parts_[place].loadings.terms()[k].column == column)
        return std::make_unique<regression_side>(*this, place, k);
  throw error_debug("The equation does not hold the phantom.");
}

bool Regression::has_phantoms() const {
  return std::any_of(parts_.begin(), parts_.end(), [](const phantom_part& part) { return !part.empty(); });
}

bool Regression::refresh_phantoms(unsigned place) {
  if (parts_[place].empty()) return true;
  if (place > 0) return parts_[place].loadings.refresh(Sigma[place - 1]);
  const bool valid = parts_[0].loadings.refresh(correlated_variance());
  if (valid) phantoms_changed();
  return valid;
}

const arma::Col<arma::uword>* Regression::phantom_rows(unsigned place) const {
  return place == 0 ? unit_rows() : cluster.own_rows[place];
}

void Regression::read_values(unsigned place, const arma::Mat<double>& data) {
  if (place > 0)
    parts_[place].read_values(u[place - 1]);
  else
    parts_[0].read_values(values_without_phantoms(data));
}

void Regression::read_part(unsigned place, const arma::Mat<double>& data) {
  if (place > 0)
    parts_[place].read(u[place - 1], data, phantom_rows(place));
  else
    parts_[0].read(values_without_phantoms(data), data, phantom_rows(0));
}

const arma::Col<double>& Regression::values_without_phantoms(const arma::Mat<double>& data) {
  arma::Col<double>& e = means_.e;
  e.set_size(n_units);
  copy_response(data, e.memptr());
  add_fixed(data, -1.0, e);
  add_random(data, -1.0, e);
  const scan::row_scale unit = phantom_scale();
  for (arma::uword i = 0; i < n_units && !unit.is_one(); ++i) e(i) *= std::sqrt(unit.precision(i));
  return e;
}

const arma::Mat<double>& Regression::phantom_means(const arma::Mat<double>& data) const {
  parts_[0].loadings.means(data, unit_rows(), means_.residual);
  const scan::row_scale unit = phantom_scale();
  for (arma::uword i = 0; i < n_units && !unit.is_one(); ++i) means_.residual(i) *= unit.sd(i);
  return means_.residual;
}

void Regression::add_phantoms(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const {
  if (parts_[0].empty()) return;
  scan::add_scaled(r.n_elem, sign, phantom_means(data).memptr(), r.memptr());
}

double Regression::compute_LL_correlation(const double&, const arma::Mat<double>& data) {
  if (!refresh_phantoms(0)) return impossible;
  if (!is_normal()) return logLiklihood(data);
  read_part(0, data);
  return parts_[0].log_density();
}

double Regression::compute_LL_correlation_L(const double&, const arma::Mat<double>& data, const int& L) {
  const unsigned place = static_cast<unsigned>(L) + 1;
  if (place >= parts_.size()) throw error_debug("The outcome has no random effects at this level.");
  if (!refresh_phantoms(place)) return impossible;
  read_part(place, data);
  return parts_[place].log_density();
}

void Regression::draw_covariance(const arma::Mat<double>& data, unsigned L) {
  phantom_part& part = parts_[L + 1];
  if (part.empty()) {
    covariance_[L].draw(raneff_prior, effects_by_weight(L), *rng, iSigma[L], Sigma[L], &effect_units_[L]);
    return;
  }
  part.read(u[L], data, phantom_rows(L + 1));
  means_.Sigma = Sigma[L];
  means_.iSigma = iSigma[L];
  auto excess = [&] { return part.log_density() - part.products().log_density(Sigma[L]); };
  const double before = excess();
  covariance_[L].draw(raneff_prior, effects_by_weight(L), *rng, iSigma[L], Sigma[L], &effect_units_[L]);
  part.loadings.refresh(Sigma[L]);
  const double change = excess() - before;
  if (std::log(rng->runif()) <= change) return;
  std::copy_n(means_.Sigma.memptr(), Sigma[L].n_elem, Sigma[L].memptr());
  std::copy_n(means_.iSigma.memptr(), iSigma[L].n_elem, iSigma[L].memptr());
  part.loadings.refresh(Sigma[L]);
}

}  // namespace tovik::sem
