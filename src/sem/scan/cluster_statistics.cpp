#include "sem/scan/cluster_statistics.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "random/constants.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

arma::uword packed(arma::uword i, arma::uword j) {
  return cluster_products::packed(i, j);
}

/// Rounding does not show in a log likelihood with residual variance v, when squares are differences of
/// numbers of this size.
bool is_accurate(double size, double v) {
  return size * std::numeric_limits<double>::epsilon() <= 1e-10 * v;
}

/// The inverse of a covariance matrix, and log |Sigma|.
struct precision_of {
  arma::Mat<double> inverse;
  double log_det = 0.0;

  explicit precision_of(const arma::Mat<double>& Sigma) : inverse(Sigma.n_rows, Sigma.n_rows) {
    arma::uword const q = Sigma.n_rows;
    if (q == 0) return;
    arma::Mat<double> T = Sigma;
    if (!reverse_cholesky(T.memptr(), q)) throw numeric_error::not_positive_definite();
    log_det = log_determinant(T.memptr(), q);
    arma::Col<double> work(q * (q + 1));
    invert_symmetric(Sigma.memptr(), q, inverse.memptr(), work.memptr());
  }
};

}  // namespace

void cluster_statistics::build(const arma::Mat<double>& X, const arma::Col<double>& y,
                               const arma::Col<double>& base, const std::vector<const arma::Mat<double>*>& z,
                               const estimator::cluster& structure) {
  built_ = current_ = false;
  const auto& clusters = *structure.selectors[0];
  arma::uword const C = clusters.size(), k = X.n_cols;
  arma::uword Q = 0;
  q_.clear();
  for (const auto* level : z) {
    q_.push_back(level->n_cols);
    Q += level->n_cols;
  }
  arma::uword const each = (k + 1) * (k + 2) / 2 + Q * (k + 2) + Q * (Q + 1) / 2;
  if (C * each > X.n_elem) return;
  counts_ = clusters.count;
  n_top_ = C;
  if (structure.n_levels() > 1) {
    n_top_ = structure.selectors[1]->size();
    top_.resize(C);
    for (arma::uword c = 0; c < C; ++c) top_[c] = (*structure.row_cluster[1])(clusters.start[c]);
  }
  const row_scale one;
  base_ = base;
  arma::Col<double> e = y;
  multiply(-1.0, X, base_.memptr(), 1.0, e.memptr());
  XX_.set_size(C, k * (k + 1) / 2);
  pairs_.set_size(XX_.n_cols);
  for (arma::uword j = 0; j < k; ++j) {
    for (arma::uword i = 0; i <= j; ++i) {
      cluster_sums(X.colptr(i), X.colptr(j), clusters, one, XX_.colptr(packed(i, j)));
      if (i < j) XX_.col(packed(i, j)) *= 2.0;
    }
  }
  cluster_sums(X, e.memptr(), clusters, one, Xe_);
  ee_.set_size(C);
  cluster_sums(e.memptr(), e.memptr(), clusters, one, ee_.memptr());
  std::vector<const double*> columns;
  for (const auto* level : z)
    for (arma::uword j = 0; j < level->n_cols; ++j) columns.push_back(level->colptr(j));
  ZX_.assign(Q, arma::Mat<double>(C, k));
  Ze_.set_size(C, Q);
  A_.set_size(C, Q * (Q + 1) / 2);
  for (arma::uword j = 0; j < Q; ++j) {
    for (arma::uword l = 0; l < k; ++l)
      cluster_sums(columns[j], X.colptr(l), clusters, one, ZX_[j].colptr(l));
    cluster_sums(columns[j], e.memptr(), clusters, one, Ze_.colptr(j));
    for (arma::uword i = 0; i <= j; ++i)
      cluster_sums(columns[i], columns[j], clusters, one, A_.colptr(packed(i, j)));
  }
  shift_.zeros(k);
  squares_.set_size(C);
  lower_.set_size(C);
  t_.set_size(C, Q);
  effects_.set_size(C, Q);
  built_ = true;
}

bool cluster_statistics::update(const double* b, double v) {
  arma::uword const k = shift_.n_elem, C = squares_.n_elem;
  for (arma::uword j = 0; j < k; ++j) {
    const double d = b[j] - base_(j);
    current_ = current_ && d == shift_(j);
    shift_(j) = d;
  }
  if (current_) return is_accurate(size_, v);
  for (arma::uword j = 0; j < k; ++j)
    for (arma::uword i = 0; i <= j; ++i) pairs_(packed(i, j)) = shift_(i) * shift_(j);
  std::copy_n(ee_.memptr(), C, squares_.memptr());
  multiply(1.0, XX_, pairs_.memptr(), 1.0, squares_.memptr());
  // e'e + d'X'X d is at least half the sum of all terms.
  size_ = *std::max_element(squares_.begin(), squares_.end());
  multiply(-2.0, Xe_, shift_.memptr(), 1.0, squares_.memptr());
  std::copy_n(Ze_.memptr(), Ze_.n_elem, t_.memptr());
  for (std::size_t j = 0; j < ZX_.size(); ++j) multiply(-1.0, ZX_[j], shift_.memptr(), 1.0, t_.colptr(j));
  current_ = true;
  return is_accurate(size_, v);
}

/// squares += w'Aw - 2 w't. Returns the largest term.
double cluster_statistics::subtract_effects(const std::vector<arma::Mat<double>>& u,
                                            arma::Col<double>& squares) {
  arma::uword const C = squares.n_elem;
  arma::uword at = 0;
  for (std::size_t L = 0; L < u.size(); ++L) {
    for (arma::uword j = 0; j < q_[L]; ++j, ++at) {
      const double* from = u[L].colptr(j);
      double* to = effects_.colptr(at);
      if (L == 0)
        std::copy_n(from, C, to);
      else
        for (arma::uword c = 0; c < C; ++c) to[c] = from[top_[c]];
    }
  }
  double largest = 0.0;
  double* out = squares.memptr();
  for (arma::uword j = 0; j < at; ++j) {
    const double *effect = effects_.colptr(j), *t = t_.colptr(j), *a = A_.colptr(packed(j, j));
    for (arma::uword c = 0; c < C; ++c) {
      const double square = a[c] * effect[c] * effect[c];  // off-diagonal terms are no larger
      largest = std::max(largest, square);
      out[c] += square - 2.0 * effect[c] * t[c];
    }
    for (arma::uword i = 0; i < j; ++i) {
      const double *other = effects_.colptr(i), *b = A_.colptr(packed(i, j));
      for (arma::uword c = 0; c < C; ++c) out[c] += 2.0 * b[c] * effect[c] * other[c];
    }
  }
  return largest;
}

void cluster_statistics::sum_to_top(const arma::Col<double>& lower, arma::Col<double>& out) const {
  out.zeros(n_top_);
  for (arma::uword c = 0; c < lower.n_elem; ++c) out(top_[c]) += lower(c);
}

bool cluster_statistics::conditional(const double* b, const std::vector<arma::Mat<double>>& u, double v,
                                     unsigned above, arma::Col<double>& out) {
  if (!built_ || above == 0 || above > 2 || (above == 2 && top_.empty()) || !update(b, v)) return false;
  std::copy_n(squares_.memptr(), squares_.n_elem, lower_.memptr());
  if (!is_accurate(std::max(size_, subtract_effects(u, lower_)), v)) return false;
  const double each = -0.5 * (log_2_pi + std::log(v)), w = 0.5 / v;
  for (arma::uword c = 0; c < lower_.n_elem; ++c)
    lower_(c) = static_cast<double>(counts_[c]) * each - w * lower_(c);
  if (above == 1)
    out = lower_;
  else
    sum_to_top(lower_, out);
  return true;
}

bool cluster_statistics::marginal(const double* b, const std::vector<arma::Mat<double>>& Sigma, double v,
                                  arma::Col<double>& out) {
  if (!built_ || Sigma.empty() || !update(b, v)) return false;
  if (Sigma.size() == 1)
    marginal_of_one(Sigma[0], v, out);
  else
    marginal_of_two(Sigma, v, out);
  return true;
}

// Per cluster, with H = inv(Sigma) + A / v and h = t / v: quadratic form s / v - h'inv(H)h, log determinant
// n log v + log |Sigma| + log |H|. Two effects are written out: one logarithm for each cluster.
void cluster_statistics::marginal_of_one(const arma::Mat<double>& Sigma, double v,
                                         arma::Col<double>& out) const {
  arma::uword const q = q_[0], C = squares_.n_elem;
  const precision_of prior(Sigma);
  const double w = 1.0 / v, each = log_2_pi + std::log(v);
  out.set_size(C);
  if (q == 2) {
    const double s11 = prior.inverse(0, 0), s12 = prior.inverse(0, 1), s22 = prior.inverse(1, 1);
    const double *a11 = A_.colptr(0), *a12 = A_.colptr(1), *a22 = A_.colptr(2);
    const double *t1 = t_.colptr(0), *t2 = t_.colptr(1);
    bool valid = true;
    for (arma::uword c = 0; c < C; ++c) {
      const double p11 = s11 + w * a11[c], p12 = s12 + w * a12[c], p22 = s22 + w * a22[c];
      const double h2 = w * t2[c], slope = p12 / p22;
      const double h1 = w * t1[c] - slope * h2, d = p11 - slope * p12;
      valid &= p22 > 0.0 && d > 0.0;
      const double quad = w * squares_(c) - h1 * h1 / d - h2 * h2 / p22;
      out(c) = -0.5 * (static_cast<double>(counts_[c]) * each + prior.log_det + std::log(d * p22) + quad);
    }
    if (!valid) throw numeric_error::not_positive_definite();
    return;
  }
  arma::Mat<double> H(q, q);
  arma::Col<double> h(q);
  for (arma::uword c = 0; c < C; ++c) {
    for (arma::uword j = 0; j < q; ++j) {
      h(j) = w * t_(c, j);
      for (arma::uword i = 0; i <= j; ++i) H(i, j) = prior.inverse(i, j) + w * A_(c, packed(i, j));
    }
    if (!reverse_cholesky(H.memptr(), q)) throw numeric_error::not_positive_definite();
    solve_upper(H.memptr(), q, h.memptr());
    const double quad = w * squares_(c) - dot(q, h.memptr(), h.memptr());
    out(c) = -0.5 *
             (static_cast<double>(counts_[c]) * each + prior.log_det + log_determinant(H.memptr(), q) + quad);
  }
}

// The lower effects are integrated out of the sums of each lowest cluster; what is left of Z'V^-1 r, Z'V^-1 Z
// and r'V^-1 r adds up over the higher cluster, where the same identities serve once more.
void cluster_statistics::marginal_of_two(const std::vector<arma::Mat<double>>& Sigma, double v,
                                         arma::Col<double>& out) const {
  arma::uword const q = q_[0], p = q_[1], C = squares_.n_elem;
  const precision_of prior(Sigma[0]), prior_top(Sigma[1]);
  const double w = 1.0 / v, each = log_2_pi + std::log(v);
  // Without lower effects (q = 0) a matrix has no columns to point at: pointers are taken from its start.
  arma::Mat<double> H(q, q), cross(q, p + 1), S(p, p);
  arma::Col<double> b(p);
  double total = 0.0;
  out.set_size(n_top_);
  for (arma::uword c = 0; c < C; ++c) {
    if (c == 0 || top_[c] != top_[c - 1]) {
      total = 0.0;
      b.zeros();
      for (arma::uword i = 0; i < p * p; ++i) S.memptr()[i] = prior_top.inverse.memptr()[i];
    }
    total += w * squares_(c) + static_cast<double>(counts_[c]) * each + prior.log_det;
    for (arma::uword j = 0; j < q; ++j) {
      for (arma::uword i = 0; i <= j; ++i) H(i, j) = prior.inverse(i, j) + w * A_(c, packed(i, j));
      for (arma::uword l = 0; l < p; ++l) cross(j, l) = w * A_(c, packed(j, q + l));
      cross(j, p) = w * t_(c, j);
    }
    if (!reverse_cholesky(H.memptr(), q)) throw numeric_error::not_positive_definite();
    total += log_determinant(H.memptr(), q);
    for (arma::uword l = 0; l <= p; ++l) solve_upper(H.memptr(), q, cross.memptr() + l * q);
    const double* last = cross.memptr() + p * q;
    total -= dot(q, last, last);
    for (arma::uword j = 0; j < p; ++j) {
      b(j) += w * t_(c, q + j) - dot(q, cross.memptr() + j * q, last);
      for (arma::uword i = 0; i <= j; ++i)
        S(i, j) += w * A_(c, packed(q + i, q + j)) - dot(q, cross.memptr() + i * q, cross.memptr() + j * q);
    }
    if (c + 1 < C && top_[c + 1] == top_[c]) continue;
    if (!reverse_cholesky(S.memptr(), p)) throw numeric_error::not_positive_definite();
    solve_upper(S.memptr(), p, b.memptr());
    total += prior_top.log_det + log_determinant(S.memptr(), p) - dot(p, b.memptr(), b.memptr());
    out(top_[c]) = -0.5 * total;
  }
}

}  // namespace tovik::sem::scan
