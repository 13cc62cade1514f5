#include "sem/ensemble/factor_moves.hpp"

#include <algorithm>
#include <cmath>

#include "model/model_list.hpp"
#include "sem/scan/orbit_scale.hpp"

namespace tovik::sem {

bool factor_moves::suits(const Normal& factor, const std::vector<reader>& readers) {
  const bool effects =
      std::any_of(factor.u.begin(), factor.u.end(), [](const auto& level) { return level.n_cols > 0; });
  if (effects || !factor.has_one_variance() || factor.link != nullptr || !factor.part(0).empty() ||
      readers.empty())
    return false;
  // Scores are drawn without sampling weights and parameters with them: no density has both.
  const auto is_weighted = [](const reader& r) { return r.equation->sampling() != nullptr; };
  if (factor.sampling() != nullptr || std::any_of(readers.begin(), readers.end(), is_weighted)) return false;
  for (arma::uword j = 0; j < factor.betas_.n_elem; ++j) {
    const bool drawn = factor.coefficient_moves(j) && std::isinf(factor.coefficient_variance(j));
    const bool known = arma::any(factor.fixed == j) && factor.betas_(j) == 0.0;
    if (!drawn && !known) return false;
  }
  return std::none_of(readers.begin(), readers.end(),
                      [](const reader& r) { return r.equation->link != nullptr; });
}

factor_moves::factor_moves(Normal& factor, const std::vector<reader>& readers)
    : factor_(&factor),
      intercept_moves_(factor.has_intercept && factor.coefficient_moves(0)),
      residual_(factor.n_units) {
  for (const reader& r : readers) {
    Regression& e = *r.equation;
    readers_.push_back({&e, r.position,
                        autosolver::solution::constant(r.position, static_cast<unsigned>(factor.y(0))),
                        e.every_unit(), e.coefficient_moves(r.position),
                        e.has_intercept && r.position != 0 && e.coefficient_moves(0)});
  }
}

void factor_moves::draw(arma::Mat<double>& data, Random& rng) {
  move_location(data, rng);
  move_scale(data, rng);
}

void factor_moves::anchor() {
  factor_->anchor_coefficients();
  for (const held_reader& r : readers_) r.equation->anchor_coefficients();
}

// The intercept that goes along takes up what the shift adds, at every unit; its prior N(0, 1 / w) tells of
// c.
void factor_moves::move_location(arma::Mat<double>& data, Random& rng) {
  double q = 0.0, d = 0.0;
  if (!intercept_moves_) {
    factor_->residual_into(data, residual_.memptr());
    const double v = factor_->residVar();
    q = static_cast<double>(factor_->n_units) / v;
    d = -arma::accu(residual_) / v;
  }
  for (const held_reader& r : readers_) {
    if (r.intercept_moves) {
      const double w = 1.0 / r.equation->coefficient_variance(0);
      q += w * r.loading() * r.loading();
      d += w * r.loading() * r.equation->betas_(0);
    } else {
      const auto told = r.equation->told_of_shift(data, r.how, *r.units);
      q += told.q;
      d += told.d;
    }
  }
  if (!(q > 0.0) || !std::isfinite(q) || !std::isfinite(d)) return;
  const double c = d / q + rng.rnorm() / std::sqrt(q);
  data.col(factor_->y(0)) += c;
  if (intercept_moves_) factor_->betas_(0) += c;
  for (const held_reader& r : readers_)
    if (r.intercept_moves) r.equation->betas_(0) -= r.loading() * c;
  anchor();
}

// n scores with the Jacobian g^n: with their variance going along their density has g^-n, and the variance
// brings g^2 and its prior v^-(a + 1) exp(-b / v); else the squares of their residuals grow.
void factor_moves::move_scale(arma::Mat<double>& data, Random& rng) {
  scan::orbit_scale at;
  at.dimension = static_cast<double>(factor_->free.n_elem);
  if (factor_->estimate_resid) {
    const int code = factor_->resid_prior;
    at.dimension += code == 1 ? -2.0 : code == 2 ? 2.0 : 0.0;
    at.inverse = code == 1 ? factor_->residual_unit() / factor_->sigma2 : 0.0;
  } else {
    factor_->residual_into(data, residual_.memptr());
    at.dimension += static_cast<double>(factor_->n_units);
    at.square = arma::dot(residual_, residual_) / factor_->sigma2;
  }
  for (const held_reader& r : readers_) {
    if (r.loading_moves) {
      at.dimension -= 1.0;
      at.inverse += r.loading() * r.loading() / r.equation->coefficient_variance(r.position);
    } else {
      const auto told = r.equation->told_of_scale(data, r.how, *r.units);
      at.square += told.q;
      at.linear += told.d;
    }
  }
  const double g = at.square > 0.0 ? at.draw(rng) : 1.0;
  if (g == 1.0) return;
  data.col(factor_->y(0)) *= g;
  for (arma::uword j : factor_->free) factor_->betas_(j) *= g;
  if (factor_->estimate_resid) factor_->sigma2 *= g * g;
  for (const held_reader& r : readers_)
    if (r.loading_moves) r.loading() /= g;
  anchor();
}

std::vector<factor_moves> moves_of_factors(const ModelList& list,
                                           const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  std::vector<factor_moves> out;
  for (unsigned i = 0; i < list.size(); ++i) {
    if (list[i].kind() != model::kind::latent || list[i].outcomes.size() != 1) continue;
    auto* factor = dynamic_cast<Normal*>(models[i].get());
    if (factor == nullptr) continue;
    std::vector<factor_moves::reader> readers;
    bool alone = true;
    for (const auto& entry : list.autosolverInfo(list[i].outcomes.front())) {
      alone = alone && entry.type == distribution_type::fixed;
      if (alone)
        readers.push_back({&dynamic_cast<Regression&>(*models[entry.model]), entry.positions.front()});
    }
    if (alone && factor_moves::suits(*factor, readers)) out.emplace_back(*factor, readers);
  }
  return out;
}

}  // namespace tovik::sem
