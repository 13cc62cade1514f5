// Whole runs on tiny data sets against a sampler that knows nothing of the program.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "calibration/dense_normal.hpp"
#include "statistical/reference_run.hpp"

using namespace tovik;
using namespace tovik::tests;
using namespace tovik::tests::reference;

namespace {

/// y on m, x and their product; m on x, and missing in four rows.
TEST_F(Reference, MediatorWithAProduct) {
  constexpr int n = 14;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 1), m = 0.4 * x + number(i, 2);
    data.row(i) = arma::Row<double>{x, i % 4 == 1 ? missing : m, 0.5 * m - 0.4 * m * x + 0.7 * number(i, 3)};
  }
  const arma::Col<arma::uword> holes = arma::find_nonfinite(data.col(1));
  const auto density = [&](const state& s) {
    const double vy = std::exp(s[0]), vm = std::exp(s[5]);
    double sum = unit_prior(vy) + unit_prior(vm);
    std::size_t hole = 8;
    for (int i = 0; i < n; ++i) {
      const double x = data(i, 0), m = std::isnan(data(i, 1)) ? s[hole++] : data(i, 1);
      sum +=
          normal(m, s[6] + s[7] * x, vm) + normal(data(i, 2), s[1] + s[2] * m + s[3] * x + s[4] * m * x, vy);
    }
    return sum;
  };
  expect_agreement(
      {"x", "m", "y"}, data,
      "FIXED: x; MODEL: m ~ x; y ~ m x (m*x); OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 200000;",
      {0, 1, 2, 6, 7, 8, 9, 10}, {"vm", "m: 1", "m: x", "vy", "y: 1", "y: m", "y: x", "y: m x"}, density,
      state(8 + holes.n_elem, 0.1), [](const state& s) {
        return arma::Col<double>{std::exp(s[5]), s[6], s[7], std::exp(s[0]), s[1], s[2], s[3], s[4]};
      });
}

/// Random slopes of a covariate that has an equation and gaps of its own; the outcome has gaps too.
TEST_F(Reference, RandomSlopeOfAnIncompleteCovariate) {
  constexpr int clusters = 6, each = 3, n = clusters * each;
  arma::Mat<double> data(n, 4);
  for (int i = 0; i < n; ++i) {
    const int c = i / each;
    const double w = number(i, 4), x = 0.4 * w + 0.5 * number(c, 5) + 0.8 * number(i, 6);
    const double y = 0.3 + (0.5 + 0.5 * number(c, 7)) * x + 0.6 * number(c, 8) + 0.6 * number(i, 9);
    data.row(i) = arma::Row<double>{c + 1.0, w, i % 5 == 2 ? missing : x, i % 6 == 1 ? missing : y};
  }
  const arma::Col<arma::uword> holes = arma::find_nonfinite(data.col(2));
  // s: log vy, betas (2), log vx, gammas (2), log tau of x, Sigma as log Cholesky diagonal (2) and its
  // corner, random effects of y (2 a cluster), of x, missing x.
  const auto density = [&](const state& s) {
    const double vy = std::exp(s[0]), vx = std::exp(s[3]), tau = std::exp(s[6]);
    const double l1 = std::exp(s[7]), l2 = std::exp(s[8]), k = s[9];
    // Sigma = L L' with L = [l1 0; k l2]. prior1: |Sigma|^-3 exp(-tr(inv Sigma)/2); the Jacobian of
    // (log l1, k, log l2) is 4 l1^3 l2^2.
    const double det = l1 * l1 * l2 * l2;
    const double trace = (l1 * l1 + k * k + l2 * l2) / det;
    double sum = unit_prior(vy) + unit_prior(vx) + unit_prior(tau) - 3 * std::log(det) - 0.5 * trace +
                 3 * s[7] + 2 * s[8];
    for (int c = 0; c < clusters; ++c) {
      const double u0 = s[10 + 3 * c], u1 = s[11 + 3 * c], z0 = u0 / l1, z1 = (u1 - k * z0) / l2;
      sum += -0.5 * (z0 * z0 + z1 * z1) - s[7] - s[8] + normal(s[12 + 3 * c], 0, tau);
    }
    std::size_t hole = 10 + 3 * clusters;
    for (int i = 0; i < n; ++i) {
      const int c = i / each;
      const double w = data(i, 1), x = std::isnan(data(i, 2)) ? s[hole++] : data(i, 2);
      sum += normal(x, s[4] + s[5] * w + s[12 + 3 * c], vx);
      if (!std::isnan(data(i, 3))) {
        sum += normal(data(i, 3), s[1] + s[10 + 3 * c] + (s[2] + s[11 + 3 * c]) * x, vy);
      }
    }
    return sum;
  };
  expect_agreement(
      {"id", "w", "x", "y"}, data,
      "CLUSTERID: id; FIXED: w; MODEL: x ~ w; y ~ x | x; OPTIONS: prior1 disable_dic disable_corrs; "
      "ITERATIONS: 400000;",
      {0, 1, 2, 3, 8, 9, 10, 11, 12, 13},
      {"x: tau", "vx", "x: 1", "x: w", "y: tau0", "y: cov", "y: tau1", "vy", "y: 1", "y: x"}, density,
      state(10 + 3 * clusters + holes.n_elem, 0.1),
      [](const state& s) {
        const double l1 = std::exp(s[7]), l2 = std::exp(s[8]), k = s[9];
        return arma::Col<double>{std::exp(s[6]), std::exp(s[3]),  s[4],           s[5], l1 * l1,
                                 l1 * k,         k * k + l2 * l2, std::exp(s[0]), s[1], s[2]};
      },
      60000);
}

/// One coefficient in two equations, with a prior; a product of two labels is the coefficient of a third
/// place.
TEST_F(Reference, SharedAndComputedCoefficients) {
  constexpr int n = 12;
  arma::Mat<double> data(n, 5);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 10), z = number(i, 11);
    data.row(i) = arma::Row<double>{x, z, 0.3 * x + 0.5 * z + 0.8 * number(i, 12),
                                    0.4 * z + 0.6 * number(i, 13), 0.9 * z + 0.7 * number(i, 14)};
  }
  const auto density = [&](const state& s) {
    const double a = s[0], b = s[1];
    double sum = normal(a, 0.5, 0.04) - std::abs(b - 1) / 0.5;
    for (int j = 5; j < 8; ++j) sum += unit_prior(std::exp(s[j]));
    for (int i = 0; i < n; ++i) {
      const double x = data(i, 0), z = data(i, 1);
      sum += normal(data(i, 2), s[2] + a * b * x + a * z, std::exp(s[5])) +
             normal(data(i, 3), s[3] + a * z, std::exp(s[6])) +
             normal(data(i, 4), s[4] + b * z, std::exp(s[7]));
    }
    return sum;
  };
  expect_agreement({"x", "z", "y", "w", "v"}, data,
                   "MODEL: y ~ x@c z@a; w ~ z@a; v ~ z@b;\n"
                   "PARAMETERS: a ~ normal(0.5, 0.04); b ~ laplace(1, 0.5); c = a*b;\n"
                   "OPTIONS: prior1 disable_dic disable_corrs; DEBUG: no_sort; ITERATIONS: 200000;",
                   {0, 1, 2, 3, 8, 9, 10, 14, 15, 16},
                   {"vy", "y: 1", "y: x", "y: z", "vw", "w: 1", "w: z", "vv", "v: 1", "v: z"}, density,
                   state(8, 0.1), [](const state& s) {
                     return arma::Col<double>{std::exp(s[5]), s[2], s[0] * s[1],    s[0], std::exp(s[6]),
                                              s[3],           s[0], std::exp(s[7]), s[4], s[1]};
                   });
}

/// log(y) is normal; another equation reads y itself, which is missing in some rows.
TEST_F(Reference, TransformedOutcomeReadByAnotherEquation) {
  constexpr int n = 14;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 15), y = std::exp(0.3 + 0.3 * x + 0.4 * number(i, 16));
    data.row(i) = arma::Row<double>{x, i % 4 == 2 ? missing : y, 0.8 * y - 0.3 * x + 0.7 * number(i, 17)};
  }
  const arma::Col<arma::uword> holes = arma::find_nonfinite(data.col(1));
  const auto density = [&](const state& s) {
    const double vy = std::exp(s[0]), vz = std::exp(s[3]);
    double sum = unit_prior(vy) + unit_prior(vz);
    std::size_t hole = 7;
    for (int i = 0; i < n; ++i) {
      const double x = data(i, 0), g = std::isnan(data(i, 1)) ? s[hole++] : std::log(data(i, 1));
      sum += normal(g, s[1] + s[2] * x, vy) + normal(data(i, 2), s[4] + s[5] * std::exp(g) + s[6] * x, vz);
    }
    return sum;
  };
  expect_agreement({"x", "y", "z"}, data,
                   "FIXED: x; MODEL: log(y) ~ x; z ~ y x; OPTIONS: prior1 disable_dic disable_corrs; "
                   "ITERATIONS: 200000;",
                   {0, 1, 2, 6, 7, 8, 9}, {"vy", "y: 1", "y: x", "vz", "z: 1", "z: y", "z: x"}, density,
                   state(7 + holes.n_elem, 0.1), [](const state& s) {
                     return arma::Col<double>{std::exp(s[0]), s[1], s[2], std::exp(s[3]), s[4], s[5], s[6]};
                   });
}

/// Correlated residuals of two outcomes with gaps, one of which a third equation reads.
TEST_F(Reference, PhantomCorrelationBesideAReader) {
  constexpr int n = 16;
  arma::Mat<double> data(n, 4);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 18), e = number(i, 19), y1 = 0.3 * x + 0.8 * e;
    data.row(i) = arma::Row<double>{x, i % 5 == 1 ? missing : y1,
                                    i % 5 == 3 ? missing : 0.2 - 0.5 * e + 0.6 * number(i, 20),
                                    0.5 * y1 + 0.8 * number(i, 21)};
  }
  const arma::Col<arma::uword> holes = arma::find_nonfinite(data.col(1));
  const auto density = [&](const state& s) {
    const double v1 = std::exp(s[0]), v2 = std::exp(s[3]), vw = std::exp(s[6]), rho = std::tanh(s[9]);
    double sum = unit_prior(v1) + unit_prior(v2) + unit_prior(vw) + std::log(1 - rho * rho);
    std::size_t hole = 10;
    for (int i = 0; i < n; ++i) {
      const double x = data(i, 0), y1 = std::isnan(data(i, 1)) ? s[hole++] : data(i, 1),
                   e1 = y1 - s[1] - s[2] * x;
      sum += normal(e1, 0, v1) + normal(data(i, 3), s[7] + s[8] * y1, vw);
      if (std::isnan(data(i, 2))) continue;
      sum += normal(data(i, 2), s[4] + s[5] * x + rho * std::sqrt(v2 / v1) * e1, v2 * (1 - rho * rho));
    }
    return sum;
  };
  expect_agreement(
      {"x", "y1", "y2", "w"}, data,
      "FIXED: x; MODEL: y1 ~ x; y2 ~ x; w ~ y1; y1 <-> y2;\n"
      "OPTIONS: prior1 use_phantom disable_dic disable_corrs; DEBUG: no_sort; ITERATIONS: 600000;",
      {0, 1, 2, 6, 7, 8, 12, 13, 14, 18},
      {"v1", "y1: 1", "y1: x", "v2", "y2: 1", "y2: x", "vw", "w: 1", "w: y1", "rho"}, density,
      state(10 + holes.n_elem, 0.1), [](const state& s) {
        return arma::Col<double>{std::exp(s[0]), s[1],           s[2], std::exp(s[3]), s[4],
                                 s[5],           std::exp(s[6]), s[7], s[8],           std::tanh(s[9])};
      });
}

/// Covariance matrices of random effects under two of their priors and the residual variance under the third.
/// The random effects are integrated out by a dense normal density for each cluster.
TEST_F(Reference, PriorsOfTheRandomEffects) {
  constexpr int clusters = 10, each = 3;
  arma::Mat<double> data(clusters * each, 3);
  for (int i = 0; i < clusters * each; ++i) {
    const int c = i / each;
    const double x = number(i, 22);
    const double y = (0.5 + 0.8 * number(c, 23)) * x + 0.9 * number(c, 24) + 0.6 * number(i, 25);
    data.row(i) = arma::Row<double>{c + 1.0, x, i % 7 == 4 ? missing : y};
  }
  const arma::Mat<double> Z = arma::join_rows(arma::Col<double>(data.n_rows, arma::fill::ones), data.col(1));
  const struct {
    const char* options;
    double power;     ///< of |Sigma|
    double trace;     ///< weight of tr(inv Sigma) / 2
    double residual;  ///< power of the residual variance
  } priors[] = {{"prior1raneff prior3resvar", -3, 1, -1}, {"prior2raneff prior2resvar", 0, 0, 0}};
  for (const auto& prior : priors) {
    const auto density = [&](const state& s) {
      const double v = std::exp(s[0]), l1 = std::exp(s[3]), l2 = std::exp(s[4]), k = s[5];
      const arma::Mat<double> L = {{l1, 0}, {k, l2}}, Sigma = L * L.t();
      const double log_det = 2 * (s[3] + s[4]);
      double sum = (prior.residual + 1) * s[0] + prior.power * log_det + 3 * s[3] + 2 * s[4] -
                   0.5 * prior.trace * arma::trace(arma::inv(Sigma));
      for (int c = 0; c < clusters; ++c) {
        const arma::span rows(c * each, (c + 1) * each - 1);
        const arma::Mat<double> Zc = Z.rows(c * each, (c + 1) * each - 1);
        arma::Mat<double> V = Zc * Sigma * Zc.t();
        V.diag() += v;
        sum += dense_log_normal(data(rows, arma::span(2)), Zc * arma::Col<double>{s[1], s[2]}, V);
      }
      return sum;
    };
    expect_agreement(
        {"id", "x", "y"}, data,
        std::string("CLUSTERID: id; MODEL: y ~ x | x; ITERATIONS: 400000;\n"
                    "OPTIONS: disable_dic disable_corrs ") +
            prior.options + ";",
        {0, 1, 2, 3, 4, 5}, {"var 1", "cov", "var x", "v", "1", "x"}, density, state(6, 0.1),
        [](const state& s) {
          const double l1 = std::exp(s[3]), l2 = std::exp(s[4]), k = s[5];
          return arma::Col<double>{l1 * l1, l1 * k, k * k + l2 * l2, std::exp(s[0]), s[1], s[2]};
        },
        15000);
  }
}

/// The random slope of y predicts an incomplete outcome of level 2.
TEST_F(Reference, RandomSlopeAsAPredictor) {
  constexpr int clusters = 9, each = 3;
  arma::Mat<double> data(clusters * each, 4);
  for (int i = 0; i < clusters * each; ++i) {
    const int c = i / each;
    const double x = number(i, 26), slope = number(c, 27);
    data.row(i) = arma::Row<double>{c + 1.0, x, 0.3 + slope * x + 0.7 * number(c, 28) + 0.6 * number(i, 29),
                                    c == 4 ? missing : 0.7 * slope + 0.5 * number(c, 30)};
  }
  // s: log v, betas (2), Sigma as before (3), log vw, deltas (2), random effects (2 a cluster).
  const auto density = [&](const state& s) {
    const double v = std::exp(s[0]), l1 = std::exp(s[3]), l2 = std::exp(s[4]), k = s[5], vw = std::exp(s[6]);
    const double det = l1 * l1 * l2 * l2, trace = (l1 * l1 + k * k + l2 * l2) / det;
    double sum = unit_prior(v) + unit_prior(vw) - 3 * std::log(det) - 0.5 * trace + 3 * s[3] + 2 * s[4];
    for (int c = 0; c < clusters; ++c) {
      const double u0 = s[9 + 2 * c], u1 = s[10 + 2 * c], z0 = u0 / l1, z1 = (u1 - k * z0) / l2;
      sum += -0.5 * (z0 * z0 + z1 * z1) - s[3] - s[4];
      for (int i = c * each; i < (c + 1) * each; ++i) {
        sum += normal(data(i, 2), s[1] + u0 + (s[2] + u1) * data(i, 1), v);
      }
      if (!std::isnan(data(c * each, 3))) sum += normal(data(c * each, 3), s[7] + s[8] * u1, vw);
    }
    return sum;
  };
  expect_agreement(
      {"id", "x", "y", "w"}, data,
      "CLUSTERID: id; RANDOMEFFECT: r = y | x; MODEL: y ~ x | x; w ~ r; DEBUG: no_sort;\n"
      "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 400000;",
      {0, 1, 2, 3, 4, 5, 11, 12, 13}, {"var 1", "cov", "var x", "v", "1", "x", "vw", "w: 1", "w: r"}, density,
      state(9 + 2 * clusters, 0.1),
      [](const state& s) {
        const double l1 = std::exp(s[3]), l2 = std::exp(s[4]), k = s[5];
        return arma::Col<double>{l1 * l1, l1 * k, k * k + l2 * l2, std::exp(s[0]), s[1], s[2], std::exp(s[6]),
                                 s[7],    s[8]};
      },
      60000);
}

}  // namespace
