#pragma once

#include <armadillo>
#include <limits>
#include <memory>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/newton_move.hpp"
#include "sem/wiring/constraint.hpp"

namespace tovik::sem::scan {

/// What is known of a parameter beforehand: N(mean, 1 / precision), flat for a precision of 0, restricted to
/// [lower, upper].
struct parameter_prior {
  double precision = 0.0;
  double mean = 0.0;
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();

  bool bounded() const { return std::isfinite(lower) || std::isfinite(upper); }
};

/// Parameters t that stand at the coefficients of one or several equations, each at one place or many, and
/// are drawn together. With b_e = S_e t the coefficients of equation e (S_e a matrix of zeros and ones), G_e
/// and h_e the products that coefficient_step or integrated_step has of it, v_e its residual variance, and
/// N(m, inv(P0)) the prior,
///
///   t | ... ~ N(inv(P) p, inv(P)),   P = P0 + sum_e S_e'G_e S_e / v_e,   p = P0 m + sum_e S_e'h_e / v_e,
///
/// restricted to the bounds: two places of one equation add their columns, the equations their products.
/// Bounded parameters come first: each is drawn from its truncated normal distribution given the other
/// bounded ones, all others integrated out, and these follow given the bounded ones. With one bounded
/// parameter that is a draw from the joint distribution, with more a Gibbs step on them (Geweke, 1991,
/// Computing Science and Statistics 23, 571-578).
///
/// The draw works on the distance from where the parameters stand: a base of the products drops out, and no
/// digit is lost to the size of the coefficients.
class coefficient_block {
 public:
  /// No parameter stands there.
  static constexpr arma::uword none = static_cast<arma::uword>(-1);

  struct parameter {
    parameter_prior prior;
    double* at;  ///< the coefficient at one of the places, as it stands between draws
    std::shared_ptr<estimator::constraint> label = nullptr;  ///< null: the coefficient has no label
    bool of_several = false;                                 ///< it stands in more than one equation
  };

  /// Throws error_debug when a bounded parameter stands behind an unbounded one.
  explicit coefficient_block(std::vector<parameter> parameters);

  /// What an equation's draw of its coefficients does: all of the draw, when the block has one equation;
  /// else it hands in its products, and later finds the coefficients drawn.
  enum class phase { alone, collected, drawn };
  phase now = phase::alone;

  /// Forgets all products.
  void clear();
  /// Adds those of an equation. `parameters`: of each coefficient, or none; `b`: where the coefficients
  /// stand, relative to the base of h, if it has one; `n`: units behind G.
  void add(const arma::Col<arma::uword>& parameters, const arma::Mat<double>& G, const double* h, double v,
           const double* b, arma::uword n);
  /// The same of equations with correlated residuals, in parts: `weight` X_j'X_k of two of them, or of one
  /// with itself (`C`: coefficients of j x those of k), and X_j' times the residuals of units as the inverse
  /// of their covariance matrix weighs them (`gradient`, at the coefficients as they stand), `n` units.
  void add_products(const arma::Col<arma::uword>& of_j, const arma::Col<arma::uword>& of_k,
                    const arma::Mat<double>& C, double weight);
  void add_gradient(const arma::Col<arma::uword>& parameters, const double* gradient, arma::uword n);
  /// How far each parameter moves. Throws numeric_error "inv(): matrix is singular" when products and prior
  /// do not determine one.
  const arma::Col<double>& draw(Random& rng);
  /// Writes the parameters that carry labels, as drawn, to all their places.
  void settle() const;
  /// The same for all; for more than one equation.
  void settle_all() const;

  /// These parameters as the terms of another move, with all other ones known; and what it has made of them,
  /// at all their places.
  void tell(const std::vector<arma::uword>& which, newton_move::terms& out) const;
  void take(const std::vector<arma::uword>& which, const std::vector<double>& values) const;

  const std::vector<parameter>& parameters() const { return parameters_; }

 private:
  void add_priors();
  void draw_bounded(Random& rng);

  std::vector<parameter> parameters_;
  arma::uword n_bounded_ = 0;
  arma::uword n_units_ = 0;
  arma::Mat<double> P_;  ///< P, then T of P = T T', T upper triangular
  arma::Col<double> work_, moved_, z_, value_;
};

/// The coefficients of one equation that belong to a block.
struct block_share {
  std::shared_ptr<coefficient_block> block;
  arma::Col<arma::uword> parameters;  ///< of each coefficient, or none

  /// In place of a draw of the coefficients `b` from the products.
  void meet(const arma::Mat<double>& G, const double* h, double v, arma::uword n, Random& rng,
            double* b) const;
};

}  // namespace tovik::sem::scan
