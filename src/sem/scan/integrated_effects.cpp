#include "sem/scan/integrated_effects.hpp"

#include <algorithm>

#include "sem/scan/blas.hpp"
#include "sem/scan/cross_products.hpp"

namespace tovik::sem::scan {

namespace {

/// Column by column: m into the columns from `first` on.
void put(const arma::Mat<double>& m, arma::Mat<double>& to, arma::uword first) {
  std::copy_n(m.memptr(), m.n_elem, to.colptr(first));
}

}  // namespace

bool integrated_step::draw(const arma::Mat<double>& A, const std::vector<arma::Mat<double>>& B,
                           const arma::Mat<double>& z, const arma::Mat<double>& G, const double* h, double w,
                           const arma::Mat<double>& K, arma::uword n_units, Random& rng, double* b,
                           const double* base) {
  arma::uword const k = G.n_rows;
  factor_.factor(A, w, K);
  R_.resize(B.size());
  for (arma::uword j = 0; j < B.size(); ++j) {
    R_[j].set_size(z.n_rows, k + 1);
    put(B[j], R_[j], 0);
    std::copy_n(z.colptr(j), z.n_rows, R_[j].colptr(k));
  }
  factor_.solve(R_);
  start(G, h, w);
  take(R_, w * w);
  return finish(G, w, n_units, rng, b, base);
}

void integrated_step::start(const arma::Mat<double>& G, const double* h, double w) {
  arma::uword const k = G.n_rows;
  G_.set_size(k, k);
  h_.set_size(k);
  for (arma::uword i = 0; i < k * k; ++i) G_.memptr()[i] = w * G.memptr()[i];
  for (arma::uword j = 0; j < k; ++j) h_(j) = w * h[j];
}

void integrated_step::take(const std::vector<arma::Mat<double>>& R, double share) {
  arma::uword const k = G_.n_rows;
  for (const arma::Mat<double>& one : R) {
    const double* last = one.colptr(one.n_cols - 1);
    for (arma::uword j = 0; j < k; ++j) {
      for (arma::uword i = 0; i <= j; ++i) {
        G_(i, j) -= share * dot(one.n_rows, one.colptr(i), one.colptr(j));
        G_(j, i) = G_(i, j);
      }
      h_(j) -= share * dot(one.n_rows, one.colptr(j), last);
    }
  }
}

bool integrated_step::finish(const arma::Mat<double>& G, double w, arma::uword n_units, Random& rng,
                             double* b, const double* base) {
  constexpr double digits = 1e-8;
  for (arma::uword j : step_.free())
    if (!(G_(j, j) > digits * w * G(j, j))) return false;
  step_.factor(G_, n_units);
  step_.draw(G_, h_.memptr(), 1.0, rng, b, base);
  return true;
}

// Columns of the lower level: those of X, of the covariates of the upper level, e.
bool integrated_step::draw_nested(const level_products& lower, const std::vector<arma::Mat<double>>& between,
                                  const level_products& upper, const arma::Col<arma::uword>& upper_of,
                                  const arma::Mat<double>& G, const double* h, double w, arma::uword n_units,
                                  Random& rng, double* b) {
  arma::uword const k = G.n_rows, q1 = lower.z->n_cols, q2 = upper.z->n_cols;
  factor_.factor(*lower.A, w, *lower.K);
  R_.resize(q1);
  for (arma::uword j = 0; j < q1; ++j) {
    R_[j].set_size(lower.z->n_rows, k + q2 + 1);
    put((*lower.B)[j], R_[j], 0);
    put(between[j], R_[j], k);
    std::copy_n(lower.z->colptr(j), lower.z->n_rows, R_[j].colptr(k + q2));
  }
  factor_.solve(R_);
  start(G, h, w);
  take(R_, w * w);
  reduce_upper(upper, upper_of, w, k);
  upper_factor_.factor(A2_, 1.0, *upper.K);
  S_.resize(q2);
  for (arma::uword j = 0; j < q2; ++j) {
    S_[j].set_size(B2_[j].n_rows, k + 1);
    put(B2_[j], S_[j], 0);
  }
  upper_factor_.solve(S_);
  take(S_, 1.0);
  if (!finish(G, w, n_units, rng, b, nullptr)) return false;
  // What is left for the upper effects, b known.
  t2_.set_size(B2_[0].n_rows, q2);
  for (arma::uword j = 0; j < q2; ++j) {
    std::copy_n(B2_[j].colptr(k), B2_[j].n_rows, t2_.colptr(j));
    for (arma::uword l = 0; l < k; ++l) add_scaled(t2_.n_rows, -b[l], B2_[j].colptr(l), t2_.colptr(j));
  }
  return true;
}

/// The products of the upper level less what the effects of the lower one take of them: w Z2'M - w^2 sum over
/// its clusters of R_Z2'R_M, for M = Z2, X and e.
void integrated_step::reduce_upper(const level_products& upper, const arma::Col<arma::uword>& upper_of,
                                   double w, arma::uword k) {
  arma::uword const n = upper.z->n_rows, q2 = upper.z->n_cols, m = upper_of.n_elem;
  A2_.set_size(n, upper.A->n_cols);
  for (arma::uword i = 0; i < A2_.n_elem; ++i) A2_.memptr()[i] = w * upper.A->memptr()[i];
  B2_.resize(q2);
  for (arma::uword j = 0; j < q2; ++j) {
    B2_[j].set_size(n, k + 1);
    for (arma::uword i = 0; i < n * k; ++i) B2_[j].memptr()[i] = w * (*upper.B)[j].memptr()[i];
    for (arma::uword t = 0; t < n; ++t) B2_[j](t, k) = w * (*upper.z)(t, j);
  }
  const auto take_from = [&](double* to, const double* left, const double* right) {
    for (arma::uword c = 0; c < m; ++c) to[upper_of(c)] -= w * w * left[c] * right[c];
  };
  for (const arma::Mat<double>& R : R_) {
    for (arma::uword j = 0; j < q2; ++j) {
      const double* of_z = R.colptr(k + j);
      for (arma::uword i = 0; i <= j; ++i)
        take_from(A2_.colptr(cluster_products::packed(i, j)), R.colptr(k + i), of_z);
      for (arma::uword l = 0; l < k; ++l) take_from(B2_[j].colptr(l), of_z, R.colptr(l));
      take_from(B2_[j].colptr(k), of_z, R.colptr(k + q2));
    }
  }
}

}  // namespace tovik::sem::scan
