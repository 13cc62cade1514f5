#pragma once

#include <armadillo>
#include <cstddef>
#include <cstdint>

#include "random/alias_table.hpp"
#include "random/random.distributions.hpp"
#include "random/random.engine.hpp"

namespace tovik {

/// Work space of the in-place Wishart draws. Keep one with the caller: nothing is allocated while sizes stay.
struct WishartScratch {
  arma::Mat<double> Z;      ///< df x p normals
  arma::Mat<double> U;      ///< upper Cholesky factor of S
  arma::Mat<double> G;      ///< Z'Z
  arma::Mat<double> T;      ///< Z'Z U
  arma::Mat<double> S_inv;  ///< inverse of S, and the Wishart draw, in riwish
  arma::Mat<double> W;
  arma::Col<arma::blas_int> pivots;
  arma::Col<double> work;
};

/// The one source of randomness of a chain: a value; a copy continues the same stream. Every draw N(m, v) of
/// the system is m + sqrt(v) * rnorm(). No locks: one object belongs to one thread.
class Random {
 public:
  /// Stream `stream` of `seed`: the form of a run (stream 0 prepares data, chains have their number).
  Random(std::uint32_t seed, std::uint32_t stream) : engine(seed, stream) {}
  /// The stream of one integer, sign-extended.
  explicit Random(int seed) : engine(seed) {}

  /// One output of the engine.
  std::uint64_t output() { return engine(); }

  /// One uniform on [a, b) of the member `uniform`: [0, 1).
  double runif() { return uniform(engine); }
  /// n uniforms, in element order.
  arma::Col<double> runif(int n);

  /// One standard normal of the member `normal`.
  double rnorm() { return normal(engine); }
  /// rows x cols standard normals in column-major order.
  arma::Mat<double> randn(const int& rows, const int& cols);
  /// The next n standard normals: the values of n calls of rnorm(), faster. `out` has room for n.
  void fill_randn(double* out, std::size_t n) { normal.fill(out, n, engine); }

  /// Gamma with mean shape * scale. An inverse gamma with shape a and scale b is 1 / rgamma(a, 1 / b).
  /// Throws numeric_error unless shape > 0 and scale is finite and > 0.
  double rgamma(const double& shape, const double& scale);

  /// Wishart(df, S), mean df * S, p x p and exactly symmetric. Consumes df x p normals in column-major order.
  /// Throws numeric_error when df < p or when S is not positive definite ("chol(): decomposition
  /// failed").
  arma::Mat<double> rwish(const int& df, const arma::Mat<double>& S);
  /// The same draw into `out`, which may not be S.
  void rwish(const int& df, const arma::Mat<double>& S, arma::Mat<double>& out, WishartScratch& scratch);

  /// Inverse Wishart with mean S / (df - p - 1): inv(rwish(df, inv(S))).
  /// Throws as rwish, and numeric_error "inv(): matrix is singular".
  arma::Mat<double> riwish(const int& df, const arma::Mat<double>& S);
  /// The same draw into `out`, which may be S.
  void riwish(const int& df, const arma::Mat<double>& S, arma::Mat<double>& out, WishartScratch& scratch);

  /// N(mean, sd^2) above `bound`, or below it if `upper`. Exponential proposals (Robert, 1995, "Simulation of
  /// truncated normal variables", Statistics and Computing 5), plain normals when the bound is 10 sd or more
  /// on the inactive side. After `trunc_norm_max_niter` proposals the value is 0.01 inside the bound. With sd
  /// <= 0 the value is the mean, or the bound if the mean is outside.
  double trNorm(double mean, double bound, double sd, bool upper);
  /// N(mean, sd^2) restricted to [lower, upper]; either may be infinite. Uniform proposals on narrow
  /// intervals; normal or exponential ones on wide ones. After `trunc_norm_max_niter` proposals the value is
  /// `upper` if mean < upper, else `lower`. With sd <= 0 the mean is clamped.
  double trNorm(double mean, double lower, double upper, double sd);
  /// The interval draw, written into `mean`.
  void trNormM(double& mean, double lower, double upper, double sd);
  /// The one-sided draw, written into `mean`. When the proposals run out the value is an untruncated draw
  /// around the mean with unit variance.
  void trNormT(double& mean, double bound, double sd, bool upper);

  /// Inverse Gaussian with mean mu and shape 1, truncated to (0, t] (Polson, Scott and Windle, 2013,
  /// "Bayesian inference for logistic models using Polya-Gamma latent variables", JASA 108). NaN after
  /// `pg_max_niter` passes.
  double rtignorm(const double& mu, const double& t);

  /// Polya-Gamma PG(1, z), mean tanh(z / 2) / (2z): a quarter of a draw from the tilted Jacobi distribution
  /// J*(1, z / 2) by rejection from two proposals (Polson, Scott and Windle, 2013; Devroye, 2009, "On exact
  /// simulation algorithms for some distributions related to Jacobi theta functions", Statistics &
  /// Probability Letters 79). NaN for a z that is not finite and after `pg_max_niter` passes.
  double rpg(double z);

  /// An index 0 .. K-1 with probabilities p (which sum to 1), by Vose's form of Walker's alias method (Vose,
  /// 1991, IEEE Trans. Softw. Eng. 17). Throws error_debug for an empty p.
  int rmnom(const arma::Row<double>& p);
  /// The same of K probabilities: allocates nothing while K stays.
  arma::uword rmnom(const double* p, arma::uword K);

  /// One negative binomial count per element of p, size r, success probability p(i), mean r (1 - p) / p.
  /// Throws tovik::error when a rate is not finite or passes 2e9, numeric_error unless r > 0.
  arma::Col<double> rnbin(const double& r, arma::Col<double> p);

  /// Turns the offset x of a chain's starts into (start_scale, start_shift): (1 / (|x| + 1), 3x - 1) for x <
  /// 0, (x + 1, 3x + 1) for x > 0, (1, 0) for 0.
  void disperse(double x);

  /// Rebuilds pg_vec with n terms; n = 0 raises error_debug. Only while the command file is read.
  static void set_pg_n_gamma(std::size_t n);

  Pcg engine;
  distribution::normal normal;
  distribution::uniform uniform;
  double start_scale = 1.0;
  double start_shift = 0.0;

  /// Limits of the rejection loops. Statics are set while the command file is read and only read by chains.
  static std::uint32_t trunc_norm_max_niter;
  static std::uint32_t pg_max_niter;
  /// Denominators 4 pi^2 (k + 1/2)^2, k = 0, 1, ..., of the truncated Polya-Gamma series; 200 by default.
  static arma::Col<double> pg_vec;

 private:
  bool tail_proposals(double z, double end, double& c);
  bool standard_above(double z, double& c);
  bool standard_between(double a, double b, double& c);

  alias_table alias_;  ///< room of rmnom
};

}  // namespace tovik
