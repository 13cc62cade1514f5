#include "calibration/coverage_models.hpp"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "calibration/pooling.hpp"
#include "calibration/random_draws.hpp"

namespace tovik::tests::calibration {
namespace {

using engine_type = std::mt19937_64;

study simulate_interaction(engine_type& engine) {
  study one{arma::Mat<double>(200, 3), {}};
  for (arma::uword i = 0; i < 200; ++i) {
    const double w = normal(engine), x = 0.4 * w + normal(engine);
    const double y = 0.5 + 0.4 * x + 0.3 * w + 0.3 * x * w + normal(engine);
    one.data.row(i) = arma::Row<double>{chance_of_odds(engine, 0.7 * w + 0.4 * y - 1.2) ? missing : x, w, y};
  }
  return one;
}

study simulate_categorical(engine_type& engine) {
  study one{arma::Mat<double>(250, 4), {}};
  for (arma::uword i = 0; i < 250; ++i) {
    const double z = normal(engine), latent = 0.5 * z + normal(engine, 0.75);
    const double b = latent > 0.2 ? 1 : 0;
    const double o = category(0.3 * z + 0.4 * latent + normal(engine, 0.7), {-0.8, 0.1, 0.9});
    const double y = 0.3 + 0.6 * b + 0.3 * o + 0.4 * z + normal(engine);
    one.data.row(i) = arma::Row<double>{chance_of_odds(engine, 0.5 * z + 0.3 * y - 1.8) ? missing : b,
                                        chance_of_odds(engine, 0.6 * z - 1.2) ? missing : o, z, y};
  }
  return one;
}

study simulate_ordinal_outcome(engine_type& engine) {
  study one{arma::Mat<double>(400, 3), {}};
  for (arma::uword i = 0; i < 400; ++i) {
    const double x = normal(engine);
    const double o = category(0.4 + 0.6 * x + normal(engine), {0.0, 0.5, 1.1, 1.8}) - 1;
    const double z = 0.2 + 0.3 * o + 0.4 * x + normal(engine);
    one.data.row(i) = arma::Row<double>{x, chance_of_odds(engine, 0.7 * z - 2.4) ? missing : o, z};
  }
  return one;
}

study simulate_level_two(engine_type& engine) {
  constexpr arma::uword clusters = 70, each = 5;
  study one{arma::Mat<double>(clusters * each, 5), {}};
  for (arma::uword c = 0; c < clusters; ++c) {
    const double z = normal(engine), w = 0.5 * z + normal(engine), u = normal(engine, 0.4);
    const double seen = chance_of_odds(engine, 0.7 * z - 1.0) ? missing : w;
    for (arma::uword i = 0; i < each; ++i) {
      const double x = normal(engine);
      const double y = 0.2 + 0.5 * x + 0.4 * w + 0.3 * z + u + normal(engine);
      one.data.row(c * each + i) = arma::Row<double>{c + 1.0, x, seen, z, y};
    }
  }
  return one;
}

study simulate_contextual(engine_type& engine) {
  constexpr arma::uword clusters = 80, each = 6;
  study one{arma::Mat<double>(clusters * each, 3), {}};
  for (arma::uword c = 0; c < clusters; ++c) {
    const double mean = normal(engine, 0.6), u = normal(engine, 0.3);
    for (arma::uword i = 0; i < each; ++i) {
      const double within = normal(engine);
      const double y = 0.2 + 0.4 * within + 0.9 * mean + u + normal(engine);
      const bool lost = chance_of_odds(engine, 0.4 * y - 1.3);
      one.data.row(c * each + i) = arma::Row<double>{c + 1.0, lost ? missing : mean + within, y};
    }
  }
  return one;
}

study simulate_three_levels(engine_type& engine) {
  constexpr arma::uword tops = 50, middles = 4, each = 4;
  study one{arma::Mat<double>(tops * middles * each, 6), {}};
  arma::uword row = 0;
  for (arma::uword t = 0; t < tops; ++t) {
    const double z = normal(engine), x3 = 0.5 * normal(engine), w3 = 0.5 * normal(engine),
                 u3 = normal(engine, 0.3);
    for (arma::uword m = 0; m < middles; ++m) {
      const double w = w3 + 0.4 * z + normal(engine), x2 = 0.6 * normal(engine), u2 = normal(engine, 0.3);
      const double seen = chance_of_odds(engine, 0.5 * z - 1.3) ? missing : w;
      for (arma::uword i = 0; i < each; ++i, ++row) {
        const double x = x3 + x2 + normal(engine);
        const double y = 0.3 + 0.5 * x + 0.4 * w + 0.3 * z + u3 + u2 + normal(engine);
        const bool lost = chance_of_odds(engine, 0.4 * y - 1.5);
        one.data.row(row) = arma::Row<double>{t + 1.0, t * middles + m + 1.0, lost ? missing : x, seen, z, y};
      }
    }
  }
  return one;
}

study simulate_fcs(engine_type& engine) {
  study one{arma::Mat<double>(250, 5), {}};
  for (arma::uword i = 0; i < 250; ++i) {
    const double z = normal(engine), x = 0.5 * z + normal(engine, 0.75);
    const double latent = 0.6 * x + normal(engine, 0.64);
    const double b = latent > 0.2 ? 1 : 0;
    const double o = category(0.4 * x + 0.3 * latent + normal(engine, 0.7), {-0.8, 0.1, 0.9});
    // The largest of three scores; z moves those of categories 2 and 3 apart.
    const double s1 = normal(engine), s2 = 0.6 * z + normal(engine), s3 = -0.6 * z + normal(engine);
    const double g = s1 > std::max(s2, s3) ? 1 : s2 > s3 ? 2 : 3;
    one.data.row(i) = arma::Row<double>{chance_of_odds(engine, 0.6 * z - 1.2) ? missing : x,
                                        chance_of_odds(engine, -0.6 * z - 1.2) ? missing : b,
                                        chance_of_odds(engine, 0.6 * z - 1.2) ? missing : o,
                                        chance_of_odds(engine, z - 1.2) ? missing : g, z};
  }
  return one;
}

/// Pooled mean of x, share of b = 1, mean of o, difference of the shares of g = 2 and g = 3, and slopes of x
/// on z and of x on b.
std::vector<estimate> analyse_fcs(const sampled_run& run) {
  const auto analysis = [](const arma::Mat<double>& data) {
    const arma::Mat<double> ones(data.n_rows, 1, arma::fill::ones);
    arma::Mat<double> found;
    for (arma::uword j = 0; j < 3; ++j) found = arma::join_cols(found, least_squares(ones, data.col(j)));
    const arma::Col<double> contrast = arma::conv_to<arma::Col<double>>::from(data.col(3) == 2) -
                                       arma::conv_to<arma::Col<double>>::from(data.col(3) == 3);
    found = arma::join_cols(found, least_squares(ones, contrast));
    found = arma::join_cols(found, least_squares(arma::join_rows(ones, data.col(4)), data.col(0)).row(1));
    return arma::Mat<double>(
        arma::join_cols(found, least_squares(arma::join_rows(ones, data.col(1)), data.col(0)).row(1)));
  };
  const double n = static_cast<double>(run.input->imputations[1].n_rows);
  return pool_sets(run, analysis, {n - 1, n - 1, n - 1, n - 1, n - 2, n - 2});
}

double tail(double cut) {
  return 0.5 * std::erfc(cut / std::sqrt(2.0));
}

}  // namespace

coverage_study interaction_coverage() {
  coverage_study what;
  what.title = "Incomplete predictor with an interaction";
  what.design = "200 rows; x is missing given w and y in about 30% of them. y ~ x w (x*w).";
  what.runs.names = {"x", "w", "y"};
  what.runs.commands = one_chain("MODEL: y ~ x w (x*w);\n");
  what.runs.simulate = simulate_interaction;
  what.runs.seed = 201;
  what.targets = {{"intercept", 0.5, 1}, {"x", 0.4, 2}, {"w", 0.3, 3}, {"x*w", 0.3, 4}};
  return what;
}

coverage_study categorical_coverage() {
  coverage_study what;
  what.title = "Incomplete binary and ordinal predictors";
  what.design = "250 rows; b is missing given z and y, o (four categories) given z. y ~ b o z.";
  what.runs.names = {"b", "o", "z", "y"};
  what.runs.commands = one_chain("ORDINAL: b o; MODEL: y ~ b o z;\n");
  what.runs.simulate = simulate_categorical;
  what.runs.seed = 202;
  what.targets = {{"intercept", 0.3, 1}, {"b", 0.6, 2}, {"o", 0.3, 3}, {"z", 0.4, 4}};
  return what;
}

coverage_study ordinal_outcome_coverage() {
  coverage_study what;
  what.title = "Incomplete ordinal outcome that another equation reads";
  what.design =
      "400 rows; o, of five categories, is missing given z in about 15% of them. o ~ x and z ~ o x.";
  what.runs.names = {"x", "o", "z"};
  what.runs.commands = one_chain("ORDINAL: o; FIXED: x; MODEL: o ~ x; z ~ o x; DEBUG: no_sort;\n");
  what.runs.simulate = simulate_ordinal_outcome;
  what.runs.seed = 207;
  what.targets = {{"intercept of o", 0.4, 1}, {"o on x", 0.6, 2},      {"threshold 2", 0.5, 3},
                  {"threshold 3", 1.1, 4},    {"threshold 4", 1.8, 5}, {"intercept of z", 0.2, 10},
                  {"z on o", 0.3, 11},        {"z on x", 0.4, 12}};
  return what;
}

coverage_study level_two_coverage() {
  coverage_study what;
  what.title = "Incomplete predictor of level 2";
  what.design =
      "70 clusters of 5 rows; w, of level 2, is missing given z in about 30% of the clusters. y ~ x w z.";
  what.runs.names = {"id", "x", "w", "z", "y"};
  what.runs.commands = one_chain("CLUSTERID: id; MODEL: y ~ x w z;\n");
  what.runs.simulate = simulate_level_two;
  what.runs.seed = 203;
  what.targets = {{"intercept", 0.2, 2}, {"x", 0.5, 3}, {"w", 0.4, 4}, {"z", 0.3, 5}};
  return what;
}

coverage_study contextual_coverage() {
  coverage_study what;
  what.title = "Group mean centred predictor with a contextual effect";
  what.design =
      "80 clusters of 6 rows; x is missing given y in about 25% of the rows; x.mean is the latent mean of a "
      "cluster. "
      "y ~ x x.mean, x centred at it.";
  what.runs.names = {"id", "x", "y"};
  what.runs.commands = one_chain("CLUSTERID: id; CENTER: groupmean = x; MODEL: y ~ x x.mean;\n");
  what.runs.simulate = simulate_contextual;
  what.runs.seed = 204;
  what.targets = {{"intercept", 0.2, 2}, {"x", 0.4, 3}, {"x.mean", 0.9, 4}};
  return what;
}

coverage_study three_level_coverage() {
  coverage_study what;
  what.title = "Incomplete predictors in three levels";
  what.design =
      "50 units of level 3 with 4 units of level 2 each and 4 rows in each; x is missing given y, w (of "
      "level 2) "
      "given z (of level 3). y ~ x w z.";
  what.runs.names = {"top", "mid", "x", "w", "z", "y"};
  what.runs.commands = one_chain("CLUSTERID: mid top; MODEL: y ~ x w z;\n");
  what.runs.simulate = simulate_three_levels;
  what.runs.seed = 205;
  what.targets = {{"intercept", 0.3, 3}, {"x", 0.5, 4}, {"w", 0.4, 5}, {"z", 0.3, 6}};
  return what;
}

coverage_study fcs_coverage() {
  coverage_study what;
  what.title = "FCS with continuous, binary, ordinal and nominal variables";
  what.design =
      "250 rows; x, b and o (four categories) are missing given z, which is complete. Twenty imputed data "
      "sets, "
      "analysed one by one and pooled.";
  what.runs.names = {"x", "b", "o", "g", "z"};
  what.runs.commands =
      "ORDINAL: b o; NOMINAL: g(1); FCS: x b o g z; CHAINS: 1; BURN: 1000; NIMPS: 20; THIN: 100; SAVE: "
      "stacked "
      "= imps.csv;\n"
      "DEBUG: allow_tune_fail;\n";
  what.runs.simulate = simulate_fcs;
  what.runs.seed = 206;
  // The latent score of b has variance 0.36 + 0.64 = 1 and correlation 0.6 with x, that of o variance
  // 0.16 + 0.09 + 2 * 0.4 * 0.3 * 0.6 + 0.7; b = 1 above 0.2, so that E(x | b = 1) - E(x | b = 0) = 0.6 phi
  // (1/p + 1/(1-p)).
  const double p = tail(0.2), phi = std::exp(-0.02) / std::sqrt(2 * arma::datum::pi);
  const double sd = std::sqrt(0.16 + 0.09 + 0.144 + 0.7);
  what.targets = {{"mean of x", 0.0},
                  {"share of b", p},
                  {"mean of o", 1 + tail(-0.8 / sd) + tail(0.1 / sd) + tail(0.9 / sd)},
                  {"share of g = 2 less that of g = 3", 0.0},
                  {"x on z", 0.5},
                  {"x on b", 0.6 * phi * (1 / p + 1 / (1 - p))}};
  what.analyse = analyse_fcs;
  return what;
}

}  // namespace tovik::tests::calibration
