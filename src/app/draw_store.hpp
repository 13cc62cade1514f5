#pragma once

#include <armadillo>

#include "support/error.hpp"

namespace tovik {

/// Draws of one chain in the order of drawing: one row per parameter, one contiguous column per draw.
class draw_store {
 public:
  draw_store() = default;
  draw_store(arma::uword n_parameters, arma::uword n_draws)
      : draws_(n_parameters, n_draws, arma::fill::zeros) {}

  void push(const arma::Col<double>& draw) {
    if (next_ >= draws_.n_cols || draw.n_elem != draws_.n_rows) {
      throw error_debug("Draw does not fit its store.");
    }
    draws_.col(next_++) = draw;
  }

  /// Drops the columns that were never filled: a chain that failed has fewer draws than planned.
  void trim() {
    if (next_ < draws_.n_cols) draws_.resize(draws_.n_rows, next_);
  }

  const arma::Mat<double>& draws() const { return draws_; }
  arma::uword size() const { return next_; }

 private:
  arma::Mat<double> draws_;
  arma::uword next_ = 0;
};

}  // namespace tovik
