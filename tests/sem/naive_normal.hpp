#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/normal.hpp"

namespace tovik::tests {

/// The normal outcome once more: the full conditionals as they stand in a textbook, with dense matrices and
/// no thought of speed. It takes the random numbers in the same order. With sampling weights W, g and h (see
/// weighted) the sums of squares and products that parameters are drawn from have them.
struct NaiveNormal {
  sem::equation_setup s;
  arma::Mat<double> b;
  std::vector<arma::Mat<double>> u, Sigma, iSigma;
  double sigma2;
  double coef_var = 0, total_var = 0;
  std::vector<double> icept_var, slope_var;
  arma::Col<double> std_b;
  arma::Col<double> W, g, h;  ///< empty: 1

  explicit NaiveNormal(const sem::equation_setup& setup)
      : s(setup), sigma2(setup.estimate_resid ? 1.0 : setup.resid_value) {
    arma::uword const k = s.x.n_elem + s.x_compute.size();
    b.zeros(k, 1);
    for (arma::uword j = 0; j < s.fixed.n_elem; ++j) b(s.fixed(j)) = s.fixed_values(j);
    for (unsigned L = 0; L < s.n_levels; ++L) {
      arma::uword const q = s.z[L].n_elem + s.z_compute[L].size();
      Sigma.emplace_back(q, q, arma::fill::eye);
      iSigma.emplace_back(q, q, arma::fill::eye);
      u.emplace_back(s.cluster.n_clusters(static_cast<int>(L)), q, arma::fill::zeros);
    }
    icept_var.resize(s.n_levels);
    slope_var.resize(s.n_levels);
  }

  arma::Mat<double> design(const arma::Mat<double>& data, const arma::Col<arma::uword>& plain,
                           const std::vector<sem::estimator::compute>& computed) const {
    arma::Mat<double> out = data.cols(plain);
    for (const auto& c : computed) out = arma::join_rows(out, c.node->eval(data));
    return out.rows(*s.cluster.own_rows[0]);
  }

  arma::Col<double> effects(const std::vector<arma::Mat<double>>& Z, unsigned L) const {
    arma::Col<double> out(Z[L].n_rows);
    for (arma::uword i = 0; i < out.n_elem; ++i)
      out(i) = arma::dot(Z[L].row(i), u[L].row((*s.cluster.row_cluster[L])(i)));
    return out;
  }

  static arma::Mat<double> by(const arma::Col<double>& w, const arma::Mat<double>& of) {
    return w.is_empty() ? of : arma::Mat<double>(of.each_col() % w);
  }

  static double inverse_gamma(int prior, double n, double ss, Random& rng) {
    const double shape = prior == 1 ? (n + 2) / 2 : prior == 2 ? (n - 2) / 2 : n / 2;
    return 1.0 / rng.rgamma(shape, 2.0 / (prior == 1 ? ss + 1 : ss));
  }

  void draw(arma::Mat<double>& data, Random& rng) {
    const arma::Mat<double> X = design(data, s.x, s.x_compute);
    std::vector<arma::Mat<double>> Z;
    for (unsigned L = 0; L < s.n_levels; ++L) Z.push_back(design(data, s.z[L], s.z_compute[L]));
    arma::Col<double> y = data.col(s.y);
    y = y.elem(*s.cluster.own_rows[0]).eval();
    arma::Col<double> r = y;
    for (unsigned L = 0; L < s.n_levels; ++L) r -= effects(Z, L);
    draw_coefficients(X, r, rng);
    for (unsigned L = 0; L < s.n_levels; ++L) draw_effects(Z, L, r, rng);
    if (s.estimate_resid)
      sigma2 = inverse_gamma(s.prior.resvar, static_cast<double>(r.n_elem), arma::dot(r, by(W, r)), rng);
    for (unsigned L = 0; L < s.n_levels; ++L) draw_covariance(L, rng);
    impute(data, y - r, rng);
    shares(X, Z);
  }

  void draw_coefficients(const arma::Mat<double>& X, arma::Col<double>& r, Random& rng) {
    std::vector<arma::uword> list;
    for (arma::uword j = 0; j < b.n_elem; ++j)
      if (!arma::any(s.fixed == j)) list.push_back(j);
    const arma::Col<arma::uword> free(list);
    if (!s.fixed.is_empty()) r -= X.cols(s.fixed) * b.rows(s.fixed);
    if (free.is_empty()) return;
    const arma::Mat<double> F = X.cols(free);
    const arma::Mat<double> G = F.t() * by(W, F);
    const arma::Mat<double> V = sigma2 * arma::inv(G);
    const arma::Mat<double> m = arma::solve(G, F.t() * by(W, r), arma::solve_opts::no_approx);
    const arma::Mat<double> z = rng.randn(1, static_cast<int>(free.n_elem));
    b.rows(free) = (z * arma::chol(arma::symmatu(V))).t() + m;
    r -= F * b.rows(free);
  }

  void draw_effects(const std::vector<arma::Mat<double>>& Z, unsigned L, arma::Col<double>& r, Random& rng) {
    arma::uword const q = u[L].n_cols;
    r += effects(Z, L);
    if (q > 0) {
      for (arma::uword c = 0; c < u[L].n_rows; ++c) {
        arma::uvec const rows = arma::find(*s.cluster.row_cluster[L] == c);
        const arma::Mat<double> Zc = Z[L].rows(rows);
        const arma::Col<double> w = g.is_empty() ? g : g.elem(rows).eval();
        const arma::Mat<double> V = arma::inv(arma::Mat<double>(Zc.t() * by(w, Zc) / sigma2 + iSigma[L]));
        const arma::Mat<double> m = V * (Zc.t() * by(w, r.elem(rows)) / sigma2);
        u[L].row(c) = m.t() + rng.randn(1, static_cast<int>(q)) * arma::chol(arma::symmatu(V));
      }
    }
    r -= effects(Z, L);
  }

  void draw_covariance(unsigned L, Random& rng) {
    const int q = static_cast<int>(u[L].n_cols), n = static_cast<int>(u[L].n_rows), prior = s.prior.raneff;
    if (q == 0) return;
    arma::Mat<double> S = u[L].t() * by(h, u[L]);
    if (q == 1) {
      Sigma[L](0, 0) = inverse_gamma(prior, n, S(0, 0), rng);
      iSigma[L](0, 0) = 1.0 / Sigma[L](0, 0);
      return;
    }
    if (prior == 1) S += arma::eye(S.n_rows, S.n_cols);
    const int df = prior == 1 ? n + q + 1 : prior == 2 ? n - q - 1 : n;
    iSigma[L] = rng.rwish(df, arma::symmatu(arma::Mat<double>(arma::inv(S))));
    Sigma[L] = arma::inv(iSigma[L]);
  }

  void impute(arma::Mat<double>& data, const arma::Col<double>& p, Random& rng) {
    for (arma::uword i : s.missing_units) {
      const double value = p(i) + std::sqrt(sigma2) * rng.rnorm();
      for (arma::uword row = 0; row < data.n_rows; ++row) {
        arma::uword unit = row;
        if (s.level > 0)
          for (unit = 0;
               unit + 1 < s.cluster.own_rows[0]->n_elem && (*s.cluster.own_rows[0])(unit + 1) <= row;)
            ++unit;
        if (unit == i) data(row, s.y) = value;
      }
    }
  }

  void shares(const arma::Mat<double>& X, const std::vector<arma::Mat<double>>& Z) {
    const arma::Mat<double> C = arma::cov(X);
    arma::Col<double> w = b;
    if (s.has_intercept) w(0) = 0;
    coef_var = arma::as_scalar(w.t() * C * w);
    total_var = coef_var + sigma2;
    for (unsigned L = 0; L < s.n_levels; ++L) {
      arma::uword const q = u[L].n_cols;
      icept_var[L] = slope_var[L] = 0;
      if (q == 0) continue;
      const arma::Mat<double> CZ = arma::cov(Z[L]);
      arma::Col<double> m = arma::mean(Z[L]).t();
      if (s.icept[L] == 1) {
        // The intercept's column has mean 1, so that m'Sigma m is the variance at the means.
        icept_var[L] = arma::as_scalar(m.t() * Sigma[L] * m);
        slope_var[L] = arma::trace(Sigma[L] * CZ);
      } else {
        slope_var[L] = arma::trace(Sigma[L] * CZ) + arma::as_scalar(m.t() * Sigma[L] * m);
      }
      total_var += icept_var[L] + slope_var[L];
    }
    std_b = b;
    for (arma::uword j = 0; j < b.n_elem; ++j) std_b(j) = b(j) * std::sqrt(C(j, j) / total_var);
  }

  /// The report column.
  arma::Col<double> params() const {
    std::vector<double> out;
    for (unsigned L = s.n_levels; L-- > 0;)
      for (arma::uword j = 0; j < Sigma[L].n_cols; ++j)
        for (arma::uword i = j; i < Sigma[L].n_rows; ++i) out.push_back(Sigma[L](i, j));
    out.push_back(sigma2);
    for (double value : b) out.push_back(value);
    for (arma::uword j = s.has_intercept ? 1 : 0; j < std_b.n_elem; ++j) out.push_back(std_b(j));
    out.push_back(coef_var / total_var);
    for (unsigned L = 0; L < s.n_levels; ++L) {
      if (s.icept[L] == 1) out.push_back(icept_var[L] / total_var);
      if (u[L].n_cols > static_cast<arma::uword>(s.icept[L])) out.push_back(slope_var[L] / total_var);
    }
    out.push_back(sigma2 / total_var);
    return arma::Col<double>(out);
  }
};

}  // namespace tovik::tests
