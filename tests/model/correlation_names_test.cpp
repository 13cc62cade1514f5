// The correlations of blocks and phantoms by name and by place.

#include "run_models.hpp"

namespace tovik::tests::correlation_names_test {
namespace {

using places = std::vector<std::pair<unsigned, double>>;

TEST(CorrelationNames, CodedNamesAreReadBack) {
  EXPECT_EQ(Model::correlationParse("a#cor#b"), "a <-> b");
  EXPECT_EQ(Model::correlationParse("y###school#####cor#z###school####"), "y[school] <-> z[school]");
  EXPECT_EQ(Model::correlationParse("a##b#cor#c#1"), "a*b <-> c$1");
  EXPECT_EQ(Model::correlationParse("plain"), "plain");
}

TEST(CorrelationNames, APhantomModelIsNamedByItsEnds) {
  run_models run(1, {"y ~ x", "z ~ x", "z[school] <-> y[school]"});
  EXPECT_EQ(Model::correlationParse(run.of_kind(model::kind::phantom)), "y[school] <-> z[school]");
}

TEST(CorrelationNames, APhantomModelWithoutEndsIsReadFromItsName) {
  const auto phantom = std::make_shared<data::variable>("a#cor#b", data::type::phantom, 0, 0);
  model::anyVariable term;
  term.variable = phantom;
  term.type = model::type::phantom;
  EXPECT_EQ(Model::correlationParse(Model(term)), "a <-> b");
}

TEST(CorrelationNames, PlaceOfALabelInTheMatrix) {
  run_models run(0, {"y ~ x", "z ~ x", "y2 ~ x", "y <-> y2@a", "z <-> y2@b", "y <-> z@c"});
  const Model& block = run.of_kind(model::kind::block);
  ASSERT_EQ(block.fixed.size(), 3u);  // y, y2, z
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("a")), 0 + 1 * 3);
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("B")), 1 + 2 * 3);
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("c")), 0 + 2 * 3);
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("other")), -1);
  EXPECT_EQ(block.find_correlation(model::parameter()), -1);
}

TEST(CorrelationNames, StatementOrderDoesNotMatter) {
  run_models run(0, {"z <-> y2@a", "y2 <-> y@b"});
  const Model& block = run.of_kind(model::kind::block);
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("a")), 1 + 2 * 3);
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("b")), 0 + 1 * 3);
  EXPECT_EQ(block.fixed_correlations(), (places{{0 + 2 * 3, 0.0}}));
}

TEST(CorrelationNames, EqualFixedValuesKeepTheirPlaces) {
  run_models run(0, {"y <-> y2", "y2 <-> y10", "y10 <-> z"});
  const Model& block = run.of_kind(model::kind::block);  // y, y2, y10, z
  places found = block.fixed_correlations();
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (places{{0 + 2 * 4, 0.0}, {0 + 3 * 4, 0.0}, {1 + 3 * 4, 0.0}}));
}

TEST(CorrelationNames, FixedValuesStandAtTheirPlaces) {
  run_models run(0, {"y <-> z@0.3", "y <-> y2", "y2 <-> z@(-1/4)"});
  places found = run.of_kind(model::kind::block).fixed_correlations();
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (places{{0 + 2 * 3, 0.3}, {1 + 2 * 3, -0.25}}));
}

TEST(CorrelationNames, ZerosAreLeftOutOfTheNames) {
  run_models run(0, {"y <-> y2", "y2 <-> z@0.3"});
  texts names = run.of_kind(model::kind::block).nonzero_correlations();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (texts{"y <-> y2", "y2 <-> z"}));
  EXPECT_TRUE(run["y"].nonzero_correlations().empty());
}

TEST(CorrelationNames, OnlyBlocksHaveThem) {
  run_models run(0, {"y ~ x@a"});
  for (const auto& call : {+[](const Model& m) { m.find_correlation(model::parameter::labelled("a")); },
                           +[](const Model& m) { m.fixed_correlations(); }}) {
    try {
      call(run["y"]);
      FAIL();
    } catch (const error_debug& fault) {
      EXPECT_STREQ(fault.what(), "Cannot find correlation for non multivariate.");
    }
  }
}

TEST(CorrelationNames, ALabelOfABlockStandsOnce) {
  run_models run(0, {"y <-> y2@r", "y2 <-> z@R"});
  try {
    run.of_kind(model::kind::block).find_correlation(model::parameter::labelled("r"));
    FAIL();
  } catch (const error& fault) {
    EXPECT_STREQ(fault.what(),
                 "ERROR: Cannot specify correlation constraints.\n       the parameter labeled 'r' was used\n"
                 "       more than once.");
  }
}

TEST(CorrelationNames, ACorrelationOfStrangersHasNoPlace) {
  run_models run(0, {"y <-> y2@r"});
  Model& block = run.of_kind(model::kind::block);
  block.fixed.pop_back();
  EXPECT_THROW(block.find_correlation(model::parameter::labelled("r")), error_debug);
  block.random[0].param = model::parameter::fixed_at(0.5);
  try {
    block.fixed_correlations();
    FAIL();
  } catch (const error_debug& fault) {
    EXPECT_STREQ(fault.what(), "Unable to find correlation.");
  }
}

}  // namespace
}  // namespace tovik::tests::correlation_names_test
