// The random effects of a regression: drawn from their conditional distribution, or by a random walk when
// they are variables of other equations.

#include <algorithm>
#include <cmath>

#include "data/variable.hpp"
#include "random/random.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

constexpr arma::uword unnamed = data::variable::no_column;

/// (u_c - mu_c)' K (u_c - mu_c).
double quadratic(const arma::Mat<double>& u, const arma::Mat<double>* mu, const arma::Mat<double>& K,
                 arma::uword c) {
  double sum = 0.0;
  auto value = [&](arma::uword j) { return u(c, j) - (mu == nullptr ? 0.0 : (*mu)(c, j)); };
  for (arma::uword j = 0; j < u.n_cols; ++j) {
    const double d = value(j);
    for (arma::uword i = 0; i < j; ++i) sum += 2.0 * value(i) * K(i, j) * d;
    sum += d * K(j, j) * d;
  }
  return sum;
}

bool any_named(const arma::Col<arma::uword>& columns) {
  return std::any_of(columns.begin(), columns.end(), [](arma::uword c) { return c != unnamed; });
}

}  // namespace

void Regression::addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) {
  if (cols.is_empty()) return;
  if (kind != indicator_type::random_effect) throw error_debug("A regression publishes no latent residual.");
  arma::uword at = 0;
  for (unsigned L = 0; L < n_levels; ++L) {
    arma::uword const q = n_random(L);
    if (at + q > cols.n_elem) throw error_debug("Indicators do not match the random effects.");
    arma::Col<arma::uword> columns = q == 0 ? arma::Col<arma::uword>() : cols.subvec(at, at + q - 1);
    at += q;
    if (!any_named(columns)) continue;
    for (arma::uword column : columns) {
      if (column == unnamed || !reads(column)) continue;
      reads_own_effects_ = true;
      for (unsigned l = 0; l < n_levels; ++l) {
        for (arma::uword k : z[l]) varies_by_own_effects_ = varies_by_own_effects_ || k == column;
        for (const auto& term : z_compute[l])
          varies_by_own_effects_ = varies_by_own_effects_ || term.reads(column);
      }
    }
    re_indicators[L] = std::move(columns);
  }
  if (at != cols.n_elem) throw error_debug("Indicators do not match the random effects.");
}

void Regression::write_effects(arma::Mat<double>& data, unsigned L) const {
  const auto& columns = re_indicators[L];
  const auto& clusters = *cluster.selectors[L];
  for (arma::uword j = 0; j < columns.n_elem; ++j) {
    if (columns(j) == unnamed) continue;
    double* to = data.colptr(columns(j));
    for (arma::uword c = 0; c < clusters.size(); ++c) {
      arma::uword begin = clusters.start[c], end = begin + clusters.count[c];
      if (level > 0) {  // from units to rows
        end = cluster.rows->start[end - 1] + cluster.rows->count[end - 1];
        begin = cluster.rows->start[begin];
      }
      std::fill(to + begin, to + end, u[L](c, j));
    }
  }
}

void Regression::publish_effects(arma::Mat<double>& data) const {
  for (unsigned L = 0; L < n_levels; ++L)
    if (!re_indicators[L].is_empty()) write_effects(data, L);
}

const arma::Mat<double>* Regression::effect_means(const arma::Mat<double>& data, unsigned L) const {
  const auto& loadings = parts_[L + 1].loadings;
  if (loadings.empty()) return nullptr;
  loadings.means(data, cluster.own_rows[L + 1], means_.effects[L]);
  return &means_.effects[L];
}

/// Not where the effects are variables of other equations, or correlated with effects of these, which would
/// have a say in it.
std::optional<scan::second_draw> Regression::second_draw(unsigned L) {
  if (!sampler_settings::redraw_factors || !has_one_density()) return {};
  if (!re_indicators[L].is_empty() || !parts_[L + 1].empty()) return {};
  return scan::second_draw{{raneff_prior, &effect_units_[L]}, &iSigma[L], &Sigma[L]};
}

void Regression::draw_effects(arma::Mat<double>& data, unsigned L) {
  if (n_random(L) == 0) return;
  const arma::Mat<double>* mu = effect_means(data, L);
  if (re_indicators[L].is_empty()) {
    const auto second = second_draw(L);
    scan_->draw_effects(L, effects_scale(), iSigma_s(static_cast<int>(L)), mu, *rng, u[L],
                        second ? &*second : nullptr);
    return;
  }
  draw_published(data, L, mu);
}

// One proposal for all terms of each cluster. What changes is the likelihood of this equation and of every
// one that reads a column of the level, and once the density of the effects themselves.
void Regression::draw_published(arma::Mat<double>& data, unsigned L, const arma::Mat<double>* mu) {
  const int at = static_cast<int>(level + 1 + L);
  // Later steps of the scan, and the proposals, take what draw_auxiliary drew as given.
  auto likelihood = [&] {
    condition_on_auxiliary(true);
    arma::Col<double> out =
        us_ll_ != nullptr ? us_ll_->logLiklihood(data, at) : estimator->logLiklihood(data, at);
    condition_on_auxiliary(false);
    return out;
  };
  const arma::Mat<double>& K = iSigma_s(static_cast<int>(L));
  arma::Mat<double>& kept = published_.kept;
  arma::uword const n = u[L].n_rows;
  kept.set_size(n, u[L].n_cols);
  std::copy_n(u[L].memptr(), u[L].n_elem, kept.memptr());
  published_.gain = -likelihood();
  // The products of covariates that are effects themselves would make the walk depend on where it stands.
  const auto* A = varies_by_own_effects_ ? nullptr : &scan_->within(L).values();
  scan::row_scale const rows = effects_scale();
  walk_.propose(A, rows.is_one() ? 1.0 / rows.value() : 1.0, K, re_tune[L].value, *rng, u[L]);
  write_effects(data, L);
  published_.gain += likelihood();
  double sum = 0.0;
  for (arma::uword c = 0; c < n; ++c) {
    published_.gain(c) += 0.5 * (quadratic(kept, mu, K, c) - quadratic(u[L], mu, K, c));
    sum += published_.gain(c);
  }
  const double limit = together_[L] ? std::log(rng->runif()) : 0.0;
  arma::uword accepted = 0;
  for (arma::uword c = 0; c < n; ++c) {
    const bool moves = together_[L] ? limit <= sum : std::log(rng->runif()) <= published_.gain(c);
    if (moves)
      ++accepted;
    else
      for (arma::uword j = 0; j < kept.n_cols; ++j) u[L](c, j) = kept(c, j);
  }
  re_tune[L].accepted += accepted;
  re_tune[L].total += n;
  write_effects(data, L);
  // Other outcomes of a block may read the effects, too.
  if (reads_own_effects_ || link != nullptr) {
    begin_scan(data);
    scan_->keep_coefficients(betas_);
    return;
  }
  published_.change.set_size(n, kept.n_cols);
  for (arma::uword i = 0; i < kept.n_elem; ++i)
    published_.change.memptr()[i] = u[L].memptr()[i] - kept.memptr()[i];
  scan_->move_effects(L, published_.change);
}

}  // namespace tovik::sem
