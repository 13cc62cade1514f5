#include "sem/ensemble/joint_likelihood.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include "random/constants.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using index = arma::uword;

/// The start of a column. A unit without observed cells has matrices without rows: there a reference to a
/// first cell, which the library takes on the way to the pointer, would refer to nothing.
double* column(arma::Mat<double>& of, index j) {
  return of.memptr() + j * of.n_rows;
}
const double* column(const arma::Mat<double>& of, index j) {
  return of.memptr() + j * of.n_rows;
}

/// The upper triangular T of S = T T', zeros below its diagonal.
arma::Mat<double> reverse_root(arma::Mat<double> S) {
  if (!scan::reverse_cholesky(S.memptr(), S.n_rows)) throw numeric_error::not_positive_definite();
  return arma::trimatu(S);
}

arma::Mat<double> inverse(const arma::Mat<double>& S) {
  const arma::Mat<double> T = reverse_root(S);
  arma::Mat<double> out(S.n_rows, S.n_rows, arma::fill::eye);
  for (index j = 0; j < S.n_rows; ++j) {
    scan::solve_upper(T.memptr(), S.n_rows, column(out, j));
    scan::solve_upper_transposed(T.memptr(), S.n_rows, column(out, j));
  }
  return out;
}

double product(const double* a, const double* b, index n) {
  return std::inner_product(a, a + n, b, 0.0);
}

}  // namespace

joint_likelihood::joint_likelihood(std::vector<const Regression*> members, const working_data& working)
    : members_(std::move(members)) {
  for (unsigned level = 0; level < working.n_levels(); ++level) tiers_.push_back(make_tier(level, working));
  std::vector<index> first(tiers_.size());  // the first effect of a level among all
  for (std::size_t l = 0; l < tiers_.size(); ++l) {
    first[l] = n_effects_;
    n_effects_ += tiers_[l].n_effects;
  }
  for (std::size_t l = 0; l < tiers_.size(); ++l) {
    tier& at = tiers_[l];
    at.n_above = n_effects_ - first[l] - at.n_effects;
    for (index k = 0; k < at.n_residuals; ++k) {
      at.designs.emplace_back();
      for (std::size_t above = l + 1; above < tiers_.size(); ++above)
        for (const part& effects : tiers_[above].parts)
          if (effects.place > 0 && effects.member == at.parts[k].member)
            for (index j = 0; j < effects.size; ++j)
              at.designs.back().push_back(
                  {first[above] - first[l] - at.n_effects + effects.first - tiers_[above].n_residuals + j,
                   effects.place - 1, j});
    }
  }
}

joint_likelihood::tier joint_likelihood::make_tier(unsigned level, const working_data& working) const {
  tier out;
  for (std::size_t m = 0; m < members_.size(); ++m)
    if (members_[m]->level == level) out.parts.push_back({m, 0, out.n_residuals++, 1});
  for (std::size_t m = 0; m < members_.size(); ++m) {
    const Regression& member = *members_[m];
    if (member.level >= level || level - member.level > member.n_levels) continue;
    const index q = member.n_random(level - member.level - 1);
    if (q == 0) continue;
    out.parts.push_back({m, level - member.level, out.n_residuals + out.n_effects, q});
    out.n_effects += q;
  }
  const unsigned highest = working.n_levels() - 1;
  const auto& first_rows = working.first_rows(level);
  out.parent = working.units(std::min(level + 1, highest)).elem(first_rows);
  out.top = working.units(highest).elem(first_rows);
  find_patterns(out, level);
  return out;
}

void joint_likelihood::find_patterns(tier& at, unsigned level) const {
  std::vector<std::vector<bool>> missing;
  for (const Regression* member : members_) {
    if (member->level != level) continue;
    if (member->n_units != at.n_units()) throw error_debug("An equation has not the units of its level.");
    missing.emplace_back(at.n_units(), false);
    for (index i : member->missing_rows) missing.back()[i] = true;
  }
  std::map<std::vector<index>, std::size_t> known;
  std::vector<index> observed;
  for (index i = 0; i < at.n_units(); ++i) {
    observed.clear();
    for (index k = 0; k < missing.size(); ++k)
      if (!missing[k][i]) observed.push_back(k);
    const auto [found, is_new] = known.try_emplace(observed, known.size());
    if (is_new) at.patterns.push_back(observed);
    at.pattern_of.push_back(found->second);
  }
}

void joint_likelihood::stack_covariances(tier& at) const {
  const index n = at.n_residuals + at.n_effects;
  at.V.zeros(n, n);
  for (const part& a : at.parts) {
    at.V.submat(a.first, a.first, arma::size(a.size, a.size)) = members_[a.member]->covariance(a.place);
    for (const part& b : at.parts)
      if (a.member != b.member) add_covariance(at, a, b);
  }
}

/// A phantom that enters both parts with the loadings l and m adds l m'; two residuals of a block have its
/// element.
void joint_likelihood::add_covariance(tier& at, const part& a, const part& b) const {
  const Regression &of_a = *members_[a.member], &of_b = *members_[b.member];
  if (a.place == 0 && b.place == 0 && of_a.link != nullptr && of_a.link == of_b.link)
    at.V(a.first, b.first) +=
        of_a.link->covariance()(of_a.link->position_of(of_a), of_a.link->position_of(of_b));
  const phantom_loadings &l = of_a.part(a.place).loadings, &m = of_b.part(b.place).loadings;
  for (index i = 0; i < l.size(); ++i)
    for (index j = 0; j < m.size(); ++j)
      if (l.terms()[i].column == m.terms()[j].column)
        at.V.submat(a.first, b.first, arma::size(a.size, b.size)) +=
            l.loadings().col(i) * m.loadings().col(j).t();
}

/// No phantom of a member has its other end elsewhere.
bool joint_likelihood::holds_all_ends() const {
  std::map<index, int> ends;
  for (const Regression* member : members_)
    for (const auto& place : member->phantoms)
      for (index column : place) ++ends[column];
  return std::all_of(ends.begin(), ends.end(), [](const auto& entry) { return entry.second == 2; });
}

joint_likelihood::factor joint_likelihood::factor_of(const tier& at, const std::vector<index>& observed) {
  const arma::Col<index> o(observed);
  const arma::Col<index> g = arma::regspace<arma::Col<index>>(0, at.n_effects) + at.n_residuals;
  const arma::Col<index> effects = at.n_effects == 0 ? arma::Col<index>() : g.head(at.n_effects).eval();
  factor out;
  out.T = reverse_root(at.V.submat(o, o));
  out.M = at.V.submat(o, effects);
  for (index j = 0; j < out.M.n_cols; ++j) scan::solve_upper(out.T.memptr(), o.n_elem, column(out.M, j));
  const arma::Mat<double> left = at.V.submat(effects, effects) - out.M.t() * out.M;
  out.P = inverse(left);
  const arma::Mat<double> root = reverse_root(left);
  out.constant = static_cast<double>(o.n_elem) * log_2_pi + scan::log_determinant(out.T.memptr(), o.n_elem) +
                 scan::log_determinant(root.memptr(), at.n_effects);
  return out;
}

void joint_likelihood::read_variances(const arma::Mat<double>& data) {
  v_.clear();
  for (const Regression* member : members_) v_.push_back(member->unit_variances(data));
}

/// Of the observed residuals of a unit, whose standardised values have the matrix of the tier.
double joint_likelihood::log_variances(const tier& at, index unit) const {
  double sum = 0.0;
  for (index k : at.patterns[at.pattern_of[unit]]) {
    const arma::Col<double>& v = v_[at.parts[k].member];
    if (!v.is_empty()) sum += std::log(v(unit));
  }
  return sum;
}

/// W := inv(T) [Z, r] of the observed residuals of a unit.
void joint_likelihood::whiten(const tier& at, index unit, const factor& how) {
  const std::vector<index>& observed = at.patterns[at.pattern_of[unit]];
  const index n = observed.size(), width = at.n_above + 1;
  W_.set_size(n, width);
  W_.zeros();
  for (index k = 0; k < n; ++k) {
    std::size_t const member = at.parts[observed[k]].member;
    for (const design_entry& entry : at.designs[observed[k]])
      W_(k, entry.effect) = Z_[member][entry.L](unit, entry.column);
    W_(k, width - 1) = r_[member](unit);
    if (!v_[member].is_empty()) W_.row(k) /= std::sqrt(v_[member](unit));
  }
  for (index j = 0; j < width; ++j) scan::solve_upper(how.T.memptr(), n, column(W_, j));
}

// What the cells below a unit say of the effects g here and h above it is, up to a constant, a quadratic form
// in x = (g, h, -1) with the matrix A. The observed residuals here are e = [Z, r](h, -1) up to sign: -2 log
// density of e adds W'W to the part of (h, -1), with W = inv(T) [Z, r]. Given e, g = N (h, -1) + d with N =
// -M'W and d of precision P; put in, and d integrated out, with D = A_gg N + A_gx and H = P + A_gg,
//
//   A_xx + N'D + A_xg N - D' inv(H) D.
//
// `below` and `above` hold A by columns, then the constant.
void joint_likelihood::absorb(const tier& at, index unit, const factor& how, const double* below,
                              double* above) {
  whiten(at, unit, how);
  const index width = at.n_above + 1, g = at.n_effects, in = g + width;
  for (index j = 0; j < width; ++j)
    for (index i = 0; i < width; ++i)
      above[i + j * width] += product(column(W_, i), column(W_, j), W_.n_rows);
  double& constant = above[width * width];
  constant += how.constant + log_variances(at, unit);
  if (below == nullptr) return;
  constant += below[in * in];
  auto A = [below, in](index i, index j) { return below[i + j * in]; };
  N_.set_size(g, width);
  D_.set_size(g, width);
  for (index j = 0; j < width; ++j)
    for (index i = 0; i < g; ++i) N_(i, j) = -product(column(how.M, i), column(W_, j), W_.n_rows);
  for (index j = 0; j < width; ++j)
    for (index i = 0; i < g; ++i) D_(i, j) = A(i, g + j) + product(below + i * in, column(N_, j), g);
  for (index j = 0; j < width; ++j)
    for (index i = 0; i < width; ++i)
      above[i + j * width] += A(g + i, g + j) + product(column(N_, i), column(D_, j), g) +
                              product(below + (g + i) * in, column(N_, j), g);
  if (g == 0) return;
  H_.set_size(g, g);
  for (index j = 0; j < g; ++j)
    for (index i = 0; i < g; ++i) H_(i, j) = how.P(i, j) + A(i, j);
  if (!scan::reverse_cholesky(H_.memptr(), g)) throw numeric_error::not_positive_definite();
  constant += scan::log_determinant(H_.memptr(), g);
  for (index j = 0; j < width; ++j) scan::solve_upper(H_.memptr(), g, column(D_, j));
  for (index j = 0; j < width; ++j)
    for (index i = 0; i < width; ++i) above[i + j * width] -= product(column(D_, i), column(D_, j), g);
}

arma::Col<double> joint_likelihood::marginal(const arma::Mat<double>& data) {
  if (!holds_all_ends()) {
    arma::Col<double> unknown(tiers_.back().n_units());
    unknown.fill(arma::datum::nan);
    return unknown;
  }
  r_.clear();
  Z_.clear();
  read_variances(data);
  for (const Regression* member : members_) {
    r_.push_back(member->fixed_residual(data));
    Z_.push_back(member->effect_designs(data));
  }
  std::vector<double> below, above;
  for (std::size_t l = 0; l < tiers_.size(); ++l) {
    tier& at = tiers_[l];
    stack_covariances(at);
    std::vector<factor> factors;
    for (const auto& observed : at.patterns) factors.push_back(factor_of(at, observed));
    const index width = at.n_above + 1, in = at.n_effects + width;
    above.assign((arma::max(at.parent) + 1) * (width * width + 1), 0.0);
    for (index c = 0; c < at.n_units(); ++c)
      absorb(at, c, factors[at.pattern_of[c]], l == 0 ? nullptr : below.data() + c * (in * in + 1),
             above.data() + at.parent(c) * (width * width + 1));
    below.swap(above);
  }
  arma::Col<double> out(tiers_.back().n_units());  // x is -1 alone
  for (index c = 0; c < out.n_elem; ++c) out(c) = -0.5 * (below[2 * c] + below[2 * c + 1]);
  return out;
}

/// Adds the log density of the observed residuals of each unit given the effects there: their mean is V_eg
/// inv(V_gg) g and their covariance matrix what this leaves of V_ee.
void joint_likelihood::add_conditional(const tier& at, const std::vector<arma::Col<double>>& residuals,
                                       arma::Col<double>& out) const {
  const index n = at.n_residuals, q = at.n_effects;
  arma::Mat<double> left = at.V.submat(0, 0, arma::size(n, n)), slopes(n, q, arma::fill::zeros);
  const arma::Mat<double> shared =
      q == 0 ? arma::Mat<double>(n, 0) : at.V.submat(0, n, arma::size(n, q)).eval();
  if (std::any_of(shared.begin(), shared.end(), [](double x) { return x != 0.0; })) {
    slopes = shared * inverse(at.V.submat(n, n, arma::size(q, q)));
    left -= slopes * shared.t();
  }
  std::vector<arma::Mat<double>> roots;
  std::vector<double> constants;
  for (const auto& observed : at.patterns) {
    const arma::Col<index> o(observed);
    roots.push_back(reverse_root(left.submat(o, o)));
    constants.push_back(static_cast<double>(o.n_elem) * log_2_pi +
                        scan::log_determinant(roots.back().memptr(), o.n_elem));
  }
  std::vector<double> e(n);
  const estimator::weights* sampling = members_[at.parts.front().member]->sampling();
  for (index c = 0; c < at.n_units(); ++c) {
    const auto& observed = at.patterns[at.pattern_of[c]];
    for (std::size_t k = 0; k < observed.size(); ++k) {
      const std::size_t member = at.parts[observed[k]].member;
      e[k] = residuals[member](c);
      if (!v_[member].is_empty()) e[k] /= std::sqrt(v_[member](c));
      for (std::size_t p = n; p < at.parts.size(); ++p) {
        const arma::Mat<double>& u = members_[at.parts[p].member]->u[at.parts[p].place - 1];
        for (index j = 0; j < u.n_cols; ++j) e[k] -= slopes(observed[k], at.parts[p].first - n + j) * u(c, j);
      }
    }
    scan::solve_upper(roots[at.pattern_of[c]].memptr(), observed.size(), e.data());
    const double w = sampling == nullptr ? 1.0 : sampling->rows(c);
    out(at.top(c)) -=
        0.5 * w *
        (constants[at.pattern_of[c]] + log_variances(at, c) + product(e.data(), e.data(), observed.size()));
  }
}

arma::Col<double> joint_likelihood::conditional(const arma::Mat<double>& data) {
  std::vector<arma::Col<double>> residuals;
  read_variances(data);
  for (const Regression* member : members_) {
    residuals.push_back(member->fixed_residual(data));
    const std::vector<arma::Mat<double>> designs = member->effect_designs(data);
    for (unsigned L = 0; L < member->n_levels; ++L)
      scan::subtract_effects(designs[L], member->u[L], *member->cluster.selectors[L],
                             residuals.back().memptr());
  }
  arma::Col<double> out(tiers_.back().n_units(), arma::fill::zeros);
  for (tier& at : tiers_) {
    if (at.n_residuals == 0) continue;
    stack_covariances(at);
    add_conditional(at, residuals, out);
  }
  return out;
}

}  // namespace tovik::sem
