#pragma once

#include <armadillo>
#include <cstddef>
#include <memory>
#include <vector>

#include "sem/outcomes/regression.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::sem {

/// The density of the observed cells of several equations that phantoms or a block tie together, with the
/// scores of the phantoms integrated out.
///
/// At a unit c of the l-th level of the data stand the residuals e of the equations of that level and the
/// random effects g that equations below have there. Stacked they are
///
///   (e_c, g_c) ~ N(0, V_l),
///
/// V_l with the covariance matrices of the equations on its diagonal and beside them the covariances that the
/// phantoms carry, rho sqrt(v w), or that are elements of a block. An outcome has y - Xb = Z h + e, h the
/// effects of all levels above its own. Only the observed outcomes of a unit count: the rows of their
/// residuals and of Z, the submatrix of V_l.
class joint_likelihood {
 public:
  /// `members`: equations that are normal, in the order of their list. They and `working` must outlive the
  /// object.
  joint_likelihood(std::vector<const Regression*> members, const working_data& working);

  /// Some member has random effects; without them both densities are the same.
  bool has_effects() const { return n_effects_ > 0; }
  /// One value for each unit of the highest level, at the data and the parameters as they are.
  ///
  /// The effects given: at each unit the density of e_c given g_c.
  arma::Col<double> conditional(const arma::Mat<double>& data);
  /// The effects integrated out; NaN where a phantom ties them to an equation that is no member. Throws
  /// numeric_error "chol(): decomposition failed" when a covariance matrix is not positive definite.
  arma::Col<double> marginal(const arma::Mat<double>& data);

 private:
  /// Values of one member at the units of a level: its residual (place 0) or its effects (Regression::part).
  struct part {
    std::size_t member = 0;
    unsigned place = 0;
    arma::uword first = 0;  ///< of the stacked values
    arma::uword size = 0;
  };
  /// A column of Z of a residual's equation: its effect among those of all higher levels.
  struct design_entry {
    arma::uword effect = 0;
    unsigned L = 0;
    arma::uword column = 0;
  };
  /// One level of the data.
  struct tier {
    std::vector<part> parts;  ///< residuals first
    arma::uword n_residuals = 0;
    arma::uword n_effects = 0;                       ///< here
    arma::uword n_above = 0;                         ///< effects of higher levels
    std::vector<std::vector<design_entry>> designs;  ///< of each residual
    std::vector<std::vector<arma::uword>> patterns;  ///< which residuals are observed
    std::vector<std::size_t> pattern_of;             ///< of each unit
    arma::Col<arma::uword> parent;  ///< of each unit: that of the next level, itself at the highest
    arma::Col<arma::uword> top;     ///< of each unit: that of the highest level
    arma::Mat<double> V;

    arma::uword n_units() const { return parent.n_elem; }
  };
  /// What a pattern of observed residuals makes of V, o the observed ones: V_oo = T T'.
  struct factor {
    arma::Mat<double> T;
    arma::Mat<double> M;  ///< inv(T) V_og
    arma::Mat<double> P;  ///< the precision of g given e_o
    double constant = 0.0;
  };

  tier make_tier(unsigned level, const working_data& working) const;
  void find_patterns(tier& at, unsigned level) const;
  void stack_covariances(tier& at) const;
  void add_covariance(tier& at, const part& a, const part& b) const;
  bool holds_all_ends() const;
  static factor factor_of(const tier& at, const std::vector<arma::uword>& observed);
  void absorb(const tier& at, arma::uword unit, const factor& how, const double* below, double* above);
  void read_variances(const arma::Mat<double>& data);
  double log_variances(const tier& at, arma::uword unit) const;
  void whiten(const tier& at, arma::uword unit, const factor& how);
  void add_conditional(const tier& at, const std::vector<arma::Col<double>>& residuals,
                       arma::Col<double>& out) const;

  std::vector<const Regression*> members_;
  std::vector<tier> tiers_;  ///< from the rows up
  arma::uword n_effects_ = 0;
  std::vector<arma::Col<double>> r_;               ///< y - Xb of each member
  std::vector<std::vector<arma::Mat<double>>> Z_;  ///< of each member, per level
  std::vector<arma::Col<double>> v_;               ///< of each member whose units differ in variance
  arma::Mat<double> W_, N_, D_, H_;                ///< scratch of absorb
};

}  // namespace tovik::sem
