#include "sem/outcomes/driven_coefficients.hpp"

namespace tovik::sem {

void driven_coefficients::connect(const arma::Mat<double>& X, const arma::Col<arma::uword>& free,
                                  const arma::Mat<double>& b) {
  A_.reset();
  free_ = free;
  if (driven_.empty() || free_.is_empty()) return;
  const arma::Mat<double> F = X.cols(free_);
  const arma::Mat<double> D = X.cols(arma::Col<arma::uword>(driven_));
  if (!arma::solve(A_, F, D, arma::solve_opts::no_approx) || !A_.is_finite()) A_.reset();
  anchor(b);
}

void driven_coefficients::anchor(const arma::Mat<double>& b) {
  if (A_.is_empty()) return;
  anchor_.set_size(b.n_elem);
  std::copy_n(b.memptr(), b.n_elem, anchor_.memptr());
}

void driven_coefficients::follow(arma::Mat<double>& b) const {
  if (A_.is_empty()) return;
  for (arma::uword i = 0; i < free_.n_elem; ++i) {
    double value = anchor_(free_(i));
    for (arma::uword k = 0; k < driven_.size(); ++k)
      value -= A_(i, k) * (b(driven_[k]) - anchor_(driven_[k]));
    b(free_(i)) = value;
  }
}

}  // namespace tovik::sem
