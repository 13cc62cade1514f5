#pragma once

#include <armadillo>
#include <vector>

#include "support/error.hpp"

namespace tovik::sem::scan {

/// Eigenvalues, rising, and eigenvectors of small symmetric matrices, in work space that is kept.
class symmetric_eigen {
 public:
  arma::Col<double> values;
  arma::Mat<double> vectors;

  /// Throws numeric_error where the decomposition fails.
  void take(const arma::Mat<double>& S) {
    char job = 'V', upper = 'U';
    arma::blas_int n = static_cast<arma::blas_int>(S.n_rows), info = 0;
    arma::blas_int size = 1 + 6 * n + 2 * n * n, integers = 3 + 5 * n;
    values.set_size(S.n_rows);
    vectors = S;
    work_.resize(static_cast<std::size_t>(size));
    integer_work_.resize(static_cast<std::size_t>(integers));
    arma::lapack::syevd<double>(&job, &upper, &n, vectors.memptr(), &n, values.memptr(), work_.data(), &size,
                                integer_work_.data(), &integers, &info);
    if (info != 0) throw numeric_error("eig_sym(): decomposition failed");
  }

 private:
  std::vector<double> work_;
  std::vector<arma::blas_int> integer_work_;
};

}  // namespace tovik::sem::scan
