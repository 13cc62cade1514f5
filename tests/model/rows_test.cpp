// The names of the rows of a model in the tables of estimates, for each structure of levels.

#include "catalogue.hpp"

namespace tovik::tests::rows_test {
namespace {

TEST(Rows, SingleLevel) {
  const one_model m(0, "y ~ x z");
  EXPECT_EQ(m->parameters(),
            (texts{"Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x", "   Fixed : z"}));
  EXPECT_EQ(m->standardized(), (texts{"x", "z"}));
  EXPECT_EQ(m->rsquare(), (texts{"R2: Coefficients", "R2: Residual Variation"}));
}

TEST(Rows, WithoutIntercept) {
  const one_model m(0, "y ~ 0 x");
  EXPECT_EQ(m->parameters(), (texts{"Variance : Residual Var.", "   Fixed : x"}));
  EXPECT_EQ(m->standardized(), texts{"x"});
  const one_model empty(0, "y ~ 1");
  EXPECT_TRUE(empty->standardized().empty());
}

TEST(Rows, NominalPredictorsHaveOneRowPerCode) {
  const one_model m(0, "y ~ g x");
  EXPECT_EQ(m->parameters(), (texts{"Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : g.2",
                                    "   Fixed : g.3", "   Fixed : x"}));
  EXPECT_EQ(m->standardized(), (texts{"g.2", "g.3", "x"}));
  EXPECT_EQ(m->parameters().size(), 1 + m->xind().size());
  EXPECT_EQ(m->fixedParameters().size(), m->xind().size());
}

TEST(Rows, ClusteredDataWithoutRandomEffects) {
  const one_model m(1, "y ~ x | 0");
  EXPECT_EQ(m->parameters().front(), "Variance : Residual Var.");
  EXPECT_EQ(m->rsquare(), (texts{"R2: Coefficients", "R2: Residual Variation"}));
}

TEST(Rows, TwoLevelRandomIntercept) {
  const one_model m(1, "y ~ x");
  EXPECT_EQ(m->parameters(), (texts{"Variance : L2 : Var(Intercept)", "Variance : Residual Var.",
                                    "   Fixed : Intercept", "   Fixed : x"}));
  EXPECT_EQ(m->rsquare(),
            (texts{"R2: Coefficients", "R2: Level-2 Random Intercepts", "R2: Level-1 Residual Variation"}));
}

TEST(Rows, TwoLevelRandomSlope) {
  const one_model m(1, "y ~ x z | x");
  EXPECT_EQ(m->parameters(), (texts{"Variance : L2 : Var(Intercept)", "Variance : L2 : Cov(Intercept,x)",
                                    "Variance : L2 : Var(x)", "Variance : Residual Var.",
                                    "   Fixed : Intercept", "   Fixed : x", "   Fixed : z"}));
  EXPECT_EQ(m->rsquare(), (texts{"R2: Coefficients", "R2: Level-2 Random Intercepts",
                                 "R2: Level-2 Random Slopes", "R2: Level-1 Residual Variation"}));
}

TEST(Rows, SlopesWithoutARandomIntercept) {
  const one_model m(1, "y ~ x | 0 x");
  EXPECT_EQ(m->parameters().front(), "Variance : L2 : Var(x)");
  EXPECT_EQ(m->rsquare(),
            (texts{"R2: Coefficients", "R2: Level-2 Random Slopes", "R2: Level-1 Residual Variation"}));
}

TEST(Rows, CovariancesRunByColumnsOfTheLowerTriangle) {
  const one_model m(1, "y ~ x z y2 | x z y2");
  const texts rows = m->parameters();
  EXPECT_EQ(texts(rows.begin(), rows.begin() + 10),
            (texts{"Variance : L2 : Var(Intercept)", "Variance : L2 : Cov(Intercept,x)",
                   "Variance : L2 : Cov(Intercept,z)", "Variance : L2 : Cov(Intercept,y2)",
                   "Variance : L2 : Var(x)", "Variance : L2 : Cov(x,z)", "Variance : L2 : Cov(x,y2)",
                   "Variance : L2 : Var(z)", "Variance : L2 : Cov(z,y2)", "Variance : L2 : Var(y2)"}));
}

TEST(Rows, ThreeLevelRandomIntercepts) {
  const one_model m(2, "y ~ x");
  EXPECT_EQ(m->parameters(), (texts{"Variance : L3 : Var(Intercept)", "Variance : L2 : Var(Intercept)",
                                    "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"}));
  EXPECT_EQ(m->rsquare(), (texts{"R2: Coefficients", "R2: Level-2 Random Intercepts",
                                 "R2: Level-3 Random Intercepts", "R2: Level-1 Residual Variation"}));
}

TEST(Rows, ThreeLevelSlopesAtBothLevels) {
  const one_model m(2, "y ~ x | x");
  EXPECT_EQ(m->parameters(), (texts{"Variance : L3 : Var(Intercept)", "Variance : L3 : Cov(Intercept,x)",
                                    "Variance : L3 : Var(x)", "Variance : L2 : Var(Intercept)",
                                    "Variance : L2 : Cov(Intercept,x)", "Variance : L2 : Var(x)",
                                    "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"}));
  EXPECT_EQ(m->rsquare(), (texts{"R2: Coefficients", "R2: Level-2 Random Intercepts",
                                 "R2: Level-2 Random Slopes", "R2: Level-3 Random Intercepts",
                                 "R2: Level-3 Random Slopes", "R2: Level-1 Residual Variation"}));
}

TEST(Rows, ThreeLevelBrackets) {
  const one_model m(2, "y ~ x | 1[school] x[district]");
  EXPECT_EQ(m->parameters(), (texts{"Variance : L3 : Var(x)", "Variance : L2 : Var(Intercept)",
                                    "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"}));
  EXPECT_EQ(m->rsquare(), (texts{"R2: Coefficients", "R2: Level-2 Random Intercepts",
                                 "R2: Level-3 Random Slopes", "R2: Level-1 Residual Variation"}));
}

TEST(Rows, ALevel2OutcomeInThreeLevelDataVariesAtLevel3) {
  const one_model m(2, "w ~ v");
  EXPECT_EQ(m->parameters().front(), "Variance : L3 : Var(Intercept)");
  EXPECT_EQ(m->rsquare(),
            (texts{"R2: Coefficients", "R2: Level-3 Random Intercepts", "R2: Level-2 Residual Variation"}));
}

TEST(Rows, LabelsCountAsManyAsTheRandomEffectsAndColumns) {
  for (const char* text : {"y ~ x", "y ~ x g | x g", "y ~ 0 | 0", "y ~ w | w[district]", "w ~ v | 1"}) {
    const one_model m(2, text);
    std::size_t covariances = 0;
    for (const auto& z : m->zind()) covariances += z.size() * (z.size() + 1) / 2;
    EXPECT_EQ(m->parameters().size(), covariances + 1 + m->xind().size()) << text;
  }
}

}  // namespace
}  // namespace tovik::tests::rows_test
