// Runs that continue where others have ended.

#include "app/start_values.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/analysis.hpp"
#include "app/chain_files.hpp"
#include "app/row_names.hpp"
#include "app/run.hpp"
#include "input/command_file.hpp"
#include "support/blas_threads.hpp"

namespace tovik::tests::start_values_test {
namespace {

/// Keeps standard output away, also when an error ends the run.
struct quiet_output {
  quiet_output() { testing::internal::CaptureStdout(); }
  ~quiet_output() { testing::internal::GetCapturedStdout(); }
};

struct StartValues : CommandFile {
  void SetUp() override {
    CommandFile::SetUp();
    const std::filesystem::path source = TOVIK_SOURCE_DIR;
    std::filesystem::copy_file(source / "tests" / "language" / "data" / "students.csv", "students.csv");
    use_one_blas_thread();
  }

  std::unique_ptr<InputFile> students(const std::string& more) const {
    return read(
        "DATA: students.csv; MISSING: NA; CLUSTERID: school; SEED: 5; BURN: 20; ITERATIONS: 20; CHAINS: 2 "
        "processors 1; "
        "DEBUG: allow_tune_fail; " +
        more);
  }

  static void run_quietly(InputFile& input) {
    const quiet_output quiet;
    run_analysis(input, prepare(input));
    warning::buffer.clear();
  }

  /// The parameters with which the chains of a run begin, without thresholds of predictors; one column each.
  static arma::Mat<double> first_states(InputFile& input, std::vector<parameter_name>* names = nullptr) {
    const analysis run = prepare(input);
    arma::Mat<double> out;
    const auto group = build_chains(input, run);
    const sem::Mcmc& front = group.front().estimator();
    const std::vector<parameter_name> all = row_names(front, run.models);
    const std::vector<arma::uword> rows = parameter_draws(run.models, all.size());
    const arma::Col<double> now = front.getParams();
    out = now.elem(arma::Col<arma::uword>(rows));
    if (names != nullptr) {
      for (const arma::uword row : rows) names->push_back(all[row]);
    }
    warning::buffer.clear();
    return out;
  }

  /// Runs the model, starts another run from its end, and compares.
  void expect_continues(const std::string& model) {
    const auto before = students(model + "SAVE: starts = s.csv, draws = d.csv;");
    run_quietly(*before);
    for (const char* file : {"s.csv", "d.csv"}) {
      const auto after = students(model + "STARTS: " + file + ";");
      std::vector<parameter_name> names;
      const arma::Mat<double> state = first_states(*after, &names);
      const arma::Mat<double> ended = read_start_values(file, names, 2);
      ASSERT_EQ(state.n_rows, ended.n_rows);
      for (arma::uword k = 0; k < state.n_rows; ++k) {
        const bool data_decide = names[k].block == "predictors" && names[k].section == "Thresholds";
        if (data_decide) continue;
        EXPECT_NEAR(state(k, 0), ended(k, 0), 1e-8 * std::max(1.0, std::abs(ended(k, 0))))
            << names[k].column << " from " << file << "; " << model;
      }
      run_quietly(*students(model + "STARTS: " + file + ";"));
    }
  }

  std::string refused(const std::string& text, const std::string& model = "MODEL: score ~ funding;") {
    write("s.csv", text);
    const auto input = students(model + "STARTS: s.csv;");
    return fault([&] { first_states(*input); });
  }
};

TEST_F(StartValues, OfRandomEffectsAndIncompletePredictorsAreTheLastDraws) {
  expect_continues("MODEL: score ~ pretest hours | hours;");
}

TEST_F(StartValues, OfCategoriesAreTheLastDraws) {
  expect_continues("ORDINAL: grade passed; MODEL: grade ~ pretest; logit(passed) ~ hours;");
  expect_continues("NOMINAL: program; ORDINAL: grade; MODEL: score ~ program grade;");
}

TEST_F(StartValues, OfLabelsAndComputedParametersAreTheLastDraws) {
  expect_continues("MODEL: score ~ pretest@b hours@b; PARAMETERS: b ~ normal(0, 4); twice = 2 * b;");
}

TEST_F(StartValues, OfBlocksAndFactorsAreTheLastDraws) {
  expect_continues("MODEL: score pretest <-> hours;");
  expect_continues("LATENT: f; MODEL: f -> item1 item2 item3;");
}

TEST_F(StartValues, LeaveWhatTheModelFixes) {
  const auto before = students("MODEL: score ~ funding; SAVE: starts = s.csv;");
  run_quietly(*before);
  const auto after = students("MODEL: score ~ funding@0.25; STARTS: s.csv;");
  std::vector<parameter_name> names;
  const arma::Mat<double> state = first_states(*after, &names);
  ASSERT_EQ(names.back().column, "score ~ funding");
  EXPECT_EQ(state(state.n_rows - 1, 0), 0.25);
}

TEST_F(StartValues, ThatDoNotFitAreRefused) {
  const std::string origin = "\n       It must come from a run of the same model with as many chains.";
  const std::string file = "ERROR: The STARTS file \"s.csv\"";
  EXPECT_EQ(refused("1,2\n3,4\n"),
            file + " has 2 values for each chain,\n       and this model has 4 parameters." + origin);
  EXPECT_EQ(refused("1\n3\n4\n5\n"),
            file + " has the values of 1 chains, and this run has 2 (CHAINS command)." + origin);
  EXPECT_EQ(refused("1,2\n3\n"), file + " has lines of different lengths." + origin);
  EXPECT_EQ(refused("1,2\n3,x\n"), file + " holds \"x\" in the place of a number.");
  EXPECT_EQ(refused("1,2\n3,4\n5,nan\n5,6\n"), file + " has no value for \"score ~ Intercept\" of chain 2.");
  EXPECT_EQ(refused("1,-2\n3,4\n5,6\n5,6\n"), file +
                                                  " has -2 for \"score L2 | Var(Intercept)\" of chain 2,\n"
                                                  "       and a variance must be positive.");
  EXPECT_EQ(refused(".chain,.iteration,.draw,score ~ Intercept\n1,1,1,2\n2,1,2,3\n"),
            file + " has no column \"score L2 | Var(Intercept)\"." + origin);
}

TEST_F(StartValues, ThatAreNoCovarianceMatrixAreRefused) {
  const std::string rows = "1,1\n2,2\n1,1\n3,3\n0,0\n0,0\n";
  EXPECT_EQ(
      refused(rows, "MODEL: score ~ female | female;").rfind("ERROR: The STARTS file \"s.csv\" has ", 0), 0u);
}

TEST_F(StartValues, OfBlocksWithVarianceModelsAreRefused) {
  const std::string model =
      "MODEL: score hours <-> ses; score ~ pretest | 0; hours ~ pretest | 0; ses ~ pretest | 0; var(score) ~ "
      "pretest;";
  const auto before = students(model + "SAVE: starts = s.csv;");
  run_quietly(*before);
  const auto after = students(model + "STARTS: s.csv;");
  EXPECT_EQ(fault([&] { first_states(*after); }),
            "ERROR: Starting values are not supported for correlated outcomes with a variance model.");
}

TEST_F(StartValues, NeedAFileThatIsThere) {
  EXPECT_EQ(fault([&] { students("MODEL: score ~ funding; STARTS: none.csv;"); }),
            "ERROR: File \"none.csv\" cannot be found.\n"
            "       Please check that the file path is correct in STARTS command.");
  EXPECT_EQ(fault([&] { students("OPTIONS: manifest; FCS: score funding; STARTS: none.csv;"); }),
            "ERROR: The STARTS command is not available with observed cluster means, or without any\n"
            "       ('manifest' and 'noclmean' in the OPTIONS command).");
  EXPECT_EQ(fault([&] { students("MODEL: score ~ pretest; BYGROUP: program; STARTS: none.csv;"); }),
            "ERROR: Please place an asterisk (*) in filepath of the STARTS command with BYGROUP command.");
  EXPECT_EQ(fault([&] { students("MODEL: score ~ pretest; STARTS: a; STARTS: b;"); }),
            "ERROR: STARTS command has already been specified.\n       It cannot read both 'a' and 'b'.");
}

}  // namespace
}  // namespace tovik::tests::start_values_test
