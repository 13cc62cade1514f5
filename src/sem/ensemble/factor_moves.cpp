#include "sem/ensemble/factor_moves.hpp"

#include <algorithm>
#include <cmath>

#include "model/model_list.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/multi_scale.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"

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
  if (!factor.has_one_variance() || !factor.part(0).empty() || readers.empty()) return false;
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
      scale_moves_(
          std::all_of(factor.u.begin(), factor.u.end(), [](const auto& level) { return level.n_cols == 0; })),
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
  find_absorbers();
}

// Effects that other equations hold stay where they are, and so do those with phantoms.
void factor_moves::find_absorbers() {
  if (!intercept_moves_ && factor_->link == nullptr) {
    slopes_ = factor_->free;
    for (unsigned L = 0; L < factor_->u.size(); ++L) {
      const bool own = factor_->re_indicators[L].is_empty() && factor_->part(L + 1).empty();
      if (factor_->u[L].n_cols > 0 && factor_->icept[L] != 0 && own) levels_.push_back(L);
    }
  }
  const arma::uword q = 1 + slopes_.n_elem + levels_.size();
  precision_.set_size(q, q);
  shift_.set_size(q);
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
  if (scale_moves_) move_scale(data, rng);
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
Regression::told factor_moves::told_by_readers(const arma::Mat<double>& data) {
  Regression::told sum = {0.0, 0.0};
  const auto add = [&](const Regression::told& told) {
    sum.q += told.q;
    sum.d += told.d;
  };
  for (told_by_block& one : blocks_) one.clear();
  if (!intercept_moves_ && factor_->link != nullptr) block_of(*factor_)->change_of(*factor_).fill(-1.0);
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
  return sum;
}

// With e the residuals of the scores, e + c - Xd - sum of a_L are those of the shifted state.
bool factor_moves::draw_shift(const arma::Mat<double>& data, const Regression::told& told, Random& rng) {
  precision_.zeros();
  shift_.zeros();
  precision_(0, 0) = told.q;
  shift_(0) = told.d;
  if (!intercept_moves_ && factor_->link == nullptr) {
    factor_->residual_into(data, residual_.memptr());
    const double v = factor_->residVar();
    precision_(0, 0) += static_cast<double>(factor_->n_units) / v;
    shift_(0) -= arma::accu(residual_) / v;
  }
  if (!slopes_.is_empty()) add_slopes(data);
  if (!levels_.empty()) add_intercepts();
  const arma::uword q = shift_.n_elem;
  if (!precision_.is_finite() || !shift_.is_finite()) return false;
  if (!scan::reverse_cholesky(precision_.memptr(), q, scan::singular_share(factor_->n_units))) return false;
  scan::solve_upper(precision_.memptr(), q, shift_.memptr());
  for (double& x : shift_) x += rng.rnorm();
  scan::solve_upper_transposed(precision_.memptr(), q, shift_.memptr());
  return true;
}

void factor_moves::add_slopes(const arma::Mat<double>& data) {
  const arma::Mat<double>& X = factor_->read_design(data);
  const arma::uword n = X.n_rows;
  const double v = factor_->residVar();
  for (arma::uword j = 0; j < slopes_.n_elem; ++j) {
    const double* x = X.colptr(slopes_(j));
    const double w = 1.0 / factor_->coefficient_variance(slopes_(j));
    double sum = 0.0;
    for (arma::uword i = 0; i < n; ++i) sum += x[i];
    precision_(0, 1 + j) = -sum / v;
    for (arma::uword l = 0; l <= j; ++l) precision_(1 + l, 1 + j) = scan::dot(n, X.colptr(slopes_(l)), x) / v;
    precision_(1 + j, 1 + j) += w;
    shift_(1 + j) = scan::dot(n, x, residual_.memptr()) / v - w * factor_->betas_(slopes_(j));
  }
}

// The random intercepts of a level meet the constant as c does, and their prior.
void factor_moves::add_intercepts() {
  const arma::uword first = 1 + slopes_.n_elem;
  const double v = factor_->residVar(), n = static_cast<double>(factor_->n_units) / v,
               e = arma::accu(residual_) / v;
  for (arma::uword k = 0; k < levels_.size(); ++k) {
    const unsigned L = levels_[k];
    const arma::Mat<double>& u = factor_->u[L];
    const arma::Mat<double>& prior = factor_->iSigma[L];
    precision_(0, first + k) = -n;
    for (arma::uword j = 1; j < first; ++j) precision_(j, first + k) = -precision_(0, j);
    for (arma::uword l = 0; l <= k; ++l) precision_(first + l, first + k) = n;
    precision_(first + k, first + k) += static_cast<double>(u.n_rows) * prior(0, 0);
    shift_(first + k) = e;
    for (arma::uword j = 0; j < u.n_cols; ++j) shift_(first + k) -= prior(0, j) * arma::accu(u.col(j));
  }
}

void factor_moves::move_location(arma::Mat<double>& data, Random& rng) {
  if (!draw_shift(data, told_by_readers(data), rng)) return;
  const double c = shift_(0);
  data.col(factor_->y(0)) += c;
  if (intercept_moves_) factor_->betas_(0) += c;
  for (arma::uword j = 0; j < slopes_.n_elem; ++j) factor_->betas_(slopes_(j)) += shift_(1 + j);
  for (arma::uword k = 0; k < levels_.size(); ++k)
    factor_->u[levels_[k]].col(0) += shift_(1 + slopes_.n_elem + k);
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
