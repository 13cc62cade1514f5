// The draws of latent means, grand means and missing values of a predictor model leave the joint distribution
// of its state and of an outcome that reads it unchanged.

#include <gtest/gtest.h>

#include "invariance_frame.hpp"
#include "predictor_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::predictor_invariance_test {
namespace {

using kind = PredictorWorld::kind;
using center = data::center;
using sem::predictor_step;

constexpr int applications = 6;

/// Normal rectangles take their time.
int replications_of(kind of) {
  return of == kind::nominal ? 600 : 5000;
}

const nesting three = {{2, 3, 1}, {4}, {2, 2}, {1, 3}, {2}, {1, 1}};

/// A draw of the joint distribution with data that show every category.
void draw(PredictorWorld& world) {
  for (;;) {
    try {
      return world.draw_joint();
    } catch (const error_debug&) {
      // A category without an observation: what is observed stays as it is in all steps, so that leaving such
      // data out changes nothing.
    }
  }
}

void steps_leave_joint(PredictorWorld& world, bool latent = false) {
  world.build();
  const int replications = replications_of(world.of);
  double moved = 0, before = 0;
  int rep = 0;
  const auto sum_of_scores = [&] { return arma::accu(world.x.state->scores(0)); };
  const auto look = [&] {
    moved += sum_of_scores() != before;
    if (rep++ % 50 == 0 && world.x.model->needsLikelihood(predictor_step::imputation, 0)) {
      arma::Mat<double> again = world.data();
      world.x.model->publish(again);
      EXPECT_LT(arma::abs(again - world.data()).max(), 1e-10) << "columns that do not follow the state";
    }
    world.x.model->publish(world.data());
  };
  kernel_leaves_joint(
      {.replications = replications,
       .applications = applications,
       .before = [&] { before = sum_of_scores(); },
       .after = look},
      [&] { draw(world); }, [&] { return world.functions(); }, [&] { world.scan(latent); });
  if (!world.missing.empty()) {
    EXPECT_GT(moved, 0.9 * replications);
  }
}

/// How x is read.
struct reading {
  const char* name;
  double x = 0, product = 0;
  std::vector<double> means = {0, 0, 0};
  center centre = center::none, centre_means = center::none;
};

void PrintTo(const reading& r, std::ostream* out) {
  *out << r.name;
}

void set(PredictorWorld& world, const reading& r) {
  world.b_x = r.x;
  world.b_product = r.product;
  world.b_means = r.means;
  world.means = r.means[1] != 0 || r.means[2] != 0;
  world.centre = r.centre;
  world.centre_means = r.centre_means;
}

class EachReading : public testing::TestWithParam<std::tuple<kind, reading>> {};

const reading two_level_readings[] = {
    {"Nothing"},
    {"Value", 0.7, 0.3},
    {"GrandCentred", 0.7, 0.3, {0, 0, 0}, center::grand},
    {"GroupCentred", 0.7, 0.3, {0, 0, 0}, center::cluster},
    {"Mean", 0, 0, {0, 0.8, 0}},
    {"MeanGrandCentred", 0, 0, {0, 0.8, 0}, center::none, center::grand},
    {"GroupCentredAndMean", 0.7, 0.3, {0, -0.9, 0}, center::cluster, center::grand},
};

std::string name_of(const testing::TestParamInfo<std::tuple<kind, reading>>& info) {
  const char* const kinds[] = {"Continuous", "Binary", "Ordinal", "BinaryNominal", "Nominal"};
  return std::string(kinds[static_cast<int>(std::get<0>(info.param))]) + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(PredictorSteps, EachReading,
                         testing::Combine(testing::Values(kind::continuous, kind::binary, kind::ordinal,
                                                          kind::binary_nominal, kind::nominal),
                                          testing::ValuesIn(two_level_readings)),
                         name_of);

TEST_P(EachReading, InTwoLevels) {
  const auto& [kind_of, how] = GetParam();
  PredictorWorld world(100 + static_cast<unsigned>(kind_of));
  world.of = kind_of;
  set(world, how);
  steps_leave_joint(world);
}

TEST(PredictorSteps, LatentScoresWithinObservedCategories) {
  for (kind k : {kind::binary, kind::binary_nominal, kind::nominal}) {
    PredictorWorld world(200 + static_cast<unsigned>(k));
    world.of = k;
    set(world, {"", 0.7, 0.3, {0, 0.5, 0}, center::cluster});
    steps_leave_joint(world, true);
  }
}

TEST(PredictorSteps, OneLevel) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal})
    for (center c : {center::none, center::grand}) {
      PredictorWorld world(210 + static_cast<unsigned>(k));
      world.of = k;
      world.levels = 1;
      world.deviates = {true};
      set(world, {"", 0.7, 0.3, {0, 0, 0}, c});
      steps_leave_joint(world);
    }
}

TEST(PredictorSteps, ThreeLevels) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal}) {
    for (const reading& r : {reading{"", 0.7, 0.3, {0, 0.5, -0.6}, center::cluster, center::none},
                             reading{"", 0, 0, {0, 0.8, 0}, center::none, center::cluster},
                             reading{"", 0.6, 0, {0, 0.5, -0.4}, center::grand, center::grand}}) {
      PredictorWorld world(220 + static_cast<unsigned>(k));
      world.of = k;
      world.levels = 3;
      world.sizes = three;
      world.deviates = {true, true, true};
      set(world, r);
      steps_leave_joint(world);
    }
  }
}

TEST(PredictorSteps, ALevelThatIsPassedOver) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal}) {
    PredictorWorld world(230 + static_cast<unsigned>(k));
    world.of = k;
    world.levels = 3;
    world.sizes = three;
    world.deviates = {true, false, true};
    set(world, {"", 0.7, 0.3, {0, 0, 0.7}, center::cluster});
    steps_leave_joint(world);
  }
}

TEST(PredictorSteps, AVariableOfTheSecondLevel) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal}) {
    for (unsigned levels : {2U, 3U}) {
      PredictorWorld world(240 + static_cast<unsigned>(k));
      world.of = k;
      world.levels = levels;
      world.sizes = three;
      world.own = 1;
      world.missing = {0, 3, 5};
      world.deviates = levels == 3 ? std::vector<bool>{true, true} : std::vector<bool>{true};
      set(world,
          {"", 0.5, 0.2, {0, levels == 3 ? 0.6 : 0.0, 0}, levels == 3 ? center::cluster : center::grand});
      steps_leave_joint(world);
    }
  }
}

TEST(PredictorSteps, ACompleteVariable) {
  for (kind k : {kind::continuous, kind::ordinal, kind::nominal}) {
    PredictorWorld world(250 + static_cast<unsigned>(k));
    world.of = k;
    world.missing = {};
    set(world, {"", 0.7, 0.3, {0, -0.9, 0}, center::cluster, center::grand});
    steps_leave_joint(world);
  }
}

TEST(PredictorSteps, WithCoefficientsAndVariances) {
  for (kind k : {kind::continuous, kind::binary, kind::binary_nominal, kind::nominal}) {
    for (bool read : {false, true}) {
      PredictorWorld world(260 + static_cast<unsigned>(k));
      world.of = k;
      world.free_parameters = true;
      world.sizes = {{4, 2, 5}, {3}, {2, 4}, {3, 2}};
      set(world, {"", read ? 0.7 : 0.0, read ? 0.3 : 0.0});
      steps_leave_joint(world);
    }
  }
}

// y holds the mean of x over its cluster: all values of a cluster are one step.
TEST(PredictorSteps, ValuesThatARowsReaderTies) {
  for (kind k : {kind::continuous, kind::nominal}) {
    PredictorWorld world(270 + static_cast<unsigned>(k));
    world.of = k;
    set(world, {"", 1.0});
    world.build();
    const uwords& cluster = world.working->units(1);
    world.together_values = sem::estimator::acceptance(0, cluster, cluster);
    world.other_fit = [&](const arma::Mat<double>& at, arma::uword i) {
      double sum = 0, n = 0;
      for (arma::uword j = 0; j < at.n_rows; ++j)
        if (world.working->units(1)(j) == world.working->units(1)(i)) {
          sum += at(j, world.value_column());
          n += 1;
        }
      return 1.5 * sum / n;
    };
    steps_leave_joint(world);
  }
}

// y holds the mean of the latent means over all rows: they are one step.
TEST(PredictorSteps, LatentMeansThatAReaderTies) {
  PredictorWorld world(280);
  set(world, {"", 0, 0, {0, 1.0, 0}});
  world.build();
  const uwords none(world.working->n_units(1), arma::fill::zeros);
  world.together_means = sem::estimator::acceptance(1, none, none);
  world.other_fit = [&](const arma::Mat<double>& at, arma::uword) {
    return 1.5 * arma::mean(at.col(world.mean_column(1, 0)));
  };
  steps_leave_joint(world);
}

}  // namespace
}  // namespace tovik::tests::predictor_invariance_test
