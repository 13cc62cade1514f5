#pragma once

#include <armadillo>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "model/waldtest.hpp"
#include "results/summary.hpp"

namespace tovik::sem {

/// A Wald statistic from posterior draws (Orvik & Sandell, 2021): d' S^-1 d with the k contrasts' posterior
/// means less their constants, d, and their covariance matrix over the draws, S. Under the hypothesis about
/// chi-square with k degrees of freedom.
class WaldTest {
 public:
  std::int32_t df = 0;        ///< number of contrasts
  double statistic = -999.0;  ///< negative or NaN where it could not be computed
  bool orthogonal = true;     ///< the contrasts are linearly independent

  /// `draws`: parameters in rows, the iterations of all chains side by side.
  WaldTest(const model::waldtest& test, const arma::Mat<double>& draws);
  /// The same from the draws of all chains, without a copy of them.
  WaldTest(const model::waldtest& test, const Summary& draws);

  /// The upper tail of chi-square; NaN where there is no statistic.
  double probability() const;
  void print(std::FILE* stream) const;

  /// One row for each test: number from 1, df, statistic, probability. NaN where there is no statistic.
  static arma::Mat<double> results(const std::vector<model::waldtest>& tests, const Summary& draws);

 private:
  /// Whether the contrasts can be tested.
  bool accept(const std::vector<model::contrast>& contrasts, arma::uword n_rows);
  /// `contrasts`: one row for each contrast, one column for each draw, constants subtracted.
  void compute(const arma::Mat<double>& contrasts);
};

/// The part WALD TESTS of the report: the equations and constraints of each test, and its result. Prints
/// nothing without tests.
void print_wald_tests(std::FILE* stream, const std::vector<model::waldtest>& tests, const Summary& draws);

}  // namespace tovik::sem
