// What a saved data set must hold, whatever was drawn: observed cells as they were read, categories among
// those that were observed, one value for each cluster, and other values in every set.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <sstream>

#include "app/result_files.hpp"
#include "input/command_file.hpp"
#include "random/random.hpp"
#include "support/blas_threads.hpp"

namespace tovik::tests::imputed_data_test {
namespace {

/// A table with names, NaN where a cell is missing.
struct table {
  std::vector<std::string> names;
  arma::Mat<double> cells;

  arma::uword find(const std::string& name) const {
    for (std::size_t k = 0; k < names.size(); ++k) {
      if (names[k] == name) return k;
    }
    throw std::out_of_range(name);
  }
  arma::Col<double> col(const std::string& name) const { return cells.col(find(name)); }
  table rows(arma::uword first, arma::uword last) const { return {names, cells.rows(first, last)}; }
};

table read_table(const std::string& path) {
  table out;
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  std::stringstream head(line);
  for (std::string cell; std::getline(head, cell, ',');) out.names.push_back(cell);
  std::vector<double> cells;
  while (std::getline(in, line)) {
    std::stringstream row(line);
    for (std::string cell; std::getline(row, cell, ',');)
      cells.push_back(cell == "NA" ? NAN : std::stod(cell));
  }
  out.cells = arma::reshape(arma::Mat<double>(cells), out.names.size(), cells.size() / out.names.size()).t();
  return out;
}

std::string text_of(const std::string& path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct column_rule {
  const char* name;
  bool categories;
  const char* cluster;  ///< the identifier within which it has one value; null for a variable of the rows
};

/// Whole runs on 120 rows in 24 clusters in 8 groups, with missing cells in variables of every kind and
/// level.
struct ImputedData : CommandFile {
  void SetUp() override {
    CommandFile::SetUp();
    write("d.csv", data_text());
  }

  /// y x: rows; o ordinal and n nominal with gaps between codes; w v: clusters; z: groups; f complete; e in
  /// no model.
  static std::string data_text() {
    Random rng(5, 1);
    std::ostringstream out;
    out << "top,id,y,x,o,n,w,v,z,f,e\n";
    const int ordinal[] = {1, 2, 5}, nominal[] = {7, 3, 4};
    const auto cell = [&](double value, bool missing) {
      return missing ? std::string("NA") : std::to_string(value).substr(0, 6);
    };
    for (int top = 1; top <= 8; ++top) {
      const double group = rng.rnorm();
      const std::string z = cell(group, top == 3);
      for (int id = 1; id <= 3; ++id) {
        const double cluster = rng.rnorm();
        const int number = 3 * top + id;
        const std::string w = cell(cluster, number % 5 == 0);
        const std::string v =
            number % 3 == 1 ? "NA" : std::to_string(cluster + 0.5 * rng.rnorm() > 0 ? 4 : 2);
        for (int i = 0; i < 5; ++i) {
          const double x = 0.5 * group + 0.7 * cluster + rng.rnorm();
          const double y = 1 + x + 0.5 * cluster + rng.rnorm();
          const double s = x + rng.rnorm(), t = x + rng.rnorm();
          out << top << "," << number << "," << cell(y, rng.runif() < 0.15) << ","
              << cell(x, rng.runif() < 0.2) << ",";
          out << (rng.runif() < 0.2 ? "NA" : std::to_string(ordinal[(s > -0.5) + (s > 0.7)])) << ",";
          out << (rng.runif() < 0.2 ? "NA" : std::to_string(nominal[(t > -0.4) + (t > 0.6)])) << ",";
          out << w << "," << v << "," << z << "," << cell(rng.rnorm(), false) << "," << cell(x, i == 2)
              << "\n";
        }
      }
    }
    return out.str();
  }

  /// Runs the command file and writes its files.
  void run(const std::string& commands, const std::string& processors = "1") {
    use_one_blas_thread();
    warning::buffer.clear();
    input = read("DATA: d.csv; SEED: 77; OPTIONS: savevarnames; DEBUG: " + debug + "; CHAINS: 2 processors " +
                 processors + "; ORDINAL: o v; NOMINAL: n;" + commands);
    testing::internal::CaptureStdout();
    prepared = std::make_unique<analysis>(prepare(*input));
    group = std::make_unique<chain_group<sem::Mcmc>>(build_chains(*input, *prepared));
    input->dataNames = group->front().estimator().dataNames(
        prepared->vars, prepared->models, input->savelatent, input->saveresid, input->savepred);
    try {
      group->exec();
    } catch (...) {
      testing::internal::GetCapturedStdout();
      throw;
    }
    write_result_files(*input, *group, *prepared);
    output = testing::internal::GetCapturedStdout();
  }

  /// The sets of a stacked file, each without its number.
  static std::vector<table> sets(const std::string& path, unsigned first, unsigned last, arma::uword rows) {
    const table all = read_table(path);
    EXPECT_EQ(all.names.front(), "imp#");
    EXPECT_EQ(all.cells.n_rows, rows * (last - first + 1));
    std::vector<table> out;
    for (unsigned m = first; m <= last; ++m) {
      table one = all.rows(rows * (m - first), rows * (m - first + 1) - 1);
      EXPECT_TRUE(arma::all(one.cells.col(0) == m));
      one.cells.shed_col(0);
      one.names.erase(one.names.begin());
      out.push_back(one);
    }
    return out;
  }

  static void expect_equal(const arma::Mat<double>& a, const arma::Mat<double>& b) {
    ASSERT_EQ(arma::size(a), arma::size(b));
    for (arma::uword k = 0; k < a.n_elem; ++k) {
      EXPECT_TRUE(a[k] == b[k] || (std::isnan(a[k]) && std::isnan(b[k])))
          << k << ": " << a[k] << ", " << b[k];
    }
  }

  /// One column of a completed set against what was read.
  static void expect_completed(const table& set, const table& raw, const column_rule& rule) {
    SCOPED_TRACE(rule.name);
    const arma::Col<double> before = raw.col(rule.name), after = set.col(rule.name);
    std::set<double> observed;
    std::map<double, double> of_cluster;
    for (double value : before) {
      if (!std::isnan(value)) observed.insert(value);
    }
    for (arma::uword i = 0; i < before.n_elem; ++i) {
      if (!std::isnan(before[i])) {
        EXPECT_EQ(after[i], before[i]) << i;
      }
      EXPECT_TRUE(std::isfinite(after[i])) << i;
      if (rule.categories) {
        EXPECT_TRUE(observed.count(after[i])) << i << ": " << after[i];
      }
      if (!rule.cluster) continue;
      const auto first = of_cluster.emplace(raw.col(rule.cluster)[i], after[i]).first;
      EXPECT_EQ(first->second, after[i]) << i;
    }
  }

  /// Missing cells of a continuous variable differ in all pairs of sets, those of a categorical one in some.
  static void expect_different(const std::vector<table>& all, const table& raw, const column_rule& rule) {
    SCOPED_TRACE(rule.name);
    const arma::uvec missing = arma::find_nan(raw.col(rule.name));
    bool differ = false;
    for (std::size_t a = 0; a < all.size(); ++a) {
      for (std::size_t b = 0; b < a; ++b) {
        const arma::Col<double> one = all[a].col(rule.name), other = all[b].col(rule.name);
        const arma::uword equal = arma::accu(one(missing) == other(missing));
        if (equal < missing.n_elem) differ = true;
        if (!rule.categories) {
          EXPECT_EQ(equal, 0u) << a + 1 << " and " << b + 1;
        }
      }
    }
    EXPECT_TRUE(differ);
  }

  void expect_all(const std::vector<table>& all, const table& raw, const std::vector<column_rule>& rules) {
    for (const table& set : all) {
      for (const column_rule& rule : rules) expect_completed(set, raw, rule);
      for (const char* untouched : {"top", "id", "f"}) expect_equal(set.col(untouched), raw.col(untouched));
    }
    for (const column_rule& rule : rules) {
      if (raw.col(rule.name).has_nan()) expect_different(all, raw, rule);
    }
  }

  std::string debug = "allow_tune_fail, no_drop";
  std::unique_ptr<InputFile> input;
  std::unique_ptr<analysis> prepared;
  std::unique_ptr<chain_group<sem::Mcmc>> group;
  std::string output;
};

const std::vector<column_rule> two_levels = {{"y", false, nullptr}, {"x", false, nullptr},
                                             {"o", true, nullptr},  {"n", true, nullptr},
                                             {"w", false, "id"},    {"v", true, "id"}};
const std::string short_run = "BURN: 60; ITERATIONS: 40; NIMPS: 4; ";

TEST_F(ImputedData, VariablesOfEveryKindAreCompletedWithoutEquations) {
  run("CLUSTERID: id; FCS: y x o n w v f;" + short_run + "SAVE: stacked0 = a.csv, separate = s*.csv;");
  const table raw = read_table("d.csv");
  const std::vector<table> all = sets("a.csv", 0, 4, 120);
  ASSERT_EQ(all.size(), 5u);
  EXPECT_EQ(all[0].names, raw.names);
  expect_equal(all[0].cells, raw.cells);
  const std::vector<table> completed(all.begin() + 1, all.end());
  expect_all(completed, raw, two_levels);
  for (unsigned m = 1; m <= 4; ++m) {
    const table one = read_table("s" + std::to_string(m) + ".csv");
    EXPECT_EQ(one.names, raw.names);
    expect_equal(one.cells, all[m].cells);
    expect_equal(one.col("e"), raw.col("e"));  // in no model
  }
  EXPECT_EQ(text_of("slist.csv"), "s1.csv\ns2.csv\ns3.csv\ns4.csv");
  EXPECT_FALSE(std::filesystem::exists("s5.csv"));
}

TEST_F(ImputedData, OneLevelAndThreeLevels) {
  const table raw = read_table("d.csv");
  run("FCS: y x o n;" + short_run + "SAVE: stacked = a.csv;");
  expect_all(sets("a.csv", 1, 4, 120), raw, {two_levels.begin(), two_levels.begin() + 4});
  run("CLUSTERID: id top; FCS: y x o w v z;" + short_run + "SAVE: stacked = a.csv;");
  expect_all(sets("a.csv", 1, 4, 120), raw,
             {{"y", false, nullptr},
              {"x", false, nullptr},
              {"o", true, nullptr},
              {"w", false, "id"},
              {"v", true, "id"},
              {"z", false, "top"}});
}

TEST_F(ImputedData, PredictorsOfEveryKindAreCompletedBesideAnEquation) {
  const table raw = read_table("d.csv");
  for (const char* center : {"", "CENTER: groupmean = x o n, grandmean = w v f;",
                             "CENTER: grandmean = x o n w v;", "FIXED: f; CENTER: groupmean = f x;"}) {
    SCOPED_TRACE(center);
    run("CLUSTERID: id;" + std::string(center) + "MODEL: y ~ x o n w v f;" + short_run +
        "SAVE: stacked0 = a.csv;");
    const std::vector<table> all = sets("a.csv", 0, 4, 120);
    expect_equal(all[0].cells, raw.cells);
    expect_all({all.begin() + 1, all.end()}, raw, two_levels);
  }
}

TEST_F(ImputedData, LatentMeansSlopesAndProductsKeepObservedCells) {
  // Far enough apart that no cell has stayed for want of an accepted proposal.
  run("CLUSTERID: id; CENTER: groupmean = x; MODEL: y ~ x x.mean w (x*w) | x;"
      "BURN: 60; ITERATIONS: 400; NIMPS: 4; SAVE: stacked = a.csv;");
  expect_all(sets("a.csv", 1, 4, 120), read_table("d.csv"),
             {{"y", false, nullptr}, {"x", false, nullptr}, {"w", false, "id"}});
}

TEST_F(ImputedData, AuxiliaryVariablesAreCompletedToo) {
  const table raw = read_table("d.csv");
  run("CLUSTERID: id; FCS: o w; MODEL: y ~ x;" + short_run + "SAVE: stacked = a.csv;");
  std::vector<table> all = sets("a.csv", 1, 4, 120);
  expect_all(all, raw,
             {{"y", false, nullptr}, {"x", false, nullptr}, {"o", true, nullptr}, {"w", false, "id"}});
  for (const table& set : all) expect_equal(set.col("v"), raw.col("v"));
  run("CLUSTERID: id; OPTIONS: covariatemodel; MODEL: y ~ x;" + short_run + "SAVE: stacked = a.csv;");
  expect_all(sets("a.csv", 1, 4, 120), raw, two_levels);
}

TEST_F(ImputedData, TheSeedAloneFixesTheFiles) {
  const std::string commands =
      "CLUSTERID: id; FCS: y x o n w v;" + short_run +
      "CHAINS: 3; SAVE: stacked0 = a.csv, separate = s*.csv, avgimp = m.csv, varimp = v.csv, "
      "iterations = i.csv; OPTIONS: savelatent;";
  const std::vector<const char*> files = {"a.csv",  "s1.csv", "s2.csv", "s3.csv",
                                          "s4.csv", "m.csv",  "v.csv",  "i.csv"};
  run(commands, "1");
  std::vector<std::string> before;
  for (const char* file : files) before.push_back(text_of(file));
  run(commands, "3");
  for (std::size_t k = 0; k < files.size(); ++k) {
    EXPECT_FALSE(before[k].empty()) << files[k];
    EXPECT_EQ(text_of(files[k]), before[k]) << files[k];
  }
  run(commands + "SEED: 78;", "3");  // the first SEED holds
  EXPECT_EQ(text_of("a.csv"), before[0]);
  input.reset();
  Restore<std::uint32_t> seed(InputFile::globalSeed);
  InputFile::globalSeed = 78;
  run(commands, "3");
  EXPECT_NE(text_of("a.csv"), before[0]);
}

TEST_F(ImputedData, AveragesAreOverAllIterations) {
  run("CLUSTERID: id; FCS: y x w; BURN: 30; ITERATIONS: 12; NIMPS: 12; OPTIONS: scientific; SAVE: stacked = "
      "a.csv, "
      "avgimp = m.csv, varimp = v.csv;");
  arma::Mat<double> sum(120, 11, arma::fill::zeros), squares = sum;
  const std::vector<table> all = sets("a.csv", 1, 12, 120);
  for (const table& set : all) sum += set.cells / 12;
  for (const table& set : all) squares += arma::square(set.cells - sum) / 11;
  const table mean = read_table("m.csv"), variance = read_table("v.csv");
  EXPECT_EQ(mean.names, all[0].names);
  for (const char* name : {"y", "x", "w"}) {
    EXPECT_LT(arma::abs(mean.col(name) - sum.col(mean.find(name))).max(), 1e-8) << name;
    EXPECT_LT(arma::abs(variance.col(name) - squares.col(mean.find(name))).max(), 1e-8) << name;
  }
}

TEST_F(ImputedData, FurtherColumnsStandBehindTheData) {
  run("CLUSTERID: id; MODEL: d = x*w; y ~ x o n w d;" + short_run +
      "OPTIONS: savelatent saveresid savepred scientific; SAVE: stacked0 = a.csv;");
  const std::vector<table> all = sets("a.csv", 0, 4, 120);
  const table raw = read_table("d.csv");
  ASSERT_GT(all[0].cells.n_cols, 15u);
  for (arma::uword j = 11; j < all[0].cells.n_cols; ++j) {
    EXPECT_TRUE(all[0].cells.col(j).has_nan() && !all[0].cells.col(j).is_finite()) << all[0].names[j];
  }
  for (unsigned m = 1; m <= 4; ++m) {
    const table& set = all[m];
    EXPECT_EQ(set.names[11], "d");
    EXPECT_LT(arma::abs(set.col("d") - set.col("x") % set.col("w")).max(), 1e-8);
    // Residuals are what predictions leave of the outcome.
    const arma::Col<double> rest = set.col("y") - set.col("y.predicted") - set.col("y.residual");
    EXPECT_LT(arma::abs(rest).max(), 1e-6);
    // Latent means are constant within their cluster; the latent score of an ordinal variable rises with its
    // category.
    const arma::Col<double> mean = set.col("x.mean[id]"), id = set.col("id");
    for (arma::uword i = 1; i < 120; ++i) {
      if (id[i] == id[i - 1]) {
        EXPECT_EQ(mean[i], mean[i - 1]);
      }
    }
    const arma::Col<double> score = set.col("o.latent"), code = set.col("o");
    EXPECT_LT(arma::Col<double>(score(arma::find(code == 1))).max(),
              arma::Col<double>(score(arma::find(code == 2))).min());
    EXPECT_LT(arma::Col<double>(score(arma::find(code == 2))).max(),
              arma::Col<double>(score(arma::find(code == 5))).min());
  }
}

TEST_F(ImputedData, DrawFilesOfARunWithoutEquationsHoldTheImputationModels) {
  run("CLUSTERID: id; FCS: y x w; BURN: 30; ITERATIONS: 10; SAVE: iterations = i.csv, burn = b*.csv, "
      "estimates = "
      "e.csv, simple = si.csv, correlations = c.csv, likelihood = l.csv, labelfile = n.dat, starts = "
      "st.csv;");
  const std::string first = text_of("i.csv").substr(0, text_of("i.csv").find('\n'));
  const auto parameters = group->front().estimator().getTotalParams();
  EXPECT_EQ(static_cast<std::size_t>(std::count(first.begin(), first.end(), ',')), parameters);
  const std::string estimates = text_of("e.csv"), labels = text_of("n.dat");
  EXPECT_EQ(static_cast<std::size_t>(std::count(estimates.begin(), estimates.end(), '\n')), parameters + 1);
  EXPECT_NE(labels.find(" " + std::to_string(parameters) + "\n"), std::string::npos) << labels;
  const std::string starts = text_of("st.csv");
  EXPECT_EQ(static_cast<std::size_t>(std::count(starts.begin(), starts.end(), '\n')), parameters);
  for (const char* nothing : {"si.csv", "c.csv", "l.csv"}) {
    EXPECT_FALSE(std::filesystem::exists(nothing)) << nothing;
  }
  EXPECT_EQ(output.find("VARIABLE ORDER"), std::string::npos);
}

/// How the message on rows without a value of x names their lines.
std::string dropped_lines(const arma::Col<double>& x) {
  const arma::uvec rows = arma::find_nan(x);
  std::string out = "         Lines of the data file:";
  for (arma::uword k = 0; k < 5; ++k) out += (k > 0 ? ", " : " ") + std::to_string(rows(k) + 2);
  return out + " and " + std::to_string(rows.n_elem - 5) + " more.";
}

TEST_F(ImputedData, OneVariableAloneAndRowsWithoutAnyValue) {
  const table raw = read_table("d.csv");
  run("CLUSTERID: id; FCS: x;" + short_run + "SAVE: stacked = a.csv;");
  expect_all(sets("a.csv", 1, 4, 120), raw, {{"x", false, nullptr}});
  debug = "allow_tune_fail";
  run("FCS: x;" + short_run + "SAVE: stacked0 = a.csv;");
  EXPECT_EQ(warnings(), (Names{"WARNING: Using DEBUG command gives access to advanced internal options.\n"
                               "\n         - Enabling continuing when tuning fails.\n"
                               "           MCMC sampling will continue if algorithmic tuning\n"
                               "           has not been achieved by the end of the burn-in period.\n",
                               "WARNING: " + std::to_string(arma::find_nan(raw.col("x")).eval().n_elem) +
                                   " observations have all variables in the imputation\n"
                                   "         model missing. They have been dropped from data set.\n" +
                                   dropped_lines(raw.col("x"))}));
  const table all = read_table("a.csv");
  const arma::uword left = 120 - arma::find_nan(raw.col("x")).eval().n_elem;
  EXPECT_EQ(all.cells.n_rows, 120 + 4 * left);
  EXPECT_EQ(arma::accu(all.col("imp#") == 0), 120u);
  EXPECT_EQ(arma::accu(all.col("imp#") == 4), left);
}

}  // namespace
}  // namespace tovik::tests::imputed_data_test
