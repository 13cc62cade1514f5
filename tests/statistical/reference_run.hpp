#pragma once

#include <gtest/gtest.h>

#include <armadillo>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "calibration/replicate.hpp"
#include "golden/sampled_run.hpp"
#include "statistical/posterior_check.hpp"
#include "statistical/reference_sampler.hpp"

/// Variances walk on the log scale, whose Jacobian is the variance itself, and correlations on that of atanh,
/// with Jacobian 1 - rho^2. The prior `prior1` of a variance is exp(-1/(2v)) / v^2: unit sum of squares and
/// two degrees of freedom.
namespace tovik::tests::reference {

using state = std::vector<double>;

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

/// log N(x; mean, v) without its constant.
inline double normal(double x, double mean, double v) {
  return -0.5 * std::log(v) - 0.5 * (x - mean) * (x - mean) / v;
}

/// prior1 of a variance, with the Jacobian of its log.
inline double unit_prior(double v) {
  return -2 * std::log(v) - 0.5 / v + std::log(v);
}

/// A small design that has nothing random: well mixed numbers of mean 0 and variance about 1.
inline double number(int i, int stream) {
  return 1.7 * std::sin(1.0 + 2.3 * i + 5.1 * stream + 0.7 * i * stream + 0.13 * i * i);
}

/// A whole run and a sampler that knows nothing of the program: each case writes down the joint density of
/// parameters, random effects and missing values, row by row, and a random walk samples it.
class Reference : public testing::Test {
 protected:
  /// Runs `commands` on the data and, beside it, two reference chains; compares the rows of the report with
  /// the elements of `report` in order.
  void expect_agreement(const std::vector<std::string>& names, const arma::Mat<double>& data,
                        const std::string& commands, const std::vector<arma::uword>& rows,
                        const std::vector<std::string>& what, const reference_sampler::density& density,
                        const state& start, const std::function<arma::Col<double>(const state&)>& report,
                        std::size_t scans = 40000) {
    calibration::write_data(scratch_.path() / "data.csv", names, data);
    std::ofstream(scratch_.path() / "run.tovik")
        << "DATA: data.csv; SEED: 5; CHAINS: 2 processors 2; BURN: 4000;\n"
        << commands;
    const sampled_run run = sample(scratch_.path() / "run.tovik");
    std::vector<arma::Mat<double>> found(2);
    std::vector<std::thread> threads;
    for (std::size_t c = 0; c < 2; ++c) {
      threads.emplace_back([&, c] {
        reference_sampler sampler(density, start, 100 + c);
        found[c] = sampler.run(scans / 4, scans, report);
      });
    }
    for (std::thread& thread : threads) thread.join();
    const Summary draws = run.group->iterations();
    for (std::size_t j = 0; j < rows.size(); ++j) {
      arma::Mat<double> reference(found[0].n_cols, 2);
      for (arma::uword c = 0; c < 2; ++c) reference.col(c) = found[c].row(j).t();
      const arma::Mat<double> series = draws_of(draws, rows[j]);
      EXPECT_TRUE(series.is_finite()) << what[j];
      expect_same_distribution(series, reference, what[j]);
    }
  }

 private:
  scratch_folder scratch_;
};

}  // namespace tovik::tests::reference
