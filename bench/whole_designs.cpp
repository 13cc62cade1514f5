#include "whole_designs.hpp"

namespace tovik::bench {
namespace {

whole_design plain_regression() {
  return {"regression, 2,000 rows, ten predictors",
          "n = 2000; n:\n"
          "x1 x2 x3 x4 x5 x6 x7 x8 x9 x10 = normal(0, 1);\n"
          "y = 0.3*(x1 + x2 + x3 + x4 + x5) - 0.2*(x6 + x7 + x8 + x9 + x10) + normal(0, 1);\n",
          "y x1 x2 x3 x4 x5 x6 x7 x8 x9 x10",
          "MODEL: y ~ x1 x2 x3 x4 x5 x6 x7 x8 x9 x10;\n",
          1000,
          20000};
}

/// With `incomplete`, 20% of the cells are missing in the predictor that has the slope and in one more.
whole_design random_slope(bool incomplete) {
  const std::string data =
      "row(1) = 20000; id(2) = 1000;\n"
      "id: a = normal(0, 1); b = normal(0, 0.09);\n"
      "row: x1 x2 x3 x4 = normal(0, 1);\n"
      "y = a + b*x1 + 0.2*(x1 + x2 + x3 + x4) + normal(0, 1);\n";
  if (!incomplete)
    return {"random slope, 20,000 rows, 1,000 clusters", data, "id y x1 x2 x3 x4",
            "CLUSTERID: id;\nMODEL: y ~ x1 x2 x3 x4 | x1;\n"};
  return {"the same, 20% missing in two predictors",
          data + "z1 = missing(uniform(0, 1) < 0.2, x1);\nz2 = missing(uniform(0, 1) < 0.2, x2);\n",
          "id y z1 z2 x3 x4",
          "CLUSTERID: id;\nMODEL: y ~ z1 z2 x3 x4 | z1;\n",
          500,
          2000};
}

whole_design mediation(bool product) {
  const std::string interaction = product ? " + 0.2*all1*all2" : "";
  return {product ? "mediation with the product of the mediators" : "mediation, three equations, 10,000 rows",
          "n = 10000; n:\n"
          "x = normal(0, 1);\n"
          "all1 = normal(1 + 0.5*x, 1);\n"
          "all2 = normal(0.4*all1 + 0.2*x, 1);\n"
          "y = 0.3*all1 + 0.5*all2 - 0.2*x" +
              interaction +
              " + normal(0, 1);\n"
              "m1 = missing(uniform(0, 1) < 0.3, all1);\n"
              "m2 = missing(uniform(0, 1) < 0.3, all2);\n",
          "x m1 m2 y",
          std::string("MODEL: m1 ~ x; m2 ~ m1 x; y ~ m1 m2 x") + (product ? " m1*m2" : "") + ";\n",
          1000,
          2000};
}

whole_design two_random_intercepts() {
  return {"random intercepts at two levels, 50,000 rows",
          "row(1) = 50000; class(2) = 2500; school(3) = 250;\n"
          "school: a = normal(0, 0.49);\n"
          "class: b = normal(0, 0.25);\n"
          "row: x1 = normal(0, 1); x2 = normal(0.4*x1, 1);\n"
          "y = 1 + a + b + 0.5*x1 - 0.3*x2 + normal(0, 1);\n",
          "school class y x1 x2",
          "CLUSTERID: school class;\nMODEL: y ~ x1 x2;\n",
          500,
          2000};
}

/// y on x with a random intercept of variance `between` beside 1 - between in `clusters` clusters.
whole_design random_intercept(const std::string& name, unsigned rows, unsigned clusters,
                              const std::string& between, const std::string& within) {
  return {name,
          "row(1) = " + std::to_string(rows) + "; id(2) = " + std::to_string(clusters) +
              ";\n"
              "id: a = normal(0, 1);\n"
              "row: x = normal(0, 1);\n"
              "y = sqrt(" +
              between + ")*a + 0.5*x + normal(0, " + within + ");\n",
          "id y x", "CLUSTERID: id;\nMODEL: y ~ x;\n"};
}

whole_design slope_far_from_zero() {
  return {"random slope of a predictor with mean 10",
          "row(1) = 2000; id(2) = 100;\n"
          "id: a = normal(0, 0.5); b = normal(0, 0.1);\n"
          "row: x = normal(10, 1);\n"
          "y = a + (0.5 + b)*x + normal(0, 1);\n",
          "id y x",
          "CLUSTERID: id;\nMODEL: y ~ x | x;\n",
          1000,
          4000,
          "(i)"};  // what the intercept of the clusters does at x = 0, ten deviations away
}

whole_design slopes_at_two_levels() {
  return {"three levels, slopes at both",
          "row(1) = 5000; class(2) = 500; school(3) = 50;\n"
          "school: a3 = normal(0, 0.3); b3 = normal(0, 0.1);\n"
          "class: a2 = normal(0, 0.3); b2 = normal(0, 0.1);\n"
          "row: x = normal(0, 1);\n"
          "y = a3 + a2 + (0.5 + b3 + b2)*x + normal(0, 1);\n",
          "school class y x", "CLUSTERID: school class;\nMODEL: y ~ x | x;\n"};
}

whole_design labelled_coefficients() {
  return {"four labelled coefficients, predictors correlated .8",
          "n = 500; n:\n"
          "common = normal(0, 0.8);\n"
          "x1 x2 x3 x4 = normal(common, 0.2);\n"
          "y = 1 + 0.5*x1 - 0.3*x2 + 0.2*x3 + normal(0, 1);\n",
          "y x1 x2 x3 x4",
          "MODEL: y ~ x1@b1 x2@b2 x3@b3 x4@b4;\n"
          "PARAMETERS: b1 ~ normal(0, 4); b2 ~ normal(0, 4); b3 ~ normal(0, 4); b4 ~ normal(0, 4);\n"};
}

whole_design centred_incomplete_slope() {
  return {"incomplete x with random slope, latent mean and centring",
          "row(1) = 2000; id(2) = 100;\n"
          "id: a = normal(0, 0.5); b = normal(0, 0.1); m = normal(0, 0.3);\n"
          "row: all = normal(m, 0.7);\n"
          "y = a + (0.5 + b)*(all - m) + 0.8*m + normal(0, 1);\n"
          "x = missing(uniform(0, 1) < 0.2, all);\n",
          "id y x", "CLUSTERID: id;\nCENTER: groupmean = x;\nMODEL: y ~ x x.mean | x;\n"};
}

}  // namespace

std::vector<whole_design> whole_workloads() {
  return {random_slope(false), mediation(false), mediation(true), two_random_intercepts(),
          plain_regression()};
}

std::vector<whole_design> slow_designs() {
  return {
      random_intercept("random intercept, intraclass correlation .8, 100 x 100", 10000, 100, "0.8", "0.2"),
      random_intercept("random intercept, intraclass correlation .3, 20 x 100", 2000, 100, "0.3", "0.7"),
      slope_far_from_zero(),
      slopes_at_two_levels(),
      random_intercept("no variance between 40 clusters of 10", 400, 40, "0", "1"),
      random_intercept("six clusters of 20, intraclass correlation .3", 120, 6, "0.3", "0.7"),
      labelled_coefficients(),
      centred_incomplete_slope(),
      random_slope(false),
      random_slope(true)};
}

}  // namespace tovik::bench
