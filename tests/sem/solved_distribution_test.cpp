// A solved distribution is the normalised product of the densities of all equations that hold the unknown: in
// the unknown their log density is a parabola, whose top and curvature are compared with it.

#include <gtest/gtest.h>

#include <cmath>

#include "model/defaults.hpp"
#include "sample_tests.hpp"
#include "sem/autosolver/auto_constraint.hpp"
#include "sem/phantoms/phantom.hpp"
#include "solved_world.hpp"

namespace tovik::tests::solved_distribution_test {
namespace {

const std::vector<std::string> names = {"id", "x", "y", "y2", "z", "w", "v", "o"};

/// 12 clusters of 5 rows; w and v vary between clusters, o has the categories 0, 1, 2. The columns in `gaps`
/// have missing cells.
arma::mat columns(const std::vector<arma::uword>& gaps) {
  Random rng(31, 1);
  arma::mat out = rng.randn(60, 8);
  for (arma::uword i = 0; i < 60; ++i) {
    out(i, 0) = static_cast<double>(i / 5);
    for (arma::uword j : {5u, 6u}) out(i, j) = out(i - i % 5, j);
    out(i, 7) = static_cast<double>(i % 3);
    for (arma::uword j : gaps) {
      const arma::uword unit = j == 5 ? i / 5 : i;
      if (unit % 4 == 1) out(i, j) = arma::datum::nan;
    }
  }
  return out;
}

struct parabola {
  double top, variance;
};

/// Of a log density that is quadratic around x.
template <class F>
parabola fit(double x, F f) {
  const double h = 0.5, below = f(x - h), at = f(x), above = f(x + h);
  const double curvature = (2.0 * at - below - above) / (h * h);
  return {x + (above - below) / (2.0 * h) / curvature, 1.0 / curvature};
}

/// The distribution of every solved value of the outcome.
void expect_solved(SolvedWorld& world, const std::string& outcome) {
  const auto solver = sem::solved_values(world.solvers(), world.index(outcome));
  ASSERT_NE(solver, nullptr);
  const sem::autosolver::normal found = solver->distribution(world.data());
  const arma::uvec units =
      solver->units ? *solver->units : arma::regspace<arma::uvec>(0, world.equation(outcome).n_units - 1);
  ASSERT_EQ(found.mean.n_elem, units.n_elem);
  ASSERT_GT(units.n_elem, 2u);
  for (arma::uword k = 0; k < units.n_elem; ++k) {
    const double before = world.read(outcome, units(k));
    const parabola wanted = fit(before, [&](double x) {
      world.write(outcome, units(k), x);
      return world.log_density();
    });
    world.write(outcome, units(k), before);
    EXPECT_NEAR(found.variance(k), wanted.variance, 1e-7 * wanted.variance) << "unit " << units(k);
    EXPECT_NEAR(found.mean(k), wanted.top, 1e-7 * (1.0 + std::fabs(wanted.top))) << "unit " << units(k);
  }
}

TEST(SolvedValues, OfAPredictorAloneAndInProducts) {
  SolvedWorld world(names, columns({1}), {},
                    {"x ~ z", "y ~ x z (x*z) (x*(2 - z*w) - z)", "y2 ~ x", "v ~ (x*z)"});
  expect_solved(world, "x");
}

TEST(SolvedValues, WithRandomEffectsInBothEquations) {
  SolvedWorld world(names, columns({1}), {"id"}, {"x ~ z | 1 z", "y ~ x (x*w) | 1 z", "y2 ~ x | 1"});
  expect_solved(world, "x");
}

TEST(SolvedValues, OfAVariableOfClusters) {
  SolvedWorld world(names, columns({5}), {"id"}, {"w ~ v", "y ~ w x (w*x) | 1 x", "y2 ~ (w*z)"});
  expect_solved(world, "w");
}

TEST(SolvedValues, OfAVariableOfClustersReadAtBothLevels) {
  SolvedWorld world(names, columns({5}), {"id"}, {"w ~ 1", "v ~ w", "y ~ w x"});
  expect_solved(world, "w");
}

TEST(SolvedValues, ReadByAProbitModelAndAMissingDataIndicator) {
  SolvedWorld world(names, columns({1}), {}, {"x ~ z", "o ~ x z (x*w)", "x.missing ~ x z"}, {}, {"o"});
  expect_solved(world, "x");
}

TEST(SolvedValues, ReadByATransformedOutcome) {
  arma::mat data = columns({1});
  data.col(2) = arma::exp(data.col(2));
  SolvedWorld world(names, data, {}, {"x ~ z", "log(y) ~ x (x*z)"});
  expect_solved(world, "x");
}

TEST(SolvedValues, OfTwoVariablesThatStandInOneProduct) {
  SolvedWorld world(names, columns({1, 4}), {}, {"x ~ w", "z ~ w x", "y ~ x z (x*z)"});
  expect_solved(world, "x");
  expect_solved(world, "z");
}

TEST(SolvedValues, GivenPhantomsOfTheResidualsAndOfEffects) {
  const Setting<bool> phantoms(sem::defaults::optimize_models, false);
  SolvedWorld world(
      names, columns({1}), {"id"},
      {"x ~ z | 1", "y ~ x (x*z) | 1", "y2 ~ x | 1", "y <-> y2", "x <-> y2", "x[id] <-> y[id]"});
  expect_solved(world, "x");
}

TEST(SolvedValues, OfAPropensity) {
  SolvedWorld world(names, columns({}), {}, {"o ~ z", "y ~ o.latent (o.latent*z)", "y2 ~ o.latent"}, {},
                    {"o"});
  expect_solved(world, "o");
}

TEST(SolvedValues, OfAPropensityWithMissingCategories) {
  SolvedWorld world(names, columns({7}), {"id"}, {"o ~ z | 1", "y ~ o.latent z | 1"}, {}, {"o"});
  expect_solved(world, "o");
}

TEST(SolvedValues, NoneForAPropensityWhoseMissingCategoriesAreRead) {
  SolvedWorld world(names, columns({7}), {}, {"o ~ z", "y ~ o.latent z", "y2 ~ o"}, {}, {"o"});
  EXPECT_EQ(sem::solved_values(world.solvers(), world.index("o")), nullptr);
}

TEST(SolvedValues, NoneWhereTheyAreNotNormal) {
  SolvedWorld world(names, columns({1}), {}, {"x ~ z", "y ~ x (x*x)"});
  EXPECT_EQ(sem::solved_values(world.solvers(), world.index("x")), nullptr);
}

// Generated terms.

/// Expressions at random: free ones of z and w, and ones that are linear in a target.
struct Generator {
  Random rng;
  std::string target;

  unsigned pick(unsigned n) { return static_cast<unsigned>(rng.runif() * n) % n; }
  std::string free(int depth) {
    static const char* const leaves[] = {"z", "w", "0.5", "2"};
    if (depth == 0) return leaves[pick(4)];
    switch (pick(4)) {
      case 0:
        return "(" + free(depth - 1) + " + " + free(depth - 1) + ")";
      case 1:
        return "(" + free(depth - 1) + " - 0.3*z)";
      case 2:
        return "(" + free(depth - 1) + " * w)";
      default:
        return "exp(0.3*" + free(0) + ")";
    }
  }
  std::string linear(int depth) {
    if (depth == 0) return target;
    switch (pick(6)) {
      case 0:
        return "(" + free(1) + " + " + linear(depth - 1) + ")";
      case 1:
        return "(" + linear(depth - 1) + " - " + free(1) + ")";
      case 2:
        return "(" + free(2) + " - " + linear(depth - 1) + ")";
      case 3:
        return "(" + free(1) + " * " + linear(depth - 1) + ")";
      case 4:
        return "(" + linear(depth - 1) + " * " + free(2) + ")";
      default:
        return "(" + linear(depth - 1) + " / exp(0.2*z))";
    }
  }
};

TEST(GeneratedTerms, LinearInAVariableAreSolved) {
  Generator make{Random(17, 1), "x"};
  for (int rep = 0; rep < 40; ++rep) {
    const std::string terms = " (" + make.linear(3) + ") (" + make.linear(4) + ")";
    SCOPED_TRACE(terms);
    SolvedWorld world(names, columns({1}), {}, {"x ~ z", "y ~ x z" + terms, "y2 ~ (" + make.linear(2) + ")"});
    expect_solved(world, "x");
  }
}

TEST(GeneratedTerms, ThatAreNotLinearAreRefused) {
  for (const char* inner : {"exp(x)", "(x*x)", "(z/x)", "(x^2)", "sqrt(x^2)"}) {
    Generator make{Random(18, 1), inner};
    for (int rep = 0; rep < 8; ++rep) {
      const std::string term = "(" + make.linear(3) + ")";
      SCOPED_TRACE(term);
      SolvedWorld world(names, columns({1}), {}, {"x ~ z", "y ~ x z " + term});
      EXPECT_EQ(sem::solved_values(world.solvers(), world.index("x")), nullptr);
    }
  }
}

// Blocks.

/// `member`: an outcome of the block that tells of it.
void expect_solved_in_block(SolvedWorld& world, const std::string& outcome, const std::string& member) {
  ASSERT_NE(world.equation(member).link, nullptr);
  expect_solved(world, outcome);
}

TEST(SolvedInABlock, APredictorOfTwoMembers) {
  SolvedWorld world(names, columns({1}), {}, {"x ~ z", "y ~ x z (x*z)", "y2 ~ x", "v ~ x", "y <-> y2"});
  expect_solved_in_block(world, "x", "y");
}

TEST(SolvedInABlock, APredictorOfOneMemberOfThree) {
  SolvedWorld world(names, columns({1}), {},
                    {"x ~ z", "y ~ x z", "y2 ~ w", "v ~ 1", "y y2 <-> v", "y <-> y2"});
  expect_solved_in_block(world, "x", "y");
}

TEST(SolvedInABlock, APredictorOfTwoBlocks) {
  SolvedWorld world(names, columns({1}), {},
                    {"x ~ z", "y ~ x", "y2 ~ (x*w)", "v ~ x", "w ~ 1", "y <-> y2", "v <-> w"});
  expect_solved_in_block(world, "x", "y");
}

TEST(SolvedInABlock, AVariableOfClustersWithRandomEffects) {
  SolvedWorld world(names, columns({5}), {"id"}, {"w ~ v", "y ~ w x | 1 x", "y2 ~ (w*z) | 1", "y <-> y2"});
  expect_solved_in_block(world, "w", "y");
}

TEST(SolvedInABlock, AMemberThatNobodyInItReads) {
  SolvedWorld world(names, columns({1}), {}, {"x ~ z", "y2 ~ z", "y ~ x z", "x <-> y2"});
  expect_solved_in_block(world, "x", "y2");
}

TEST(SolvedInABlock, AMemberThatAnotherReads) {
  SolvedWorld world(names, columns({1}), {}, {"x ~ z", "y ~ x w", "y2 ~ x", "x <-> y"});
  expect_solved_in_block(world, "x", "y");
}

TEST(SolvedInABlock, APropensity) {
  SolvedWorld world(names, columns({}), {}, {"o ~ z", "y ~ w", "y2 ~ o.latent", "o <-> y"}, {}, {"o"});
  expect_solved_in_block(world, "o", "y");
}

TEST(SolvedInABlock, AFactorOfCorrelatedIndicators) {
  SolvedWorld world({"x", "y", "y2", "z"}, columns({1}).cols(1, 4), {}, {"f -> x y y2", "f ~ z", "x <-> y"},
                    {}, {}, {"f"});
  expect_solved_in_block(world, "f", "y");
}

TEST(SolvedInABlock, CorrelatedFactors) {
  SolvedWorld world({"x", "y", "y2", "z", "w", "v"}, arma::mat(columns({1})).cols(1, 6), {},
                    {"f -> x y y2", "g -> z w v", "f <-> g"}, {}, {}, {"f", "g"});
  expect_solved_in_block(world, "f", "g");
  expect_solved_in_block(world, "g", "g");
}

// Scores of phantoms.

TEST(SolvedScores, OfPhantomsAreThoseOfBothSides) {
  const Setting<bool> phantoms(sem::defaults::optimize_models, false);
  SolvedWorld world(names, columns({}), {"id"},
                    {"x ~ z | 1 z", "y ~ x | 1", "y2 ~ x | 1", "y <-> y2", "x <-> y2", "x[id] <-> y[id]"});
  int checked = 0;
  for (std::size_t i = 0; i < world.models.size(); ++i) {
    auto* phantom = dynamic_cast<sem::Phantom*>(world.models[i].get());
    if (phantom == nullptr) continue;
    const auto plan = world.run.models.autosolverInfo(world.run.models[i].outcomes.front());
    ASSERT_EQ(plan.size(), 2u);
    sem::autosolver::normal found(arma::vec(phantom->n_units(), arma::fill::zeros), 1.0);
    for (const auto& entry : plan) {
      auto& side = dynamic_cast<sem::Regression&>(*world.models[entry.model]);
      found = side.phantomFunc(phantom->level - side.level, entry.positions.front())(world.data(), found);
    }
    for (arma::uword unit : {0u, 3u, 7u}) {
      const double before = world.data()(world.working.first_rows(phantom->level)(unit), phantom->y(0));
      const auto write = [&](double x) {
        world.working.write(world.data(), phantom->y(0), phantom->level, {unit}, {x});
      };
      const parabola wanted = fit(before, [&](double x) {
        write(x);
        return world.log_density();
      });
      write(before);
      EXPECT_NEAR(found.variance(unit), wanted.variance, 1e-7);
      EXPECT_NEAR(found.mean(unit), wanted.top, 1e-7);
      ++checked;
    }
  }
  EXPECT_EQ(checked, 9);
}

// Labels.

/// The walk's target, at x in all places and nothing else moved.
double at(sem::estimator::constraint& walk, double x, const arma::mat& data) {
  walk.value = x;
  for (double* link : walk.links) *link = x;
  return walk.log_density(data);
}

void expect_solved_label(SolvedWorld& world, const std::string& name) {
  using solved = sem::estimator::auto_constraint<sem::autosolver::normal_1D>;
  sem::drawn_label& label = world.label(name);
  sem::estimator::constraint walk = *label.constraint;
  sem::solve_label(world.solvers(), world.prior(), label);
  const auto* x = dynamic_cast<const solved*>(label.constraint.get());
  ASSERT_NE(x, nullptr);
  const double before = *walk.links.front();
  const sem::autosolver::normal_1D found = x->solver->distribution(world.data());
  const parabola wanted = fit(before, [&](double v) { return at(walk, v, world.data()); });
  at(walk, before, world.data());
  EXPECT_NEAR(found.variance, wanted.variance, 1e-7 * wanted.variance);
  EXPECT_NEAR(found.mean, wanted.top, 1e-7 * (1.0 + std::fabs(wanted.top)));
}

TEST(SolvedLabel, OfPlainCoefficientsOfTwoEquations) {
  SolvedWorld world(names, columns({}), {"id"}, {"y ~ x@b z@b | 1", "y2 ~ z@b x | 1 x"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, WithANormalPrior) {
  SolvedWorld world(names, columns({}), {}, {"y ~ x@b z"}, {"b ~ normal(0.5, 0.01)"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, WithThePriorOfItsFirstPlace) {
  SolvedWorld world(names, columns({}), {}, {"o ~ x@b z", "y ~ z@b"}, {}, {"o"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, InsideComputedTerms) {
  SolvedWorld world(names, columns({}), {"id"},
                    {"y ~ z (x*b) (w*z*b - x)%0.3 (2*(x + b*z))@2 | 1", "y2 ~ x@b (b*w)@c"},
                    {"c ~ normal(1, 1)"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, InsideGeneratedTerms) {
  Generator make{Random(19, 1), "b"};
  for (int rep = 0; rep < 40; ++rep) {
    const std::string terms = " (x*" + make.linear(3) + ") (" + make.linear(4) + ")%0.5";
    SCOPED_TRACE(terms);
    SolvedWorld world(names, columns({}), {}, {"y ~ z" + terms}, {"b ~ normal(0, 4)"});
    expect_solved_label(world, "b");
  }
}

TEST(SolvedLabel, OfAWholeComputedTerm) {
  SolvedWorld world(names, columns({}), {}, {"y ~ z (x*z)@b", "y2 ~ x@b"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, OfTwoMembersOfABlock) {
  SolvedWorld world(names, columns({}), {"id"}, {"y ~ x@b z | 1", "y2 ~ (w*b) z", "v ~ w@b", "y <-> y2"},
                    {"b ~ normal(0, 4)"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, OfOneMemberOfABlock) {
  SolvedWorld world(names, columns({}), {}, {"y ~ z@b x@b", "y2 ~ z", "w ~ z", "y y2 <-> w"});
  expect_solved_label(world, "b");
}

TEST(SolvedLabel, KeepsTheBoundsOfItsPrior) {
  SolvedWorld world(names, columns({}), {}, {"y ~ z (x*b)"}, {"b ~ uniform(0.2, 0.3)"});
  sem::drawn_label& label = world.label("b");
  sem::solve_label(world.solvers(), world.prior(), label);
  for (int t = 0; t < 200; ++t) {
    label.constraint->draw(world.data());
    ASSERT_GE(label.constraint->value, 0.2);
    ASSERT_LE(label.constraint->value, 0.3);
    EXPECT_EQ(world.cells.at("b").cell->eval(), label.constraint->value);
  }
}

TEST(SolvedLabel, NoneWhereItIsNotNormal) {
  SolvedWorld world(names, columns({}), {}, {"y ~ z (exp(x*b))"}, {"b ~ normal(0, 1)"});
  const auto* before = world.label("b").constraint.get();
  sem::solve_label(world.solvers(), world.prior(), world.label("b"));
  EXPECT_EQ(world.label("b").constraint.get(), before);
}

void expect_solved_variance(SolvedWorld& world) {
  using solved = sem::estimator::auto_constraint<sem::autosolver::inv_gamma>;
  sem::drawn_label& label = world.label("s");
  sem::estimator::constraint walk = *label.constraint;
  sem::solve_label(world.solvers(), world.prior(), label);
  const auto* x = dynamic_cast<const solved*>(label.constraint.get());
  ASSERT_NE(x, nullptr);
  const sem::autosolver::inv_gamma found = x->solver->distribution(world.data());
  const auto kernel = [&](double v) { return -(found.shape + 1.0) * std::log(v) - found.scale / v; };
  walk.value = 1.0;
  const auto target = [&](double v) {
    walk.write(v);
    return walk.log_density(world.data());
  };
  const double level = target(1.0) - kernel(1.0);
  for (double v : {0.3, 0.8, 2.0, 7.0})
    EXPECT_NEAR(target(v) - kernel(v), level, 1e-8 * std::fabs(level)) << v;
}

TEST(SolvedLabel, OfAResidualVariance) {
  SolvedWorld world(names, columns({}), {"id"}, {"y ~ x | 1", "y2 ~ z", "y ~~ y@s", "y2 ~~ y2@s"});
  expect_solved_variance(world);
}

TEST(SolvedLabel, OfAResidualVarianceWithAPrior) {
  SolvedWorld world(names, columns({}), {}, {"y ~ x", "y ~~ y@s"}, {"s ~ invgamma(2, 3)"});
  expect_solved_variance(world);
}

}  // namespace
}  // namespace tovik::tests::solved_distribution_test
