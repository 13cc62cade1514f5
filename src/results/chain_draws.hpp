#pragma once

#include <armadillo>
#include <memory>

namespace tovik {

/// A read-only window on the stored draws of one chain: parameters in rows, one column per draw. It either
/// owns its matrix or borrows a chain's store, which then has to outlive it; windows are cheap to copy, draws
/// never are copied.
class chain_draws {
 public:
  /// Owns the matrix.
  explicit chain_draws(arma::Mat<double> matrix)
      : store_(std::make_shared<const arma::Mat<double>>(std::move(matrix))),
        n_rows_(store_->n_rows),
        n_cols_(store_->n_cols) {}

  /// Borrows the first `n_cols` columns of a store: `n_cols` is the chain's cursor, which is below the
  /// allocated width while the chain is under way or when it failed.
  static chain_draws borrow(const arma::Mat<double>& store, arma::uword n_cols) {
    return chain_draws(std::shared_ptr<const arma::Mat<double>>(std::shared_ptr<void>(), &store), n_cols);
  }

  /// The window on rows first to first + count - 1 of this one, cut at its last row.
  chain_draws rows(arma::uword first, arma::uword count) const {
    chain_draws out = *this;
    first = std::min(first, n_rows_);
    out.first_row_ += first;
    out.n_rows_ = std::min(count, n_rows_ - first);
    return out;
  }

  arma::uword n_rows() const { return n_rows_; }
  arma::uword n_cols() const { return n_cols_; }

  /// The `n_rows()` values of draw t.
  const double* draw(arma::uword t) const { return store_->colptr(t) + first_row_; }
  double operator()(arma::uword parameter, arma::uword t) const { return draw(t)[parameter]; }

  /// The window as a matrix of its own (a copy): for files and for small tables.
  arma::Mat<double> matrix() const {
    arma::Mat<double> out(n_rows_, n_cols_, arma::fill::none);
    if (n_rows_ == 0) return out;  // no columns to point at
    for (arma::uword t = 0; t < n_cols_; ++t) std::copy_n(draw(t), n_rows_, out.colptr(t));
    return out;
  }

 private:
  chain_draws(std::shared_ptr<const arma::Mat<double>> store, arma::uword n_cols)
      : store_(std::move(store)), n_rows_(store_->n_rows), n_cols_(std::min(n_cols, store_->n_cols)) {}

  std::shared_ptr<const arma::Mat<double>> store_;
  arma::uword first_row_ = 0;
  arma::uword n_rows_;
  arma::uword n_cols_;
};

}  // namespace tovik
