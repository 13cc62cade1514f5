// The SIMPLE command: its texts, and what becomes of them.

#include "results/simple_slopes.hpp"

#include "command_file.hpp"
#include "model/model_list.hpp"
#include "support/text.hpp"

namespace tovik::tests::simple_slopes_test {
namespace {

/// y, x, m vary within c; g is ordinal with 1, 2, 3; n is nominal with 1, 2, 4.
const char* const table =
    "c,y,x,m,z,g,n\n"
    "1,1,2,3,1,1,1\n1,2,3,5,0,2,2\n1,4,1,1,2,3,4\n"
    "2,2,2,7,1,1,1\n2,5,4,2,3,2,2\n2,3,1,4,1,3,4\n";

class Simple : public CommandFile {
 protected:
  void SetUp() override {
    CommandFile::SetUp();
    write("s.csv", table);
  }

  sem::SimpleList run(const std::string& simple, const std::string& model = "y ~ x m x*m",
                      const std::string& more = "FIXED: x m z g n;") {
    const auto input =
        read("DATA: s.csv; CLUSTERID: c; ORDINAL: g; NOMINAL: n; SEED: 1; BURN: 10; ITER: 20; " + more +
             " MODEL: " + model + "; SIMPLE: " + simple + ";");
    arma::Mat<double> data = input->data();
    VariableList vars = input->variableList(data);
    vars.truncateNames();
    const ModelList models = input->modelList(vars);
    input->update(data, vars, models);
    warning::buffer.clear();
    return input->simpleSlopes(vars, models);
  }

  std::string fault_of(const std::string& simple, const std::string& model = "y ~ x m x*m",
                       const std::string& more = "FIXED: x m z g n;") {
    return fault([&] { run(simple, model, more); });
  }

  static Names labels(const sem::SimpleList& list) {
    Names out;
    for (const auto& model : list) {
      for (const auto& effect : model.effects)
        out.push_back(std::to_string(model.model) + " " + join(effect.label(), ""));
    }
    return out;
  }
};

std::string form(const std::string& line) {
  return "ERROR: The SIMPLE command \"" + line +
         "\" is not correctly specified.\n"
         "       Conditional effects must be separated by commas and take on the following form:\n"
         "           focal | moderator @ value1, focal | moderator @ value2";
}

std::string term(const std::string& line, const std::string& detail = "") {
  return "ERROR: SIMPLE command \"" + line + "\" is mispecified.\n" + detail;
}

TEST_F(Simple, ReadsEffectsInTheirOrder) {
  const sem::SimpleList list = run("x | m @ 1, m|x@-2.50 , X | M @ +1e1");
  EXPECT_EQ(labels(list), (Names{"0 x | m @ 1", "0 m | x @ -2.50", "0 x | m @ +1e1"}));
  EXPECT_DOUBLE_EQ(list[0].effects[2].moderators()[0].value, 10.0);
  EXPECT_FALSE(list[0].effects[0].isSD());
}

TEST_F(Simple, StatementsFollowEachOther) {
  EXPECT_EQ(labels(run("x | m @ 1; SIMPLE: x | m @ 2")), (Names{"0 x | m @ 1", "0 x | m @ 2"}));
}

TEST_F(Simple, EveryEquationWithBothVariablesHasTheEffect) {
  EXPECT_EQ(labels(run("x | m @ 1", "y ~ x m x*m; z ~ x m", "FIXED: x m;")),
            (Names{"0 x | m @ 1", "1 x | m @ 1"}));
}

TEST_F(Simple, SeveralModerators) {
  EXPECT_EQ(labels(run("x | m @ 1 z @ 2", "y ~ x m z x*m x*z")), (Names{"0 x | m @ 1 z @ 2"}));
}

TEST_F(Simple, AnOrdinalModeratorWithoutValueTakesEachCategory) {
  EXPECT_EQ(labels(run("x | g", "y ~ x g x*g")), (Names{"0 x | g @ 1", "0 x | g @ 2", "0 x | g @ 3"}));
  EXPECT_EQ(labels(run("x | g m @ 5", "y ~ x g m x*g x*m")),
            (Names{"0 x | g @ 1 m @ 5", "0 x | g @ 2 m @ 5", "0 x | g @ 3 m @ 5"}));
  EXPECT_EQ(labels(run("x | g @ 2.5", "y ~ x g x*g")), (Names{"0 x | g @ 2.5"}));
}

TEST_F(Simple, ANominalModeratorStandsAtItsDummyCodes) {
  const sem::SimpleList list = run("x | n", "y ~ x n x*n");
  ASSERT_EQ(labels(list), (Names{"0 x | n @ 1", "0 x | n @ 2", "0 x | n @ 4"}));
  const auto held = [&](std::size_t k) {
    std::vector<double> out;
    for (const auto& [column, value] : list[0].effects[k].moderators()[0].columns) out.push_back(value);
    return out;
  };
  EXPECT_EQ(held(0), (std::vector<double>{0, 0}));
  EXPECT_EQ(held(1), (std::vector<double>{1, 0}));
  EXPECT_EQ(held(2), (std::vector<double>{0, 1}));
  EXPECT_EQ(fault_of("x | n @ 3", "y ~ x n x*n"), term("x | n @ 3"));
}

TEST_F(Simple, RefusesStatementsOfAnotherForm) {
  for (const std::string line : {"x", "x m @ 1", "x | m @ 1 | z @ 2", "x | m @ 1,", "| m @ 1", "x |"}) {
    EXPECT_EQ(fault_of(line), form(line)) << line;
  }
}

TEST_F(Simple, RefusesTermsThatCannotBeRead) {
  for (const std::string line :
       {"x | m", "x | m @", "x | m @ one", "x | m @ 1 2", "x z | m @ 1", "x | m @ 1 @ 2", "x | m @ 1e999",
        "x | m @ nan", "x | @ 1", "x@2 | m @ 1", "x | m @ 1 sd sd", "x | m = 1"}) {
    const std::string text = fault_of(line);
    EXPECT_EQ(text.substr(0, term(line).size()), term(line)) << line << "\n" << text;
  }
}

TEST_F(Simple, RefusesANominalFocalVariable) {
  EXPECT_EQ(fault_of("n | x @ 1", "y ~ x n x*n"),
            "ERROR: Nominal variables (\"n) cannot be focal variables.");
}

TEST_F(Simple, TheFocalVariableIsAPredictor) {
  for (const std::string name : {"z", "nothing", "y"}) {
    EXPECT_EQ(fault_of(name + " | m @ 1"), term(name + " | m @ 1", "         The focal variable \"" + name +
                                                                       "\" must be a predictor\n"
                                                                       "         in the MODEL statement."));
  }
}

TEST_F(Simple, FocalVariableAndModeratorDiffer) {
  EXPECT_EQ(fault_of("x | x @ 1"), "ERROR: The focal predictor and moderator cannot be the same variable.");
}

TEST_F(Simple, FocalVariableAndModeratorStandInOneEquation) {
  EXPECT_EQ(fault_of("x | z @ 1", "y ~ x m x*m; m ~ z", "FIXED: x z;"),
            term("x | z @ 1",
                 "         The focal variable \"x\" and\n"
                 "         moderator variable \"z\"\n"
                 "         are not in the same model."));
}

TEST_F(Simple, TheModeratorHasItsMainEffect) {
  EXPECT_EQ(fault_of("x | m @ 1", "y ~ x x*m"), term("x | m @ 1",
                                                     "         The moderator variable \"m\" must have\n"
                                                     "         its main effect in the model."));
}

TEST_F(Simple, TheInterceptPlaysNoRole) {
  EXPECT_EQ(fault_of("Intercept | m @ 1"), "ERROR: Variable \"Intercept\" cannot be a focal variable.");
  EXPECT_EQ(fault_of("x | intercept @ 1"), "ERROR: Variable \"intercept\" cannot be a moderator variable.");
}

TEST_F(Simple, StandardDeviationsAreThoseOfCenteredContinuousModerators) {
  EXPECT_EQ(fault_of("x | m @ 1 sd"),
            "ERROR: Cannot specify the moderator evaluated at standard deviation\n"
            "       units for a fixed variable. Offending variable: \"m\"");
  EXPECT_EQ(fault_of("x | g @ 1SD", "y ~ x g x*g", "FIXED: x;"),
            "ERROR: Only continuous moderators can be evaluated at\n"
            "       standard deviation units. Offending variable:g");
  EXPECT_EQ(fault_of("x | m @ -1 Sd", "y ~ x m x*m", "FIXED: x;"),
            "ERROR: The moderator must be centered to evaulate at\n"
            "       standard deviation units. Offending variable:\nm");
}

TEST_F(Simple, ReadsStandardDeviationsWithAndWithoutABlank) {
  const sem::SimpleList list =
      run("x | m @ -1 Sd, x | m @ 1.5SD, x | m @ - 2 sd", "y ~ x m x*m", "FIXED: x; CENTER: groupmean = m;");
  EXPECT_EQ(labels(list), (Names{"0 x | m @ -1.00 SD", "0 x | m @ 1.50 SD", "0 x | m @ -2.00 SD"}));
  EXPECT_TRUE(list[0].effects[0].isSD());
  const sem::deviation_source& source = list[0].effects[0].moderators()[0].source;
  EXPECT_EQ(source.centering, data::center::cluster);
  EXPECT_EQ(source.level, 1u);
}

TEST_F(Simple, WarnsOnceOfEachFocalPredictorThatIsNotCentered) {
  run("x | m @ 1, x | m @ 2, m | x @ 1", "y ~ x m x*m", "FIXED: x m; CENTER: grandmean = m;");
  EXPECT_EQ(warnings(), Names{"WARNING: The focal predictor \"x\" is not centered.\n"
                              "         Simple intercepts in the conditional effects table are\n"
                              "         evaluated at a score of zero on the focal predictor.\n"});
}

/// Rows in classes c of schools d.
class SimpleThreeLevels : public Simple {
 protected:
  void SetUp() override {
    Simple::SetUp();
    std::string text = "c,d,y,x,m\n";
    for (int i = 0; i < 24; ++i)
      text += format("%i,%i,%i,%i,%i\n", i / 2, i / 6, (7 * i) % 5 + i / 6, (5 * i) % 7 + i / 4, (3 * i) % 8);
    write("t.csv", text);
  }

  sem::SimpleList run(const std::string& simple, const std::string& model, const std::string& center) {
    const auto input =
        read("DATA: t.csv; CLUSTERID: c d; SEED: 1; BURN: 10; ITER: 20; FIXED: m; CENTER: " + center +
             "; MODEL: " + model + "; SIMPLE: " + simple + ";");
    arma::Mat<double> data = input->data();
    VariableList vars = input->variableList(data);
    const ModelList models = input->modelList(vars);
    input->update(data, vars, models);
    warning::buffer.clear();
    means_ = vars.find("x")->means;
    return input->simpleSlopes(vars, models);
  }

  std::vector<unsigned> means_;  ///< columns, the nearest level first
};

TEST_F(SimpleThreeLevels, MeansHaveAnEffectForEachLevelAtItsOwnDeviation) {
  const sem::SimpleList list = run("m | x.mean @ 1 sd", "y ~ x x.mean m x.mean*m", "grandmean = x.mean");
  ASSERT_EQ(labels(list), (Names{"0 m | x.mean[c] @ 1.00 SD", "0 m | x.mean[d] @ 1.00 SD"}));
  for (unsigned k = 0; k < 2; ++k) {
    const sem::moderator& m = list[0].effects[k].moderators()[0];
    EXPECT_EQ(m.source.level, 1 - k);
    EXPECT_EQ(m.source.column, means_.at(k));
    EXPECT_EQ(m.columns, (std::vector<std::pair<unsigned, double>>{{means_.at(k), 1.0}}));
  }
}

TEST_F(SimpleThreeLevels, AFocalMeanHasAnEffectForEachLevel) {
  const std::string model = "y ~ x x.mean m x.mean*m", center = "grandmean = x.mean";
  EXPECT_EQ(labels(run("x.mean | m @ 2", model, center)),
            (Names{"0 x.mean[c] | m @ 2", "0 x.mean[d] | m @ 2"}));
  EXPECT_EQ(labels(run("X.Mean[D] | m @ 2", model, center)), Names{"0 x.mean[d] | m @ 2"});
}

TEST_F(SimpleThreeLevels, MeansThatStandAtOneLevelHaveOneEffect) {
  const std::string model = "y ~ x x.mean[d] m x.mean[d]*m", center = "grandmean = x.mean";
  EXPECT_EQ(labels(run("m | x.mean @ 1", model, center)), Names{"0 m | x.mean[d] @ 1"});
  const std::string text = fault([&] { run("m | x.mean[c] @ 1", model, center); });
  EXPECT_EQ(text, term("m | x.mean[c] @ 1",
                       "         The focal variable \"m\" and\n"
                       "         moderator variable \"x.mean[c]\"\n"
                       "         are not in the same model."));
}

TEST_F(SimpleThreeLevels, MeansOfTwoLevelsModerateEachOther) {
  EXPECT_EQ(labels(run("x.mean[c] | x.mean[d] @ 1", "y ~ x.mean m", "grandmean = x.mean")),
            Names{"0 x.mean[c] | x.mean[d] @ 1"});
}

TEST_F(SimpleThreeLevels, TheHighestMeansAreNotCenteredWithinClusters) {
  const std::string model = "y ~ x x.mean m x.mean*m", center = "groupmean = x.mean";
  EXPECT_EQ(labels(run("m | x.mean[c] @ 1 sd", model, center)), Names{"0 m | x.mean[c] @ 1.00 SD"});
  EXPECT_EQ(fault([&] { run("m | x.mean @ 1 sd", model, center); }),
            "ERROR: The moderator must be centered to evaulate at\n"
            "       standard deviation units. Offending variable:\nx.mean[d]");
}

}  // namespace
}  // namespace tovik::tests::simple_slopes_test
