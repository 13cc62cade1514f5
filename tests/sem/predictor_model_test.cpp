// Starts, published columns, parameters and refusals of predictor models.

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "predictor_world.hpp"
#include "random/densities.hpp"
#include "sem/predictors/variable.hpp"
#include "support/error.hpp"

namespace tovik::tests::predictor_model_test {
namespace {

using kind = PredictorWorld::kind;
using center = data::center;
using sem::predictor_row;
using sem::predictor_step;

constexpr double missing_value = std::numeric_limits<double>::quiet_NaN();

sem::predictor_setup setup_of(PredictorWorld& world) {
  sem::predictor_setup out;
  out.rng = world.rng;
  out.working = world.working.get();
  out.variable = &world.v;
  out.level = world.own;
  out.deviates = world.deviates;
  return out;
}

/// The world's data with x in it and missing where it is unknown; no model has filled anything.
arma::Mat<double> unfilled(PredictorWorld& world) {
  arma::Mat<double> out = world.data();
  for (arma::uword u : world.missing)
    for (arma::uword i = 0; i < out.n_rows; ++i)
      if (world.working->units(world.own)(i) == u)
        for (arma::uword column : world.is_nominal() ? uwords{1, 2, 3} : uwords{1})
          out(i, column) = missing_value;
  return out;
}

TEST(PredictorStarts, AContinuousVariableStartsInItsRangeAndItsMeansAtThoseOfTheClusters) {
  PredictorWorld world(500);
  world.sizes = {{40, 20, 50}, {30}, {20, 40}};
  world.means = true;
  for (arma::uword k = 30; k < 90; ++k) world.missing.push_back(k);
  world.build();
  world.draw_joint();
  arma::Mat<double> data = unfilled(world);
  const arma::Col<double> before = data.col(1);
  const auto x = sem::make_predictor(setup_of(world), {{8}, {8}}, data);
  double least = 1e9, most = -1e9;
  for (double value : before)
    if (!std::isnan(value)) {
      least = std::min(least, value);
      most = std::max(most, value);
    }
  std::set<double> fills;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    if (std::isnan(before(i))) {
      EXPECT_GE(data(i, 1), least);
      EXPECT_LE(data(i, 1), most);
      fills.insert(data(i, 1));
    } else {
      EXPECT_EQ(data(i, 1), before(i));
    }
  }
  EXPECT_GT(fills.size(), 10U);
  arma::uword const n = world.working->n_units(1);
  arma::Col<double> T(n);
  for (arma::uword j = 0; j < n; ++j) {
    const uwords rows = arma::find(world.working->units(1) == j);
    T(j) = arma::mean(arma::Col<double>(data.col(1)).elem(rows));
    for (arma::uword i : rows) EXPECT_NEAR(data(i, world.mean_column(1, 0)), T(j), 1e-12);
  }
  const arma::Col<double> params = x->params();
  EXPECT_NEAR(params(0), arma::mean(T), 1e-12);
  EXPECT_EQ(params(1), 0.0);
  EXPECT_NEAR(params(2), arma::var(arma::Col<double>(x->deviation(0))), 1e-12);
  EXPECT_NEAR(params(4), arma::var(arma::Col<double>(x->deviation(1))), 1e-12);
  EXPECT_NEAR(x->getMissingPercent(),
              100.0 * static_cast<double>(x->missing_units.n_elem) / static_cast<double>(data.n_rows), 1e-12);
}

TEST(PredictorStarts, CategoriesAreAmongTheObservedOnes) {
  for (kind k : {kind::binary, kind::ordinal, kind::binary_nominal, kind::nominal}) {
    PredictorWorld world(501);
    world.of = k;
    world.build();
    world.draw_joint();
    arma::Mat<double> data = unfilled(world);
    const arma::Col<double> before = data.col(1);
    const auto x = sem::make_predictor(setup_of(world), {{8}, {8}}, data);
    for (arma::uword i = 0; i < data.n_rows; ++i) {
      if (!std::isnan(before(i))) {
        EXPECT_EQ(data(i, 1), before(i));
      }
      const auto at = std::find(world.v.values.begin(), world.v.values.end(), data(i, 1));
      ASSERT_NE(at, world.v.values.end());
      for (arma::uword d = 0; world.is_nominal() && d < world.dim; ++d)
        EXPECT_EQ(data(i, 2 + d), data(i, 1) == world.v.values[d + 1] ? 1.0 : 0.0);
    }
    EXPECT_TRUE(arma::approx_equal(x->uncenteredData().col(0), data.col(1), "absdiff", 0));
  }
}

TEST(PredictorSteps, AVariableOfAClusterHasOneValueInIt) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal}) {
    PredictorWorld world(502);
    world.of = k;
    world.own = 1;
    world.sizes = {{2, 3, 1}, {4}, {2, 2}, {1, 3}};
    world.deviates = {true};
    world.missing = {0, 3, 5};
    world.b_x = 0.5;
    world.centre = center::grand;
    world.build();
    world.draw_joint();
    for (int t = 0; t < 50; ++t) {
      world.scan(false);
      for (arma::uword i = 1; i < world.data().n_rows; ++i)
        if (world.working->units(1)(i) == world.working->units(1)(i - 1)) {
          for (arma::uword column : {1, 2, 3})
            EXPECT_EQ(world.data()(i, column), world.data()(i - 1, column));
        }
    }
  }
}

// With drawn parameters the scores around a cluster's mean spread by the residual and by what predicts it.
TEST(PublishedColumns, ACentredCodeIsLessItsExpectation) {
  PredictorWorld world(503);
  world.of = kind::ordinal;
  world.sizes = {{9, 8, 7}, {10}, {8, 9}};
  world.centre = center::cluster;
  world.means = true;
  world.centre_means = center::grand;
  world.build();
  world.draw_joint();
  sem::Variable& x = *world.x.model;
  for (unsigned q = 0; q < 2; ++q) {
    world.scores_at(q).write(x.columns(), x.deviation(q));
    x.drawParam(q, world.scores_at(q));
  }
  x.publish(world.data());
  const arma::Col<double> p = x.params();  // mu, tau, gamma_0, 1, gamma_1, sigma2_1
  ASSERT_EQ(p.n_elem, 6U);
  const arma::Col<double> w = world.scores_at(0).data().col(8);
  const double sd = std::sqrt(1.0 + p(2) * p(2) * arma::dot(w, w) / static_cast<double>(w.n_elem));
  const arma::Mat<double> T = x.latentMeans()[0];
  for (arma::uword i = 0; i < world.data().n_rows; ++i) {
    const double code = x.uncenteredData()(i, 0);
    const double expected = 1 + phi(T(i, 0) / sd) + 3 * phi((T(i, 0) - p(1)) / sd);
    EXPECT_NEAR(world.data()(i, 1), code - expected, 1e-12);
    EXPECT_NEAR(world.data()(i, world.mean_column(1, 0)), T(i, 0) - p(0), 1e-12);
    EXPECT_NEAR(x.data()(i, 0), code - expected, 1e-12);
  }
  const arma::Col<double> shown = world.data().col(1);
  EXPECT_NEAR(x.sd(), std::sqrt(arma::dot(shown, shown) / static_cast<double>(shown.n_elem - 1)), 1e-12);
}

TEST(PredictorParameters, LabelsMatchValues) {
  const std::vector<std::string> names = {"y", "x", "x.2", "x.5", "", "", "", "", "w", "", ""};
  using k = predictor_row::kind;
  for (kind of : {kind::continuous, kind::binary, kind::ordinal, kind::binary_nominal, kind::nominal}) {
    PredictorWorld world(504);
    world.of = of;
    world.build();
    world.draw_joint();
    const sem::Variable& x = *world.x.model;
    const std::vector<predictor_row> rows = x.layout(names);
    const arma::Col<double> values = x.params();
    ASSERT_EQ(rows.size(), values.n_elem);
    EXPECT_EQ(x.numParams(), values.n_elem);
    arma::uword held = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      held += rows[i].fixed;
      const unsigned q = rows[i].level == 0 ? 2 : rows[i].level - 1;
      arma::uword const at = rows[i].name == "x.5" && of == kind::nominal ? 1 : 0;
      switch (rows[i].what) {
        case k::grand_mean:
          EXPECT_EQ(values(i), world.x.state->grand_mean(at));
          break;
        case k::coefficient:
          EXPECT_EQ(rows[i].other, "w");
          EXPECT_EQ(values(i), world.gamma[q](0, at));
          break;
        case k::threshold:
          EXPECT_EQ(rows[i].number, 1U);
          EXPECT_EQ(values(i), world.tau(1));
          break;
        case k::residual_variance:
          EXPECT_EQ(values(i), world.Sigma[q](0, 0));
          break;
        case k::variance:
          EXPECT_EQ(values(i), world.Sigma[q](at, at));
          break;
        case k::covariance:
          EXPECT_EQ(rows[i].name, "x.2");
          EXPECT_EQ(rows[i].other, "x.5");
          EXPECT_EQ(values(i), world.Sigma[q](1, 0));
      }
    }
    EXPECT_EQ(x.n_estimated(), values.n_elem - held);
    EXPECT_EQ(x.numThresh(), of == kind::ordinal ? 1U : 0U);
  }
}

TEST(MeansOnly, ReadsValuesAndWritesOnlyWhatDerives) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal}) {
    PredictorWorld world(505);
    world.of = k;
    world.missing = {};
    world.means = true;
    world.centre = center::cluster;
    world.build();
    world.draw_joint();
    arma::Mat<double> data = world.data();
    for (arma::uword i = 0; i < data.n_rows; ++i) {  // raw columns
      arma::uword const category = i % 3;
      data(i, 1) = k == kind::continuous ? 0.1 * static_cast<double>(i * i % 7) : world.v.values[category];
      for (arma::uword d = 0; d < 2; ++d) data(i, 2 + d) = category == d + 1 ? 1.0 : 0.0;
    }
    sem::predictor_setup setup = setup_of(world);
    setup.means_only = true;
    setup.centred_columns = k == kind::nominal ? uwords{0, 8} : uwords{0};
    const auto x = sem::make_predictor(setup, {{}, {}}, data);
    EXPECT_FALSE(x->missing);
    EXPECT_TRUE(x->means_only());
    for (arma::uword i = 0; i < data.n_rows; ++i) {
      arma::uword const category = (i + 1) % 3;
      data(i, 1) = k == kind::continuous ? 0.2 * static_cast<double>(i * i % 5) : world.v.values[category];
      for (arma::uword d = 0; d < 2; ++d) data(i, 2 + d) = category == d + 1 ? 1.0 : 0.0;
    }
    const arma::Mat<double> raw = data.cols(1, 3);
    x->read(data);
    for (unsigned d = 0; d < 2; ++d) x->drawParam(d, world.scores[d]);
    x->drawComponent(1, world.scores[1], world.scores[0]);
    x->drawGrandMean(world.scores[1]);
    x->publish(data);
    EXPECT_TRUE(arma::approx_equal(raw, data.cols(1, 3), "absdiff", 0.0));
    EXPECT_TRUE(arma::approx_equal(x->uncenteredData().col(0), data.col(1), "absdiff", 0.0));
    EXPECT_TRUE(arma::approx_equal(x->data(), data.cols(setup.centred_columns), "absdiff", 1e-12));
    if (k == kind::continuous) {
      EXPECT_TRUE(arma::approx_equal(x->data(), data.col(1) - x->latentMeans()[0], "absdiff", 1e-12));
    } else {
      // Scores agree with the categories that were read.
      const arma::Mat<double> S = x->latentScores();
      for (arma::uword i = 0; i < S.n_rows; ++i) {
        arma::uword const category = (i + 1) % 3;
        if (k == kind::ordinal) {
          const arma::Col<double> tau = {0.0, x->params()(1)};
          EXPECT_EQ(arma::accu(arma::Col<double>{S(i, 0), S(i, 0)} > tau), category);
        } else {
          EXPECT_EQ(S.row(i).max() > 0 ? S.row(i).index_max() + 1 : 0, category);
        }
      }
    }
  }
}

TEST(PredictorModels, RefuseWhatTheyAreNotBuiltFor) {
  PredictorWorld world(506);
  world.build();
  world.draw_joint();
  sem::Variable& x = *world.x.model;
  try {
    x.drawComponent(0, world.scores[0], world.scores[0]);
    FAIL() << "no level below the first";
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "l is less than 1");
  }
  EXPECT_THROW(x.drawComponent(2, world.scores[1], world.scores[0]), error_debug);
  EXPECT_THROW(x.drawComponent(world.data(), 1, world.scores[1], world.scores[0]), error_debug);
  EXPECT_THROW(x.drawGrandMean(world.data(), world.scores[1]), error_debug);
  EXPECT_THROW(x.drawImputation(world.data(), world.scores[0]), error_debug);
  EXPECT_THROW(x.deviation(2), error_debug);
  // Groups of latent means are by clusters, not by rows.
  auto list = world.readers();
  list->together = sem::estimator::acceptance(0, world.working->units(1), world.working->units(1));
  EXPECT_THROW(x.setLikelihood(predictor_step::level_mean, 1, std::move(list)), error_debug);

  sem::predictor_setup setup = setup_of(world);
  arma::Mat<double> data = world.data();
  data.col(1).fill(0.1);  // whose mean is not 0.1 for every number of them
  EXPECT_THROW(sem::make_predictor(setup, {{}, {}}, data), tovik::error);
  data.col(1).fill(missing_value);
  EXPECT_THROW(sem::make_predictor(setup, {{}, {}}, data), error_debug);
  data = world.data();
  world.v.setCentered(center::cluster);
  setup.deviates = {true, false};
  EXPECT_THROW(sem::make_predictor(setup, {{}}, data), error_debug);
  world.v.setCentered(center::none);
  setup.deviates = {true, true};
  EXPECT_THROW(sem::make_predictor(setup, {{}, {2, 3, 4, 5}}, data), tovik::error);
  PredictorWorld complete(507);
  complete.missing = {};
  complete.build();
  complete.draw_joint();
  EXPECT_THROW(complete.x.model->setLikelihood(predictor_step::imputation, 0, complete.readers()),
               error_debug);
}

TEST(PredictorModels, TuneOnlyWhatWasProposed) {
  PredictorWorld world(508);
  world.of = kind::ordinal;
  world.b_x = 0.6;
  world.build();
  world.draw_joint();
  for (int t = 0; t < 30; ++t) world.scan(false);
  auto before = world.x.model->tuneResults();
  ASSERT_EQ(before.size(), 4U);  // values, latent means, grand mean, thresholds
  EXPECT_EQ(before.label, "x");
  EXPECT_EQ(before[0].total, 30U * world.missing.size());
  EXPECT_EQ(before[1].total, 0U);
  EXPECT_EQ(before[2].total, 0U);
  EXPECT_DOUBLE_EQ(before[0].value, 1.5);
  world.x.model->tune(false);
  EXPECT_EQ(world.x.model->tuneResults()[0].total, before[0].total);
  world.x.model->tune(true);
  const auto after = world.x.model->tuneResults();
  EXPECT_NE(after[0].value, before[0].value);
  EXPECT_EQ(after[1].value, before[1].value);
  EXPECT_EQ(after[2].value, before[2].value);
}

TEST(PredictorModels, LatentOutputIsByRows) {
  PredictorWorld world(509);
  world.of = kind::nominal;
  world.build();
  world.draw_joint();
  const arma::Mat<double> out = world.x.model->getLatent();
  ASSERT_EQ(out.n_rows, world.data().n_rows);
  ASSERT_EQ(out.n_cols, 4U);
  EXPECT_TRUE(arma::approx_equal(out.cols(0, 1), world.x.state->scores(0), "absdiff", 0.0));
  for (arma::uword i = 0; i < out.n_rows; ++i)
    for (arma::uword k = 0; k < 2; ++k)
      EXPECT_EQ(out(i, 2 + k), world.x.state->scores(1)(world.working->units(1)(i), k));
  std::ostringstream text;
  world.x.model->print_debug(text);
  EXPECT_NE(text.str().find("x: grand mean"), std::string::npos);
}

}  // namespace
}  // namespace tovik::tests::predictor_model_test
