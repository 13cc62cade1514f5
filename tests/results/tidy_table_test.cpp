// Draws and estimates as tables for other programs.

#include "results/tidy_table.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "results/draws_file.hpp"
#include "results/series.hpp"
#include "results/settings.hpp"
#include "scratch_folder.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::tests::tidy_table_test {
namespace {

using texts = std::vector<std::string>;

class Tidy : public testing::Test {
 protected:
  static std::vector<parameter_name> four_names() {
    std::vector<parameter_name> names(4);
    const texts columns = {"y ~ x", "y L2 | Cov(a,b)", "p", "y | \"z\""};
    for (std::size_t k = 0; k < 4; ++k) {
      names[k].column = columns[k];
      names[k].block = "model";
      names[k].label = "row";
    }
    names[1].level = 2;
    return names;
  }

  std::string path(const std::string& name) const { return (scratch_.path() / name).string(); }

  texts lines(const std::string& name) const {
    std::ifstream in(path(name));
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!text.empty()) text.pop_back();
    return split(text, "\n", false);
  }

  const Summary draws_{series(), 40};

 private:
  SummarySettings settings_;
  scratch_folder scratch_;
};

TEST_F(Tidy, DrawsHaveChainIterationAndNumberInFront) {
  save_draws(path("d.csv"), draws_, four_names());
  const texts all = lines("d.csv");
  ASSERT_EQ(all.size(), 1u + 80);
  EXPECT_EQ(all[0], ".chain,.iteration,.draw,y ~ x,\"y L2 | Cov(a,b)\",p,\"y | \"\"z\"\"\"");
  EXPECT_EQ(all[1].rfind("1,1,1,", 0), 0u);
  EXPECT_EQ(all[41].rfind("2,1,41,", 0), 0u);
  EXPECT_EQ(all[80].rfind("2,40,80,", 0), 0u);
}

TEST_F(Tidy, DrawsComeBackToTenDigits) {
  save_draws(path("d.csv"), draws_, four_names());
  const texts all = lines("d.csv");
  const std::vector<arma::Mat<double>> chains = series();
  for (std::size_t j = 0; j < 2; ++j) {
    for (arma::uword t = 0; t < 40; ++t) {
      const texts cells = split(all[1 + 40 * j + t], ",", false);
      ASSERT_EQ(cells.size(), 7u);
      for (arma::uword k = 0; k < 4; ++k)
        EXPECT_NEAR(std::stod(cells[3 + k]), chains[j](k, t), 1e-9 * std::abs(chains[j](k, t)));
    }
  }
}

TEST_F(Tidy, DrawsOfEachChainHaveAFileWhereThePathSaysSo) {
  save_draws(path("all.csv"), draws_, four_names());
  save_draws(path("d*.csv"), draws_, four_names());
  const texts all = lines("all.csv");
  texts joined = lines("d1.csv");
  EXPECT_EQ(joined.size(), 41u);
  const texts second = lines("d2.csv");
  ASSERT_EQ(second.size(), 41u);
  EXPECT_EQ(second.front(), all.front());
  joined.insert(joined.end(), second.begin() + 1, second.end());
  EXPECT_EQ(joined, all);
}

TEST_F(Tidy, AChainWithoutDrawsLeavesNoLines) {
  std::vector<arma::Mat<double>> chains = series();
  chains[0].set_size(4, 0);
  save_draws(path("d.csv"), Summary(chains, 0), four_names());
  const texts all = lines("d.csv");
  ASSERT_EQ(all.size(), 41u);
  EXPECT_EQ(all[1].rfind("2,1,1,", 0), 0u);
}

TEST_F(Tidy, DrawsAndNamesMustAgree) {
  EXPECT_THROW(save_draws(path("d.csv"), draws_, {}), error_debug);
  EXPECT_THROW(make_tidy_table(draws_, {}), error_debug);
}

TEST_F(Tidy, StatisticsAreThoseOfTheReportAndMore) {
  Summary::add_column("quantiles");
  Summary::add_column("mean");
  Summary::add_column("quant50");
  const tidy_table table = make_tidy_table(draws_, four_names());
  EXPECT_EQ(table.columns, (texts{"mean", "median", "sd", "mad", "q2.5", "q97.5", "psr", "n_eff", "mcse",
                                  "q25", "q50", "q75"}));
  Summary::cols = {Summary::column::mean, Summary::column::stddev, Summary::column::psr,
                   Summary::column::n_eff, Summary::column::quantiles};
  const arma::Mat<double> report = draws_.summary();
  for (arma::uword r = 0; r < 4; ++r) {
    const std::pair<arma::uword, arma::uword> same[] = {{0, 0}, {2, 1},  {6, 2},  {7, 3}, {4, 4},
                                                        {9, 5}, {10, 6}, {11, 7}, {5, 8}};
    for (const auto& [here, there] : same) expect_near(table.values(r, here), report(r, there), 0.0);
    if (r < 3) {
      EXPECT_NEAR(table.values(r, 8), table.values(r, 2) / std::sqrt(table.values(r, 7)), 1e-12);
    }
  }
}

TEST_F(Tidy, TheReportsOwnColumnsAreThereWithoutBeingNamed) {
  const texts columns = make_tidy_table(draws_, four_names()).columns;
  EXPECT_EQ((texts{columns.end() - 2, columns.end()}), (texts{"chisq", "pvalue"}));
}

TEST_F(Tidy, TheTableNamesItsParametersAsTheDrawsDo) {
  Summary::add_column("mean");
  const tidy_table table = make_tidy_table(draws_, four_names());
  save_tidy_table(path("t.csv"), table);
  const texts all = lines("t.csv");
  ASSERT_EQ(all.size(), 5u);
  EXPECT_EQ(all[0],
            "block,outcome,dummy,section,level,parameter,label,mean,median,sd,mad,q2.5,q97.5,psr,n_eff,mcse");
  EXPECT_EQ(all[1].rfind("model,,,,,y ~ x,row,", 0), 0u);
  EXPECT_EQ(all[2].rfind("model,,,,2,\"y L2 | Cov(a,b)\",row,", 0), 0u);
  EXPECT_EQ(all[4].rfind("model,,,,,\"y | \"\"z\"\"\",row,2.5,2.5,0,0,2.5,2.5,NaN,NaN,NaN", 0), 0u);
  EXPECT_EQ(std::stod(split(all[1], ",", false)[7]), table.values(0, 0));
}

TEST_F(Tidy, ATableWithoutDrawsHasItsRows) {
  const Summary none(std::vector<arma::Mat<double>>{arma::Mat<double>(4, 0)}, 0);
  const tidy_table table = make_tidy_table(none, four_names());
  EXPECT_EQ(table.values.n_rows, 4u);
  EXPECT_TRUE(table.values.has_nan());
}

}  // namespace
}  // namespace tovik::tests::tidy_table_test
