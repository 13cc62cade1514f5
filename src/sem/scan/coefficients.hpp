#pragma once

#include <armadillo>

#include "random/random.hpp"
#include "sem/scan/coefficient_block.hpp"
#include "sem/scan/coefficient_prior.hpp"

namespace tovik::sem::scan {

/// The coefficients of an equation, given everything else:
///
///   b_F | ... ~ N(m, inv(P)),   P = G_FF / v + P0,   P m = h / v + P0 m0,
///
/// with F the coefficients that are drawn, G = X'X, h = F'(y - fixed part - random effects), v the residual
/// variance (G and h weighted by precisions and v = 1 when units differ in variance) and N(m0, inv(P0)) the
/// prior. Under a flat one this is N(inv(G_FF) h, v inv(G_FF)): a factor of G_FF serves whatever v is.
class coefficient_step {
 public:
  coefficient_step() = default;
  /// `free`: positions of the coefficients that are drawn; `fixed`: all others. Throws error_debug when the
  /// prior is one of another number of coefficients.
  coefficient_step(arma::Col<arma::uword> free, arma::Col<arma::uword> fixed, coefficient_prior prior = {});

  /// The coefficients are parameters of a block from now on, which draws them in place of this step; `share`
  /// must outlive it. A mean is then that of a flat prior without the block, or where b stands where there is
  /// none.
  void share(const block_share* share) { share_ = share; }
  bool is_shared() const { return share_ != nullptr; }

  /// Takes G for the draws to come. `n`: units behind G. Throws numeric_error "inv(): matrix is singular"
  /// when a column is a linear combination of the others to working precision; where the prior tells about
  /// the coefficients, the draws throw it.
  void factor(const arma::Mat<double>& G, arma::uword n);

  /// `h`: one entry per coefficient of the equation, of which those of F are read; the part of the fixed
  /// coefficients, G_F,fixed b_fixed, is taken off here. Draws randn(1, k) for the k coefficients of F and
  /// writes them into `b`, whose other entries are read only. Does nothing for k = 0. `base`: b and h are
  /// those of the differences from these coefficients; null for none.
  void draw(const arma::Mat<double>& G, const double* h, double v, Random& rng, double* b,
            const double* base = nullptr);

  /// Writes the mean m instead of a draw.
  void mean(const arma::Mat<double>& G, const double* h, double v, double* b, const double* base = nullptr);

  arma::uword n_free() const { return free_.n_elem; }
  const arma::Col<arma::uword>& free() const { return free_; }
  const coefficient_prior& prior() const { return prior_; }

 private:
  bool factor_products(const arma::Mat<double>& G);
  void factor_posterior(const arma::Mat<double>& G, double v);
  void load(const arma::Mat<double>& G, const double* h, double v, const double* b, const double* base);
  void store(double* b);

  arma::Col<arma::uword> free_, fixed_;
  coefficient_prior prior_;
  const block_share* share_ = nullptr;
  arma::uword n_ = 0;         ///< units behind G
  arma::Mat<double> T_;       ///< G_FF = T T' under a flat prior, else P = T T'; T upper triangular
  double factored_at_ = 0.0;  ///< the v behind P; 0 for none
  double tolerance_ = 0.0;    ///< share of a pivot that counts as zero
  arma::Col<double> work_, z_;
};

}  // namespace tovik::sem::scan
