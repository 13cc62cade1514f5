#include <random>

#include "calibration/rejection.hpp"

namespace tovik::tests::calibration {

namespace {

const std::string short_chain =
    "OPTIONS: disable_dic disable_corrs; DEBUG: allow_tune_fail;\n"
    "CHAINS: 1; BURN: 300; ITERATIONS: 1500;\n";

study regression_data(std::mt19937_64& engine) {
  constexpr arma::uword n = 150;
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  study out;
  out.data.set_size(n, 4);
  for (arma::uword i = 0; i < n; ++i) {
    const double x = normal(engine), z = 0.5 * x + normal(engine), w = 0.4 * z + normal(engine);
    const double y = 1 + 0.3 * x + 0.3 * z + 2 * normal(engine);
    out.data(i, 0) = y;
    out.data(i, 1) = x;
    out.data(i, 2) = z;
    out.data(i, 3) = uniform(engine) < 0.2 ? arma::datum::nan : w;
  }
  return out;
}

study two_level_data(std::mt19937_64& engine) {
  constexpr int schools = 60, pupils = 8;
  std::normal_distribution<double> normal;
  study out;
  out.data.set_size(schools * pupils, 4);
  arma::uword i = 0;
  for (int school = 1; school <= schools; ++school) {
    const double u = 0.7 * normal(engine), v = normal(engine);
    for (int pupil = 0; pupil < pupils; ++pupil, ++i) {
      const double x = normal(engine);
      out.data.row(i) = arma::Row<double>{double(school), 2 + u + normal(engine), x, v};
    }
  }
  return out;
}

}  // namespace

rejection_study regression_rejections() {
  rejection_study out;
  out.title = "Regression with an incomplete predictor";
  out.design =
      "150 rows; y = 1 + 0.3 x + 0.3 z + 0 w + 2 e, the predictors correlated, 20% of w missing completely "
      "at "
      "random.";
  out.tests = {"b1 = 0.3", "b1 = b2", "w left out", "b1 = 0.3, b2 = 0.3, w left out"};
  out.runs.names = {"y", "x", "z", "w"};
  out.runs.commands =
      "MODEL: y ~ x@b1 z@b2 w;\n"
      "WALDTEST: b1 = 0.3; WALDTEST: b1 = b2; WALDTEST: y ~ x@b1 z@b2;\n"
      "WALDTEST: b1 b2 = 0.3; y ~ x@b1 z@b2;\n" +
      short_chain;
  out.runs.simulate = regression_data;
  out.runs.seed = 16001;
  return out;
}

rejection_study two_level_rejections() {
  rejection_study out;
  out.title = "Two levels";
  out.design = "60 schools of 8 pupils; y = 2 + 0 x + 0 v + u + e with an intraclass correlation of 0.33.";
  out.tests = {"x left out", "v left out", "both left out"};
  out.runs.names = {"school", "y", "x", "v"};
  out.runs.commands =
      "CLUSTERID: school; MODEL: y ~ x v;\n"
      "WALDTEST: y ~ v; WALDTEST: y ~ x; WALDTEST: y ~ ;\n" +
      short_chain;
  out.runs.simulate = two_level_data;
  out.runs.seed = 16002;
  return out;
}

}  // namespace tovik::tests::calibration
