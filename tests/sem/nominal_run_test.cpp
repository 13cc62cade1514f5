// Nominal outcomes in chains: rows of the report, starting values, incomplete data, scores for output.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "marginal_check.hpp"
#include "sem/ensemble/output_names.hpp"
#include "sem/ensemble/starts.hpp"
#include "sem/outcomes/nominal.hpp"
#include "small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::nominal_run_test {
namespace {

const std::vector<std::string> names = {"school", "g", "h", "x", "y"};

/// Twelve schools of eight rows; g has the categories 1, 2, 5 and goes along with x, h those of 0, 1 and 2
/// and goes along with g, y is a score that h moves.
arma::mat columns() {
  Random rng(193, 1);
  arma::mat out(96, 5);
  double u = 0.0;
  for (arma::uword i = 0; i < 96; ++i) {
    if (i % 8 == 0) u = 0.7 * rng.rnorm();
    const double x = rng.rnorm();
    const arma::rowvec pg = arma::exp(arma::rowvec{0.0, u + 0.8 * x, -0.3});
    const int g = rng.rmnom(arma::Row<double>(pg / arma::accu(pg)));
    const arma::rowvec ph = arma::exp(arma::rowvec{0.2, 0.8 * (g == 1), 0.9 * (g == 2)});
    const int h = rng.rmnom(arma::Row<double>(ph / arma::accu(ph)));
    out.row(i) = arma::rowvec{static_cast<double>(i / 8), g == 2 ? 5.0 : g + 1.0, static_cast<double>(h), x,
                              0.5 * x + (h == 2) + rng.rnorm()};
  }
  return out;
}

small_run nominal_run(const arma::mat& data, const std::vector<std::string>& statements,
                      const std::vector<std::string>& ids = {"school"},
                      const std::vector<std::string>& nominal = {"g", "h"}) {
  return small_run(names, data, ids, statements, {}, {}, {}, nominal);
}

TEST(NominalRun, LabelsAndValuesAgreeCodeByCode) {
  const small_run run = nominal_run(columns(), {"g ~ x | x", "h ~ g (x*y)", "y ~ x h"});
  const auto chain = run.chain(Random(3, 1), {1, 1});
  chain->oneRep();
  const arma::vec rows = chain->getParams();
  ASSERT_TRUE(rows.is_finite());
  arma::uword at = 0;
  for (const Model& model : run.models) {
    const std::size_t n_rows = model.parameters().size(), n = model.standardized().size();
    for (unsigned code = 0; code < model.n_codes(); ++code) {
      if (model.kind() == model::kind::nominal) {
        EXPECT_TRUE(model.rsquare().empty());
        const arma::vec b = rows.subvec(at + n_rows - n, at + n_rows - 1);
        const arma::vec odds = rows.subvec(at + n_rows, at + n_rows + n - 1);
        EXPECT_TRUE(arma::approx_equal(odds, arma::exp(b), "reldiff", 1e-12)) << model.command();
      }
      at += n_rows + n + model.rsquare().size();
    }
  }
  EXPECT_EQ(at, rows.n_elem);
}

TEST(NominalRun, InterceptsStartAtTheLogOddsAgainstTheReference) {
  arma::mat data = columns();
  data(0, 1) = arma::datum::nan;
  for (const double reference : {1.0, 2.0}) {
    const small_run run =
        nominal_run(data, {"g ~ x"}, {}, {"g=" + std::to_string(static_cast<int>(reference)), "h"});
    const auto count = [&](double v) { return 0.5 + arma::accu(run.data.col(1) == v); };
    const arma::vec starts =
        sem::generateStarts(run.models[0], run.data, sem::working_data(run.data, {}).clusters(0), 1.0, 0.0);
    ASSERT_EQ(starts.n_elem, 4U);
    const double first = reference == 1.0 ? 2.0 : 1.0;
    EXPECT_NEAR(starts(0), std::log(count(first) / count(reference)), 1e-12);
    EXPECT_NEAR(starts(2), std::log(count(5.0) / count(reference)), 1e-12);
    EXPECT_EQ(starts(1), 0.0);
  }
}

TEST(NominalRun, ScoresForOutputAreNamedAfterCodesAndCategories) {
  using texts = std::vector<std::string>;
  const small_run run = nominal_run(columns(), {"g ~ x | x"}, {"school"}, {"g=2", "h"});
  const Model& model = run.models[0];
  EXPECT_EQ(sem::latent_names(model), (texts{"g.1$Intercept", "g.1$x", "g.5$Intercept", "g.5$x"}));
  EXPECT_EQ(sem::residual_names(model), (texts{"g.1.residual", "g.5.residual"}));
  EXPECT_EQ(sem::predicted_names(model), (texts{"g.2.probability", "g.1.probability", "g.5.probability"}));
  const auto chain = run.chain(Random(4, 1), {1, 1});
  chain->oneRep();
  const arma::mat& data = chain->working().data;
  EXPECT_EQ(chain->outcomes()->latent(data).n_cols, 4U);
  EXPECT_EQ(chain->outcomes()->residual(data).n_cols, 2U);
  const arma::mat p = chain->outcomes()->predicted(data);
  ASSERT_EQ(p.n_cols, 3U);
  EXPECT_LT(arma::abs(arma::sum(p, 1) - 1.0).max(), 1e-14);
}

// What is saved are the categories of the data, whether or not other equations read the codes.
TEST(NominalRun, IncompleteCategoriesAreFilledByCategories) {
  arma::mat data = columns();
  for (arma::uword i = 0; i < 96; i += 5) data(i, 1) = arma::datum::nan;
  for (arma::uword i = 2; i < 96; i += 4) data(i, 2) = arma::datum::nan;
  const small_run run = nominal_run(data, {"g ~ x | 1", "h ~ g", "y ~ h x"});
  const auto chain = run.chain(Random(5, 1), {1, 1});
  arma::mat seen(96, 6, arma::fill::zeros);
  const std::vector<double> of_g = {1.0, 2.0, 5.0}, of_h = {0.0, 1.0, 2.0};
  for (int t = 0; t < 1500; ++t) {
    chain->oneRep();
    const arma::mat saved = chain->getData();
    const arma::mat& now = chain->working().data;
    arma::mat raw = now;
    chain->outcomes()->categorize_nominal(raw, now);
    for (arma::uword i = 0; i < 96; ++i) {
      for (arma::uword j : {1U, 2U}) {
        ASSERT_EQ(saved(i, j), now(i, j));
        ASSERT_EQ(raw(i, j), now(i, j));
        const std::vector<double>& values = j == 1 ? of_g : of_h;
        const auto at = std::find(values.begin(), values.end(), saved(i, j)) - values.begin();
        ASSERT_LT(at, 3);
        seen(i, 3 * (j - 1) + static_cast<arma::uword>(at)) += 1.0;
      }
    }
  }
  for (arma::uword i = 0; i < 96; ++i) {
    for (arma::uword j : {1U, 2U}) {
      if (!std::isnan(data(i, j))) continue;
      for (arma::uword k = 0; k < 3; ++k) EXPECT_GT(seen(i, 3 * (j - 1) + k), 0.0) << i;
    }
  }
  const auto& g = dynamic_cast<const sem::Nominal&>(chain->outcomes()->outcome(0));
  EXPECT_EQ(g.impute_tune.total, 1500U * 20U);
  EXPECT_LT(g.impute_tune.accepted, g.impute_tune.total);
  EXPECT_NEAR(chain->outcomes()->getMissingPercents()[0], 100.0 * 20.0 / 96.0, 1e-12);
}

TEST(NominalRun, MarginalLikelihoodIsTheConditionalOneOrUnknown) {
  expect_marginal_likelihood_without_effects_only(
      [](const std::vector<std::string>& ids) { return nominal_run(columns(), {"g ~ x"}, ids); }, 6);
}

TEST(NominalRun, OtherLinksAreInternalFaults) {
  for (const auto& [link, text] :
       {std::pair{model::link::probit, "Probit Link not avaiable for Nominal variables Outcomes!"},
        {model::link::scale, "Unrecognized Link for Nominal variables!"}}) {
    small_run run = nominal_run(columns(), {"g ~ x"});
    run.models[0].link = link;
    try {
      run.chain(Random(1, 1), {1, 1});
      ADD_FAILURE();
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), text);
    }
  }
}

}  // namespace
}  // namespace tovik::tests::nominal_run_test
