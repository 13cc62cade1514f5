#include <chrono>

#include "command_file.hpp"

namespace tovik::tests::bad_input_test {
namespace {

using BadInput = CommandFile;

/// Repeats a piece of text until it fills `size` bytes.
std::string fill(const std::string& piece, std::size_t size) {
  std::string out;
  out.reserve(size + piece.size());
  while (out.size() < size) out += piece;
  return out;
}

/// Different names between blanks.
std::string many_names(std::size_t n, const std::string& separator = " ") {
  std::string out;
  for (std::size_t i = 0; i < n; ++i) out += "v" + std::to_string(i) + separator;
  return out;
}

constexpr std::size_t megabyte = 1u << 20;

TEST_F(BadInput, StatementsOfAMegabyteAreReadInEveryCommand) {
  const std::string names = many_names(150000);
  for (const char* command :
       {"DATA",    "VARIABLES",  "MISSING", "BYGROUP",      "SEED",      "BURN",      "THIN",
        "ITER",    "NIMPS",      "LATENT",  "PHANTOM",      "CLUSTERID", "ORDINAL",   "NOMINAL",
        "COUNT",   "FIXED",      "FCS",     "CENTER",       "COMPUTE",   "TRANSFORM", "CHAINS",
        "OPTIONS", "SAVE",       "SIMPLE",  "WALDTEST",     "WEIGHTS",   "PLOT",      "OUTFILE",
        "DEBUG",   "PARAMETERS", "MODEL",   "RANDOMEFFECT", "OUTPUT",    "SIMULATE"}) {
    const auto start = std::chrono::steady_clock::now();
    const std::string one = std::string(command) + ": " + names + ";";
    const std::string many = std::string(command) + ": " + many_names(150000, "; ");
    const std::string pieces = std::string(command) + ": " + many_names(150000, " = w, ");
    for (const std::string* text : {&one, &many, &pieces}) {
      fault([&] { read("MODEL: y ~ x; SIMULATE: n = 5;" + *text); });
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    EXPECT_LT(seconds.count(), 60.0) << command;
  }
}

TEST_F(BadInput, NamesOfAMegabyteStayWhole) {
  const std::string name(megabyte, 'x');
  EXPECT_EQ(add("ORDINAL: " + name)->ordinals, (Names{name}));
  EXPECT_EQ(add("LATENT: " + name + " = " + name)->latents.begin()->first, name);
  EXPECT_EQ(add("", "MODEL: " + name + ": y ~ x;")->models.at(0).block, name);
  EXPECT_EQ(add_fault("OPTIONS: " + name),
            "ERROR: Do not recognize keyword \"" + name + "\" in OPTIONS command.");
  EXPECT_EQ(add_fault("SAVE: burn = " + name),
            "ERROR: File \"" + name +
                "\" cannot be created.\n       Please check that the file path is correct in SAVE command."
                "\n       The system says: File name too long.");
}

TEST_F(BadInput, NestedParenthesesAreKept) {
  const std::string open(10000, '(');
  const std::string close(10000, ')');
  const std::string text = "z = " + open + "x1:+:x3" + close;
  const std::string expanded = "z = " + open + "x1+x2+x3" + close;
  EXPECT_EQ(add("TRANSFORM: " + text)->transforms, (Names{" " + expanded}));
  EXPECT_EQ(add("PARAMETERS: " + text)->parameters, (Names{expanded}));
  EXPECT_EQ(add("WALDTEST: " + text)->hypotheses.at(0), (Names{expanded}));
  EXPECT_EQ(add("RANDOMEFFECT: " + text)->randomEffects, (Names{expanded}));
  EXPECT_EQ(add("", "MODEL: " + text)->models.at(0).statement, expanded);
  EXPECT_EQ(read("SIMULATE: n = 5; n: " + text)->simulates.at(1).statement, expanded);
  EXPECT_EQ(add("", "MODEL: y ~ " + open + "x1:x3")->models.at(0).statement, "y ~ " + open + "x1:x3");
}

TEST_F(BadInput, NamesInUtf8KeepTheirBytes) {
  const auto in =
      add("ORDINAL: na\xC3\xAFve \xE5\x90\x8D\xE5\x89\x8D; LATENT: \xCE\xB8 = f\xC3\xA9"
          "1:f\xC3\xA9"
          "3;");
  EXPECT_EQ(in->ordinals, (Names{"na\xC3\xAFve", "\xE5\x90\x8D\xE5\x89\x8D"}));
  EXPECT_EQ(in->latents.begin()->first, "\xCE\xB8");
  EXPECT_EQ(in->latents.begin()->second, (Names{"f\xC3\xA9"
                                                "1",
                                                "f\xC3\xA9"
                                                "2",
                                                "f\xC3\xA9"
                                                "3"}));
  // Bytes that are no text at all.
  EXPECT_EQ(add("ORDINAL: \xFF\xFE\x80")->ordinals, (Names{"\xFF\xFE\x80"}));
}

TEST_F(BadInput, NullBytesAreTextLikeAnyOther) {
  const std::string name = std::string("a\0b", 3);
  EXPECT_EQ(add("ORDINAL: " + name)->ordinals, (Names{name}));
}

TEST_F(BadInput, NumbersBeyondTheirRangeHaveTheCommandsOwnText) {
  for (const char* value : {"1e400", "-1e400", "1e-400", "inf", "nan", "4294967296", "99999999999999999999",
                            "+5", "5.", "0x5", "5e0"}) {
    const std::string v = value;
    const std::pair<const char*, const char*> commands[] = {{"SEED: ", "SEED"},
                                                            {"BURN: ", "BURN"},
                                                            {"THIN: ", "THIN"},
                                                            {"ITERATIONS: ", "ITERATIONS"},
                                                            {"NIMPS: ", "NIMPS"},
                                                            {"CHAINS: ", "CHAINS"},
                                                            {"CHAINS: threads ", "processors"}};
    for (const auto& [command, name] : commands) {
      EXPECT_EQ(read_fault(command + v), "ERROR: " + std::string(name) + " is not a positive integer.");
    }
  }
}

TEST_F(BadInput, TheLargestCountMeansNotSet) {
  const auto at = [&](const std::string& commands) {
    return read_fault("DATA: d.csv; MODEL: y ~ x; OUTFILE: o.csv;" + commands);
  };
  EXPECT_EQ(at("SEED: 1; BURN: 4294967295; ITER: 4;"), "ERROR: Missing BURN command.");
  EXPECT_EQ(at("SEED: 4294967295; BURN: 1; ITER: 4;"), "ERROR: Missing SEED command.");
  EXPECT_EQ(at("SEED: 4294967294; BURN: 4294967294; ITER: 4294967294;"), "");
  EXPECT_EQ(at("SEED: 1; BURN: 1; ITER: 4294967295; THIN: 4294967295; NIMPS: 5;"), "");
}

TEST_F(BadInput, ZeroCountsAreReadAndChainsGetTheirIteration) {
  const auto in = add("BURN: 0; ITER: 0; THIN: 0; NIMPS: 0; SEED: 0; OUTFILE: o.csv; CHAINS: 3;");
  EXPECT_EQ(in->burn, 0u);
  EXPECT_EQ(in->thin, 0u);
  EXPECT_EQ(in->nimps, 0u);
  EXPECT_EQ(in->iterations, 3u);
  const auto product =
      read("DATA: d.csv; SEED: 0; BURN: 0; NIMPS: 20; THIN: 0; OUTFILE: o.csv; MODEL: y ~ x;");
  EXPECT_EQ(product->seed, 0u);
  EXPECT_EQ(product->iterations, 20u);
  ASSERT_NE(product->rng, nullptr);
}

TEST_F(BadInput, MoreChainsOrImputationsThanARunCanHold) {
  EXPECT_EQ(add_fault("CHAINS: 4294967295;"), "ERROR: Number of chains requested is too large.");
  EXPECT_EQ(add_fault("CHAINS: 1000001;"), "ERROR: Number of chains requested is too large.");
  EXPECT_EQ(add("CHAINS: 1000000;")->iterations, 1000000u);
  const char* text = "ERROR: Number of imputations requested is too large.";
  EXPECT_EQ(add_fault("NIMPS: 1000001; SAVE: separate = i*.csv;"), text);
  EXPECT_EQ(add_fault("NIMPS: 4294967294; OUTFILE: o.csv;"), text);
  EXPECT_EQ(read_fault("DATA: d.csv; SEED: 1; BURN: 1; NIMPS: 2000000; OUTFILE: o.csv; MODEL: y ~ x;"), text);
}

TEST_F(BadInput, RangesOfAMillionNamesAreMadeAndLongerOnesRefused) {
  const auto start = std::chrono::steady_clock::now();
  const auto in = add("", "MODEL: y ~ x1:x1000000;");
  EXPECT_EQ(std::count(in->models.at(0).statement.begin(), in->models.at(0).statement.end(), ' '), 1000001);
  const std::string text =
      "ERROR: Unable to expand syntax. The prefix/suffix for \n       'x1' and 'x4294967295' do not match.";
  for (const char* command : {"VARIABLES: ", "LATENT: ", "CENTER: ", "TRANSFORM: ", "PARAMETERS: ",
                              "WALDTEST: ", "RANDOMEFFECT: ", "NOMINAL: "}) {
    EXPECT_EQ(add_fault(std::string(command) + "x1:x4294967295"), text) << command;
    EXPECT_EQ(add_fault(std::string(command) + "x1:+:x4294967295"), text) << command;
  }
  EXPECT_EQ(add_fault("", "MODEL: y ~ x1:x4294967295;"), text);
  EXPECT_EQ(read_fault("SIMULATE: n = 5; n: x1:x4294967295 = 1;"), text);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_LT(seconds.count(), 60.0);
}

TEST_F(BadInput, RangesInOneStatementShareOneLimit) {
  EXPECT_NE(add_fault("", "MODEL: y ~ " + fill("x1:x900000 ", 200)), "");
  EXPECT_NE(add_fault("ORDINAL: " + fill("x1:x900000 ", 200)), "");
  EXPECT_NE(add_fault("", "MODEL: y ~ x1:x1000000@" + std::string(1000, 'b')), "");
}

}  // namespace
}  // namespace tovik::tests::bad_input_test
