#pragma once

#include <armadillo>
#include <memory>
#include <utility>
#include <vector>

#include "sem/wiring/constraint.hpp"

namespace tovik::sem::estimator {

/// The intercept of an equation, as it goes along when plain predictors of the equation are centred anew.
///
/// A centre c_k and the intercept b0 of who reads x_k - c_k are as good as one parameter, b0 - sum_k b_k c_k:
/// either alone moves across a narrow ridge of the posterior. When the centres move by d, the intercept
/// therefore moves by sum_k b_k d_k, which leaves the sum of these terms as it was. The slopes b_k stay, and
/// d depends on the centres alone: the map is a shear, which preserves volume, and moving the centres back
/// undoes it. An intercept of flat prior then leaves the ratio of acceptance to the likelihood and the
/// density of the centres (Liu & Sabatti, 2000, Biometrika 87, 353-369, on moves along a group). Products and
/// random slopes of the predictors stay as they are: the likelihood judges what the move does to them.
class moving_intercept {
 public:
  /// A plain predictor: its slope, which stands at this address, and its column of the working matrix.
  struct term {
    const double* slope;
    arma::uword column;
  };

  moving_intercept(std::shared_ptr<constraint> intercept, std::vector<term> terms)
      : intercept_(std::move(intercept)), terms_(std::move(terms)) {}

  /// Column columns(k) is from now on less of a centre that is larger by change(k).
  void follow(const arma::Col<arma::uword>& columns, const arma::Col<double>& change) {
    kept_ = *intercept_->ptr();
    double moved = kept_;
    for (const term& t : terms_)
      for (arma::uword k = 0; k < columns.n_elem; ++k)
        if (columns(k) == t.column) moved += *t.slope * change(k);
    intercept_->write(moved);
  }
  /// The centres are back where they were before follow(), and so is the intercept, to the last bit.
  void take_back() { intercept_->write(kept_); }

 private:
  std::shared_ptr<constraint> intercept_;
  std::vector<term> terms_;
  double kept_ = 0.0;
};

}  // namespace tovik::sem::estimator
