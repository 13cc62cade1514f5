#pragma once

#include <armadillo>
#include <memory>
#include <utility>

#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/outcomes/row_variances.hpp"
#include "support/error.hpp"

namespace tovik::sem {

/// An equation with a residual variance of its own in each unit, of which the logarithm has a linear model
/// (see LogScale):
///
///   y*_i = eta_i + e_i,   e_i ~ N(0, v_i),   log v_i = max(V_i'g, trunc_point).
///
/// All else is that of the equation alone: with D = diag(1 / v) coefficients are drawn from
/// inv(X'DX) and X'D(y* - Zu), effects likewise, missing values around eta_i with v_i, thresholds and scores
/// of a probit with sd_i = sqrt(v_i). In the place of the residual variance g is drawn given the residuals.
/// The scale of a probit is that of its variance model without the intercept, which is held at 0.
///
/// In the shares of variance the mean of v over the units is what no predictor explains.
template <class Base>
class scaled : public Base {
 public:
  /// `type`: that of the outcome; `parts`: what the base needs beside the setup.
  template <class... Parts>
  scaled(const Estimator* estimator, const data::type& type, const equation_setup& setup, Parts&&... parts)
      : estimator::Outcome(Base::parts_of(estimator, type, setup)),
        Base(estimator, with_known_variance(setup), std::forward<Parts>(parts)...) {}

  /// For a kind that is derived from this one and says the type of the outcome itself.
  scaled(const Estimator* estimator, const equation_setup& setup)
      : estimator::Outcome(Base::parts_of(estimator, data::type::continuous, setup)),
        Base(estimator, with_known_variance(setup)) {}

  void addLogScale(LogScale* model) override {
    if (this->phantoms_of_residual()) throw error_debug("Not implemented yet");
    rows_.attach(model);
    model->belong_to(*this);
    this->keep_rows();
  }
  LogScale& log_scale() const { return rows_.model(); }
  arma::Col<double> unit_variances(const arma::Mat<double>& data) const override { return residVar(data); }
  /// Of every unit, at these data.
  arma::Col<double> residVar(const arma::Mat<double>& data) const { return rows_.model().variances(data); }
  using Base::residVar;

  /// Also in the variance model.
  bool reads(arma::uword column) const override {
    return Base::reads(column) || (rows_.attached() && rows_.model().reads(column));
  }
  bool couples(arma::uword column) const override {
    return Base::couples(column) || (rows_.attached() && rows_.model().couples(column));
  }

  arma::Mat<double> betaCovB(const arma::Mat<double>& data, const unsigned& index) const override {
    rows_.keep(data, left());
    return Base::betaCovB(data, index);
  }
  void refreshShares(const arma::Mat<double>& data) override {
    rows_.keep(data, left());
    Base::refreshShares(data);
  }
  void check_propriety(const arma::Mat<double>& data,
                       const estimator::Outcome::equation_names& names) const override {
    Base::check_propriety(data, names);
    check_variances(names);
  }

 protected:
  double residual_variance() const override { return rows_.mean(); }
  double share_variance() const override { return rows_.mean(); }
  scan::row_scale variances() const override { return rows_.scale(); }
  void read_variances(const arma::Mat<double>& data, const arma::uword* units, arma::uword n) const override {
    rows_.read(data, units, n, left());
  }
  void unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                        const double* mu, double* out) const override {
    read_variances(data, units, n);
    Base::unit_log_density(data, units, n, mu, out);
  }
  void draw_own(const arma::Mat<double>& data) override {
    Base::draw_own(data);
    if (this->link == nullptr) rows_.model()._draw_log_scale(this->equation().r(), data);
    rows_.keep(data, left());
  }
  arma::Col<double> own_rows() const override { return rows_.rows(); }
  /// They follow from the variance model.
  void take_own_rows(const double*) override {}
  std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                        const unsigned& index) override {
    switch (kind) {
      case parameter_type::residual_variance:
        throw error_debug("Not implemented yet");
      case parameter_type::residual_variance_read:
        return this->handle(rows_.mean_address(), this->level);
      default:
        return Base::own_constraint(kind, index);
    }
  }

 private:
  /// Nothing of the kind's own.
  static equation_setup with_known_variance(equation_setup setup) {
    setup.estimate_resid = false;
    setup.resid_value = 1.0;
    return setup;
  }
  /// What the other residuals of a block leave of each variance.
  double left() const { return this->link == nullptr ? 1.0 : this->residVar(); }
  void check_variances(const estimator::Outcome::equation_names& names) const;

  mutable row_variances rows_;  ///< follows the data; a chain is one thread
};

/// Each coefficient, of the equation or of its variance model, takes one of the values: with as many of them
/// a residual of 0 can be had, and the density of the variance there has no bound but the truncation.
template <class Base>
void scaled<Base>::check_variances(const estimator::Outcome::equation_names& names) const {
  const arma::uword n = this->n_known(), k = this->n_estimated_coefficients(),
                    of_variance = log_scale().n_unknown();
  if (of_variance == 0 || n >= k + of_variance) return;
  throw error("ERROR: There are too few observed values of '" + names.outcome + "'.\n       " +
              std::to_string(n) + " for " + std::to_string(k) + " coefficients and " +
              std::to_string(of_variance) + " of the variance model.\n       Use fewer predictors.");
}

using NormalScale = scaled<Normal>;
/// Of a setup without values (see Factor::without_values).
using FactorScale = scaled<Factor>;
using OrdinalScale = scaled<Ordinal>;

}  // namespace tovik::sem
