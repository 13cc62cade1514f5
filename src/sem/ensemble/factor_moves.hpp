#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "random/random.hpp"
#include "sem/autosolver/solution.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/solved_units.hpp"
#include "sem/scan/orbit_scale.hpp"

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// Steps that move all scores of a factor together with what is measured in their units. One by one, scores,
/// loadings and intercepts hold each other in place: n scores tell of the loadings far more than the data do.
///
/// With f = eta_f + e the factor, e ~ N(0, v), and equations y_k = ... + b_k + l_k f that hold it alone in a
/// term, the data change little along
///
///   location:  f + c,  b_k - l_k c where the intercept b_k is drawn, the factor's own intercept + c if it
///   is; scale:     g f,    l_k / g where the loading is drawn, g times the factor's coefficients, g^2 v.
///
/// Each is a group of transformations, so that a draw of c or g from the density of the transformed state,
/// times the Jacobian, with respect to dc or d log g leaves the posterior as it is (Liu & Sabatti, 2000,
/// Biometrika 87, 353-369). In c the density is normal, told by the factor's residuals where its intercept
/// stays, by the equations whose intercept stays, and by the priors of those that go along. In g it is that
/// of orbit_scale, where equations whose loading stays tell how large the scores are.
///
/// A factor without an intercept that is drawn has others to take up c: slopes of predictors whose mean is
/// far from 0, and random intercepts, where a shift of all is told by their prior alone. Translations of the
/// slopes by d and of the random intercepts of a level L by a_L are part of the group, and (c, d, a) is drawn
/// from its normal density.
///
/// Members of a block of correlated outcomes tell of c or g together, by their joint density; a factor that
/// is one of them takes its row and column of the block's covariance matrix along with g.
class factor_moves {
 public:
  struct reader {
    Regression* equation;
    unsigned position;  ///< of the loading
  };

  /// True for a factor whose coefficients are drawn from flat priors or known to be 0. Its scale moves only
  /// where it has no random effects.
  static bool suits(const Normal& factor, const std::vector<reader>& readers);
  factor_moves(Normal& factor, const std::vector<reader>& readers);
  factor_moves(factor_moves&&) noexcept;
  ~factor_moves();

  /// Both steps, before the equations of a scan are drawn.
  void draw(arma::Mat<double>& data, Random& rng);
  void move_location(arma::Mat<double>& data, Random& rng);
  void move_scale(arma::Mat<double>& data, Random& rng);

 private:
  struct held_reader {
    Regression* equation;
    arma::uword position;
    autosolver::solution how;
    std::shared_ptr<solved_units> units;
    bool loading_moves, intercept_moves;
    double& loading() const { return equation->betas_(position); }
  };
  class told_by_block;
  void add_block(const Regression& equation);
  told_by_block* block_of(const Regression& equation);
  bool variance_moves() const;
  void find_absorbers();
  Regression::told told_by_readers(const arma::Mat<double>& data);
  bool draw_shift(const arma::Mat<double>& data, const Regression::told& told, Random& rng);
  void add_slopes(const arma::Mat<double>& data);
  void add_intercepts();
  void add_prior_of_variance(scan::orbit_scale& at);
  void add_scores(const arma::Mat<double>& data, scan::orbit_scale& at);
  void anchor();

  Normal* factor_;
  std::vector<held_reader> readers_;
  std::vector<told_by_block> blocks_;
  bool intercept_moves_;
  bool scale_moves_;
  arma::Col<double> residual_;
  // Of the shift: c, then the slopes and the levels that take it up.
  arma::Col<arma::uword> slopes_;
  std::vector<unsigned> levels_;
  arma::Mat<double> precision_;
  arma::Col<double> shift_;  ///< its linear term, and then the draw
};

/// A factor that the equations tell of by a normal density, each in one plain term.
struct plain_factor {
  Normal* factor;
  std::vector<factor_moves::reader> readers;
};
std::vector<plain_factor> plain_factors(const ModelList& list,
                                        const std::vector<std::shared_ptr<estimator::Outcome>>& models);

/// Of those of the factors that suit.
std::vector<factor_moves> moves_of_factors(const std::vector<plain_factor>& factors);

}  // namespace tovik::sem
