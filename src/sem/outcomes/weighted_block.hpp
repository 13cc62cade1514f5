#pragma once

#include <armadillo>
#include <cmath>

#include "sem/outcomes/multi_struct.hpp"
#include "sem/outcomes/multi_unstruct.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

/// A block of outcomes under sampling weights: Sigma is drawn as without them, from the residuals R times
/// sqrt(W), that is from R'WR with as many degrees of freedom as units (see weighted).
template <class Base>
class weighted_block final : public Base {
 public:
  /// Throws error_debug unless all members have sampling weights.
  weighted_block(const Estimator* estimator, const block_setup& setup)
      : estimator::Outcome(Base::shape_of(estimator, setup)), Base(estimator, setup) {
    for (const Regression* member : setup.members)
      if (member->sampling() == nullptr) throw error_debug("Sampling weights do not match the units.");
  }

 protected:
  const arma::Mat<double>& sample(const arma::Mat<double>& data) override {
    const arma::Mat<double>& R = this->residuals(data);
    const arma::Col<double>& w = this->sampling()->rows;
    by_weight_.set_size(R.n_rows, R.n_cols);
    for (arma::uword i = 0; i < R.n_rows; ++i) {
      const double root = std::sqrt(w(i));
      for (arma::uword j = 0; j < R.n_cols; ++j) by_weight_(i, j) = root * R(i, j);
    }
    return by_weight_;
  }

 private:
  arma::Mat<double> by_weight_;
};

using MultiWeightedUnstruct = weighted_block<MultiUnstruct>;
using MultiWeightedStruct = weighted_block<MultiStruct>;

}  // namespace tovik::sem
