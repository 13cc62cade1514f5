#include "sem/ensemble/likelihood_lists.hpp"

#include <gtest/gtest.h>

#include "scan_world.hpp"
#include "two_equations.hpp"

namespace tovik::sem::likelihood_lists_test {
namespace {

using tests::computed;
using tests::LoneEstimator;
using tests::World;
using model_ptr = std::shared_ptr<estimator::Outcome>;

tests::nesting const small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

/// Equations for columns 1 to 8 that read each other in every way.
struct Web {
  World world{3, small, 61};
  LoneEstimator estimator{61};
  std::vector<model_ptr> models;

  void add(arma::uword y, unsigned level, arma::Col<arma::uword> x, std::vector<estimator::compute> x_compute,
           std::vector<arma::Col<arma::uword>> z = {},
           std::vector<std::vector<estimator::compute>> z_compute = {}, bool incomplete = true) {
    equation_setup setup = world.setup(level, std::move(x));
    setup.y = y;
    setup.x_compute = std::move(x_compute);
    if (!z.empty()) setup.z = std::move(z);
    if (!z_compute.empty()) setup.z_compute = std::move(z_compute);
    if (incomplete) setup.missing_units = {0, 2};
    setup.mutable_columns.assign(world.data.n_cols, true);
    auto model = std::make_shared<Normal>(&estimator, setup);
    model->betas_.fill(0.7);
    for (arma::Mat<double>& effects : model->u) effects.fill(0.3);
    models.push_back(model);
  }

  Web() {
    world.data.insert_cols(9, 2);
    for (unsigned l : {1U, 2U})
      for (arma::uword i = 0; i < world.data.n_rows; ++i)
        world.data(i, 8 + l) = static_cast<double>(world.units[l](i));
    add(1, 0, {0, 2}, {computed("#DATA(3) * #DATA(6)"), computed("clmn(#DATA(4), #DATA(9))")}, {{0, 5}, {}},
        {{}, {computed("exp(0.1 * #DATA(7))")}});
    add(2, 0, {0}, {computed("center(#DATA(3)) ^ 2")});
    add(3, 0, {0, 8}, {computed("max(#DATA(2), #DATA(4))")});
    add(6, 1, {0}, {computed("clmn(#DATA(5), #DATA(9))"), computed("clmn(min(#DATA(2), 1.2), #DATA(9))")});
    add(7, 1, {0, 8}, {computed("ifelse(#DATA(6) > 1.75, 2, 0)")}, {{0}});
    add(8, 2, {0}, {computed("mean(#DATA(1), #DATA(10))")}, {}, {}, false);
  }

  level_units units() const {
    level_units out;
    for (const auto& ids : world.units) out.push_back(&ids);
    return out;
  }
};

TEST(LikelihoodLists, EveryModelWhoseLikelihoodChangesIsListed) {
  Web web;
  unsigned listed = 0;
  for (const model_ptr& owner : web.models) {
    arma::uword const column = owner->y(0);
    const auto readers = readers_of(*owner, web.models);
    arma::Mat<double> moved = web.world.data;
    for (arma::uword i = 0; i < moved.n_rows; ++i)
      moved(i, column) += web.world.units[owner->level](i) % 2 == 0 ? 0.9 : -0.4;
    for (const model_ptr& model : web.models) {
      if (model == owner) continue;
      const double change = model->logLiklihood(moved) - model->logLiklihood(web.world.data);
      const bool is_listed = std::find(readers.begin(), readers.end(), model.get()) != readers.end();
      const bool changes = change != 0.0;
      EXPECT_EQ(changes, is_listed) << "column " << column << " in the equation of " << model->y(0);
      listed += is_listed;
    }
  }
  EXPECT_EQ(listed, 11U);
}

TEST(LikelihoodLists, AnOutcomeThatNobodyReadsIsDrawnFromItsEquationAlone) {
  World world(1, {{12}}, 62);
  tests::simulate_outcome(world, 0, 1.0, 62);
  LoneEstimator estimator(62);
  equation_setup one = world.setup(0, {0, 2}), two = world.setup(0, {0, 1});
  two.y = 3;
  one.missing_units = two.missing_units = {1, 5};
  one.mutable_columns = two.mutable_columns = {false, true, false, true};
  auto a = std::make_shared<Normal>(&estimator, one), b = std::make_shared<Normal>(&estimator, two);
  wire_likelihood_lists({a, b}, {&world.units[0]}, world.data);
  for (int t = 0; t < 5; ++t) {
    a->draw(world.data);
    b->draw(world.data);
  }
  EXPECT_EQ(a->imp_tune.total, 10U);
  EXPECT_EQ(b->imp_tune.total, 0U);
  a->imp_tune.accepted = a->imp_tune.total;
  a->tune();
  b->tune();
  EXPECT_EQ(a->imp_tune.value, 6.0);
  EXPECT_EQ(b->imp_tune.value, 3.0);
}

/// The groups of units 0, 1, ... of the variable in column `column` when one equation of `level` reads the
/// expression; "" for every unit alone.
std::string groups(unsigned level, const std::string& expression, arma::uword column = 2,
                   unsigned variable_level = 0) {
  World world(3, {{2, 1}, {2}}, 63);
  world.data.insert_cols(9, 2);
  for (unsigned l : {1U, 2U})
    for (arma::uword i = 0; i < world.data.n_rows; ++i)
      world.data(i, 8 + l) = static_cast<double>(world.units[l](i));
  world.data.col(5) = arma::Col<double>{7, 3, 7, 3, arma::datum::nan};
  LoneEstimator estimator(63);
  equation_setup setup = world.setup(level, {0});
  setup.x_compute = {computed(expression)};
  const Normal reader(&estimator, setup);
  const auto together = acceptance_groups(column, variable_level, {&reader}, world.level_units(), world.data);
  if (together.each_alone()) return "";
  EXPECT_EQ(together.level(), std::max(level, variable_level));
  EXPECT_EQ(together.group_of_unit().n_elem, world.first_rows[together.level()].n_elem);
  std::string out;
  std::vector<arma::uword> seen;
  for (arma::uword g : together.group_of_value()) {
    const auto at = std::find(seen.begin(), seen.end(), g);
    out += static_cast<char>('a' + (at - seen.begin()));
    if (at == seen.end()) seen.push_back(g);
  }
  return out;
}

TEST(AcceptanceGroups, RowByRowExpressionsTieNothing) {
  EXPECT_EQ(groups(0, "#DATA(2) * #DATA(6) + log(#DATA(3))"), "");
  EXPECT_EQ(groups(0, "max(#DATA(2), 0)"), "");
  EXPECT_EQ(groups(0, "#DATA(2) - mean(#DATA(3))"), "");
}

TEST(AcceptanceGroups, AStatisticOfTheColumnTiesAll) {
  for (const char* name : {"mean", "sd", "scale", "center", "max", "min"})
    EXPECT_EQ(groups(0, std::string(name) + "(#DATA(2) + 1)"), "aaaaa") << name;
  EXPECT_EQ(groups(0, "lag1(#DATA(2), #DATA(3))"), "aaaaa");
}

TEST(AcceptanceGroups, AStatisticByClusterTiesItsClusters) {
  for (const char* name : {"mean", "sd", "scale", "center", "clmn", "clsd"})
    EXPECT_EQ(groups(0, std::string(name) + "(#DATA(2), #DATA(9))"), "aabcc") << name;
  EXPECT_EQ(groups(0, "lag1(#DATA(2), #DATA(3), #DATA(10))"), "aaabb");
  // Clusters of any column, rows apart; a row without an identifier stands alone.
  EXPECT_EQ(groups(0, "clmn(#DATA(2), #DATA(5))"), "ababc");
}

TEST(AcceptanceGroups, TiesChain) {
  EXPECT_EQ(groups(0, "clmn(#DATA(2), #DATA(9)) * clmn(#DATA(2), #DATA(5))"), "aaaaa");
  EXPECT_EQ(groups(0, "center(clmn(#DATA(2), #DATA(9)), #DATA(10))"), "aaabb");
  EXPECT_EQ(groups(0, "clmn(#DATA(3), #DATA(2))", 2), "aaaaa");
}

TEST(AcceptanceGroups, AnEquationOfAHigherLevelTiesTheUnitsBelowEachOfItsOwn) {
  EXPECT_EQ(groups(1, "clmn(#DATA(2), #DATA(9))"), "aabcc");
  EXPECT_EQ(groups(2, "clmn(#DATA(2), #DATA(9))"), "aaabb");
  EXPECT_EQ(groups(0, "clmn(#DATA(6), #DATA(10))", 6, 1), "aab");
}

}  // namespace
}  // namespace tovik::sem::likelihood_lists_test
