// Which rows each kind of outcome has with each link, and the rows as data.

#include "model/row_layout.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run_models.hpp"

namespace tovik::tests {
namespace {

using model::kind;
using model::link;
using model::residual_rows;
using model::row;
using model::row_frame;
using model::row_layout;
using model::row_section;
using model::standardized_rows;

const std::vector<kind> all_kinds = {kind::normal,    kind::ordinal,     kind::count,       kind::nominal,
                                     kind::missing,   kind::latent,      kind::phantom,     kind::block,
                                     kind::parameter, kind::computation, kind::log_variance};
const std::vector<link> all_links = {link::identity, link::weighted,     link::probit,
                                     link::logit,    link::yjt,          link::yjt_scale,
                                     link::scale,    link::log_variance, link::hev};

/// "equation one coefficients effects shares", with a word for everything that is there.
std::string text(const row_layout& rows) {
  static const char* const frames[] = {"equation", "matrix", "correlation", "value"};
  static const char* const residuals[] = {"", " one", " unit", " dispersion", " spread"};
  static const char* const slopes[] = {"", " coefficients", " odds", " rates", " correlations"};
  std::string out = frames[static_cast<int>(rows.frame)];
  if (rows.frame == row_frame::equation && rows.random_effects) out += " effects";
  out += residuals[static_cast<int>(rows.residual)];
  if (rows.thresholds) out += " thresholds";
  if (rows.lambda) out += " lambda";
  out += slopes[static_cast<int>(rows.standardized)];
  if (rows.shares) out += " shares";
  if (rows.per_code) out += " codes";
  return out;
}

/// What a kind has under a link that changes nothing.
std::string plain_text(kind what) {
  switch (what) {
    case kind::normal:
    case kind::latent:
      return "equation effects one coefficients shares";
    case kind::ordinal:
    case kind::missing:
      return "equation effects unit thresholds coefficients shares";
    case kind::count:
      return "equation effects dispersion rates";
    case kind::nominal:
      return "equation effects odds codes";
    case kind::phantom:
      return "correlation";
    case kind::block:
      return "matrix correlations";
    case kind::parameter:
    case kind::computation:
      return "value";
    case kind::log_variance:
      break;
  }
  return "equation";
}

TEST(RowLayout, OfEachKind) {
  for (kind what : all_kinds) {
    for (link how : {link::identity, link::weighted, link::probit})
      EXPECT_EQ(text(model::rows_of(what, how)), plain_text(what));
  }
}

TEST(RowLayout, ALogisticOutcomeHasNoResidualVariance) {
  for (kind what : all_kinds) {
    const bool logistic = what == kind::normal || what == kind::latent || what == kind::ordinal;
    EXPECT_EQ(text(model::rows_of(what, link::logit)),
              logistic ? "equation effects odds shares" : plain_text(what));
  }
}

TEST(RowLayout, AVarianceModelHasCoefficientsAlone) {
  for (kind what : all_kinds) EXPECT_EQ(text(model::rows_of(what, link::log_variance)), "equation");
  for (link how : all_links) EXPECT_EQ(text(model::rows_of(kind::log_variance, how)), "equation");
}

TEST(RowLayout, ManyVariancesAreToldByTheirSpread) {
  const std::string normal = "equation effects spread coefficients shares";
  for (link how : {link::hev, link::scale}) {
    EXPECT_EQ(text(model::rows_of(kind::normal, how)), normal);
    EXPECT_EQ(text(model::rows_of(kind::latent, how)), normal);
    EXPECT_EQ(text(model::rows_of(kind::ordinal, how)),
              "equation effects spread thresholds coefficients shares");
  }
  for (kind what : {kind::phantom, kind::block, kind::parameter, kind::computation}) {
    for (link how : {link::hev, link::scale, link::yjt, link::yjt_scale})
      EXPECT_EQ(text(model::rows_of(what, how)), plain_text(what));
  }
}

TEST(RowLayout, YeoJohnsonAddsItsLambda) {
  EXPECT_EQ(text(model::rows_of(kind::normal, link::yjt)), "equation effects one lambda coefficients shares");
  EXPECT_EQ(text(model::rows_of(kind::latent, link::yjt_scale)),
            "equation effects spread lambda coefficients shares");
}

TEST(RowLayout, OfSeveralOutcomesHasTheirCorrelations) {
  for (link how : all_links) {
    EXPECT_EQ(text(model::rows_of_several(how)), model::has_many_variances(how)
                                                     ? "equation effects spread correlations"
                                                     : "equation effects one correlations");
  }
}

/// The sections of a model's rows, a letter for each row.
std::string sections(const std::vector<row>& rows) {
  std::string out;
  for (const row& one : rows) out += "vftlsr"[static_cast<int>(one.section)];
  return out;
}

TEST(Rows, StandInTheOrderOfTheirSections) {
  run_models run(1, {"y ~ x | x", "grade ~ 0 x", "yjt(z) ~ x", "y <-> grade"});
  EXPECT_EQ(sections(run["y"].rows()), "vvvvffsrrrr");
  EXPECT_EQ(sections(run["grade"].rows()), "vvfttsrrr");
  EXPECT_EQ(sections(run["z"].rows()), "vvfflsrrr");
  EXPECT_EQ(sections(run.of_kind(kind::block).rows()), "vvvsss");
}

TEST(Rows, OfRandomEffectsSayWhatVariesAtWhichLevel) {
  run_models run(2, {"y ~ x | x"});
  const std::vector<row> rows = run["y"].rows();
  const row& covariance = rows.at(4);
  EXPECT_EQ(covariance.level, 2u);
  EXPECT_EQ(covariance.of, (texts{"Intercept", "x"}));
  EXPECT_EQ(covariance.label, "Cov(Intercept,x)");
  EXPECT_EQ(covariance.text(), "L2 : Cov(Intercept,x)");
  EXPECT_EQ(covariance.tagged(), "Variance : L2 : Cov(Intercept,x)");
  EXPECT_EQ(rows.at(0).level, 3u);
  EXPECT_EQ(rows.at(0).of, texts{"Intercept"});
  EXPECT_EQ(rows.at(6).level, 0u);
  EXPECT_TRUE(rows.at(6).of.empty());
}

TEST(Rows, OfSharesNameTheirLevel) {
  run_models run(1, {"y ~ x"});
  const std::vector<row> rows = run["y"].rows();
  ASSERT_EQ(sections(rows), "vvffsrrr");
  EXPECT_EQ(rows.at(5).text(), "Coefficients");
  EXPECT_EQ(rows.at(6).label, "Random Intercepts");
  EXPECT_EQ(rows.at(6).level, 2u);
  EXPECT_EQ(rows.at(6).text(), "Level-2 Random Intercepts");
  EXPECT_EQ(rows.at(6).tagged(), "R2: Level-2 Random Intercepts");
  EXPECT_EQ(rows.at(7).text(), "Level-1 Residual Variation");
}

/// "label = value" of the rows that the model holds at a value.
texts known(const std::vector<row>& rows) {
  texts out;
  for (const row& one : rows) {
    if (one.fixed) out.push_back(one.label + " = " + format("%.1f", one.value));
  }
  return out;
}

TEST(Rows, SayWhatTheModelFixes) {
  run_models run(0, {"y ~ 1@2 x@a g@0.5 (x*z)@3", "y ~~ y@4", "bin ~ x"});
  EXPECT_EQ(known(run["y"].rows()),
            (texts{"Residual Var. = 4.0", "Intercept = 2.0", "g.2 = 0.5", "g.3 = 0.5", "x*z = 3.0"}));
  EXPECT_EQ(known(run["bin"].rows()), texts{"Residual Var. = 1.0"});
}

TEST(Rows, OfABlockSayWhichCorrelationsAreKnown) {
  run_models run(0,
                 {"y ~ x", "y2 ~ x", "y10 ~ x", "z ~ x", "y <-> y2@0.3", "y10 <-> z@(0 - 0.2)", "y2 <-> z"});
  const std::vector<row> rows = run.of_kind(kind::block).rows();
  EXPECT_EQ(known(rows), (texts{"Cor(y,y2) = 0.3", "Cor(y,y10) = 0.0", "Cor(y,z) = 0.0", "Cor(y2,y10) = 0.0",
                                "Cor(y10,z) = -0.2"}));
}

TEST(Rows, OfSeveralOutcomesAreThoseOfTheFirstThenOfTheSecond) {
  Model::allow_multivariate = true;
  ModelList all;
  const VariableList list = rich_catalogue(1);
  const Model model("y y2 ~ x", list, all.names.get());
  Model::allow_multivariate = false;
  const std::vector<row> rows = model.rows();
  EXPECT_EQ(sections(rows), "vvffvvffsss");
  EXPECT_EQ(rows.at(0).outcome, "y");
  EXPECT_EQ(rows.at(4).outcome, "y2");
  EXPECT_EQ(rows.at(4).text(), "y2 : L2 : Var(Intercept)");
  EXPECT_EQ(rows.at(4).label, "Var(Intercept)");
}

}  // namespace
}  // namespace tovik::tests
