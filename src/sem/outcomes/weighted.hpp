#pragma once

#include <armadillo>
#include <memory>
#include <type_traits>
#include <utility>

#include "sem/outcomes/block_member.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

/// An equation whose parameters are those of a population of which the units are a sample with unequal
/// chances. With W, g and h as in estimator::weights and f_i the density of a unit, parameters are drawn from
/// the pseudo-posterior (Savitsky & Toth, 2016, Electron. J. Statist. 10, 1677-1708)
///
///   p(b, v | ...)  ~  p(b, v) prod_i f_i^W_i,      p(u_c | ...)  ~  N(u_c; 0, Sigma) prod_{i in c} f_i^g_i,
///   p(Sigma | u)   ~  p(Sigma) prod_c N(u_c; 0, Sigma)^h_c:
///
/// b has the precision X'WX / v and the residual variance the squares r'Wr with n degrees of freedom, u_c the
/// precision Z'GZ / v + inv(Sigma), Sigma the scale sum h_c u_c u_c'. So have correlations, labels,
/// thresholds (each unit's log mass times W) and the log likelihood that fit statistics report.
///
/// What is unknown of a unit is drawn as without weights: a missing value given the others of its unit has
/// the distribution that the population has, whatever the chance of the unit to be in the sample. So have
/// propensities and the scores of latent variables and phantoms. A missing value of a whole cluster meets the
/// densities of its units to the power g, as its random effects do. The marginal log likelihood is the plain
/// one.
///
/// With weights of clusters these draws are no longer those of one joint density, and without these the
/// unknown values are not: no step that integrates effects out, or moves parameters together with effects or
/// scores, is then used (see Regression::has_one_density, Ordinal, factor_moves).
template <class Base>
class weighted : public Base {
 public:
  /// `shape`: what parts_of() of the base says; `args`: what the base is made from.
  template <class... Args>
  weighted(std::shared_ptr<const estimator::weights> w, const estimator::Outcome::shape& shape,
           const Args&... args)
      : estimator::Outcome(shape), Base(args...), weights_(std::move(w)) {
    if (weights_ == nullptr || weights_->rows.n_elem != this->n_units)
      throw error_debug("Sampling weights do not match the units.");
    this->equation().keep_rows();
    this->weigh_phantoms();
    if constexpr (std::is_base_of_v<Ordinal, Base>) this->weigh_thresholds();
  }

  const estimator::weights* sampling() const override { return weights_.get(); }

 protected:
  scan::row_scale scale() const override { return all_.at(weights_->rows, this->residVar()); }
  scan::row_scale effects_scale() const override { return within_.at(weights_->within, this->residVar()); }

 private:
  /// Precisions w / v, filled again when v has moved.
  struct precisions {
    scan::row_scale at(const arma::Col<double>& w, double v) {
      if (!(v == variance)) {
        values = w / v;
        variance = v;
      }
      return scan::row_scale::per_row(values);
    }
    arma::Col<double> values;
    double variance = 0.0;
  };

  std::shared_ptr<const estimator::weights> weights_;
  mutable precisions all_, within_;
};

using NormalWeighted = weighted<Normal>;
using FactorWeighted = weighted<Factor>;
using OrdinalWeighted = weighted<Ordinal>;
/// In a block of outcomes with correlated residuals.
using MultiNormalWeighted = weighted<MultiNormal>;
using MultiFactorWeighted = weighted<MultiFactor>;

}  // namespace tovik::sem
