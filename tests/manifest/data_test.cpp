#include "manifest/data.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "manifest/manifest_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::manifest_data_test {
namespace {

using manifest::Data;
using manifest::method;

constexpr double na = std::numeric_limits<double>::quiet_NaN();

/// Three schools of two, three and two pupils; w belongs to the school; x and z to the pupil.
arma::mat school_data() {
  return {{1, 1, 10, 5.0}, {1, 3, 20, 5.0}, {2, 4, 30, 7.0}, {2, 5, 10, 7.0},
          {2, 6, 50, 7.0}, {3, 9, 70, na},  {3, na, 90, na}};
}

manifest_world schools() {
  return manifest_world({"school", "x", "z", "w"}, school_data(), {"school"});
}

/// The members by their order: x, z, w.
struct made {
  manifest_world world;
  sem::working_data working;
  Data data;

  explicit made(manifest_world from, method how)
      : world(std::move(from)),
        working(world.run.data, sem::identifier_columns(world.run.vars)),
        data(world.run.vars, working, how, 0.0) {
    for (std::size_t k = 0; k < data.members().size(); ++k) {
      const manifest::member& m = data.at(k);
      if (m.incomplete) data.set(k, m.missing, arma::mat(m.missing.n_elem, 1, arma::fill::value(11.0)));
    }
    data.refresh();
  }

  std::vector<std::string> names(unsigned level) const {
    std::vector<std::string> out;
    for (const manifest::predictor& one : data.predictors(level)) out.push_back(data.name(one));
    return out;
  }
  arma::vec column(unsigned level, const std::string& name) {
    for (arma::uword j = 0; j < data.predictors(level).size(); ++j)
      if (data.name(data.predictors(level)[j]) == name) return data.data(level).data().col(j);
    throw error_debug("no " + name);
  }
};

using strings = std::vector<std::string>;

TEST(ManifestData, TakesPupilsApartIntoDeviationsAndMeansOfSchools) {
  made m(schools(), method::means);
  EXPECT_EQ(m.names(0), (strings{"1", "x", "x.mean[school]", "z", "z.mean[school]", "w"}));
  EXPECT_EQ(m.names(1), (strings{"1", "x.mean[school]", "z.mean[school]", "w"}));
  EXPECT_TRUE(arma::approx_equal(m.column(0, "x"), arma::vec{-1, 1, -1, 0, 1, -1, 1}, "absdiff", 1e-12));
  // Means stand around the mean of what is observed, 28 / 6; the missing cell was set to 11.
  const arma::vec means = arma::vec{2, 2, 5, 5, 5, 10, 10} - 28.0 / 6;
  EXPECT_TRUE(arma::approx_equal(m.column(0, "x.mean[school]"), means, "absdiff", 1e-12));
  EXPECT_TRUE(
      arma::approx_equal(m.column(1, "x.mean[school]"), arma::vec{2, 5, 10} - 28.0 / 6, "absdiff", 1e-12));
  EXPECT_TRUE(arma::approx_equal(m.column(1, "w"), arma::vec{-1, 1, 5}, "absdiff", 1e-12));
}

TEST(ManifestData, HasNoMeansAmongPupilsWithoutThem) {
  made m(schools(), method::no_means);
  EXPECT_EQ(m.names(0), (strings{"1", "x", "z", "w"}));
  EXPECT_TRUE(
      arma::approx_equal(m.column(0, "z"), arma::vec{10, 20, 30, 10, 50, 70, 90} - 40, "absdiff", 1e-12));
  // Nothing else would tie schools to their pupils.
  EXPECT_EQ(m.names(1), (strings{"1", "x.mean[school]", "z.mean[school]", "w"}));
}

TEST(ManifestData, LeavesAVariableOutOfItsOwnPredictors) {
  made m(schools(), method::means);
  strings left;
  for (arma::uword j : m.data.predictors_of(0)) left.push_back(m.data.name(m.data.predictors(0)[j]));
  EXPECT_EQ(left, (strings{"1", "z", "z.mean[school]", "w"}));
}

TEST(ManifestData, CarriesNewValuesUpAndDown) {
  made m(schools(), method::means);
  const arma::uvec last = {6}, third = {2};
  m.data.set(0, last, arma::mat(1, 1, arma::fill::value(21.0)));
  m.data.updateMeans(0);
  EXPECT_DOUBLE_EQ(m.column(0, "x.mean[school]")(5), 15 - 28.0 / 6);
  EXPECT_DOUBLE_EQ(m.column(1, "x.mean[school]")(2), 10 - 28.0 / 6) << "a level waits for its turn";
  m.data.convUpLvlCol(1);
  EXPECT_DOUBLE_EQ(m.column(1, "x.mean[school]")(2), 15 - 28.0 / 6);
  m.data.set(2, third, arma::mat(1, 1, arma::fill::value(3.0)));
  m.data.updateMeans(2);
  EXPECT_DOUBLE_EQ(m.column(1, "w")(2), -3);
  m.data.convDownLvlCol(1);
  EXPECT_DOUBLE_EQ(m.column(0, "w")(6), -3);
}

TEST(ManifestData, ListsWhatIsIncompleteBelowAndAtALevel) {
  made m(schools(), method::means);
  EXPECT_EQ(m.data.misVarsUp(1), std::vector<std::size_t>{0});
  EXPECT_EQ(m.data.misVarsDown(0), std::vector<std::size_t>{0});
  EXPECT_EQ(m.data.misVarsDown(1), std::vector<std::size_t>{2});
}

/// Districts of two schools of two pupils.
TEST(ManifestData, MeansOfDistrictsCountSchoolsAlike) {
  const arma::mat columns = {{1, 1, 1, 4}, {1, 1, 3, na}, {1, 2, 6, 1}, {1, 2, 8, 0}, {1, 2, 10, 2},
                             {2, 3, 0, 5}, {2, 3, 4, 7},  {2, 4, 9, 3}, {2, 4, 1, 8}};
  made m(manifest_world({"district", "school", "x", "y"}, columns, {"district", "school"}), method::means);
  EXPECT_EQ(m.names(0), (strings{"1", "x", "x.mean[school]", "x.mean[district]", "y", "y.mean[school]",
                                 "y.mean[district]"}));
  // Schools have means 2, 8, 2, 5; districts 5 and 3.5.
  const arma::vec school = {-3, -3, 3, 3, 3, -1.5, -1.5, 1.5, 1.5};
  EXPECT_TRUE(arma::approx_equal(m.column(0, "x.mean[school]"), school, "absdiff", 1e-12));
  EXPECT_NEAR(m.column(2, "x.mean[district]")(0) - m.column(2, "x.mean[district]")(1), 1.5, 1e-12);
}

TEST(ManifestData, NamesVariablesThatDoNotVaryAtALevel) {
  arma::mat columns(60, 3);
  for (arma::uword i = 0; i < 60; ++i)
    columns.row(i) = arma::rowvec{double(i / 6), i % 2 == 0 ? 1.0 + double(i % 6) : -double(i % 6),
                                  i % 7 == 0 ? na : double((i * 7) % 11) + double(i / 6)};
  manifest_world world({"id", "flat", "x"}, columns, {"id"});
  const sem::working_data working(world.run.data, sem::identifier_columns(world.run.vars));
  const Data data(world.run.vars, working, method::means, 0.01);
  ASSERT_EQ(data.excluded().size(), 1u);
  EXPECT_EQ(data.excluded()[0].name, "flat");
  EXPECT_EQ(data.excluded()[0].level, 2u);
}

TEST(ManifestData, RefusesWhatItCannotImpute) {
  manifest_world world = schools();
  world.run.vars.find("z")->type = data::type::count;
  try {
    world.make();
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(), "ERROR: Outcome type not supported in manifests.");
  }
}

}  // namespace
}  // namespace tovik::tests::manifest_data_test
