#include "sem/scan/cross_products.hpp"

#include "sem/scan/blas.hpp"

namespace tovik::sem::scan {

void gram::refresh(const columns& x, const row_scale& scale) {
  const auto& X = x.values();
  if (!scale.is_one()) {
    weighted_.set_size(X.n_rows, X.n_cols);
    for (arma::uword j = 0; j < X.n_cols; ++j)
      for (arma::uword i = 0; i < X.n_rows; ++i) weighted_(i, j) = X(i, j) * scale.precision(i);
    G_ = X.t() * weighted_;
    ++version_;
    filled_ = false;
    return;
  }
  if (!filled_) {
    G_ = X.t() * X;
    filled_ = true;
    ++version_;
    return;
  }
  if (x.all_static()) return;
  for (arma::uword j : x.dynamic()) {
    for (arma::uword l = 0; l < X.n_cols; ++l) {
      const double value = dot(X.n_rows, X.colptr(j), X.colptr(l));
      G_(j, l) = value;
      G_(l, j) = value;
    }
  }
  ++version_;
}

void cluster_products::refresh(const columns& z, const estimator::selector& clusters,
                               const row_scale& scale) {
  const auto& Z = z.values();
  arma::uword const q = Z.n_cols;
  A_.set_size(clusters.size(), q * (q + 1) / 2);
  if (scale.is_one() && filled_) {
    for (arma::uword j : z.dynamic()) {
      for (arma::uword l = 0; l < q; ++l) {
        arma::uword const column = l <= j ? packed(l, j) : packed(j, l);
        cluster_sums(Z.colptr(j), Z.colptr(l), clusters, scale, A_.colptr(column));
      }
    }
    return;
  }
  for (arma::uword j = 0; j < q; ++j)
    for (arma::uword i = 0; i <= j; ++i)
      cluster_sums(Z.colptr(i), Z.colptr(j), clusters, scale, A_.colptr(packed(i, j)));
  filled_ = scale.is_one();
}

void cluster_cross::refresh(const columns& z, const columns& x, const estimator::selector& clusters,
                            const row_scale& scale) {
  const auto &Z = z.values(), &X = x.values();
  const auto sum = [&](arma::uword j, arma::uword l) {
    cluster_sums(Z.colptr(j), X.colptr(l), clusters, scale, B_[j].colptr(l));
  };
  const bool again = scale.is_one() && filled_;
  B_.resize(Z.n_cols);
  for (arma::uword j = 0; j < Z.n_cols; ++j) {
    B_[j].set_size(clusters.size(), X.n_cols);
    const bool moved = !again || z.is_dynamic(j);
    for (arma::uword l = 0; moved && l < X.n_cols; ++l) sum(j, l);
    if (moved) continue;
    for (arma::uword l : x.dynamic()) sum(j, l);
  }
  filled_ = scale.is_one();
}

void cluster_sums(const double* a, const double* b, const estimator::selector& clusters,
                  const row_scale& scale, double* out) {
  arma::uword const n = clusters.size();
  const bool plain = scale.is_one();
  for (arma::uword c = 0; c < n; ++c) {
    arma::uword const begin = clusters.start[c];
    arma::uword const end = begin + clusters.count[c];
    double sum = 0.0;
    if (plain) {
      for (arma::uword i = begin; i < end; ++i) sum += a[i] * b[i];
    } else {
      for (arma::uword i = begin; i < end; ++i) sum += a[i] * b[i] * scale.precision(i);
    }
    out[c] = sum;
  }
}

void cluster_sums(const arma::Mat<double>& z, const double* r, const estimator::selector& clusters,
                  const row_scale& scale, arma::Mat<double>& out) {
  out.set_size(clusters.size(), z.n_cols);
  for (arma::uword j = 0; j < z.n_cols; ++j) cluster_sums(z.colptr(j), r, clusters, scale, out.colptr(j));
}

void add_effect(double scale, const double* z, const double* effect, const estimator::selector& clusters,
                double* r) {
  arma::uword const n = clusters.size();
  for (arma::uword c = 0; c < n; ++c) {
    arma::uword const begin = clusters.start[c];
    arma::uword const end = begin + clusters.count[c];
    const double value = scale * effect[c];
    for (arma::uword i = begin; i < end; ++i) r[i] += z[i] * value;
  }
}

void subtract_effects(const arma::Mat<double>& z, const arma::Mat<double>& u,
                      const estimator::selector& clusters, double* r) {
  for (arma::uword j = 0; j < z.n_cols; ++j) add_effect(-1.0, z.colptr(j), u.colptr(j), clusters, r);
}

void add_products(const arma::Mat<double>& A, const arma::Mat<double>& u, arma::Mat<double>& out) {
  arma::uword const n = u.n_rows, q = u.n_cols;
  for (arma::uword j = 0; j < q; ++j) {
    for (arma::uword l = 0; l < q; ++l) {
      const double* a = A.colptr(l <= j ? cluster_products::packed(l, j) : cluster_products::packed(j, l));
      const double* effect = u.colptr(l);
      double* sum = out.colptr(j);
      for (arma::uword c = 0; c < n; ++c) sum[c] += a[c] * effect[c];
    }
  }
}

double quadratic_form(const arma::Mat<double>& A, const arma::Mat<double>& u) {
  arma::uword const n = u.n_rows, q = u.n_cols;
  double total = 0.0;
  for (arma::uword j = 0; j < q; ++j) {
    for (arma::uword i = 0; i <= j; ++i) {
      const double* a = A.colptr(cluster_products::packed(i, j));
      const double* x = u.colptr(i);
      const double* y = u.colptr(j);
      double even = 0.0, odd = 0.0;  // two chains of additions overlap
      arma::uword c = 0;
      for (; c + 1 < n; c += 2) {
        even += a[c] * x[c] * y[c];
        odd += a[c + 1] * x[c + 1] * y[c + 1];
      }
      if (c < n) even += a[c] * x[c] * y[c];
      total += (i == j ? 1.0 : 2.0) * (even + odd);
    }
  }
  return total;
}

}  // namespace tovik::sem::scan
