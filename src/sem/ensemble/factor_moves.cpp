#include "sem/ensemble/factor_moves.hpp"

#include <algorithm>
#include <cmath>

#include "model/model_list.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/multi_scale.hpp"

namespace tovik::sem {

/// The members of a block of correlated outcomes among the factor and its readers, which tell of a move
/// together.
class factor_moves::told_by_block {
 public:
  explicit told_by_block(Multi& block) : block_(&block), change_(block.members().size()) {}

  const Multi* block() const { return block_; }
  /// The column by which the residual of a member changes, to be filled.
  arma::Col<double>& change_of(const Regression& member) {
    arma::Col<double>& column = change_[block_->position_of(member)];
    column.set_size(member.n_units);
    return column;
  }
  /// Nothing changes.
  void clear() {
    for (arma::Col<double>& column : change_) column.set_size(0);
  }
  Regression::told tell(const arma::Mat<double>& data) { return block_->told_of_change(data, change_); }

 private:
  Multi* block_;
  std::vector<arma::Col<double>> change_;  ///< per member; empty: the residual stays
};

bool factor_moves::suits(const Normal& factor, const std::vector<reader>& readers) {
  const bool effects =
      std::any_of(factor.u.begin(), factor.u.end(), [](const auto& level) { return level.n_cols > 0; });
  if (effects || !factor.has_one_variance() || !factor.part(0).empty() || readers.empty()) return false;
  // Scores are drawn without sampling weights and parameters with them: no density has both. A block whose
  // variances differ between units is not told of a move by one matrix.
  const auto is_apart = [](const Regression& e) {
    return e.sampling() != nullptr || dynamic_cast<const MultiScale*>(e.link.get()) != nullptr;
  };
  if (is_apart(factor)) return false;
  if (std::any_of(readers.begin(), readers.end(), [&](const reader& r) { return is_apart(*r.equation); }))
    return false;
  for (arma::uword j = 0; j < factor.betas_.n_elem; ++j) {
    const bool drawn = factor.coefficient_moves(j) && std::isinf(factor.coefficient_variance(j));
    const bool known = arma::any(factor.fixed == j) && factor.betas_(j) == 0.0;
    if (!drawn && !known) return false;
  }
  return true;
}

factor_moves::factor_moves(Normal& factor, const std::vector<reader>& readers)
    : factor_(&factor),
      intercept_moves_(factor.has_intercept && factor.coefficient_moves(0)),
      residual_(factor.n_units) {
  add_block(factor);
  for (const reader& r : readers) {
    Regression& e = *r.equation;
    readers_.push_back({&e, r.position,
                        autosolver::solution::constant(r.position, static_cast<unsigned>(factor.y(0))),
                        e.every_unit(), e.coefficient_moves(r.position),
                        e.has_intercept && r.position != 0 && e.coefficient_moves(0)});
    add_block(e);
  }
}

factor_moves::factor_moves(factor_moves&&) noexcept = default;
factor_moves::~factor_moves() = default;

void factor_moves::add_block(const Regression& equation) {
  if (equation.link != nullptr && block_of(equation) == nullptr) blocks_.emplace_back(*equation.link);
}

factor_moves::told_by_block* factor_moves::block_of(const Regression& equation) {
  const auto found = std::find_if(blocks_.begin(), blocks_.end(),
                                  [&](const auto& one) { return one.block() == equation.link.get(); });
  return found == blocks_.end() ? nullptr : &*found;
}

void factor_moves::draw(arma::Mat<double>& data, Random& rng) {
  move_location(data, rng);
  move_scale(data, rng);
}

void factor_moves::anchor() {
  factor_->anchor_coefficients();
  for (const held_reader& r : readers_) r.equation->anchor_coefficients();
  if (factor_->link != nullptr) factor_->link->forget_residuals();
}

bool factor_moves::variance_moves() const {
  return factor_->link != nullptr ? factor_->link->variance_moves(factor_->link->position_of(*factor_))
                                  : factor_->estimate_resid;
}

// The intercept that goes along takes up what the shift adds, at every unit; its prior N(0, 1 / w) tells of
// c.
void factor_moves::move_location(arma::Mat<double>& data, Random& rng) {
  double q = 0.0, d = 0.0;
  const auto add = [&](const Regression::told& told) {
    q += told.q;
    d += told.d;
  };
  for (told_by_block& one : blocks_) one.clear();
  if (!intercept_moves_ && factor_->link != nullptr) {
    block_of(*factor_)->change_of(*factor_).fill(-1.0);
  } else if (!intercept_moves_) {
    factor_->residual_into(data, residual_.memptr());
    const double v = factor_->residVar();
    add({static_cast<double>(factor_->n_units) / v, -arma::accu(residual_) / v});
  }
  for (const held_reader& r : readers_) {
    if (r.intercept_moves) {
      const double w = 1.0 / r.equation->coefficient_variance(0);
      add({w * r.loading() * r.loading(), w * r.loading() * r.equation->betas_(0)});
    } else if (r.equation->link != nullptr) {
      block_of(*r.equation)->change_of(*r.equation).fill(r.loading());
    } else {
      add(r.equation->told_of_shift(data, r.how, *r.units));
    }
  }
  for (told_by_block& one : blocks_) add(one.tell(data));
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
  for (told_by_block& one : blocks_) one.clear();
  const bool with_variance = variance_moves();
  if (with_variance)
    add_prior_of_variance(at);
  else
    add_scores(data, at);
  for (const held_reader& r : readers_) {
    if (r.loading_moves) {
      at.dimension -= 1.0;
      at.inverse += r.loading() * r.loading() / r.equation->coefficient_variance(r.position);
    } else if (r.equation->link != nullptr) {
      arma::Col<double>& change = block_of(*r.equation)->change_of(*r.equation);
      for (arma::uword i = 0; i < change.n_elem; ++i)
        change(i) = r.loading() * data(r.units->rows(i), factor_->y(0));
    } else {
      const auto told = r.equation->told_of_scale(data, r.how, *r.units);
      at.square += told.q;
      at.linear += told.d;
    }
  }
  // In g - 1, the factor by which the changes enter.
  for (told_by_block& one : blocks_) {
    const auto told = one.tell(data);
    at.square += told.q;
    at.linear += told.q + told.d;
  }
  const double g = at.square > 0.0 ? at.draw(rng) : 1.0;
  if (g == 1.0) return;
  data.col(factor_->y(0)) *= g;
  for (arma::uword j : factor_->free) factor_->betas_(j) *= g;
  if (with_variance && factor_->link != nullptr)
    factor_->link->scale_member(factor_->link->position_of(*factor_), g);
  else if (with_variance)
    factor_->sigma2 *= g * g;
  for (const held_reader& r : readers_)
    if (r.loading_moves) r.loading() /= g;
  anchor();
}

// In a block the row and the column of the covariance matrix go along: its determinant grows by g^2, and the
// q covariances that count as elements bring g each.
void factor_moves::add_prior_of_variance(scan::orbit_scale& at) {
  if (factor_->link != nullptr) {
    const auto [dimension, inverse] = factor_->link->prior_of_scale(factor_->link->position_of(*factor_));
    at.dimension += dimension;
    at.inverse = inverse;
    return;
  }
  const int code = factor_->resid_prior;
  at.dimension += code == 1 ? -2.0 : code == 2 ? 2.0 : 0.0;
  at.inverse = code == 1 ? factor_->residual_unit() / factor_->sigma2 : 0.0;
}

/// The residuals of the scores grow with these.
void factor_moves::add_scores(const arma::Mat<double>& data, scan::orbit_scale& at) {
  factor_->residual_into(data, residual_.memptr());
  at.dimension += static_cast<double>(factor_->n_units);
  if (factor_->link != nullptr)
    block_of(*factor_)->change_of(*factor_) = -residual_;
  else
    at.square = arma::dot(residual_, residual_) / factor_->sigma2;
}

std::vector<plain_factor> plain_factors(const ModelList& list,
                                        const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  std::vector<plain_factor> out;
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
    if (alone && !readers.empty()) out.push_back({factor, std::move(readers)});
  }
  return out;
}

std::vector<factor_moves> moves_of_factors(const std::vector<plain_factor>& factors) {
  std::vector<factor_moves> out;
  for (const plain_factor& one : factors)
    if (factor_moves::suits(*one.factor, one.readers)) out.emplace_back(*one.factor, one.readers);
  return out;
}

}  // namespace tovik::sem
