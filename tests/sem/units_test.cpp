// The units of the data mean nothing: with priors that know no unit a chain does the same in thousandths or
// in millions. Factors are powers of two, which change no digit of a number, so that the standardised draws
// of two chains with one seed agree as long as no step holds a number of its own unit: they are compared scan
// by scan.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "sem/ensemble/outcomes.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::sem::units_test {
namespace {

const double nan = arma::datum::nan;

/// Names of columns, identifiers, equations, and PARAMETERS statements.
struct design {
  std::string name;
  std::vector<std::string> ids;
  std::vector<std::string> statements;
  std::vector<std::string> incomplete = {};
  std::vector<std::string> parameters = {};
};

void PrintTo(const design& d, std::ostream* out) {
  *out << d.name;
}

const std::vector<std::string> names = {"school", "class", "y", "m", "x", "z", "w"};

arma::uword place(const std::string& name) {
  for (arma::uword j = 0; j < names.size(); ++j)
    if (names[j] == name) return j;
  throw error_debug("no such column");
}

/// 8 schools, 4 classes each, 5 rows each; w belongs to the school.
arma::mat example(const std::vector<std::string>& incomplete) {
  Random rng(91, 3);
  arma::mat data(160, names.size());
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const arma::uword group = i / 5, school = i / 20;
    auto effect = [](arma::uword k, double scale) {
      return scale * std::sin(1.7 * static_cast<double>(k + 1));
    };
    data(i, 0) = static_cast<double>(school + 1);
    data(i, 1) = static_cast<double>(group + 1);
    data(i, 6) = effect(school, 1.3);
    data(i, 4) = rng.rnorm() + effect(group, 0.8) + effect(school, 0.6);
    data(i, 5) = 2.0 + rng.rnorm();
    data(i, 3) = 0.5 * data(i, 4) + effect(group, 0.7) + rng.rnorm();
    data(i, 2) = 1.0 + 0.4 * data(i, 4) + 0.3 * data(i, 3) + (0.5 + effect(group, 0.5)) * data(i, 5) +
                 effect(school, 1.1) + rng.rnorm();
  }
  for (std::size_t k = 0; k < incomplete.size(); ++k)
    for (arma::uword i = k; i < data.n_rows; i += 7 + k) data(i, place(incomplete[k])) = nan;
  return data;
}

/// The standardised coefficients and variance shares of all equations: one column per scan.
arma::mat standardised(const design& d, const arma::mat& data, int scans) {
  const tests::small_run run(names, data, d.ids, d.statements, d.parameters);
  auto chain = run.chain(Random(17, 1), {2, 2}, 2);
  const Outcomes& outcomes = *chain->outcomes();
  arma::mat out;
  for (int t = 0; t < scans; ++t) {
    chain->oneRep();
    if (t % 20 == 19) chain->tune();
    arma::vec column;
    for (unsigned i = 0; i < outcomes.n_outcomes(); ++i)
      column = arma::join_cols(column, outcomes.outcome(i).postDraw(chain->working().data));
    out.insert_cols(out.n_cols, column);
  }
  return out;
}

class Units : public ::testing::TestWithParam<design> {};

TEST_P(Units, ScaleOfNoVariableShows) {
  const design& d = GetParam();
  const arma::mat data = example(d.incomplete);
  const arma::mat reference = standardised(d, data, 60);
  ASSERT_TRUE(reference.is_finite());
  for (std::string const name : {"y", "m", "x", "z", "w"}) {
    for (int power : {-20, -10, 10, 20}) {
      arma::mat scaled = data;
      scaled.col(place(name)) *= std::ldexp(1.0, power);
      EXPECT_LT(arma::abs(standardised(d, scaled, 60) - reference).max(), 1e-7)
          << name << " times 2 to the power of " << power;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Normal, Units,
    ::testing::Values(design{"one_level", {}, {"y ~ x z"}},
                      design{"random_intercept", {"school"}, {"y ~ x z"}},
                      design{"random_slope", {"class"}, {"y ~ x z | z"}},
                      design{"two_slopes", {"class"}, {"y ~ x z | x z"}},
                      design{"three_levels", {"school", "class"}, {"y ~ x z w | z[class]"}},
                      design{"incomplete_outcome", {"class"}, {"y ~ x z | z"}, {"y"}},
                      design{"mediator", {"class"}, {"m ~ x", "y ~ m x z"}, {"m", "y"}},
                      design{"incomplete_predictors", {"class"}, {"y ~ x z w"}, {"x", "z"}},
                      design{"slope_of_incomplete", {"class"}, {"y ~ x z | z"}, {"z"}},
                      design{"level_two_outcome", {"school"}, {"w ~ 1", "y ~ w x"}, {"x"}}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tovik::sem::units_test
