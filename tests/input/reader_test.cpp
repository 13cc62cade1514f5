#include <cmath>

#include "command_file.hpp"
#include "input/commands.hpp"

namespace tovik::tests::reader_test {
namespace {

using Reader = CommandFile;

TEST(CommandWords, HaveTheirCodes) {
  const struct {
    int code;
    std::vector<std::string> words;
  } table[] = {{1, {"data:"}},
               {2, {"variables:"}},
               {3, {"missing:", "misind:"}},
               {4, {"bygroup:"}},
               {5, {"seed:"}},
               {6, {"burn:"}},
               {7, {"thin:"}},
               {8, {"iter:", "niter:", "iterations:", "niterations:"}},
               {9, {"nimps:", "nimp:"}},
               {10, {"factors:", "factor:", "latent:"}},
               {11, {"phantom:", "phantoms:"}},
               {12, {"clusterid:"}},
               {13, {"ordinal:"}},
               {14, {"nominal:"}},
               {15, {"count:"}},
               {16, {"fixed:"}},
               {17, {"fcs:"}},
               {18, {"centering:", "center:"}},
               {19, {"compute:"}},
               {20, {"transform:"}},
               {21, {"chains:", "chain:"}},
               {22, {"options:"}},
               {23, {"save:"}},
               {24, {"simple:", "simpleeffects:"}},
               {25, {"waldtest:", "test:"}},
               {26, {"weights:", "weight:"}},
               {27, {"plot:", "plots:"}},
               {28, {"outfile:"}},
               {29, {"DEBUG:", "debug:"}},
               {30, {"parameter:", "parameters:"}},
               {31, {"model:"}},
               {32, {"randomeffect:", "randeff:"}},
               {33, {"output:"}},
               {34, {"simulate:"}},
               {35, {"starts:"}}};
  for (const auto& row : table) {
    for (const std::string& word : row.words) {
      EXPECT_EQ(parseTovikCommand(word), row.code) << word;
      std::string upper = word;
      for (char& c : upper) c = static_cast<char>(std::toupper(c));
      EXPECT_EQ(parseTovikCommand(upper), row.code) << upper;
      EXPECT_EQ(parseTovikCommand(word.substr(0, word.size() - 1)), 0) << word;
      EXPECT_EQ(parseTovikCommand(word + "x"), 0) << word;
    }
  }
  for (const char* word : {"", ":", "dat:", "x:"}) EXPECT_EQ(parseTovikCommand(word), 0);
}

TEST_F(Reader, ReadsNamesAndNumbers) {
  const auto in = read(
      "data: d.csv;\n"
      "VARIABLES: y x  # the rest; is comment\n z;  w1:w3; ; \n"
      "ClusterID: g1:g2; ORDINAL: o; FCS: y;\n"
      "NOMINAL: a(3) b1:b2 c(-1.5);"
      "SEED: 7 8; BURN: 5 9; THIN: 3 1; NITER: 40 1; CHAINS: 4 processors 1; MISSING: -999;"
      "TEST: b = 0;MODEL: y ~ x;"
      "RANDEFF: r = y | x;");
  EXPECT_EQ(in->data_file, "d.csv");
  EXPECT_EQ(in->variableNames, (Names{"y", "x", "z", "w1", "w2", "w3"}));
  EXPECT_EQ(in->clusterIds, (Names{"g1", "g2"}));
  EXPECT_EQ(in->seed, 7u);
  EXPECT_EQ(in->burn, 5u);
  EXPECT_EQ(in->thin, 3u);
  EXPECT_EQ(in->iterations, 40u);
  EXPECT_EQ(in->chains, 4u);
  EXPECT_EQ(in->processors, 1u);
  EXPECT_EQ(in->missingValue, -999.0);
  EXPECT_TRUE(in->missingCode.empty());
  EXPECT_EQ(in->randomEffects, (Names{"r = y | x"}));
  ASSERT_NE(in->rng, nullptr);
  EXPECT_EQ(in->rng->output(), Random(7u, 0u).output());
}

TEST_F(Reader, RefusesCountsWithFcs) {
  EXPECT_EQ(add_fault("COUNT: x; FCS: y;"), "ERROR: Count variables are not allowed with FCS command.");
}

TEST_F(Reader, KeepsListsInOrder) {
  const auto in =
      add("ORDINAL: o2 o1; COUNT: k1:k2; NOMINAL: a(3) b1:b2 c(-1.5); FIXED: x z; WEIGHTS: u1:u2");
  EXPECT_EQ(in->ordinals, (Names{"o2", "o1"}));
  EXPECT_EQ(in->counts, (Names{"k1", "k2"}));
  EXPECT_EQ(in->weights, (Names{"u1", "u2"}));
  EXPECT_EQ(in->fixed, (Names{"x", "z"}));
  ASSERT_EQ(in->nominals.size(), 4u);
  EXPECT_EQ(in->nominals[0].name, "a");
  EXPECT_EQ(in->nominals[0].reference, 3.0);
  EXPECT_EQ(in->nominals[2].name, "b2");
  EXPECT_TRUE(std::isnan(in->nominals[2].reference));
  EXPECT_EQ(in->nominals[3].reference, -1.5);
}

TEST_F(Reader, ReportsUnreadableReferences) {
  EXPECT_EQ(add_fault("NOMINAL: a(b)"),
            "ERROR: Not a numeric value = b\n       See 'a(b)' in the NOMINAL command.");
  EXPECT_EQ(add_fault("NOMINAL: a("),
            "ERROR: Not a numeric value = a(\n       See 'a(' in the NOMINAL command.");
  EXPECT_EQ(add_fault("NOMINAL: a(1"),
            "ERROR: Not a numeric value = a(1\n       See 'a(1' in the NOMINAL command.");
  EXPECT_EQ(add_fault("NOMINAL: (1)"),
            "ERROR: Not a numeric value = (1)\n       See '(1)' in the NOMINAL command.");
  EXPECT_EQ(add_fault("NOMINAL: a)1("),
            "ERROR: Not a numeric value = a)1(\n       See 'a)1(' in the NOMINAL command.");
}

TEST_F(Reader, KnowsDefaults) {
  const auto in = add("");
  EXPECT_EQ(in->chains, 2u);
  EXPECT_EQ(in->tunecheck, 100u);
  EXPECT_EQ(in->ICCcutoff, 0.01);
  EXPECT_EQ(in->startsdispersion, 1.0);
  EXPECT_TRUE(in->undefinedcovariance && in->drop_all_missing && in->randomstarts && in->psr);
  EXPECT_TRUE(in->tuneinfo && in->tune_all);
  EXPECT_FALSE(in->hev || in->scientific || in->mice || in->covariatemodel || in->savelatent ||
               in->saveresid);
  EXPECT_FALSE(in->savepred || in->labels || in->saveVarNames || in->listwise || in->fixed_specified);
  EXPECT_EQ(in->clmean_method, 2);
  EXPECT_EQ(in->prior_resvar, 2);
  EXPECT_EQ(in->prior_raneff, 2);
  EXPECT_EQ(in->xprior, 1);
  EXPECT_TRUE(std::isnan(in->missingValue));
  EXPECT_EQ(in->thin, InputFile::not_set);
  EXPECT_EQ(in->nimps, InputFile::not_set);
  const Names keys = {"burn",       "psr",          "estimates", "accepts",  "labelfile",
                      "iterations", "waldtest",     "simple",    "starts",   "avgimp",
                      "varimp",     "likelihood",   "stacked",   "stacked0", "separate",
                      "dataset",    "correlations", "draws",     "table"};
  Names found;
  for (const auto& [key, path] : in->savePaths) {
    found.push_back(key);
    EXPECT_FALSE(in->isWrite(key));
  }
  EXPECT_EQ(found, keys);
  EXPECT_EQ(fault([&] { in->isWrite("other"); }), "Cannot find key for write path!");
}

TEST_F(Reader, WordsThatOnlyResembleCommandsContinueTheStatement) {
  const auto in = add("ORDINAL: a; ITER 40; SEED: 1; ITER : 50; BURN:30;");
  EXPECT_EQ(in->ordinals, (Names{"a", "ITER", "40"}));
  EXPECT_EQ(in->iterations, 20u);
  EXPECT_EQ(in->burn, 10u);
}

TEST_F(Reader, FirstStatementNeedsACommand) {
  const char* text = "ERROR: Unable to parse first line, no command has been specified yet.";
  EXPECT_EQ(read_fault("hello"), text);
  EXPECT_EQ(read_fault("DATA : d.csv;"), text);
}

TEST_F(Reader, FilesWithoutStatementsLackData) {
  for (const char* commands : {"", "# SEED: 1; DATA: x;\n# y", "\n\n", ";;;", "\xEF\xBB\xBF"}) {
    EXPECT_EQ(read_fault(commands), "ERROR: Missing DATA command.");
  }
}

TEST_F(Reader, ReportsUnreadableFiles) {
  const auto at = [&](const std::string& path) { return fault([&] { InputFile in(path); }); };
  EXPECT_EQ(at("none.imp"), "ERROR: Unable to open syntax file\n        at none.imp");
  EXPECT_EQ(at(""), "ERROR: Unable to open syntax file\n        at ");
  EXPECT_EQ(at(folder_.string()), "ERROR: Unable to open syntax file\n        at " + folder_.string() +
                                      "\n       The system says: Is a directory.");
}

TEST_F(Reader, EntersTheFolderOfTheFile) {
  std::filesystem::create_directory(folder_ / "sub");
  write("sub/d.csv", "y,x\n1,2\n2,3\n");
  write("sub/c.imp", "DATA: d.csv; SEED: 1; BURN: 1; ITER: 5; MODEL: y ~ x;");
  InputFile in("sub/c.imp");
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical(folder_ / "sub"));
  std::filesystem::current_path(folder_);
  EXPECT_NE(fault([] { InputFile none("sub/none.imp"); }), "");
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical(folder_));
}

TEST_F(Reader, ReadsCarriageReturnsBomTabsAndDashes) {
  const auto in = read(
      "\xEF\xBB\xBF"
      "DATA:\td.csv;\r\nSEED: 1;\r\nBURN: 10;\r\nITER: 20;\r\nFIXED:\r\nx;\r\n"
      "MODEL: y ~ (x \xE2\x88\x92 1) (x\xE2\x80\x93 2)\r\n;\r\n");
  EXPECT_EQ(in->data_file, "d.csv");
  EXPECT_EQ(in->fixed, (Names{"x"}));
  EXPECT_EQ(in->models.at(0).statement, "y ~ (x - 1) (x- 2)");
}

TEST_F(Reader, LastStatementNeedsNoEnd) {
  const auto in = read("DATA: d.csv; SEED: 1; BURN: 10; ITER: 20; MODEL: y ~ x");
  EXPECT_EQ(in->models.size(), 1u);
}

TEST_F(Reader, SurvivesNoiseAndLongLines) {
  std::string noise;
  unsigned state = 12345;
  for (int i = 0; i < 20000; ++i) {
    state = state * 1664525u + 1013904223u;
    noise += static_cast<char>(state >> 24);
  }
  EXPECT_NE(read_fault(noise), "");
  EXPECT_NE(read_fault("MODEL: " + noise), "");
  EXPECT_NE(read_fault("SEED: 1;" + std::string(10000000, 'x')), "");
  const auto in = add("ORDINAL: " + std::string(10000000, 'x'));
  EXPECT_EQ(in->ordinals.at(0).size(), 10000000u);
}

TEST_F(Reader, DataStandsOnce) {
  EXPECT_EQ(add_fault("DATA: other.csv;"), "");
  EXPECT_EQ(add("DATA: other.csv;")->data_file, "d.csv");
  EXPECT_EQ(read_fault("DATA: d.csv;\nforgotten words; SEED: 1;"),
            "ERROR: DATA command has already been specified.\n       Problem line: forgotten words");
  write("two words.csv", "y,x\n1,2\n2,3\n");
  EXPECT_EQ(read("DATA: two \n  words.csv; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;")->data_file,
            "two words.csv");
  EXPECT_EQ(read("DATA: ; d.csv; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;")->data_file, "d.csv");
}

TEST_F(Reader, CommandLineDataWin) {
  write("e.csv", "y,x\n1,2\n2,3\n");
  InputFile::dataPath = "e.csv";
  InputFile::globalSeed = 99;
  InputFile::burnPath = "b.csv";
  const auto in = add("SEED: 5; junk; SAVE: burn = other.csv;");
  EXPECT_EQ(in->data_file, "e.csv");
  EXPECT_EQ(in->seed, 99u);
  EXPECT_EQ(in->writePath("burn"), "b.csv");
}

TEST_F(Reader, MissingTakesANumberOrACode) {
  EXPECT_EQ(add("MISSING: -999;")->missingValue, -999.0);
  EXPECT_EQ(add("MISSING: NA;")->missingCode, "NA");
  EXPECT_EQ(add("MISSING: 9x;")->missingCode, "9x");
  EXPECT_EQ(add("MISSING: .;")->missingCode, ".");
  EXPECT_EQ(add("MISIND: 9; MISSING: 8;")->missingValue, 8.0);
  const auto in = add("MISSING: miss; MISSING: 8; MISSING: other;");
  EXPECT_EQ(in->missingCode, "miss");
  EXPECT_TRUE(std::isnan(in->missingValue));
  EXPECT_EQ(add_fault("MISSING: 99 98;"), "ERROR: Non-numeric missing data codes cannot contain spaces.");
}

TEST_F(Reader, OneGroupVariableAtMost) {
  EXPECT_EQ(add("BYGROUP: g;")->byGroup, "g");
  EXPECT_EQ(add("BYGROUP: ;")->byGroup, "");
  const char* text = "ERROR: Currently only one group variable is allowed.";
  EXPECT_EQ(add_fault("BYGROUP: g h;"), text);
  EXPECT_EQ(add_fault("BYGROUP: g; h;"), text);
}

TEST_F(Reader, NumbersMustBePositiveIntegers) {
  for (const char* value : {"x", "-1", "1.5", "4294967296", "1e3"}) {
    const std::string v = value;
    EXPECT_EQ(read_fault("SEED: " + v), "ERROR: SEED is not a positive integer.");
    EXPECT_EQ(read_fault("BURN: " + v), "ERROR: BURN is not a positive integer.");
    EXPECT_EQ(read_fault("THIN: " + v), "ERROR: THIN is not a positive integer.");
    EXPECT_EQ(read_fault("ITER: " + v), "ERROR: ITERATIONS is not a positive integer.");
    EXPECT_EQ(read_fault("NIMPS: " + v), "ERROR: NIMPS is not a positive integer.");
    EXPECT_EQ(read_fault("CHAINS: " + v), "ERROR: CHAINS is not a positive integer.");
    EXPECT_EQ(read_fault("CHAINS: threads " + v), "ERROR: processors is not a positive integer.");
  }
}

TEST_F(Reader, SeedStandsOnce) {
  EXPECT_EQ(read("SEED: 5; junk words; SEED: x; DATA: d.csv; BURN: 1; ITER: 4; MODEL: y ~ x;")->seed, 5u);
}

TEST_F(Reader, BurnSetsThePsrInterval) {
  const std::pair<const char*, unsigned> cases[] = {{"100", 100}, {"101", 5}, {"2000", 100}, {"4010", 200}};
  for (const auto& [burn, interval] : cases) {
    Summary::interval = 100;
    add("BURN: " + std::string(burn));
    EXPECT_EQ(Summary::interval, interval) << burn;
  }
  add("DEBUG: psr_interval = 7; BURN: 2000;");
  EXPECT_EQ(Summary::interval, 100u);
  add("BURN: 2000; DEBUG: psr_interval = 7;");
  EXPECT_EQ(Summary::interval, 7u);
}

TEST_F(Reader, ChainsTakeProcessorsInAnyOrder) {
  for (const char* words :
       {"4 processors 1", "processors 1 4", "Threads 1 4", "4 PROCESS 1", "9; 4 process 1"}) {
    const auto in = add("CHAINS: " + std::string(words));
    EXPECT_EQ(in->chains, 4u) << words;
    EXPECT_EQ(in->processors, 1u) << words;
  }
  EXPECT_EQ(add("CHAINS: 3; ")->chains, 3u);
  EXPECT_EQ(add_fault("CHAINS: processors 0"), "ERROR: processors is not a positive integer.");
  EXPECT_EQ(add_fault("CHAINS: 0"), "ERROR: Number of chains requested are less than one.");
  EXPECT_EQ(add_fault("CHAINS: 4 processors"), "ERROR: processors is not a positive integer.");
}

}  // namespace
}  // namespace tovik::tests::reader_test
