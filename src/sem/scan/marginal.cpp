#include "sem/scan/marginal.hpp"

#include <cmath>

#include "random/constants.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

/// A covariance matrix as the algebra needs it.
struct prior_of_effects {
  arma::Mat<double> precision;
  double log_det = 0.0;

  explicit prior_of_effects(const arma::Mat<double>& Sigma) : precision(Sigma.n_rows, Sigma.n_rows) {
    arma::uword const q = Sigma.n_rows;
    arma::Mat<double> T = Sigma;
    if (!reverse_cholesky(T.memptr(), q)) throw numeric_error::not_positive_definite();
    log_det = log_determinant(T.memptr(), q);
    for (arma::uword j = 0; j < q; ++j) {
      double* column = precision.colptr(j);
      for (arma::uword i = 0; i < q; ++i) column[i] = i == j ? 1.0 : 0.0;
      solve_upper(T.memptr(), q, column);
      solve_upper_transposed(T.memptr(), q, column);
    }
  }
};

void factor(arma::Mat<double>& P) {
  if (!reverse_cholesky(P.memptr(), P.n_rows)) throw numeric_error::not_positive_definite();
}

double range_product(const double* a, const double* b, arma::uword begin, arma::uword end) {
  double sum = 0.0;
  for (arma::uword i = begin; i < end; ++i) sum += a[i] * b[i];
  return sum;
}

/// The sums of one cluster of the top level: quadratic form and log determinant without its own effects, and
/// what couples them to these effects.
struct top_sums {
  double quad = 0.0, log_det = 0.0;
  arma::Col<double> b;  ///< Z'Mr
  arma::Mat<double> S;  ///< Z'MZ, M the inverse covariance that the lower level leaves

  explicit top_sums(arma::uword q) : b(q, arma::fill::zeros), S(q, q, arma::fill::zeros) {}
  void clear() {
    quad = log_det = 0.0;
    b.zeros();
    S.zeros();
  }
};

/// Adds the units begin .. end - 1 with independent residuals of variance v.
void add_units(top_sums& sums, const double* r, const arma::Mat<double>& z, double v, arma::uword begin,
               arma::uword end) {
  sums.quad += range_product(r, r, begin, end) / v;
  sums.log_det += static_cast<double>(end - begin) * std::log(v);
  for (arma::uword j = 0; j < z.n_cols; ++j) {
    sums.b(j) += range_product(z.colptr(j), r, begin, end) / v;
    for (arma::uword i = 0; i <= j; ++i)
      sums.S(i, j) += range_product(z.colptr(i), z.colptr(j), begin, end) / v;
  }
}

/// Takes off what the effects of one lower cluster explain, and adds their determinant.
class lower_level {
 public:
  lower_level(const arma::Mat<double>& z, const arma::Mat<double>& Sigma, arma::uword q_top)
      : z_(z), prior_(Sigma), H_(z.n_cols, z.n_cols), cross_(z.n_cols, q_top + 1) {}

  void add(top_sums& sums, const double* r, const arma::Mat<double>& z_top, double v, arma::uword begin,
           arma::uword end) {
    arma::uword const q = z_.n_cols, p = z_top.n_cols;
    if (q == 0) return;
    for (arma::uword j = 0; j < q; ++j) {
      for (arma::uword i = 0; i <= j; ++i)
        H_(i, j) = prior_.precision(i, j) + range_product(z_.colptr(i), z_.colptr(j), begin, end) / v;
      for (arma::uword l = 0; l < p; ++l)
        cross_(j, l) = range_product(z_.colptr(j), z_top.colptr(l), begin, end) / v;
      cross_(j, p) = range_product(z_.colptr(j), r, begin, end) / v;
    }
    factor(H_);
    for (arma::uword l = 0; l <= p; ++l) solve_upper(H_.memptr(), q, cross_.colptr(l));
    const double* t = cross_.colptr(p);
    sums.quad -= range_product(t, t, 0, q);
    sums.log_det += prior_.log_det + log_determinant(H_.memptr(), q);
    for (arma::uword j = 0; j < p; ++j) {
      sums.b(j) -= range_product(cross_.colptr(j), t, 0, q);
      for (arma::uword i = 0; i <= j; ++i)
        sums.S(i, j) -= range_product(cross_.colptr(i), cross_.colptr(j), 0, q);
    }
  }

 private:
  const arma::Mat<double>& z_;
  prior_of_effects prior_;
  arma::Mat<double> H_, cross_;
};

}  // namespace

arma::Col<double> marginal_log_likelihood(const arma::Col<double>& r, const std::vector<arma::Mat<double>>& z,
                                          const std::vector<arma::Mat<double>>& Sigma, double v,
                                          const estimator::cluster& structure) {
  std::size_t const top = z.size() - 1;
  arma::uword const q = z[top].n_cols;
  const auto& clusters = *structure.selectors[top];
  const prior_of_effects prior(Sigma[top]);
  const arma::Mat<double> nothing(r.n_elem, 0), no_effects(0, 0);
  lower_level lower(top == 1 ? z[0] : nothing, top == 1 ? Sigma[0] : no_effects, q);
  top_sums sums(q);
  arma::Col<double> out(clusters.size());
  arma::uword unit = 0;  // next cluster of the lower level
  for (arma::uword c = 0; c < clusters.size(); ++c) {
    arma::uword const begin = clusters.start[c], end = begin + clusters.count[c];
    sums.clear();
    add_units(sums, r.memptr(), z[top], v, begin, end);
    if (top == 1) {
      const auto& units = *structure.selectors[0];
      for (; unit < units.size() && units.start[unit] < end; ++unit)
        lower.add(sums, r.memptr(), z[top], v, units.start[unit], units.start[unit] + units.count[unit]);
    }
    if (q > 0) {
      for (arma::uword j = 0; j < q; ++j)
        for (arma::uword i = 0; i <= j; ++i) sums.S(i, j) += prior.precision(i, j);
      factor(sums.S);
      solve_upper(sums.S.memptr(), q, sums.b.memptr());
      sums.quad -= range_product(sums.b.memptr(), sums.b.memptr(), 0, q);
      sums.log_det += prior.log_det + log_determinant(sums.S.memptr(), q);
    }
    out(c) = -0.5 * (static_cast<double>(end - begin) * log_2_pi + sums.log_det + sums.quad);
  }
  return out;
}

}  // namespace tovik::sem::scan
