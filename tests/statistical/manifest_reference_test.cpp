// A variable that is regressed on complete ones only has the posterior of its equation, so that whole runs of
// the imputation with observed cluster means, or without any, are held against runs with MODEL.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "calibration/replicate.hpp"
#include "statistical/posterior_check.hpp"

namespace tovik::tests::manifest_reference_test {
namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

/// 20 clusters of 3 to 8 rows. z and its cluster means are centred, so that priors of intercepts mean the
/// same in both runs.
arma::mat clustered_data(bool ordinal, double unit) {
  Random rng(88, 0u);
  std::vector<arma::rowvec> rows;
  for (int c = 0; c < 20; ++c) {
    const double u = rng.rnorm(), mean = rng.rnorm();
    for (int i = 0; i < 3 + c % 6; ++i) {
      const double z = mean + rng.rnorm(), x = 0.5 * z + 0.7 * u + rng.rnorm();
      const double seen = ordinal ? 1.0 + (x > -0.5) + (x > 0.6) : unit * x;
      rows.push_back({double(c), rng.runif() < 0.25 ? missing : seen, z});
    }
  }
  arma::mat out(rows.size(), 3);
  for (arma::uword i = 0; i < out.n_rows; ++i) out.row(i) = rows[i];
  out.col(2) -= arma::mean(out.col(2));
  return out;
}

class ManifestReference : public testing::Test {
 protected:
  Summary draws(const std::string& commands) {
    const std::filesystem::path file = folder_.path() / "c.tovik";
    std::ofstream(file)
        << "DATA: data.csv; SEED: 4; CHAINS: 2; BURN: 1000; ITERATIONS: 40000; CLUSTERID: id; "
        << "DEBUG: allow_tune_fail; " << commands;
    runs_.push_back(sample(file));
    return runs_.back().iterations();
  }

  /// `rows`: pairs of rows of the equation and of the imputation model that are the same parameter.
  void expect_agreement(const arma::mat& data, const std::string& model, const std::string& imputation,
                        const std::vector<std::pair<arma::uword, arma::uword>>& rows) {
    calibration::write_data(folder_.path() / "data.csv", {"id", "x", "z"}, data);
    const Summary equation = draws(model + " OPTIONS: disable_dic disable_corrs;");
    const Summary imputed = draws(imputation);
    for (const auto& [a, b] : rows)
      expect_same_distribution(draws_of(imputed, b), draws_of(equation, a), "row " + std::to_string(b));
  }

  scratch_folder folder_;
  std::vector<sampled_run> runs_;
};

/// Equations have variances first: L2, residual, intercept, z.
TEST_F(ManifestReference, RandomInterceptsFromAllRows) {
  expect_agreement(clustered_data(false, 1), "FIXED: z; MODEL: x ~ z;", "OPTIONS: noclmean; FCS: x z;",
                   {{0, 2}, {1, 3}, {2, 0}, {3, 1}});
}

TEST_F(ManifestReference, RandomInterceptsFromObservedRowsUnderTheFirstPrior) {
  expect_agreement(clustered_data(false, 1), "FIXED: z; MODEL: x ~ z; OPTIONS: prior1;",
                   "OPTIONS: noclmean mice prior1; FCS: x z;", {{0, 2}, {1, 3}, {2, 0}, {3, 1}});
}

TEST_F(ManifestReference, InOtherUnits) {
  arma::mat data = clustered_data(false, 1000);
  data.col(1) += 1e4;
  expect_agreement(data, "FIXED: z; MODEL: x ~ z;", "OPTIONS: noclmean mice; FCS: x z;",
                   {{0, 2}, {1, 3}, {2, 0}, {3, 1}});
}

TEST_F(ManifestReference, AnOrdinalVariable) {
  for (const std::string how : {"noclmean", "noclmean mice"}) {
    SCOPED_TRACE(how);
    expect_agreement(clustered_data(true, 1), "ORDINAL: x; FIXED: z; MODEL: x ~ z;",
                     "ORDINAL: x; OPTIONS: " + how + "; FCS: x z;", {{0, 2}, {2, 0}, {3, 1}, {4, 4}});
  }
}

}  // namespace
}  // namespace tovik::tests::manifest_reference_test
