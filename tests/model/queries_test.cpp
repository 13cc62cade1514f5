// Who holds what in a finished list, and the settings of a run that change links.

#include <chrono>

#include "evaluate/defines.hpp"
#include "run_models.hpp"

namespace tovik::tests::queries_test {
namespace {

using indices = std::vector<unsigned>;

texts names_of(const std::vector<model::anyVariable>& terms) {
  texts out;
  for (const auto& term : terms) out.push_back(term.name());
  return out;
}

model::anyVariable term(const ModelList& all, const VariableList& list, const std::string& text) {
  return model::anyVariable::parse(text, list, all.names.get(), false);
}

TEST(Queries, VariablesOfATypeReachIntoComputedTermsAndDefinitions) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  const ModelList all =
      sem::parse(statements({"y ~ (x*z.missing) y2.missing", "d = y10.missing*2"}), list, block::map());
  EXPECT_EQ(names_of(all.variables(model::type::missing, false)),
            (texts{"y2.missing", "y10.missing", "z.missing"}));
  EXPECT_EQ(names_of(all.variables(model::type::variable, false)), (texts{"Intercept", "x"}));
  EXPECT_EQ(names_of(all.variables(model::type::variable, true)), (texts{"Intercept", "x", "y"}));
}

TEST(Queries, BlocksRepeatNothing) {
  run_models run(0, {"y ~ x", "z ~ x", "y <-> z"});
  EXPECT_EQ(names_of(run.all.variables(model::type::variable, false)), (texts{"Intercept", "x"}));
  EXPECT_TRUE(run.all.variables(model::type::phantom, true).empty());
  EXPECT_EQ(run.all.variables().size(), 4u);
}

TEST(Queries, SubsetListsTheHolders) {
  run_models run(1, {"y ~ x | z", "z ~ x.mean", "x ~ (z*w)"});
  const VariableList& list = run.list;
  // Sorted: x, y, z.
  EXPECT_EQ(run.all.subset(term(run.all, list, "z"), false), (indices{0, 1}));
  EXPECT_EQ(run.all.subset(term(run.all, list, "z"), true), (indices{0, 1, 2}));
  EXPECT_EQ(run.all.subset(list.find("x"), model::type::variable, false), (indices{1}));
  EXPECT_EQ(run.all.subset(list.find("x"), model::type::mean, false), (indices{2}));
  EXPECT_TRUE(run.all.subset(list.find("v"), model::type::variable, true).empty());
}

TEST(Queries, AVariableFindsTheModelOfItsOwnMeaning) {
  run_models run(0, {"y.missing ~ 1", "y ~ x", "var(y) ~ z"});
  EXPECT_EQ(run.all[run.list.find("y")].command(), "y ~ Intercept x");
  EXPECT_THROW(run.all[run.list.find("x")], error_debug);
}

TEST(Queries, FindFollowsEveryChangeOfTheList) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"z ~ x", "y ~ x"});
  const model::anyVariable y = all[1].outcomes[0];
  EXPECT_EQ(all.find(y), &all[1]);
  all.sort();
  EXPECT_EQ(all.find(y), &all[0]);
  all.add_model({"y2 ~ x", ""}, list);
  EXPECT_EQ(all.find(all[2].outcomes[0]), &all[2]);
  all.erase(all.begin());
  EXPECT_EQ(all.find(y), nullptr);
  EXPECT_EQ(static_cast<const ModelList&>(all).find(all[1].outcomes[0]), &all[1]);
}

TEST(Queries, ResidualCorrelationsPairTheColumnsOfDifferentModels) {
  run_models run(1, {"y ~ x | x", "z ~ 1", "v ~ 1", "visits ~ 1"});
  // Sorted: v, visits, y, z; a count has no residual.
  EXPECT_EQ(run.all.rcorr_names(1), (texts{"y <-> z"}));
  EXPECT_EQ(run.all.rcorr_names(0), (texts{"v <-> y Intercept", "v <-> y x", "v <-> z Intercept",
                                           "y Intercept <-> z Intercept", "y x <-> z Intercept"}));
}

TEST(Definitions, AreTreesAndText) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  const ModelList all = sem::parse(statements({"y ~ e", "d = x*2", "e = d + z"}), list, block::map());
  EXPECT_EQ(all.definitions_text("  "), (texts{"  d = x*2", "  e = d + z"}));
  const auto trees = all.get_evaluates();
  ASSERT_EQ(trees.size(), 2u);
  EXPECT_EQ(trees[1].first, "e");
  arma::mat data(1, 5, arma::fill::zeros);
  data(0, list.find("x")->column) = 3;
  data(0, list.find("z")->column) = 4;
  EXPECT_EQ(trees[1].second->eval(data)(0), 10.0);
}

TEST(Definitions, FollowTheirVariablesToTheirColumns) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  const ModelList all = sem::parse(statements({"y ~ d", "d = x*X + z.missing"}), list, block::map());
  list.find("x")->column = 7;
  list.find("z")->setRstar(9);
  all.update_def();
  EXPECT_EQ(all.names->find("x")->text, "#DATA(7)");
  EXPECT_EQ(all.names->find("z.missing")->text, "#DATA(9)");
}

TEST(Settings, WeightsChangeIdentityLinksOnly) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x", "eta ~ x", "bin ~ x"});
  for (Model& model : all) model.setWeights();
  using model::link;
  const std::vector<link> expected = {link::weighted, link::weighted, link::probit};
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(all[i].link, expected[i]) << i;
  ModelList refused =
      equations(list, {"visits ~ x", "g ~ x", "logit(bin) ~ x", "yjt(z) ~ x", "var(y) ~ x", "z.missing ~ x"});
  for (Model& model : refused) EXPECT_THROW(model.setWeights(), error) << model.command();
}

TEST(Settings, HeterogeneousVariancesNeedClustersAndAPlainNormalOutcome) {
  run_models run(
      1, {"y ~ x", "v ~ 1", "bin ~ 1", "yjt(y2) ~ 1", "y10 <-> z", "eta -> y", "w ~ 1", "var(w) ~ 1"});
  run.all.set_heterogeneous();
  for (const Model& model : run.all) {
    EXPECT_EQ(model.link == model::link::hev, model.name() == "y") << model.command();
  }
}

/// n statements over 2.5 n variables: regressions, loadings, correlations and labels.
double seconds_for(unsigned n) {
  VariableList list;
  for (unsigned k = 0; k < 5 * n / 2; ++k)
    list.variables.push_back(
        std::make_shared<data::variable>("v" + std::to_string(k), data::type::continuous, k, 0u));
  list.variables.push_back(std::make_shared<data::variable>("1", data::type::constant, 5 * n / 2, 0u));
  for (unsigned k = 0; k < n / 10; ++k)
    list.variables.push_back(
        std::make_shared<data::variable>("f" + std::to_string(k), data::type::latent, 9 * n + k, 0u));
  texts all;
  const auto v = [&](unsigned k) { return "v" + std::to_string(k % (5 * n / 2)); };
  for (unsigned i = 0; i < n; ++i) {
    if (i % 10 == 0) {
      all.push_back("f" + std::to_string(i / 10) + " -> " + v(i) + " " + v(i + 1) + " " + v(i + 2));
    } else if (i % 10 == 5) {
      all.push_back(v(i) + " <-> " + v(i + 1) + "@r" + std::to_string(i));
    } else {
      all.push_back(v(i % (n / 2)) + " ~ " + v(i + n) + "@b" + std::to_string(i / 2) + " " + v(i + n + 1));
    }
  }
  const auto start = std::chrono::steady_clock::now();
  const ModelList models = sem::parse(statements(all), list, block::map());
  EXPECT_GT(models.size(), n / 2);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The best of some runs, which is what the work costs on a machine that has other work.
double best_seconds(unsigned n, int runs) {
  double best = seconds_for(n);
  for (int i = 1; i < runs; ++i) best = std::min(best, seconds_for(n));
  return best;
}

TEST(Performance, TwoThousandStatementsAssembleInAMoment) {
  const double small = best_seconds(500, 5);
  const double large = best_seconds(2000, 3);
  // An idle machine needs a fiftieth of it; sanitizers and busy machines more.
  EXPECT_LT(large, 5.0);
  // n log n makes a factor of 4.8, a quadratic step of weight one of 16.
  EXPECT_LT(large, 9.0 * small + 0.3);
  warning::buffer.clear();
}

}  // namespace
}  // namespace tovik::tests::queries_test
