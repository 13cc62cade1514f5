// Repeated samples with unequal chances, and the sampling weights that make up for them.

#include <cmath>
#include <random>
#include <string>

#include "calibration/coverage_models.hpp"
#include "calibration/random_draws.hpp"

namespace tovik::tests::calibration {
namespace {

/// y is N(0, 1) in the population and is taken with the chance 0.55 + 0.25 tanh(y): without weights the mean
/// would be 0.27.
study simulate_unequal_chances(std::mt19937_64& engine) {
  study one{arma::Mat<double>(250, 3), {}};
  for (arma::uword i = 0; i < 250;) {
    const double y = normal(engine), taken = 0.55 + 0.25 * std::tanh(y);
    const double o = category(0.5 * y + normal(engine, 0.75), {-0.4, 0.6});
    if (chance(engine, taken)) one.data.row(i++) = arma::Row<double>{y, o, 1000.0 / taken};
  }
  return one;
}

}  // namespace

// The score of o is N(0, 1) in the population: its intercept is 0.4 and its second threshold 1.
coverage_study weighted_coverage() {
  coverage_study what;
  what.title = "Sampling weights";
  what.design =
      "250 rows, drawn with chances that rise with y from 0.3 to 0.8. y ~ 1 and o ~ 1, o of three "
      "categories. "
      "The pseudo-posterior has the width of 250 rows of equal weight, and the estimates are spread a little "
      "wider.";
  what.runs.names = {"y", "o", "w"};
  std::string commands = one_chain("WEIGHTS: w; ORDINAL: o; MODEL: y ~ 1; o ~ 1; DEBUG: no_sort;\n");
  what.runs.commands.swap(commands);
  what.runs.simulate = simulate_unequal_chances;
  what.runs.seed = 220;
  what.targets = {{"variance of y", 1.0, 0},
                  {"mean of y", 0.0, 1},
                  {"intercept of o", 0.4, 5},
                  {"second threshold", 1.0, 6}};
  return what;
}

}  // namespace tovik::tests::calibration
