#pragma once

#include <armadillo>
#include <vector>

#include "sem/scan/cluster_factor.hpp"
#include "sem/scan/coefficients.hpp"

namespace tovik::sem::scan {

/// What a level of random effects has in a scan: within its clusters c, Z_c'Z_c packed (clusters x
/// q(q + 1)/2), Z_c'X_c per effect (clusters x k), Z_c'e (clusters x q); the precision K of its effects.
struct level_products {
  const arma::Mat<double>* A;
  const std::vector<arma::Mat<double>>* B;
  const arma::Mat<double>* z;
  const arma::Mat<double>* K;
};

/// The coefficients of an equation with the random effects u of one level integrated out. In clusters of many
/// units, or of large variance, coefficients of predictors that vary between clusters and the effects hold
/// each other in place: given u they hardly move. Without them, with A_c = Z_c'Z_c, B_c = Z_c'X_c,
/// z_c = Z_c'e, e the outcome less all that is known, w the residual precision and K that of the effects,
///
///   precision of b: w X'X - w^2 sum_c B_c' inv(w A_c + K) B_c + prior,
///   times its mean: w X'e - w^2 sum_c B_c' inv(w A_c + K) z_c + prior
///
/// (Chib & Carlin, 1999, Statistics and Computing 9, 17-26). A draw of u given b must follow: both together
/// are one draw from their joint conditional distribution.
class integrated_step {
 public:
  integrated_step() = default;
  /// As coefficient_step has them.
  integrated_step(const arma::Col<arma::uword>& free, const arma::Col<arma::uword>& fixed,
                  const coefficient_prior& prior)
      : step_(free, fixed, prior) {}

  /// See coefficient_step.
  void share(const block_share* share) { step_.share(share); }

  /// `A`: clusters x q(q + 1)/2, packed; `B`: per effect clusters x k; `z`: clusters x q; `G`: X'X; `h`: X'e
  /// (with w = 1 where rows are weighted already). `b`, `base`: see coefficient_step. False, with no random
  /// number drawn, where the effects take nearly all of what the data say of some coefficient, so that no
  /// digits are left of the difference: which depends on neither b nor u.
  bool draw(const arma::Mat<double>& A, const std::vector<arma::Mat<double>>& B, const arma::Mat<double>& z,
            const arma::Mat<double>& G, const double* h, double w, const arma::Mat<double>& K,
            arma::uword n_units, Random& rng, double* b, const double* base = nullptr);

  /// With the effects of two levels integrated out, the clusters of `lower` in those of `upper` (`upper_of`
  /// each). `between`: per effect of the lower level, its products with the covariates of the upper one
  /// within the lower clusters. A draw of the upper effects from upper_precision() and upper_sums() must
  /// follow, then one of the lower ones given all.
  bool draw_nested(const level_products& lower, const std::vector<arma::Mat<double>>& between,
                   const level_products& upper, const arma::Col<arma::uword>& upper_of,
                   const arma::Mat<double>& G, const double* h, double w, arma::uword n_units, Random& rng,
                   double* b);
  /// What the data say of the upper effects given b, the lower ones integrated out: as A and t of
  /// random_effects_step with w = 1.
  const arma::Mat<double>& upper_precision() const { return A2_; }
  const arma::Mat<double>& upper_sums() const { return t2_; }

 private:
  void start(const arma::Mat<double>& G, const double* h, double w);
  /// Takes share * R'R off, of R the last column beside those of the coefficients.
  void take(const std::vector<arma::Mat<double>>& R, double share);
  bool finish(const arma::Mat<double>& G, double w, arma::uword n_units, Random& rng, double* b,
              const double* base);
  void reduce_upper(const level_products& upper, const arma::Col<arma::uword>& upper_of, double w,
                    arma::uword k);

  coefficient_step step_;
  cluster_factor factor_, upper_factor_;
  std::vector<arma::Mat<double>> R_, S_;  ///< per effect: inv(T_c) times products; of the upper level
  arma::Mat<double> G_, A2_, t2_;
  std::vector<arma::Mat<double>> B2_;  ///< per upper effect, reduced products with X and e
  arma::Col<double> h_;
};

}  // namespace tovik::sem::scan
