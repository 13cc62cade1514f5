#include "sem/scan/effect_factor.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/blas.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/slice_step.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

namespace {

arma::uword packed_pair(arma::uword i, arma::uword j) {
  return i <= j ? cluster_products::packed(i, j) : cluster_products::packed(j, i);
}

/// m := inv(T) m.
void solve_columns(const arma::Mat<double>& T, arma::uword q, double* m, arma::uword columns) {
  for (arma::uword j = 0; j < columns; ++j) solve_lower(T.memptr(), q, m + j * q);
}

/// out := w A'x. With few clusters a call of the library costs more than the sums do.
void sums_of_products(double w, const arma::Mat<double>& A, const double* x, double* out) {
  if (A.n_rows > 64) {
    multiply_transposed(w, A, x, 0.0, out);
    return;
  }
  for (arma::uword j = 0; j < A.n_cols; ++j) out[j] = w * dot(A.n_rows, A.colptr(j), x);
}

}  // namespace

double effect_factor_step::least(int prior) {
  return prior == 3 ? 3.0 : 1e-8;
}

bool effect_factor_step::draw(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                              const covariance_prior& prior, Random& rng, arma::Mat<double>& u,
                              arma::Mat<double>& iSigma, arma::Mat<double>& Sigma) {
  q_ = u.n_cols;
  if (q_ == 0 || !start(A, w, prior, iSigma)) return false;
  take_products(A, t, w, u);
  for (arma::uword k = 0; k < q_; ++k) {
    take_others(k);
    draw_row(k, prior, rng);
    draw_diagonal(k, prior, rng);
  }
  finish(u, iSigma, Sigma);
  return true;
}

bool effect_factor_step::start(const arma::Mat<double>& A, double w, const covariance_prior& prior,
                               const arma::Mat<double>& iSigma) {
  T_.zeros(q_, q_);
  for (arma::uword j = 0; j < q_; ++j) {
    for (arma::uword i = 0; i <= j; ++i) {
      const double* a = A.colptr(cluster_products::packed(i, j));
      double sum = 0.0;
      for (arma::uword c = 0; c < A.n_rows; ++c) sum += a[c];
      T_(j, i) = w * sum;
    }
  }
  if (!lower_cholesky(T_.memptr(), q_, singular_share(A.n_rows))) return false;
  if (!take_factor(iSigma, least(prior.code))) return false;
  S_.zeros(q_, q_);
  if (prior.code != 1) return true;
  for (arma::uword k = 0; k < q_; ++k)
    for (arma::uword l = 0; l < q_; ++l)
      for (arma::uword i = std::max(k, l); i < q_; ++i)
        S_(k, l) += T_(i, k) * (prior.units == nullptr ? 1.0 : (*prior.units)(i)) * T_(i, l);
  return true;
}

/// L, and B = T inv(L)' by which xi = B'u. The precision of T'u is inv(T) iSigma inv(T)' = KK' with K =
/// inv(L)' upper triangular; it is formed of a factor of iSigma, which may be all but singular where
/// covariates are far from their centre. False where an element on the diagonal of L is not above its bound.
bool effect_factor_step::take_factor(const arma::Mat<double>& iSigma, double bound) {
  K_ = iSigma;
  if (!reverse_cholesky(K_.memptr(), q_)) throw numeric_error::not_positive_definite();
  for (arma::uword j = 0; j < q_; ++j)
    for (arma::uword i = j + 1; i < q_; ++i) K_(i, j) = 0.0;
  solve_columns(T_, q_, K_.memptr(), q_);
  B_.set_size(q_, q_);
  for (arma::uword j = 0; j < q_; ++j) {
    for (arma::uword i = 0; i < q_; ++i) {
      B_(i, j) = 0.0;
      for (arma::uword l = 0; l < q_; ++l) B_(i, j) += K_(i, l) * K_(j, l);
    }
  }
  if (!reverse_cholesky(B_.memptr(), q_)) return false;
  K_ = B_;
  inverse_.set_size(q_, q_);
  work_.set_size(q_);
  side_.set_size(q_);
  L_.zeros(q_, q_);
  for (arma::uword l = 0; l < q_; ++l) {
    for (arma::uword k = 0; k < q_; ++k) work_(k) = k == l ? 1.0 : 0.0;
    solve_upper_transposed(K_.memptr(), q_, work_.memptr());
    for (arma::uword k = l; k < q_; ++k) L_(k, l) = work_(k);
    if (!(L_(l, l) > bound) || !std::isfinite(L_(l, l))) return false;
    for (arma::uword i = 0; i < q_; ++i) {
      B_(i, l) = 0.0;
      for (arma::uword k = 0; k <= std::min(i, l); ++k) B_(i, l) += T_(i, k) * K_(k, l);
    }
  }
  return true;
}

/// Sums over clusters: the only ones of the step.
void effect_factor_step::take_products(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                                       const arma::Mat<double>& u) {
  arma::uword const n = u.n_rows, m = A.n_cols;
  xi_.set_size(n, q_);
  pairs_.set_size(n, m);
  M_.set_size(m, m);
  H_.set_size(q_, q_);
  for (arma::uword l = 0; l < q_; ++l) {
    double* x = xi_.colptr(l);
    for (arma::uword c = 0; c < n; ++c) x[c] = B_(0, l) * u(c, 0);
    for (arma::uword i = 1; i < q_; ++i) add_scaled(n, B_(i, l), u.colptr(i), x);
    for (arma::uword k = 0; k <= l; ++k) {
      const double* other = xi_.colptr(k);
      double* pair = pairs_.colptr(cluster_products::packed(k, l));
      for (arma::uword c = 0; c < n; ++c) pair[c] = x[c] * other[c];
    }
    sums_of_products(w, t, x, H_.colptr(l));
  }
  solve_columns(T_, q_, H_.memptr(), q_);
  N_.set_size(q_ * q_, m);
  for (arma::uword p = 0; p < m; ++p) {
    sums_of_products(w, A, pairs_.colptr(p), M_.colptr(p));
    double* N = N_.colptr(p);
    for (arma::uword k = 0; k < q_; ++k)
      for (arma::uword i = 0; i < q_; ++i) N[i + k * q_] = M_(packed_pair(i, k), p);
    // inv(T) N inv(T)': N is symmetric.
    solve_columns(T_, q_, N, q_);
    for (arma::uword k = 0; k < q_; ++k)
      for (arma::uword i = 0; i < k; ++i) std::swap(N[i + k * q_], N[k + i * q_]);
    solve_columns(T_, q_, N, q_);
  }
}

/// What the data say of row k given the other rows: precision and linear term.
void effect_factor_step::take_others(arma::uword k) {
  Q_.set_size(q_, q_);
  g_.set_size(q_);
  for (arma::uword l = 0; l <= k; ++l) {
    double sum = H_(k, l);
    for (arma::uword j = 0; j < q_; ++j) {
      const double* N = N_.colptr(packed_pair(l, j));
      if (j <= k) Q_(l, j) = N[k + k * q_];
      for (arma::uword i = j; i < q_; ++i)
        if (i != k) sum -= N[k + i * q_] * L_(i, j);
    }
    g_(l) = sum;
  }
}

// Off the diagonal. inv(L) = M - m v'M where M is the inverse at v = 0 and m its column k: a scale S0 adds
// |m|^2 MSM' to the precision of v and m'MSM' to the linear term.
void effect_factor_step::draw_row(arma::uword k, const covariance_prior& prior, Random& rng) {
  if (k == 0) return;
  const double x = L_(k, k);
  for (arma::uword l = 0; l < k; ++l) g_(l) -= Q_(l, k) * x;
  P_.set_size(q_ * q_);
  for (arma::uword j = 0; j < k; ++j)
    for (arma::uword i = 0; i < k; ++i) P_(i + j * k) = Q_(i, j);
  if (prior.code == 1) {
    for (arma::uword l = 0; l < k; ++l) L_(k, l) = 0.0;
    invert();
    const double* m = inverse_.colptr(k);
    const double size = dot(q_, m, m);
    for (arma::uword j = 0; j < k; ++j) {
      scaled_row(j);
      for (arma::uword i = 0; i < q_; ++i) {
        double sum = 0.0;  // of row i of M times S M', row j
        for (arma::uword l = 0; l <= i; ++l) sum += inverse_(i, l) * work_(l);
        if (i < k) P_(i + j * k) += size * sum;
        g_(j) += m[i] * sum;
      }
    }
  }
  double* P = P_.memptr();
  if (!reverse_cholesky(P, k)) throw numeric_error::not_positive_definite();
  solve_upper(P, k, g_.memptr());
  for (arma::uword l = 0; l < k; ++l) g_(l) += rng.rnorm();
  solve_upper_transposed(P, k, g_.memptr());
  for (arma::uword l = 0; l < k; ++l) L_(k, l) = g_(l);
}

/// work := S times the row j of the inverse.
void effect_factor_step::scaled_row(arma::uword j) {
  for (arma::uword l = 0; l < q_; ++l) {
    work_(l) = 0.0;
    for (arma::uword i = 0; i <= j; ++i) work_(l) += S_(l, i) * inverse_(j, i);
  }
}

// On the diagonal. The inverse of L is B + C / x there, with C = x0^2 m n' at the element x0 as it stands, m
// and n' the column and the row k of the inverse: what a scale S0 gives is a quadratic in 1 / x.
void effect_factor_step::draw_diagonal(arma::uword k, const covariance_prior& prior, Random& rng) {
  const double P = Q_(k, k);
  double h = g_(k);
  for (arma::uword l = 0; l < k; ++l) h -= Q_(k, l) * L_(k, l);
  double c1 = 0.0, c2 = 0.0;
  const double x0 = L_(k, k);
  if (prior.code == 1) {
    invert();
    const double* m = inverse_.colptr(k);
    scaled_row(k);
    for (arma::uword j = 0; j < q_; ++j) {
      side_(j) = 0.0;  // B'm, B = M - x0 m n'
      for (arma::uword i = 0; i < q_; ++i) side_(j) += (inverse_(i, j) - x0 * m[i] * inverse_(k, j)) * m[i];
    }
    double nSn = 0.0;
    for (arma::uword j = 0; j < q_; ++j) nSn += inverse_(k, j) * work_(j);
    c1 = 2.0 * x0 * x0 * dot(q_, work_.memptr(), side_.memptr());
    c2 = x0 * x0 * x0 * x0 * dot(q_, m, m) * nSn;
  }
  const double power = -static_cast<double>(k + 1) - prior_degrees(prior.code, static_cast<int>(q_));
  const auto log_density = [=](double x) {
    const double s = 1.0 / x;
    return power * std::log(x) + x * (h - 0.5 * P * x) - 0.5 * s * (c1 + c2 * s);
  };
  L_(k, k) = slice_step(x0, least(prior.code), 2.0 / std::sqrt(P), log_density, rng);
}

/// The inverse of the lower triangular L.
void effect_factor_step::invert() {
  inverse_.zeros(q_, q_);
  for (arma::uword j = 0; j < q_; ++j) {
    inverse_(j, j) = 1.0 / L_(j, j);
    for (arma::uword i = j + 1; i < q_; ++i) {
      double sum = 0.0;
      for (arma::uword l = j; l < i; ++l) sum += L_(i, l) * inverse_(l, j);
      inverse_(i, j) = -sum / L_(i, i);
    }
  }
}

void effect_factor_step::finish(arma::Mat<double>& u, arma::Mat<double>& iSigma, arma::Mat<double>& Sigma) {
  invert();
  // B := T inv(L)' and L := inv(T)'L, so that u = L xi and iSigma = BB'.
  for (arma::uword l = 0; l < q_; ++l) {
    for (arma::uword i = 0; i < q_; ++i) {
      B_(i, l) = 0.0;
      for (arma::uword k = 0; k <= std::min(i, l); ++k) B_(i, l) += T_(i, k) * inverse_(l, k);
    }
    solve_lower_transposed(T_.memptr(), q_, L_.colptr(l));
  }
  for (arma::uword j = 0; j < q_; ++j) {
    for (arma::uword i = 0; i <= j; ++i) {
      double of_inverse = 0.0, of_matrix = 0.0;
      for (arma::uword l = 0; l < q_; ++l) {
        of_inverse += B_(i, l) * B_(j, l);
        of_matrix += L_(i, l) * L_(j, l);
      }
      iSigma(i, j) = iSigma(j, i) = of_inverse;
      Sigma(i, j) = Sigma(j, i) = of_matrix;
    }
    double* to = u.colptr(j);
    for (arma::uword c = 0; c < u.n_rows; ++c) to[c] = L_(j, 0) * xi_(c, 0);
    for (arma::uword l = 1; l < q_; ++l) add_scaled(u.n_rows, L_(j, l), xi_.colptr(l), to);
  }
}

}  // namespace tovik::sem::scan
