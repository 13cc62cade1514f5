#include "sem/outcomes/driven_coefficients.hpp"

namespace tovik::sem {

void driven_coefficients::connect(const arma::Mat<double>& X, const arma::Col<arma::uword>& free,
                                  const arma::Mat<double>& b) {
  A_.reset();
  free_ = free;
  if (driven_.empty()) return;
  arma::Mat<double> D = X.cols(arma::Col<arma::uword>(driven_));
  if (!free_.is_empty()) {
    const arma::Mat<double> F = X.cols(free_);
    if (!arma::solve(A_, F, D, arma::solve_opts::no_approx) || !A_.is_finite()) A_.reset();
    if (connected()) D -= F * A_;
  }
  left_ = D.t() * D;
  anchor(b);
}

double driven_coefficients::left(arma::uword j, arma::uword k) const {
  const auto at = [this](arma::uword i) {
    return static_cast<arma::uword>(std::find(driven_.begin(), driven_.end(), i) - driven_.begin());
  };
  arma::uword const row = at(j), col = at(k);
  return row < left_.n_rows && col < left_.n_cols ? left_(row, col) : 0.0;
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
