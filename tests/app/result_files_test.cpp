// The files of a run against the draws and the data that it holds.

#include "app/result_files.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <sstream>

#include "input/command_file.hpp"
#include "random/random.hpp"
#include "support/blas_threads.hpp"

namespace tovik::tests::result_files_test {
namespace {

/// Numbers of a csv file, with or without a header.
arma::Mat<double> numbers(const std::string& path, bool header = false) {
  std::ifstream in(path);
  std::vector<std::vector<double>> rows;
  std::string line;
  if (header) std::getline(in, line);
  while (std::getline(in, line)) {
    std::vector<double> row;
    std::stringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');)
      row.push_back(cell == "NA" ? NAN : std::stod(cell));
    rows.push_back(row);
  }
  arma::Mat<double> out(rows.size(), rows.empty() ? 0 : rows.front().size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].size() != out.n_cols) {
      ADD_FAILURE() << path << ": line " << i << " has " << rows[i].size() << " cells";
      continue;
    }
    for (std::size_t j = 0; j < rows[i].size(); ++j) out(i, j) = rows[i][j];
  }
  return out;
}

void expect_same(const arma::Mat<double>& actual, const arma::Mat<double>& expected, double tolerance) {
  ASSERT_EQ(actual.n_rows, expected.n_rows);
  ASSERT_EQ(actual.n_cols, expected.n_cols);
  for (arma::uword j = 0; j < actual.n_cols; ++j) {
    for (arma::uword i = 0; i < actual.n_rows; ++i) {
      if (std::isnan(expected(i, j))) {
        EXPECT_TRUE(std::isnan(actual(i, j))) << i << ", " << j;
      } else {
        EXPECT_NEAR(actual(i, j), expected(i, j), tolerance * (1 + std::abs(expected(i, j))))
            << i << ", " << j;
      }
    }
  }
}

/// Keeps standard output away, also when an error ends the run.
struct quiet_output {
  quiet_output() { testing::internal::CaptureStdout(); }
  ~quiet_output() { testing::internal::GetCapturedStdout(); }
};

/// Twelve rows in three clusters, y and v incomplete.
struct ResultFiles : CommandFile {
  void SetUp() override {
    CommandFile::SetUp();
    write("d.csv",
          "g,y,x,v\n1,2.5,1,0\n2,NA,2,NA\n3,4,4,1\n1,3.1,2,2\n2,5.2,5,3\n3,NA,3,1\n"
          "1,2.2,1,0\n2,4.1,4,2\n3,3.3,2,5\n1,NA,6,1\n2,6.4,6,2\n3,5.5,5,3\n");
  }

  /// Runs the command file and writes its files.
  void run(const std::string& commands) {
    use_one_blas_thread();
    input = read("DATA: d.csv; SEED: 41; MISSING: NA; OPTIONS: prior1; " + commands);
    const quiet_output quiet;
    prepared = std::make_unique<analysis>(prepare(*input));
    group = std::make_unique<chain_group<sem::Mcmc>>(build_chains(*input, *prepared));
    input->dataNames =
        group->front().estimator().dataNames(prepared->vars, prepared->models, false, false, false);
    group->exec();
    write_result_files(*input, *group, *prepared);
  }

  /// The estimator of a chain, as it is before its first scan.
  std::unique_ptr<sem::Mcmc> fresh_estimator(const chain_info& info) const {
    Random rng(input->seed, info.id);
    rng.disperse(info.dispersion);
    auto mcmc =
        std::make_unique<sem::Mcmc>(prepared->vars, prepared->data, rng, input->xprior, input->ICCcutoff);
    mcmc->addOutcomes(prepared->vars, prepared->models,
                      sem::priors{input->prior_resvar, input->prior_raneff});
    return mcmc;
  }

  std::unique_ptr<InputFile> input;
  std::unique_ptr<analysis> prepared;
  std::unique_ptr<chain_group<sem::Mcmc>> group;
};

const std::string two_level = "CLUSTERID: g; MODEL: y ~ x; CHAINS: 2 processors 1; BURN: 8; ITER: 10; ";

TEST_F(ResultFiles, DrawsAreTheParametersAfterEachScan) {
  run(two_level + "SAVE: burn = b*.csv, iterations = it.csv; OPTIONS: scientific norandomstarts;");
  const arma::Mat<double> all = numbers("it.csv");
  ASSERT_EQ(all.n_rows, 10u);
  for (arma::uword c : {0u, 1u}) {
    chain_info info;
    info.id = static_cast<std::uint32_t>(c + 1);
    const auto mcmc = fresh_estimator(info);
    const arma::Mat<double> burn = numbers("b" + std::to_string(c + 1) + ".csv");
    ASSERT_EQ(burn.n_rows, 8u);
    for (arma::uword t = 0; t < burn.n_rows; ++t) {
      mcmc->oneRep();
      expect_same(burn.row(t), mcmc->getParams().t(), 1e-10);
    }
    for (arma::uword t = 5 * c; t < 5 * c + 5; ++t) {
      mcmc->oneRep();
      EXPECT_EQ(all(t, 0), c + 1.0);
      expect_same(all(t, arma::span(1, all.n_cols - 1)), mcmc->getParams().t(), 1e-10);
    }
  }
}

TEST_F(ResultFiles, AveragesAreThoseOfTheImputations) {
  run(two_level +
      "NIMPS: 10; SAVE: stacked = st.csv, avgimp = a.csv, varimp = v.csv; OPTIONS: scientific savevarnames;");
  const arma::Mat<double> stacked = numbers("st.csv", true);
  ASSERT_EQ(stacked.n_rows, 120u);
  arma::Mat<double> mean(12, 4, arma::fill::zeros), squares(12, 4, arma::fill::zeros);
  for (arma::uword m = 0; m < 10; ++m) {
    EXPECT_EQ(stacked(12 * m, 0), m + 1.0);
    mean += stacked.submat(12 * m, 1, 12 * m + 11, 4) / 10;
  }
  for (arma::uword m = 0; m < 10; ++m) {
    squares += arma::square(stacked.submat(12 * m, 1, 12 * m + 11, 4) - mean) / 9;
  }
  expect_same(numbers("a.csv", true), mean, 1e-9);
  expect_same(numbers("v.csv", true), squares, 1e-9);
  EXPECT_GT(squares(1, 1), 0.0);
  EXPECT_EQ(squares(0, 1), 0.0);
  EXPECT_TRUE(std::isnan(mean(1, 3))) << "no equation imputes v";
}

TEST_F(ResultFiles, ImputationsFillTheOutcomeAndNothingElse) {
  run(two_level + "NIMPS: 2; SAVE: stacked0 = st.csv, separate = s*.csv;");
  const arma::Mat<double> stacked = numbers("st.csv", true);
  ASSERT_EQ(stacked.n_rows, 36u);
  const arma::Mat<double> raw = numbers("d.csv", true);
  expect_same(stacked.submat(0, 1, 11, 4), raw, 0);
  for (arma::uword m : {1u, 2u}) {
    const arma::Mat<double> set = stacked.submat(12 * m, 1, 12 * m + 11, 4);
    expect_same(numbers("s" + std::to_string(m) + ".csv", true), set, 0);
    for (arma::uword i = 0; i < 12; ++i) {
      EXPECT_TRUE(std::isfinite(set(i, 1)));
      if (std::isfinite(raw(i, 1))) {
        EXPECT_EQ(set(i, 1), raw(i, 1));
      }
    }
    arma::Mat<double> rest = set, expected = raw;
    rest.shed_col(1);
    expected.shed_col(1);
    expect_same(rest, expected, 0);
  }
}

TEST_F(ResultFiles, FixedAndCentredVariablesAreSavedAsTheyWere) {
  for (const char* center : {"CGM x", "CWC x"}) {
    run("CLUSTERID: g; CENTER: " + std::string(center) +
        "; FIXED: x; MODEL: y ~ x; CHAINS: 1; BURN: 4; ITER: 4; NIMPS: 1; SAVE: stacked0 = st.csv, avgimp = "
        "a.csv;");
    EXPECT_NE(prepared->data(0, 2), 1.0) << "x is centred inside";
    std::ifstream in("st.csv");
    std::string line;
    for (int i = 0; i < 14; ++i) std::getline(in, line);
    EXPECT_EQ(line, "1,1,2.5000,1,0");
    expect_same(arma::Mat<double>(numbers("a.csv", true).col(2)),
                arma::Mat<double>(numbers("d.csv", true).col(2)), 0);
  }
}

TEST_F(ResultFiles, StartsAreTheLastDrawOfEachChain) {
  run(two_level + "SAVE: starts = s.csv, iterations = it.csv;");
  const arma::Mat<double> starts = numbers("s.csv");
  ASSERT_EQ(starts.n_rows, 4u);  // the variance of intercepts, the residual variance, two coefficients
  ASSERT_EQ(starts.n_cols, 2u);
  const Summary draws = group->iterations();
  for (arma::uword c : {0u, 1u}) {
    for (arma::uword k = 0; k < 4; ++k) EXPECT_NEAR(starts(k, c), draws.chains()[c](k, 4), 1e-8);
  }
}

TEST_F(ResultFiles, TracesHoldTheBurnInByParameter) {
  run(two_level + "ITER: 24; OUTPUT: mean;");
  std::filesystem::create_directory("traces");
  group->saveTraces("traces", prepared->vars, prepared->models);
  const Summary burn = group->burn();
  ASSERT_EQ(burn.n_rows(), 8u);
  for (arma::uword k = 0; k < burn.n_rows(); ++k) {
    const arma::Mat<double> trace = numbers("traces/burn" + std::to_string(k + 1) + ".csv");
    ASSERT_EQ(trace.n_rows, 12u) << "the longer phase";
    ASSERT_EQ(trace.n_cols, 3u);
    for (arma::uword t = 0; t < 12; ++t) {
      EXPECT_EQ(trace(t, 0), t + 1.0);
      for (arma::uword c : {0u, 1u}) {
        if (t < 8) {
          EXPECT_NEAR(trace(t, c + 1), burn.chains()[c](k, t), 1e-8);
        } else {
          EXPECT_TRUE(std::isnan(trace(t, c + 1)));
        }
      }
    }
  }
  EXPECT_FALSE(std::filesystem::exists("traces/burn9.csv"));
  EXPECT_TRUE(std::filesystem::exists("traces/labels.dat"));
  group->saveTraces("no/such/folder", prepared->vars, prepared->models);
  ASSERT_EQ(file_set::failures().size(), 9u);
  EXPECT_EQ(file_set::failures().back(), (unwritten_file{"no/such/folder/labels.dat", ENOENT}));
  file_set::failures().clear();
}

TEST_F(ResultFiles, LabelsNameEveryRowOfTheDraws) {
  run("CLUSTERID: g; MODEL: y ~ x | x; CHAINS: 1; BURN: 4; ITER: 4; OPTIONS: prior1; SAVE: labelfile = "
      "l.dat;");
  std::ifstream in("l.dat");
  std::ostringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str(),
            "\"latent\" \"latent\" \"latent\" 0\n"
            "\"y\" \"Variance\" \"L2 : Var( (i))\" 1\n"
            "\"y\" \"Variance\" \"L2 : Cov((i),x)\" 2\n"
            "\"y\" \"Variance\" \"L2 : Var(x)\" 3\n"
            "\"y\" \"Variance\" \"Residual Var.\" 4\n"
            "\"y\" \"Beta\" \"Intercept\" 5\n"
            "\"y\" \"Beta\" \"x\" 6\n"
            "\"y\" \"Standardized Beta\" \"x\" 7\n"
            "\"y\" \"R2\" \"Coefficients\" 8\n"
            "\"y\" \"R2\" \"Level-2 Random Intercepts\" 9\n"
            "\"y\" \"R2\" \"Level-2 Random Slopes\" 10\n"
            "\"y\" \"R2\" \"Level-1 Residual Variation\" 11\n");
  EXPECT_EQ(group->iterations().n_rows(), 11u);
  group->saveLabelFile("no/such/folder/l.dat", prepared->vars, prepared->models);
  EXPECT_EQ(file_set::failures(), (std::vector{unwritten_file{"no/such/folder/l.dat", ENOENT}}));
  file_set::failures().clear();
}

TEST_F(ResultFiles, WhatIsSwitchedOffLeavesNoFile) {
  run(two_level +
      "OPTIONS: disable_dic disable_corrs; SAVE: likelihood = l.csv, correlations = c.csv, simple = s.csv;");
  for (const char* name : {"l.csv", "c.csv", "s.csv"}) EXPECT_FALSE(std::filesystem::exists(name)) << name;
}

TEST_F(ResultFiles, PsrHasARowForEachCheckPoint) {
  run(two_level + "DEBUG: psr_interval = 4; SAVE: psr = p.csv, likelihood = l.dat;");
  EXPECT_EQ(numbers("p.csv").n_rows, 2u);
  expect_same(numbers("p.csv"), group->burn().psrMatrix(), 1e-3);
  Summary::interval = 100;
  run(two_level + "SAVE: psr = none.csv;");
  EXPECT_EQ(std::filesystem::file_size("none.csv"), 0u);
}

}  // namespace
}  // namespace tovik::tests::result_files_test
