// What an equation is: the questions that the program asks of a kind, answered for every kind and link.

#include "model/kind.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "run_models.hpp"

namespace tovik::tests {
namespace {

using model::kind;
using model::link;

struct answers {
  kind what;
  bool equation;
  bool variables;
  bool predictors;
  bool manifest;
  bool likelihood;
  bool correlated;
  bool normal_residual;  ///< with any link but logit
  bool variances;        ///< with any link but that of a variance model
};

const std::vector<answers> table = {
    // what             equation variables predictors manifest likelihood correlated normal variances
    {kind::normal, true, true, true, true, true, true, true, true},
    {kind::ordinal, true, true, true, true, true, true, true, true},
    {kind::count, true, true, true, true, true, true, false, false},
    {kind::nominal, true, true, true, true, true, false, false, false},
    {kind::missing, true, true, true, true, true, false, false, false},
    {kind::latent, true, true, true, false, true, true, true, true},
    {kind::phantom, true, true, false, false, true, false, false, false},
    {kind::block, true, false, false, false, true, false, false, false},
    {kind::parameter, false, false, false, false, false, false, false, false},
    {kind::computation, false, false, false, false, false, false, false, false},
    {kind::log_variance, true, true, true, true, false, false, false, false},
};

const std::vector<link> all_links = {link::identity, link::weighted,     link::probit,
                                     link::logit,    link::yjt,          link::yjt_scale,
                                     link::scale,    link::log_variance, link::hev};

TEST(Kind, AnswersEachQuestionForEveryKind) {
  for (const answers& row : table) {
    SCOPED_TRACE(static_cast<int>(row.what));
    EXPECT_EQ(model::is_equation(row.what), row.equation);
    EXPECT_EQ(model::speaks_of_variables(row.what), row.variables);
    EXPECT_EQ(model::has_predictors(row.what), row.predictors);
    EXPECT_EQ(model::is_manifest(row.what), row.manifest);
    EXPECT_EQ(model::has_likelihood(row.what), row.likelihood);
    EXPECT_EQ(model::can_be_correlated(row.what), row.correlated);
  }
}

TEST(Kind, ALogisticOutcomeAloneHasNoNormalResidualAmongOrdinalOnes) {
  for (const answers& row : table) {
    for (link how : all_links) {
      SCOPED_TRACE(std::to_string(static_cast<int>(row.what)) + " " + model::link_str(how));
      const bool logistic = row.what == kind::ordinal && how == link::logit;
      EXPECT_EQ(model::has_normal_residual(row.what, how), row.normal_residual && !logistic);
    }
  }
}

TEST(Kind, AVarianceModelShowsNoVariancesBeforeItJoinsItsOutcome) {
  for (const answers& row : table) {
    for (link how : all_links) {
      SCOPED_TRACE(std::to_string(static_cast<int>(row.what)) + " " + model::link_str(how));
      EXPECT_EQ(model::shows_variances(row.what, how), row.variances && how != link::log_variance);
    }
  }
}

TEST(Kind, FollowsTheTypeOfTheOutcome) {
  using data::type;
  const std::vector<std::pair<type, kind>> kinds = {{type::continuous, kind::normal},
                                                    {type::ordinal, kind::ordinal},
                                                    {type::count, kind::count},
                                                    {type::nominal, kind::nominal},
                                                    {type::latent, kind::latent},
                                                    {type::phantom, kind::phantom},
                                                    {type::multi, kind::block},
                                                    {type::parameter, kind::parameter},
                                                    {type::computation, kind::computation},
                                                    {type::log_variance, kind::log_variance}};
  for (const auto& [outcome, what] : kinds) {
    EXPECT_EQ(model::kind_of(outcome), what);
    EXPECT_EQ(static_cast<int>(outcome), static_cast<int>(what));
  }
}

TEST(Kind, OtherTypesAreNoOutcomes) {
  using data::type;
  for (type other : {type::constant, type::random_effect, type::dummy, type::weight, type::id})
    EXPECT_THROW(model::kind_of(other), error_debug);
}

TEST(Kind, OfAModelIsThatOfItsOutcome) {
  run_models run(1, {"y ~ x", "grade ~ x", "visits ~ x", "g ~ x", "x.missing ~ z", "eta ~ z", "var(y) ~ z"},
                 {"a ~ normal(0, 1)", "d = 2 * a"});
  EXPECT_EQ(run["grade"].kind(), kind::ordinal);
  EXPECT_EQ(run["visits"].kind(), kind::count);
  EXPECT_EQ(run["g"].kind(), kind::nominal);
  EXPECT_EQ(run["x.missing"].kind(), kind::missing);
  EXPECT_EQ(run["eta"].kind(), kind::latent);
  EXPECT_EQ(run["a"].kind(), kind::parameter);
  EXPECT_EQ(run["d"].kind(), kind::computation);
  EXPECT_EQ(run.of_kind(kind::log_variance).link, link::log_variance);
  EXPECT_EQ(run.of_kind(kind::normal).link, link::scale);
}

TEST(Kind, OneNormalOutcomeMakesAnEquationNormal) {
  Model::allow_multivariate = true;
  ModelList all;
  const VariableList list = rich_catalogue(0);
  const Model several("eta y ~ x", list, all.names.get());
  Model::allow_multivariate = false;
  EXPECT_EQ(several.kinds(), (std::vector<kind>{kind::latent, kind::normal}));
  EXPECT_EQ(several.kind(), kind::normal);
}

TEST(Link, SomeHaveALambdaAndSomeManyVariances) {
  for (link how : all_links) {
    EXPECT_EQ(model::has_lambda(how), how == link::yjt || how == link::yjt_scale);
    EXPECT_EQ(model::has_many_variances(how),
              how == link::hev || how == link::scale || how == link::yjt_scale);
  }
}

}  // namespace
}  // namespace tovik::tests
