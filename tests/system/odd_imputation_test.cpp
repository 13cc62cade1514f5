// Runs with incomplete predictors in data at the edge: clusters of one row, a single cluster, clusters
// without an observed cell, columns that hardly vary. Each ends with data sets that keep what was observed,
// or with a message that tells why not.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "system/program.hpp"

using namespace tovik::tests;

namespace {

/// How many rows cluster j of 0, 1, ... has; no more clusters where it is 0.
using sizes = int (*)(int j);

int unequal(int j) {
  return j < 40 ? 1 + (j * 7) % 9 : 0;
}
int all_in_one(int j) {
  return j < 1 ? 60 : 0;
}
int two(int j) {
  return j < 2 ? 30 : 0;
}
int alone(int j) {
  return j < 80 ? 1 : 0;
}
int some_alone(int j) {
  return j < 60 ? (j % 2 ? 1 : 4) : 0;
}

using rows = std::vector<std::vector<std::string>>;

/// id top y x m o n k w v flat: x is missing in all rows of the third cluster; o is 1 or 5, never between,
/// and n is 3 or 4; k is a count; w is of the cluster, v of five clusters together, both missing in parts; z
/// is complete.
rows make_rows(sizes n) {
  std::mt19937 engine(11);
  const auto uniform = [&] { return static_cast<double>(engine()) / 4294967296.0; };
  const auto normal = [&] { return uniform() + uniform() + uniform() + uniform() - 2.0; };
  const auto cell = [&](double value, bool missing) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", value);
    return missing ? std::string("NA") : std::string(text);
  };
  const auto code = [&](int value) { return uniform() < 0.2 ? "NA" : std::to_string(value); };
  rows out = {{"id", "top", "y", "x", "m", "o", "n", "k", "w", "v", "z", "flat", "empty"}};
  for (int j = 0; n(j) > 0; ++j) {
    const double v = std::sin(2.0 * (j / 5) + 1.0), u = normal() + v, w = normal();
    for (int i = 0; i < n(j); ++i) {
      const double x = u + normal(), m = 0.5 * x + normal(), z = 0.5 * u + normal();
      const double y = x + m + 0.5 * x * m + w + normal();
      out.push_back({std::to_string(j + 1), std::to_string(j / 5 + 1), cell(y, false),
                     cell(x, j == 2 || uniform() < 0.2), cell(m, uniform() < 0.2),
                     code(x + normal() > 0 ? 5 : 1), code(x > 0 ? 4 : 3),
                     i == 0 ? std::string("2") : code(static_cast<int>(std::exp(0.7 + x))),
                     cell(w, j % 6 == 1), cell(v, j / 5 == 1), cell(z, false), "1", "NA"});
    }
  }
  return out;
}

std::string join(const rows& table) {
  std::string out;
  for (const auto& row : table)
    for (std::size_t k = 0; k < row.size(); ++k) out += row[k] + (k + 1 < row.size() ? "," : "\n");
  return out;
}

rows split_rows(const std::string& text) {
  rows out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    out.emplace_back();
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');) out.back().push_back(cell);
  }
  return out;
}

struct odd_case {
  const char* name;
  sizes clusters;
  const char* ids;
  const char* commands;
  const char* message = "";  ///< of the error; empty where the run succeeds
};

void PrintTo(const odd_case& c, std::ostream* out) {
  *out << c.name;
}

class OddImputation : public testing::TestWithParam<odd_case> {};

/// Compares set number `imputation` of a stacked file with what was read.
void expect_kept(const rows& read, const rows& saved, std::size_t first, bool complete) {
  std::map<std::string, std::string> of_cluster;
  for (std::size_t i = 1; i < read.size(); ++i) {
    const auto& now = saved.at(first + i - 1);
    for (std::size_t k = 0; k < read[i].size(); ++k) {
      const std::string &was = read[i][k], &name = read[0][k], &is = now.at(k + 1);
      if (was != "NA") {
        EXPECT_NEAR(std::stod(is), std::stod(was), 1e-9) << name << ", row " << i;
        continue;
      }
      EXPECT_TRUE(complete || is == "NA") << name;
      if (is == "NA") continue;
      EXPECT_TRUE(std::isfinite(std::stod(is))) << name;
      EXPECT_TRUE(name != "o" || is == "1" || is == "5") << is;
      EXPECT_TRUE(name != "n" || is == "3" || is == "4") << is;
      if (name == "w" || name == "v") {
        const std::string unit = name + read[i][name == "w" ? 0 : 1];
        EXPECT_EQ(of_cluster.emplace(unit, is).first->second, is) << unit;
      }
    }
    for (std::size_t k = read[i].size() + 1; complete && k < now.size(); ++k)
      EXPECT_TRUE(std::isfinite(std::stod(now[k]))) << saved[0][k];
  }
}

TEST_P(OddImputation, KeepsWhatWasObservedOrTellsWhyNot) {
  const odd_case& c = GetParam();
  scratch_folder scratch;
  const rows read = make_rows(c.clusters);
  write_file(scratch.path() / "d.csv", join(read));
  write_file(
      scratch.path() / "c.tovik",
      "DATA: d.csv; SEED: 7; BURN: 60; ITERATIONS: 20; CHAINS: 2; NIMPS: 2;\n"
      "SAVE: stacked0 = out.csv; OPTIONS: savelatent savevarnames; DEBUG: allow_tune_fail, no_drop;\n" +
          std::string(c.ids) + "\n" + c.commands + "\n");
  const run_result run = run_program((scratch.path() / "c.tovik").string());
  if (*c.message != '\0') {
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
    return;
  }
  ASSERT_EQ(run.status, 0) << run.output;
  const rows saved = split_rows(read_file(scratch.path() / "out.csv"));
  std::size_t const n = read.size() - 1;
  ASSERT_EQ(saved.size(), 3 * n + 1);
  for (std::size_t set = 0; set < 3; ++set) {
    EXPECT_EQ(saved[1 + set * n][0], std::to_string(set));
    expect_kept(read, saved, 1 + set * n, set > 0);
  }
  bool differ = false;
  for (std::size_t i = 1; i <= n; ++i) {
    for (std::size_t k = 1; k <= read[0].size(); ++k)
      differ = differ || saved[n + i][k] != saved[2 * n + i][k];
  }
  EXPECT_TRUE(differ);
}

const char two_levels[] = "CLUSTERID: id;", three_levels[] = "CLUSTERID: id top;";

const odd_case cases[] = {
    {"AClusterWithoutAnObservedCell", unequal, two_levels, "MODEL: y ~ x m x.mean;"},
    {"GroupCenteredWithSingletons", some_alone, two_levels, "CENTER: groupmean = x; MODEL: y ~ x x.mean w;"},
    {"OnlySingletons", alone, two_levels, "MODEL: y ~ x w;"},
    {"OnlySingletonsWithoutEquations", alone, two_levels, "FCS: x m w;"},
    {"OneCluster", all_in_one, two_levels, "FCS: x m y;"},
    {"AMeanOfOneCluster", all_in_one, two_levels, "MODEL: y ~ x x.mean;",
     "ERROR: Variable 'x' cannot estimate a cluster mean."},
    {"CenteredInOneCluster", all_in_one, two_levels, "CENTER: groupmean = x; MODEL: y ~ x;",
     "ERROR: Cannot group mean center the variable \"x\"."},
    {"MeansOfTwoClusters", two, two_levels, "MODEL: y ~ x x.mean;",
     "ERROR: There are too few units for the predictor model of variable 'x' at level 2."},
    {"AConstant", unequal, two_levels, "FCS: x m flat;", "ERROR: Variable 'flat' does not vary."},
    {"NothingObserved", unequal, two_levels, "MODEL: y ~ x empty;",
     "ERROR: Variable 'empty' has no observed values."},
    {"OrdinalCodesWithAGap", unequal, two_levels,
     "ORDINAL: o; CENTER: groupmean = o, grandmean = o.mean; MODEL: y ~ o o.mean;"},
    {"NominalOfTwoCategories", unequal, two_levels,
     "NOMINAL: n; CENTER: groupmean = n; MODEL: y ~ n n.mean | n;"},
    {"MixedKinds", unequal, two_levels, "ORDINAL: o; NOMINAL: n; FCS: x m o n w y;"},
    {"ThreeLevels", unequal, three_levels, "CENTER: groupmean = x x.mean; MODEL: y ~ x x.mean w v;"},
    {"ThreeLevelsOfMixedKinds", unequal, three_levels, "ORDINAL: o; NOMINAL: n; FCS: x o n w v;"},
    {"AnOutcomeThatIsReadCentered", unequal, two_levels,
     "CENTER: groupmean = m; MODEL: m ~ x; y ~ m m.mean;"},
    {"OneVariable", unequal, two_levels, "FCS: x;"},
    {"OneVariableOfTheClusters", unequal, two_levels, "FCS: w;"},
    {"OneNominalVariableWithoutClusters", unequal, "", "NOMINAL: n; FCS: n;"},
    {"AProductOfIncompletePredictors", unequal, two_levels, "MODEL: y ~ x m (x*m) (x^2) (x^3);"},
    {"ReadInASlopeOnly", unequal, two_levels, "MODEL: y ~ z | x;"},
    {"ReadThroughAClusterMean", unequal, two_levels, "MODEL: y ~ (x - mean(x, id)) m;"},
    {"Counts", unequal, two_levels, "COUNT: k; CENTER: groupmean = k; MODEL: y ~ k k.mean x;"},
    {"ModeratorsAtStandardDeviations", unequal, two_levels,
     "CENTER: groupmean = x m, grandmean = w m.mean;\n"
     "MODEL: y ~ x m w (x*m) m.mean (x*m.mean) (x*w);\n"
     "SIMPLE: x | m @ +1SD, x | m.mean @ -1SD, x | w @ 1SD;"},
    {"Labels", unequal, two_levels, "MODEL: y ~ x@a m@b (x*m)@c; PARAMETERS: d = a*b;"},
    {"FixedAndCentered", unequal, two_levels,
     "FIXED: z y; CENTER: grandmean = z, groupmean = y; FCS: z y x m;"},
    {"ValuesOfBillions", unequal, two_levels, "TRANSFORM: big = x*1000000000; MODEL: y ~ big m big.mean;"},
};

std::string name_of(const testing::TestParamInfo<odd_case>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Cases, OddImputation, testing::ValuesIn(cases), name_of);

}  // namespace
