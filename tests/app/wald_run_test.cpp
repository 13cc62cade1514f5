// Wald tests of a whole run against the iterations that it saves.

#include <gtest/gtest.h>

#include <sstream>

#include "app/result_files.hpp"
#include "input/command_file.hpp"
#include "results/chisq_upper.hpp"
#include "results/wald_test.hpp"
#include "support/blas_threads.hpp"

namespace tovik::tests::wald_run_test {
namespace {

arma::Mat<double> table(const std::string& path, bool header) {
  std::ifstream in(path);
  std::vector<double> cells;
  std::size_t rows = 0;
  std::string line;
  if (header) std::getline(in, line);
  for (; std::getline(in, line); ++rows) {
    std::stringstream row(line);
    for (std::string cell; std::getline(row, cell, ',');)
      cells.push_back(cell == "nan" || cell.empty() ? NAN : std::stod(cell));
  }
  return arma::reshape(arma::Mat<double>(cells), cells.size() / rows, rows).t();
}

/// Keeps standard output away, also when an error ends the run.
struct quiet_output {
  quiet_output() { testing::internal::CaptureStdout(); }
  ~quiet_output() { testing::internal::GetCapturedStdout(); }
};

struct WaldRun : CommandFile {
  void SetUp() override {
    CommandFile::SetUp();
    use_one_blas_thread();
    std::ostringstream out;
    out << "id,y,x,z,w\n";
    for (int i = 0; i < 60; ++i) {
      const double x = (i * 37 % 60) / 20.0 - 1.5, z = (i * 23 % 60) / 30.0 - 1, w = (i * 7 % 11) / 5.0 - 1;
      out << i / 6 << "," << 1 + 0.5 * x - 0.4 * z + 0.3 * w + (i * 41 % 60) / 30.0 + 0.4 * (i / 6 % 3) << ","
          << x << "," << z << ",";
      out << (i % 9 == 4 ? "NA" : std::to_string(w)) << "\n";
    }
    write("d.csv", out.str());
  }

  /// Runs the commands; leaves iterations in it.csv and the tests in w.csv.
  void run(const std::string& commands) {
    const auto input = read(
        "DATA: d.csv; SEED: 9; BURN: 100; ITERATIONS: 300; CHAINS: 2 processors 1; OPTIONS: scientific; "
        "DEBUG: allow_tune_fail; SAVE: iterations = it.csv, waldtest = w.csv; " +
        commands);
    const quiet_output quiet;
    const analysis prepared = prepare(*input);
    chain_group<sem::Mcmc> group = build_chains(*input, prepared);
    group.exec();
    write_result_files(*input, group, prepared);
    for (const Model& model : prepared.models) {
      for (const model::row& row : model.rows()) names.push_back(model.name() + " " + row.text());
    }
    iterations = table("it.csv", false).cols(1, names.size());
    results = table("w.csv", true);
  }

  arma::uword row(const std::string& name) const {
    const auto at = std::find(names.begin(), names.end(), name);
    EXPECT_NE(at, names.end()) << name;
    return static_cast<arma::uword>(at - names.begin());
  }

  /// Of contrasts given by the names of rows: d' (C S C')^-1 d over all iterations.
  void expect_test(arma::uword test, const std::vector<std::pair<std::string, std::string>>& contrasts,
                   const arma::Col<double>& values) const {
    arma::Mat<double> C(contrasts.size(), names.size(), arma::fill::zeros);
    for (std::size_t j = 0; j < contrasts.size(); ++j) {
      C(j, row(contrasts[j].first)) = 1.0;
      if (!contrasts[j].second.empty()) C(j, row(contrasts[j].second)) = -1.0;
    }
    const arma::Mat<double> draws = iterations * C.t();
    const arma::Col<double> d = arma::mean(draws, 0).t() - values;
    const double statistic = arma::as_scalar(d.t() * arma::inv(arma::cov(draws)) * d);
    EXPECT_EQ(results(test, 0), static_cast<double>(test) + 1.0);
    EXPECT_EQ(results(test, 1), static_cast<double>(contrasts.size()));
    EXPECT_NEAR(results(test, 2), statistic, 1e-6 * statistic);
    EXPECT_NEAR(results(test, 3), chisq_upper(statistic, static_cast<double>(contrasts.size())), 1e-6);
  }

  std::vector<std::string> names;
  arma::Mat<double> iterations;
  arma::Mat<double> results;
};

TEST_F(WaldRun, RestrictedEquationsAndEqualities) {
  run("MODEL: y ~ x@b1 z@b2 w; WALDTEST: y ~ x@b1 w; WALDTEST: y ~ x@b1 z@b2 w@0.3; WALDTEST: b1 = 0.5; b1 = "
      "b2; WALDTEST: b1 = 0; b1 = 0; WALDTEST: y ~ x@b1 z@b2 w;");
  ASSERT_EQ(results.n_rows, 5u);
  expect_test(0, {{"y z", ""}}, {0});
  expect_test(1, {{"y w", ""}}, {0.3});
  expect_test(2, {{"y x", ""}, {"y x", "y z"}}, {0.5, 0});
  EXPECT_EQ(results(3, 1), 2.0);
  EXPECT_EQ(results(4, 1), 0.0);
  for (arma::uword i : {3u, 4u}) {
    EXPECT_TRUE(std::isnan(results(i, 2)));
    EXPECT_TRUE(std::isnan(results(i, 3)));
  }
}

TEST_F(WaldRun, RandomSlopesAndGeneratedParameters) {
  run("CLUSTERID: id; MODEL: y ~ x@b1 z@b2 | x; PARAMETERS: q = b1 * b2; WALDTEST: y ~ x@b1 z@b2; WALDTEST: "
      "q = "
      "0; WALDTEST: y ~ z@b2 | 0;");
  expect_test(0, {{"y L2 : Var(x)", ""}}, {0});
  expect_test(1, {{"q q", ""}}, {0});
  expect_test(2, {{"y L2 : Var(Intercept)", ""}, {"y L2 : Var(x)", ""}, {"y x", ""}}, {0, 0, 0});
}

}  // namespace
}  // namespace tovik::tests::wald_run_test
