#include <thread>

#include "command_file.hpp"

namespace tovik::tests::check_test {
namespace {

using Check = CommandFile;

TEST_F(Check, SourcesMustBeClear) {
  EXPECT_EQ(read_fault("SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;"), "ERROR: Missing DATA command.");
  EXPECT_EQ(read_fault("SIMULATE: n = 5; BYGROUP: g;"),
            "ERROR: SIMULATE command is not supported with BYGROUP command.");
  EXPECT_EQ(read_fault("SIMULATE: n = 5; DATA: d.csv;"),
            "ERROR: Cannot specify both the DATA command and SIMULATE command.");
  EXPECT_EQ(read_fault("DATA: d.csv; SEED: 1; BURN: 1; ITER: 4;"), "ERROR: Missing MODEL or FCS command.");
  EXPECT_EQ(read_fault("SIMULATE: n = 5;"), "");
  EXPECT_EQ(read_fault("SIMULATE: n = 5; MODEL: y ~ x;"), "ERROR: Missing BURN command.");
  EXPECT_EQ(read_fault("DATA: d.csv; MODEL: y ~ x;"), "ERROR: Missing BURN command.");
  EXPECT_EQ(read_fault("DATA: d.csv; BURN: 1; MODEL: y ~ x;"), "ERROR: Missing SEED command.");
}

TEST_F(Check, ImputationsNeedAPath) {
  const char* text =
      "ERROR: Missing file path for imputations.\n"
      "       Need to specify the SAVE or OUTFILE command.";
  EXPECT_EQ(add_fault("NIMPS: 5;"), text);
  EXPECT_EQ(add_fault("NIMPS: 5; SAVE: burn = b.csv;"), text);
  for (const char* key : {"stacked", "stacked0", "separate", "avgimp", "varimp", "dataset"}) {
    EXPECT_EQ(add_fault("NIMPS: 5; SAVE: " + std::string(key) + " = o*.csv;"), "") << key;
  }
}

struct Length {
  const char* commands;
  unsigned iterations;
};

TEST_F(Check, IterationsFollowFromThinAndImputations) {
  const Length cases[] = {{"NIMPS: 20;", 20},
                          {"NIMPS: 20; THIN: 100;", 2000},
                          {"ITERATIONS: 1000; NIMPS: 20; THIN: 10;", 1000},
                          {"ITERATIONS: 1000;", 1000},
                          {"ITERATIONS: 1000; THIN: 10;", 1000}};
  for (const Length& c : cases) {
    const auto in =
        read("DATA: d.csv; SEED: 1; BURN: 1; OUTFILE: o.csv; MODEL: y ~ x;" + std::string(c.commands));
    EXPECT_EQ(in->iterations, c.iterations) << c.commands;
  }
  const auto at = [&](const std::string& more) {
    return read_fault("DATA: d.csv; SEED: 1; BURN: 1; OUTFILE: o.csv; MODEL: y ~ x;" + more);
  };
  EXPECT_EQ(at("THIN: 5;"),
            "ERROR: Missing ITERATIONS command. Either ITERATIONS command or\n"
            "       both NIMPS and THIN must be specified.");
  EXPECT_EQ(at(""),
            "ERROR: Cannot specify ITERATIONS command, THIN command, and NIMPS command.\n"
            "       Please specify only two of these commands.");
  EXPECT_EQ(at("NIMPS: 100000; THIN: 100000;"), "ERROR: ITERATIONS is not a positive integer.");
}

TEST_F(Check, EveryChainNeedsAnIteration) {
  const auto in = add("CHAINS: 8; ITERATIONS: 3;");
  EXPECT_EQ(in->iterations, 8u);
  EXPECT_EQ(warnings(), (Names{"WARNING: Setting number of iterations to 8.\n"
                               "         to match number of chains requested."}));
}

TEST_F(Check, EveryImputationNeedsAnIteration) {
  const auto in = add("NIMPS: 30; SAVE: stacked = s.csv;");
  EXPECT_EQ(in->iterations, 30u);
  EXPECT_EQ(warnings(), (Names{"WARNING: Setting number of iterations to 30.\n"
                               "         to match number of imputations requested."}));
  for (const chain_info& info : in->chainInfo()) EXPECT_EQ(info.iterations, info.imputations.size());
  warning::buffer.clear();
  EXPECT_EQ(add("CHAINS: 40; NIMPS: 30; SAVE: stacked = s.csv;")->iterations, 40u);
  EXPECT_EQ(warnings(), (Names{"WARNING: Setting number of iterations to 30.\n"
                               "         to match number of imputations requested.",
                               "WARNING: Setting number of iterations to 40.\n"
                               "         to match number of chains requested."}));
  warning::buffer.clear();
  EXPECT_EQ(add("NIMPS: 20; SAVE: stacked = s.csv;")->iterations, 20u);
  EXPECT_TRUE(warnings().empty());
  EXPECT_EQ(add_fault("NIMPS: 1000001; SAVE: stacked = s.csv;"),
            "ERROR: Number of imputations requested is too large.");
}

TEST_F(Check, HeterogeneityNeedsTwoLevels) {
  EXPECT_FALSE(add("OPTIONS: hev;")->hev);
  EXPECT_FALSE(add("CLUSTERID: z x; OPTIONS: hev;")->hev);
  EXPECT_FALSE(add("CLUSTERID: z; WEIGHTS: w; OPTIONS: hev;")->hev);
  EXPECT_EQ(warnings(),
            (Names{"WARNING: Ignoring heterogeneous residual variance in OPTIONS command.\n"
                   "         Estimating a single-level model.",
                   "WARNING: Heterogeneous residual variance is only available in two-level models.\n"
                   "         Implementing homogenous residual variance.",
                   "WARNING: Ignoring heterogeneous residual variance in OPTIONS command.\n"
                   "         It is not available with sampling weights."}));
  EXPECT_TRUE(add("CLUSTERID: z; OPTIONS: hev;")->hev);
}

TEST_F(Check, HeterogeneityOfFcsNeedsObservedClusterMeans) {
  const std::string commands = "DATA: d.csv; SEED: 1; BURN: 1; ITER: 4; FCS: x y; CLUSTERID: z; OPTIONS: hev";
  EXPECT_TRUE(read(commands + " manifest;")->hev);
  EXPECT_TRUE(warnings().empty());
  EXPECT_FALSE(read(commands + ";")->hev);
  EXPECT_EQ(warnings(),
            (Names{"WARNING: Ignoring heterogeneous residual variance in OPTIONS command.\n"
                   "         With the FCS command it takes 'OPTIONS: manifest;' or 'OPTIONS: noclmean;'."}));
}

TEST_F(Check, ProcessorsAreThoseOfTheMachine) {
  const unsigned n = std::max(1u, std::thread::hardware_concurrency());
  EXPECT_EQ(add("")->processors, n);
  EXPECT_EQ(add("CHAINS: 2 processors 1;")->processors, 1u);
  EXPECT_TRUE(warnings().empty());
  EXPECT_EQ(add("CHAINS: 2 processors 100000;")->processors, n);
  const std::string number = std::to_string(n);
  EXPECT_EQ(warnings(), (Names{"WARNING: Maximum number of processors allowed is " + number +
                               ".\n         This is based on your hardware specifications.\n"
                               "         Setting the processors to " +
                               number + "."}));
}

TEST_F(Check, GroupsAreNotCategories) {
  EXPECT_EQ(add_fault("BYGROUP: g; ORDINAL: a G;"), "ERROR: BYGROUP variable is in ORDINAL command.\n");
  EXPECT_EQ(add_fault("BYGROUP: g; NOMINAL: g(1);"), "ERROR: BYGROUP variable is in NOMINAL command.\n");
  EXPECT_EQ(add_fault("BYGROUP: g; COUNT: g;"), "ERROR: BYGROUP variable is in COUNT command.\n");
}

TEST_F(Check, MethodsMustFitTheCommands) {
  const std::string fcs = "FCS: y x;";
  EXPECT_EQ(add_fault("OPTIONS: manifest;"),
            "ERROR: MODEL Command is no longer supported for noclmean/manifest.\n"
            "       Please use Tovik Version 2.2.2 for this or contact support.");
  EXPECT_EQ(add_fault("OPTIONS: manifest; FIXED: x;", fcs),
            "ERROR: The FIXED command is only available for the latent means framework.\n"
            "       Use the keyword \"latent\" on the OPTIONS command to specify this framework.");
  EXPECT_EQ(add_fault("OPTIONS: nomean; CENTER: x;", fcs),
            "ERROR: The CENTERING command is only available for the latent means framework.\n"
            "       Use the keyword \"latent\" on the OPTIONS command to specify this framework.");
  EXPECT_EQ(add_fault("SIMPLE: x | z;", fcs),
            "ERROR: The SIMPLE command is not available with the FCS command.\n"
            "       Use the MODEL command to specify model-based imputation.");
  EXPECT_EQ(add_fault("WALDTEST: a = 0;", fcs),
            "ERROR: The WALDTEST command is not available with the FCS command.\n"
            "       Use the MODEL command to specify model-based imputation.");
  EXPECT_EQ(add_fault("CENTER: CWC = x;"),
            "ERROR: Cannot perform cluster-wise centering (CWC) in a single-level model.");
  EXPECT_EQ(add_fault("OPTIONS: manifest savelatent;", fcs),
            "ERROR: Latent saving requsted, but manifest framework specified.\n"
            "       Add the 'latent' keyword to options line.");
  EXPECT_EQ(add_fault("OPTIONS: savepred;", fcs),
            "ERROR: Predicted score saving requsted, but no model is specified.\n"
            "       Use the MODEL command to specify model-based imputation.");
  EXPECT_EQ(add_fault("OPTIONS: saveresid;", fcs),
            "ERROR: Residual score saving requsted, but no model is specified.\n"
            "       Use the MODEL command to specify model-based imputation.");
  EXPECT_EQ(add_fault("OPTIONS: manifest; RANDOMEFFECT: r = y | x;", fcs),
            "ERROR: Cannot specify RANDOMEFFECT command with FCS command.\n");
}

TEST_F(Check, PredictorPriorIsForLatentMeans) {
  EXPECT_EQ(add("OPTIONS: manifest xprior2;", "FCS: y x;")->xprior, -1);
  EXPECT_EQ(warnings(),
            (Names{"WARNING: Ignoring keyword \"xprior2\". This command is for latent means only."}));
}

TEST_F(Check, NamesOfTheLanguageAreTaken) {
  const std::pair<std::string, std::string> names[] = {
      {"Intercept", "ERROR: Cannot have variable name 'Intercept'. This is reserved for intercept."},
      {"1", "ERROR: Cannot have variable name '1'. This is reserved for specifying no intercept."},
      {"log", "ERROR: Cannot have variable name 'log' This is a tovik syntax function."},
      {"_pi", "ERROR: Cannot have variable name '_pi' This is a tovik syntax defined constant."},
      {"a+b", "ERROR: Variables cannot contain the character '+'.\n       See variable 'a+b'"},
      {"a|b", "ERROR: Variables cannot contain the character '|'.\n       See variable 'a|b'"},
      {"a~b", "ERROR: Variables cannot contain the character '~'.\n       See variable 'a~b'"}};
  for (const char* command : {"VARIABLES", "CLUSTERID", "BYGROUP", "ORDINAL", "NOMINAL", "COUNT", "FIXED",
                              "CENTER", "WEIGHTS", "LATENT", "PHANTOM"}) {
    for (const auto& [name, text] : names) {
      EXPECT_EQ(add_fault(std::string(command) + ": " + name), text) << command;
    }
  }
  for (const auto& [name, text] : names) EXPECT_EQ(add_fault("FCS: " + name), text);
  EXPECT_EQ(add_fault("CENTER: log.mean"),
            "ERROR: Cannot have variable name 'log' This is a tovik syntax function.");
  EXPECT_EQ(add_fault("CENTER: x.mean"), "");
  EXPECT_EQ(add_fault("VARIABLES: a b A"), "ERROR: Variable name 'A' is used more than once.");
  EXPECT_EQ(add_fault("CLUSTERID: z Z"), "ERROR: Variable name 'Z' is used more than once.");
}

TEST_F(Check, InvalidCharactersAreTwenty) {
  ASSERT_EQ(InputFile::invalid_strings.size(), 20u);
  for (const std::string& c : InputFile::invalid_strings) {
    // Ranges and dashes have a meaning of their own before the check.
    if (c == "@" || c == "%" || c == "(" || c == ")" || c.size() > 1) continue;
    EXPECT_NE(add_fault("ORDINAL: a" + c + "b").find("cannot contain the character '" + c + "'"),
              std::string::npos);
  }
}

TEST_F(Check, WeightsAndIdentifiersMustAgree) {
  EXPECT_EQ(add_fault("CENTER: x; WEIGHTS: u w;"),
            "ERROR: The CENTER command is not supported with sampling weights.\n"
            "       You must manually specify centering directly in the\n"
            "       MODEL command. See User Guide for examples.");
  EXPECT_EQ(add_fault("CENTER: x; WEIGHTS: u;"), "");
  EXPECT_EQ(add_fault("CLUSTERID: x z; WEIGHTS: u;"),
            "ERROR: Sampling weights are unavailable for three-level models.");
  EXPECT_EQ(add_fault("CLUSTERID: x; WEIGHTS: X;"),
            "ERROR: A variable (X) is listed as an identifier variable and as a sampling weight.");
  EXPECT_EQ(add_fault("CLUSTERID: x z y;"),
            "ERROR: Only single-level, two-level, and three-level models are supported.");
}

TEST_F(Check, CorrelationsNeedModels) {
  add("");
  EXPECT_TRUE(chain_info::compute_corrs);
  add("", "FCS: y x;");
  EXPECT_FALSE(chain_info::compute_corrs);
}

}  // namespace
}  // namespace tovik::tests::check_test
