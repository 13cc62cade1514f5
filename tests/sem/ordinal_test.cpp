// Ordinal outcomes as models of a chain: rows, starts, published propensities, output, failures.

#include "sem/outcomes/ordinal.hpp"

#include <gtest/gtest.h>

#include "evaluate/pair.hpp"
#include "evaluate/parser.hpp"
#include "model/defaults.hpp"
#include "ordinal_world.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/output_names.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::ordinal_test {
namespace {

using sem::Ordinal;

const std::vector<std::string> names = {"school", "o", "x", "z"};

/// Ten schools of eight rows; o has the categories 1 to 4, some cells of o and z are missing.
arma::mat questionnaire(double unit = 1.0) {
  Random rng(7, 1);
  arma::mat out(80, 4);
  for (arma::uword i = 0; i < 80; ++i) {
    const double x = rng.rnorm(), y = 0.4 + 0.8 * x + rng.rnorm();
    out.row(i) = arma::rowvec{static_cast<double>(i / 8), 1.0 + (y > 0.0) + (y > 0.6) + (y > 1.4), unit * x,
                              unit * (0.5 * y + rng.rnorm())};
    if (i % 9 == 4) out(i, 1) = arma::datum::nan;
    if (i % 11 == 3) out(i, 3) = arma::datum::nan;
  }
  return out;
}

small_run run_of(const std::vector<std::string>& statements, const std::vector<std::string>& ids = {},
                 const std::vector<std::string>& parameters = {}, double unit = 1.0) {
  small_run out(names, questionnaire(unit), ids, statements, parameters, {"o"});
  prepare(out);
  return out;
}

const Ordinal& ordinal(const sem::Mcmc& chain, unsigned model = 0) {
  return dynamic_cast<const Ordinal&>(chain.outcomes()->outcome(model));
}

TEST(Ordinal, RowsAreCovariancesTheUnitCoefficientsAndThresholds) {
  const small_run run = run_of({"o ~ x | 1"}, {"school"});
  const auto chain = run.chain(Random(1, 1), {1, 1});
  draws(*chain, 20, 1);
  const Ordinal& model = ordinal(*chain);
  const arma::vec rows = model.params();
  ASSERT_EQ(rows.n_elem, 6U);
  EXPECT_EQ(rows[0], model.Sigma[0](0, 0));
  EXPECT_EQ(rows[1], 1.0);
  EXPECT_EQ(rows[2], model.betas()(0));
  EXPECT_EQ(rows[4], model.tau()[1]);
  EXPECT_EQ(rows[5], model.tau()[2]);
  EXPECT_EQ(model.n_estimated(), 5U);
  // The slope in standard deviations, then shares that add up to one.
  const arma::vec after = model.postDraw(chain->working().data);
  ASSERT_EQ(after.n_elem, 4U);
  EXPECT_NEAR(arma::accu(after.tail(3)), 1.0, 1e-12);
}

TEST(Ordinal, WithoutAnInterceptTheFirstThresholdIsShownAsZero) {
  const small_run run = run_of({"o ~ 0 x"});
  const auto chain = run.chain(Random(1, 1));
  draws(*chain, 20, 1);
  const arma::vec rows = ordinal(*chain).params();
  ASSERT_EQ(rows.n_elem, 5U);
  EXPECT_EQ(rows[2], 0.0);
  EXPECT_GT(rows[3], 0.0);
  EXPECT_EQ(ordinal(*chain).n_estimated(), 3U);
}

TEST(Ordinal, StartsAtTheQuantilesOfTheObservedShares) {
  small_run run = run_of({"o ~ 1"});
  run.data.col(1).zeros();
  for (arma::uword i = 0; i < 80; ++i) run.data(i, 1) = i < 20 ? 1.0 : i < 50 ? 2.0 : i < 70 ? 3.0 : 4.0;
  const auto chain = run.chain(Random(1, 1));
  const Ordinal& model = ordinal(*chain);
  EXPECT_NEAR(model.betas()(0), -iPhi(20.5 / 81.0), 1e-12);
  EXPECT_NEAR(model.tau()[1], iPhi(50.0 / 80.0) - iPhi(20.0 / 80.0), 1e-12);
  EXPECT_NEAR(model.tau()[2], iPhi(70.0 / 80.0) - iPhi(20.0 / 80.0), 1e-12);
}

TEST(Ordinal, ScoresStandInTheirCategoriesAndInTheColumnThatOthersRead) {
  const small_run run = run_of({"o ~ x", "z ~ o.latent"});
  const auto chain = run.chain(Random(3, 1));
  const Ordinal& model = ordinal(*chain);
  const arma::uword column = run.vars.find("o")->latent.front();
  ASSERT_EQ(model.published()(0), column);
  for (int t = 0; t < 50; ++t) {
    const arma::mat& data = chain->working().data;
    for (arma::uword i = 0; i < 80; ++i) {
      ASSERT_EQ(data(i, column), model.propensity.values(i));
      ASSERT_EQ(data(i, 1), 1.0 + static_cast<double>(model.categorize(data(i, column)))) << "row " << i;
    }
    chain->oneRep();
  }
  for (arma::uword i = 0; i < 80; ++i) {
    if (std::isnan(run.data(i, 1))) continue;
    EXPECT_EQ(chain->working().data(i, 1), run.data(i, 1));
  }
}

TEST(Ordinal, EveryProposalOfItsStepsIsTuned) {
  const Setting<bool> walks(sem::sampler_settings::use_autosolver, false);
  const small_run run = run_of({"o ~ x", "z ~ o.latent"});
  const auto chain = run.chain(Random(3, 1));
  const Ordinal& model = ordinal(*chain);
  for (int t = 0; t < 100; ++t) chain->oneRep();
  const sem::estimator::tune_results before = model.tuneResults();
  ASSERT_EQ(before.size(), 3U);
  for (const auto& one : before) EXPECT_GT(one.total, 0U) << one.label();
  chain->tune();
  const sem::estimator::tune_results after = model.tuneResults();
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_NE(after[k].value, before[k].value) << before[k].label();
    EXPECT_EQ(after[k].total, 0U);
  }
}

TEST(Ordinal, ProbabilitiesOfTheCategoriesAddUpBesideThePredictor) {
  const small_run run = run_of({"o ~ x"});
  const auto chain = run.chain(Random(3, 1));
  draws(*chain, 30, 1);
  const Ordinal& model = ordinal(*chain);
  const arma::mat p = model.compute_predicted_prob(chain->working().data);
  ASSERT_EQ(p.n_cols, 5U);
  for (arma::uword i = 0; i < 80; ++i) {
    const double mu = model.betas()(0) + model.betas()(1) * chain->working().data(i, 2);
    EXPECT_NEAR(p(i, 4), mu, 1e-12);
    EXPECT_NEAR(p(i, 0), phi(-mu), 1e-12);
    EXPECT_NEAR(p(i, 1), phi(model.tau()[1] - mu) - phi(-mu), 1e-12);
    EXPECT_NEAR(p(i, 3), 1.0 - phi(model.tau()[2] - mu), 1e-12);
    EXPECT_NEAR(arma::accu(p.row(i).head(4)), 1.0, 1e-12);
  }
  EXPECT_EQ(sem::predicted_names(run.models[0]),
            (std::vector<std::string>{"o.1.probability", "o.2.probability", "o.3.probability",
                                      "o.4.probability", "o.predicted"}));
  EXPECT_EQ(sem::latent_names(run.models[0]), std::vector<std::string>{"o.latent"});
}

// One score per unit in front of the effects: correlations among residuals then read the effects behind it.
TEST(Ordinal, TheScoreStandsInFrontOfTheRandomEffects) {
  const small_run run = run_of({"o ~ x | 1", "z ~ x | 1"}, {"school"});
  const auto chain = run.chain(Random(3, 1), {1, 1});
  draws(*chain, 30, 1);
  const arma::mat latent = ordinal(*chain).latent(chain->working().data);
  ASSERT_EQ(latent.n_cols, 2U);
  EXPECT_EQ(latent(0, 0), ordinal(*chain).propensity.values(0));
  EXPECT_EQ(latent(79, 1), ordinal(*chain).u[0](9, 0));
  const arma::vec u = ordinal(*chain).u[0].col(0),
                  v = chain->outcomes()->outcome(1).latent(chain->working().data).col(0);
  arma::vec first(10);
  for (arma::uword c = 0; c < 10; ++c) first[c] = v[8 * c];
  const arma::vec correlations = chain->outcomes()->correlations(chain->working().data);
  EXPECT_NEAR(correlations[1], arma::as_scalar(arma::cor(u, first)), 1e-12);
}

TEST(Ordinal, HasNoResidualVarianceToSetAndNoTransformation) {
  OrdinalWorld world(0, 3, 310);
  world.build();
  EXPECT_THROW(world.model->constraint(sem::parameter_type::residual_variance, 0, 0), error_debug);
  EXPECT_EQ(*world.model->constraint(sem::parameter_type::residual_variance_read, 0, 0)->ptr(), 1.0);
  const auto root = evaluate::pair::transformation(evaluate::opt_ast("sqrt(#DATA(0))"));
  EXPECT_THROW(world.model->addTransform(root), error_debug);
}

// Under a flat prior of their variance; the other schools are as likely under effects without bounds.
TEST(Ordinal, ThreeSchoolsWithDifferentCategoriesCarryAFlatPriorOfEffects) {
  small_run run = run_of({"o ~ 1 | 1"}, {"school"});
  for (arma::uword i = 0; i < 80; ++i) run.data(i, 1) = i < 40 ? 1.0 : 4.0;
  for (arma::uword school : {0U, 4U}) run.data(8 * school, 1) = 2.0;
  run.data(9, 1) = 3.0;
  EXPECT_EQ(run.failure({2, 2}), "");
  run.data(9, 1) = 1.0;
  run.data(0, 1) = 3.0;
  EXPECT_EQ(
      run.failure({2, 2}),
      "ERROR: There are too few clusters of 'school' in the model of 'o'.\n"
      "       2 clusters with different values for 1 random effect and 0 coefficients between clusters: "
      "a flat prior of variances needs 3.\n       Use 'OPTIONS: prior1;' or fewer random effects.");
  EXPECT_EQ(run.failure({2, 1}), "");
}

TEST(Ordinal, AnIncompleteOutcomeHasOneEquation) {
  const Setting<bool> apart(sem::defaults::reduce_models, false);
  const small_run two = run_of({"o ~ x", "o ~ z"});
  ASSERT_EQ(two.models.size(), 2U);
  EXPECT_EQ(
      two.failure(),
      "ERROR: A second equation of an incomplete ordinal outcome ('o') is not available in this version.");
}

TEST(Ordinal, AutoStepsNeedASolution) {
  OrdinalWorld world(0, 3, 311);
  world.build();
  for (auto step : {&Ordinal::drawLatentAuto_Cmp, &Ordinal::drawLatentAuto_Mis}) {
    try {
      (world.model.get()->*step)(world.world.data);
      FAIL();
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "No likelihod specified");
    }
  }
}

TEST(Ordinal, StartsRestoreThresholdsAndRefuseThoseThatDoNotRise) {
  OrdinalWorld world(0, 3, 312);
  world.build();
  arma::vec state = world.model->params();
  state.back() = 1.7;
  world.model->addStarts(state);
  EXPECT_EQ(world.model->tau()[1], 1.7);
  state.back() = -0.2;
  EXPECT_THROW(world.model->addStarts(state), error_debug);
}

TEST(Ordinal, ASharedCoefficientHasThePriorOfCategoriesOnce) {
  const small_run run = run_of({"o ~ x@b", "z ~ x@b"});
  const small_run separate = run_of({"o ~ x", "z ~ x"});
  EXPECT_EQ(run.failure(), "");
  EXPECT_EQ(run.chain(Random(2, 1))->outcomes()->n_estimated() + 1,
            separate.chain(Random(2, 1))->outcomes()->n_estimated());
}

// A slope on x in thousandths is a thousand times as large, which the prior N(0, 5) does not allow; that is a
// state like any other.
TEST(Ordinal, DrawsAreFiniteInAnyUnitsOfThePredictors) {
  for (double unit : {1e-6, 1e-3, 1.0, 1e3, 1e6}) {
    const small_run run = run_of({"o ~ x | 1", "z ~ o.latent x"}, {"school"}, {}, unit);
    const auto chain = run.chain(Random(4, 1), {1, 1});
    EXPECT_TRUE(draws(*chain, 50, 50).is_finite()) << unit;
  }
}

TEST(Ordinal, SeparatedAndNearlyEmptyCategoriesHaveFiniteDraws) {
  small_run run = run_of({"o ~ x"});
  for (arma::uword i = 0; i < 80; ++i) {
    const double x = run.data(i, 2);
    run.data(i, 1) = x < 0.0 ? 1.0 : 4.0;
  }
  run.data(3, 1) = run.data(4, 1) = 2.0;
  run.data(5, 1) = 3.0;
  const auto chain = run.chain(Random(4, 1));
  const arma::mat seen = draws(*chain, 200, 500);
  EXPECT_TRUE(seen.is_finite());
  EXPECT_LT(seen.max(), 60.0);
}

TEST(Rstar, AnIndicatorIsABinaryOutcomeThatIsNeverMissing) {
  const small_run run = run_of({"z.missing ~ z", "z ~ x"});
  const auto chain = run.chain(Random(5, 1));
  const arma::mat seen = draws(*chain, 50, 50);
  EXPECT_TRUE(seen.is_finite());
  const Ordinal& model = ordinal(*chain, run.models[0].kind() == model::kind::missing ? 0 : 1);
  EXPECT_EQ(model.n_unobserved(), 0U);
  EXPECT_EQ(model.tau().n_elem, 1U);
  for (arma::uword i = 0; i < 80; ++i)
    EXPECT_EQ(model.propensity.values(i) > 0.0, std::isnan(run.data(i, 3))) << "row " << i;
}

TEST(Rstar, AVariableWithoutMissingCellsHasNoIndicatorToModel) {
  const small_run run = run_of({"x.missing ~ z"});
  EXPECT_EQ(run.failure().substr(0, 45), "ERROR: Variable 'x.missing' does not vary.\n  ");
}

}  // namespace
}  // namespace tovik::tests::ordinal_test
