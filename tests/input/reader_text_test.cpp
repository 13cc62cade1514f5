#include "command_file.hpp"

namespace tovik::tests::reader_text_test {
namespace {

using ReaderText = CommandFile;

TEST_F(ReaderText, LatentNamesStandUnderTheirLevel) {
  const auto in = add("CLUSTERID: id; LATENT: Id = f1 f2:f3, g1:g2, ID = h , ; PHANTOMS: p1 p2, id = p3:p4;");
  ASSERT_EQ(in->latents.size(), 2u);
  EXPECT_EQ(*in->latents.find("id"), (Names{"f1", "f2", "f3", "h"}));
  EXPECT_EQ(*in->latents.find(""), (Names{"g1", "g2"}));
  EXPECT_EQ(in->latents.begin()->first, "id");
  EXPECT_EQ(in->phantoms.begin()->first, "");
  EXPECT_EQ(*in->phantoms.find(""), (Names{"p1", "p2"}));
  EXPECT_EQ(*in->phantoms.find("id"), (Names{"p3", "p4"}));
  EXPECT_EQ(*add("FACTORS: a; b;")->latents.find(""), (Names{"a", "b"}));
}

TEST_F(ReaderText, FixedNoneEmptiesTheList) {
  const auto in = add("FIXED: x z; FIXED: (None);");
  EXPECT_TRUE(in->fixed_specified);
  EXPECT_TRUE(in->fixed.empty());
  EXPECT_TRUE(add("FIXED: ;")->fixed_specified);
  EXPECT_FALSE(add("")->fixed_specified);
}

TEST_F(ReaderText, CenterSortsNamesByKeyword) {
  const auto in = add("CLUSTERID: id; CENTER: CGM = x1:x2 z.mean, cwc w, grandmean = v, GroupMean u, ;");
  EXPECT_EQ(in->centerGrand, (Names{"x1", "x2", "z.mean", "v"}));
  EXPECT_EQ(in->centerGroup, (Names{"w", "u"}));
  EXPECT_EQ(add("CENTERING: x, z")->centerGrand, (Names{"x", "z"}));
  const char* text = "ERROR: Do not recognize CENTERING command keyword \"x\".";
  EXPECT_EQ(add_fault("CLUSTERID: id; CENTER: x z;"), text);
  EXPECT_EQ(add_fault("CENTER: x z; CLUSTERID: id;"), text);
}

TEST_F(ReaderText, StoresTextOfExpressions) {
  const auto in =
      add("TRANSFORM: a =  x1:+:x2 ; b = 2; PARAMETERS: p1:p2 ~ normal(0, 1); SIMPLE: x | z, m : n; more;"
          "WALDTEST: b1:+:b2 = 0; c = 1; WALDTEST: ; d = 0; WALDTEST: e = 0;");
  EXPECT_EQ(in->transforms, (Names{" a = x1+x2", " b = 2"}));
  EXPECT_EQ(in->parameters, (Names{"p1 p2 ~ normal(0, 1)"}));
  EXPECT_EQ(in->simples, (Names{" x | z, m : n", " more"}));
  EXPECT_EQ(in->hypotheses, (std::vector<Names>{{"b1+b2 = 0", "c = 1"}, {"d = 0"}, {"e = 0"}}));
}

TEST_F(ReaderText, ModelStatementsStandInBlocks) {
  const auto in =
      add("",
          "MODEL: y ~ x; Main: z ~ x1:x2; w ~ y; second : v ~ y; empty:; MODEL: u ~ y; _hidden: t ~ y;"
          "main: s ~ x; MODEL: ; count2: r ~ x; MODEL: data2 : q ~ x;");
  const std::pair<const char*, const char*> expected[] = {
      {"model", "y ~ x"}, {"main", "z ~ x1 x2"}, {"main", "w ~ y"}, {"second", "v ~ y"}, {"empty", ""},
      {"model", "u ~ y"}, {"_hidden", "t ~ y"},  {"main", "s ~ x"}, {"count2", "r ~ x"}, {"data2", "q ~ x"}};
  ASSERT_EQ(in->models.size(), std::size(expected));
  for (std::size_t i = 0; i < in->models.size(); ++i) {
    EXPECT_EQ(in->models[i].block, expected[i].first);
    EXPECT_EQ(in->models[i].statement, expected[i].second);
  }
  EXPECT_EQ(in->blocks.number("model"), 0);
  EXPECT_EQ(in->blocks.number("main"), 1);
  EXPECT_EQ(in->blocks.number("second"), 2);
  EXPECT_EQ(in->blocks.number("empty"), 3);
  EXPECT_EQ(in->blocks.number("count2"), 4);
}

TEST_F(ReaderText, ALabelThatIsACommandWordIsTheCommand) {
  const auto in = add("", "MODEL: y ~ x; count: x;");
  EXPECT_EQ(in->models.size(), 1u);
  EXPECT_EQ(in->counts, (Names{"x"}));
}

TEST_F(ReaderText, SimulateStatementsStandInBlocks) {
  const auto in = read(
      "SIMULATE: n = 100; define: a = 1; N: x1:x2 = normal(mu, 1); mu := 10; more : z = x1:+:x2;"
      "SIMULATE: id(2) = 5;");
  const std::pair<const char*, const char*> expected[] = {
      {"", "n = 100"},       {"define", "a = 1"},   {"n", "x1 x2 = normal(mu, 1)"},
      {"define", "mu = 10"}, {"more", "z = x1+x2"}, {"", "id(2) = 5"}};
  ASSERT_EQ(in->simulates.size(), std::size(expected));
  for (std::size_t i = 0; i < in->simulates.size(); ++i) {
    EXPECT_EQ(in->simulates[i].block, expected[i].first);
    EXPECT_EQ(in->simulates[i].statement, expected[i].second);
  }
  EXPECT_EQ(in->rng, nullptr);
}

TEST_F(ReaderText, ComputeIsRefusedAndPlotIsPassedOver) {
  EXPECT_EQ(add_fault("COMPUTE: z = x;"), "ERROR: COMPUTE command is currently not available.");
  EXPECT_EQ(add_fault("COMPUTE:"), "");
  add("PLOT: x;");
  EXPECT_EQ(
      warnings(),
      (Names{"WARNING: Plotting is only avaialble through GUI.\n         PLOTS command is being ignored."}));
}

TEST_F(ReaderText, OutfileOverwritesTheCommandLine) {
  InputFile::impPathStacked = "s.csv";
  InputFile::impPathSeparate = "imp*.csv";
  const auto in = add("OUTFILE: my  file.csv; OUTFILE: all*.csv;");
  EXPECT_EQ(in->writePath("stacked"), "my file.csv");
  EXPECT_EQ(in->writePath("separate"), "all*.csv");
}

TEST_F(ReaderText, OutputWordsBecomeColumns) {
  Summary::cols.clear();
  add("OUTPUT: mean   q95; ess;");
  EXPECT_EQ(Summary::cols, (std::vector<Summary::column>{Summary::column::mean, Summary::column::quant95,
                                                         Summary::column::n_eff}));
  EXPECT_EQ(add_fault("OUTPUT: avg;"), "ERROR: Unrecognized OUTPUT option: 'avg'");
}

TEST_F(ReaderText, RangesHoldInEveryCommandWithNames) {
  const auto in = add(
      "VARIABLES: a1:a3 t1_x1:t1_x2 x01:x03; ORDINAL: b1::b2 b9:b8; CLUSTERID: c0:c1; NOMINAL: d1:d2 e(2);"
      "COUNT: f9:f11; FIXED: g1:g2; LATENT: h1:h2, K = i1:i2; PHANTOM: k1:k2; CENTER: CGM = j1:j2, CWC l1:l2;"
      "SIMPLE: o1:o2 | z;");
  EXPECT_EQ(in->variableNames, (Names{"a1", "a2", "a3", "t1_x1", "t1_x2", "x01", "x02", "x03"}));
  EXPECT_EQ(in->ordinals, (Names{"b1", "b2", "b9:b8"}));
  EXPECT_EQ(in->clusterIds, (Names{"c0", "c1"}));
  ASSERT_EQ(in->nominals.size(), 3u);
  EXPECT_EQ(in->nominals[1].name, "d2");
  EXPECT_EQ(in->counts, (Names{"f9", "f10", "f11"}));
  EXPECT_EQ(in->fixed, (Names{"g1", "g2"}));
  EXPECT_EQ(*in->latents.find(""), (Names{"h1", "h2"}));
  EXPECT_EQ(*in->latents.find("k"), (Names{"i1", "i2"}));
  EXPECT_EQ(*in->phantoms.find(""), (Names{"k1", "k2"}));
  EXPECT_EQ(in->centerGrand, (Names{"j1", "j2"}));
  EXPECT_EQ(in->centerGroup, (Names{"l1", "l2"}));
  EXPECT_EQ(in->simples, (Names{" o1:o2 | z"}));  // its text is kept as it stands
}

TEST_F(ReaderText, RangesHoldInEveryCommandWithExpressions) {
  const auto in =
      add("TRANSFORM: v = mean(k1:+:k3); PARAMETERS: l1:l3 ~ normal(0, 1); WALDTEST: m1:m2 = 0;"
          "RANDOMEFFECT: n1:n2 = y | x;",
          "MODEL: y ~ p1:p3@q r1:+:r3@s t1:t2%2 x3:x1 u1:*(-1)+:u3; f1 -> {w1:w2}; y~z1:z2|z1; B: y~x1:x2;");
  EXPECT_EQ(in->transforms, (Names{" v = mean(k1+k2+k3)"}));
  EXPECT_EQ(in->parameters, (Names{"l1 l2 l3 ~ normal(0, 1)"}));
  EXPECT_EQ(in->hypotheses.at(0), (Names{"m1 m2 = 0"}));
  EXPECT_EQ(in->randomEffects, (Names{"n1 n2 = y | x"}));
  const char* statements[] = {"y ~ p1@q p2@q p3@q (r1+r2+r3)@s t1%2 t2%2 x3:x1 u1*(-1)+u2*(-1)+u3",
                              "f1 -> {w1 w2}", "y~z1 z2|z1", "y~x1 x2"};
  ASSERT_EQ(in->models.size(), std::size(statements));
  for (std::size_t i = 0; i < in->models.size(); ++i) EXPECT_EQ(in->models[i].statement, statements[i]);
}

TEST_F(ReaderText, LabelsMayHaveOddForms) {
  const auto in = add("", "MODEL: : y ~ x; a:b: z ~ x; d:; : y ~ w; \xCE\xB8 : w ~ y;");
  const std::pair<const char*, const char*> expected[] = {
      {"", "y ~ x"}, {"a:b", "z ~ x"}, {"d", ""}, {"", "y ~ w"}, {"\xCE\xB8", "w ~ y"}};
  ASSERT_EQ(in->models.size(), std::size(expected));
  for (std::size_t i = 0; i < in->models.size(); ++i) {
    EXPECT_EQ(in->models[i].block, expected[i].first);
    EXPECT_EQ(in->models[i].statement, expected[i].second);
  }
  EXPECT_EQ(add_fault("", "MODEL: c : : y ~ z;"),
            "ERROR: Unable to expand syntax. There is a trailing or leading colon for ':'");
}

}  // namespace
}  // namespace tovik::tests::reader_text_test
