#include "sem/outcomes/nbinomial.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "data/variable.hpp"
#include "sem/scan/logit.hpp"
#include "support/error.hpp"

namespace tovik::sem {

NBinomial::NBinomial(const Estimator* estimator_, const equation_setup& setup)
    : Outcome(parts_of(estimator_, data::type::count, setup)),
      polya_gamma_regression(estimator_, data::type::count, setup),
      dispersion_tune(3.0 / std::sqrt(static_cast<double>(n_units)),
                      estimator::tune_obj::kind_type::parameter, "Dispersion Parameter"),
      law_(1.0),
      weighted_(law_),
      parts_(1) {
  if (!has_intercept) throw error("Count Data requires having an interecpt.");
  refresh_phantoms(0);
}

void NBinomial::addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) {
  if (kind == indicator_type::random_effect && arma::any(cols != data::variable::no_column))
    throw error(
        "ERROR: Labeled random effects not allowed in count models.\n"
        "       Use LATENT command instead.");
  Regression::addIndicator(cols, kind);
}

void NBinomial::draw_own(const arma::Mat<double>& data) {
  predictor(data, eta_);
  dispersion_.move(unit_values, eta_, *rng, dispersion_tune, law_);
  before_ = eta_;
  if (equation().shared() == nullptr)
    move_coefficients();
  else
    move_parameters();
  for (unsigned L = 0; L < n_levels; ++L) move_effects(data, L);
  before_ -= eta_;
  before_ *= -1.0;
  equation().subtract(before_.memptr());
}

// Coefficients that are held, or drawn as parameters of their own, stay.
void NBinomial::move_coefficients() {
  arma::uword const q = free.n_elem;
  if (q == 0) return;
  const scan::equation& equation_ = equation().terms();
  std::vector<const double*>& columns = counts_of(0, n_units).columns;
  columns.resize(q);
  terms_.precision.assign(q * q, 0.0);
  terms_.mean.resize(q);
  terms_.value.resize(q);
  for (arma::uword k = 0; k < q; ++k) {
    arma::uword const j = free(k);
    columns[k] = equation_.terms.x.values().colptr(j);
    terms_.precision[k + k * q] = equation_.prior.precision(j);
    terms_.mean[k] = equation_.prior.mean(j);
    terms_.value[k] = betas_(j);
  }
  if (!newton_.move(parts_, terms_, *rng)) return;
  for (arma::uword k = 0; k < q; ++k) betas_(free(k)) = terms_.value[k];
}

scan::newton_move::part& NBinomial::counts_of(arma::uword first, arma::uword n) {
  scan::newton_move::part& out = parts_.front();
  out.law = &law_;
  out.y = unit_values.memptr() + first;
  out.eta = eta_.memptr() + first;
  out.n = n;
  return out;
}

// Given the parameters that also stand in other equations.
void NBinomial::move_parameters() {
  const scan::block_share& shared = *equation().shared();
  own_.clear();
  for (arma::uword p : shared.parameters) {
    if (p == scan::coefficient_block::none || shared.block->parameters()[p].of_several) continue;
    if (std::find(own_.begin(), own_.end(), p) == own_.end()) own_.push_back(p);
  }
  if (own_.empty()) return;
  gather_columns(own_, counts_of(0, n_units));
  shared.block->tell(own_, terms_);
  if (newton_.move(parts_, terms_, *rng)) shared.block->take(own_, terms_.value);
  terms_.lower.clear();
  terms_.upper.clear();
}

void NBinomial::gather_columns(const std::vector<arma::uword>& parameters, scan::newton_move::part& out) {
  const arma::Col<arma::uword>& of_coefficient = equation().shared()->parameters;
  const arma::Mat<double>& X = equation().terms().terms.x.values();
  out.columns.assign(parameters.size(), nullptr);
  if (sums_.size() < parameters.size()) sums_.resize(parameters.size());
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    arma::Col<double>& sum = sums_[k];
    for (arma::uword j = 0; j < of_coefficient.n_elem; ++j) {
      if (of_coefficient(j) != parameters[k]) continue;
      if (out.columns[k] == nullptr) {
        out.columns[k] = X.colptr(j);
        continue;
      }
      if (out.columns[k] != sum.memptr()) {
        sum.set_size(n_units);
        std::copy_n(out.columns[k], n_units, sum.memptr());
        out.columns[k] = sum.memptr();
      }
      for (arma::uword i = 0; i < n_units; ++i) sum(i) += X(i, j);
    }
  }
}

void NBinomial::tell_counts(const arma::Mat<double>& data, const std::vector<arma::uword>& parameters,
                            scan::newton_move::part& out) {
  read_design(data);
  predictor(data, eta_);
  for (arma::uword i = 0; i < n_units; ++i) unit_values(i) = value_at(data, i);
  out = counts_of(0, n_units);
  gather_columns(parameters, out);
}

void NBinomial::move_effects(const arma::Mat<double>& data, unsigned L) {
  arma::uword const q = u[L].n_cols;
  if (q == 0) return;
  const auto& loadings = part(L + 1).loadings;
  const bool phantoms = !loadings.empty();
  if (phantoms) loadings.means(data, cluster.own_rows[L + 1], effect_means_);
  const arma::Mat<double>& K = iSigma_s(static_cast<int>(L));
  const arma::Mat<double>& Z = equation().terms().terms.z[L].values();
  terms_.precision.assign(K.begin(), K.end());
  terms_.mean.assign(q, 0.0);
  terms_.value.resize(q);
  const estimator::selector& clusters = *cluster.selectors[L];
  for (arma::uword c = 0; c < clusters.size(); ++c) {
    for (arma::uword j = 0; j < q; ++j) {
      terms_.value[j] = u[L](c, j);
      if (phantoms) terms_.mean[j] = effect_means_(c, j);
    }
    std::vector<const double*>& columns = counts_of(clusters.start[c], clusters.count[c]).columns;
    columns.resize(q);
    for (arma::uword j = 0; j < q; ++j) columns[j] = Z.colptr(j) + clusters.start[c];
    if (!newton_.move(parts_, terms_, *rng)) continue;
    for (arma::uword j = 0; j < q; ++j) u[L](c, j) = terms_.value[j];
  }
}

void NBinomial::to_probabilities(arma::Col<double>& eta) const {
  for (double& value : eta) value = scan::logistic(law_.log_size() - value);
}

void NBinomial::draw_candidates(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                                std::vector<double>& out) {
  probability_.set_size(units.n_elem);
  predictor_at(data, units, probability_.memptr());
  to_probabilities(probability_);
  probability_ = rng->rnbin(law_.size(), std::move(probability_));
  std::copy(probability_.begin(), probability_.end(), out.begin());
}

arma::Mat<double> NBinomial::compute_predicted_prob(const arma::Mat<double>& data) const {
  arma::Col<double> p;
  predictor(data, p);
  to_probabilities(p);
  return p;
}

void NBinomial::tune() {
  Regression::tune();
  dispersion_tune.tune();
}

void NBinomial::addProposals(std::vector<estimator::tune_obj*>& to) {
  Regression::addProposals(to);
  to.push_back(&dispersion_tune);
}

estimator::tune_results NBinomial::tuneResults() const {
  estimator::tune_results results = polya_gamma_regression::tuneResults();
  results.insert(results.begin() + 1, dispersion_tune);
  return results;
}

}  // namespace tovik::sem
