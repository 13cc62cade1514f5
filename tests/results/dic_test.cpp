#include "results/dic.hpp"

#include <gtest/gtest.h>

#include "capture.hpp"
#include "sem/ensemble/likelihood_totals.hpp"
#include "sem/small_run.hpp"
#include "series.hpp"

namespace tovik::dic_test {
namespace {

using sem::DIC;
using tests::expect_near;

/// Three units, two models and their sum at iteration t.
arma::Cube<double> likelihood(int t) {
  arma::Cube<double> out(3, 2, 3, arma::fill::zeros);
  for (int i = 0; i < 3; ++i) {
    for (int s = 0; s < 2; ++s) {
      const double conditional = -2.0 - 0.5 * s + 0.4 * std::sin(1.0 + t + 2 * i + 3 * s);
      out(i, 1, s) = conditional;
      out(i, 0, s) = conditional - 0.3 + 0.1 * std::cos(t + i + s);
      out(i, 0, 2) += out(i, 0, s);
      out(i, 1, 2) += out(i, 1, s);
    }
  }
  return out;
}

DIC iterations(int first, int last) {
  DIC out;
  for (int t = first; t <= last; ++t) out += likelihood(t);
  return out;
}

std::string printed(const DIC& dic) {
  tests::Capture capture;
  dic.print(capture.stream());
  return capture.text();
}

const std::string expected_text =
    "    Marginal Likelihood\n"
    "      DIC2                  30.819\n"
    "      WAIC                  30.842\n"
    "\n"
    "    Conditional Likelihood\n"
    "      DIC2                  27.003\n"
    "      WAIC                  27.006\n";

void expect_criteria(const DIC& dic) {
  expect_near(dic.marginal().dic2, 30.81871132);
  expect_near(dic.marginal().waic, 30.84160279);
  expect_near(dic.conditional().dic2, 27.00334369);
  expect_near(dic.conditional().waic, 27.00555397);
}

TEST(Dic, ComputesBothCriteria) {
  const DIC dic = iterations(0, 4);
  expect_criteria(dic);
  EXPECT_EQ(printed(dic), expected_text);
}

TEST(Dic, MergesChains) {
  for (int cut = -1; cut < 5; ++cut) {
    DIC dic = iterations(0, cut);
    dic += iterations(cut + 1, 4);
    expect_criteria(dic);
  }
}

TEST(Dic, TakesTheAccumulatorsOfAChain) {
  RunStat<arma::Cube<double>> stat;
  LogSumExp<arma::Cube<double>> log_sum;
  for (int t = 0; t < 5; ++t) {
    stat += likelihood(t);
    log_sum += likelihood(t);
  }
  expect_criteria(DIC(stat, log_sum));
}

TEST(Dic, TableOfLikelihoods) {
  const arma::Mat<double> table = iterations(0, 4).likel_mat();
  const arma::Mat<double> expected = {{1, -6.8078, -5.9034, -6.9675, -6.0161, 0.4088, 0.2888},
                                      {2, -8.3252, -7.3662, -8.4174, -7.4834, 0.2260, 0.2898},
                                      {3, -15.3604, -13.4973, -15.3849, -13.4995, 0.0604, 0.0055}};
  EXPECT_TRUE(arma::approx_equal(table, expected, "absdiff", 5.1e-5));
  EXPECT_EQ(DIC().likel_mat().n_rows, 0u);
  EXPECT_TRUE(std::isnan(iterations(0, 0).likel_mat()(0, 5)));
}

TEST(Dic, PrintsNothingBelowTwoIterations) {
  EXPECT_FALSE(DIC().exists());
  EXPECT_EQ(printed(DIC()), "");
  EXPECT_FALSE(iterations(0, 0).exists());
  EXPECT_EQ(printed(iterations(0, 0)), "");
  EXPECT_TRUE(iterations(0, 1).exists());
}

TEST(Dic, EmptyCubesLeaveNoBlock) {
  DIC dic;
  for (int t = 0; t < 5; ++t) dic += arma::Cube<double>();
  dic += DIC();
  EXPECT_FALSE(dic.exists());
  EXPECT_EQ(printed(dic), "");
}

TEST(Dic, SingleLevelPrintsTheConditionalBlockAlone) {
  DIC dic;
  for (int t = 0; t < 5; ++t) {
    arma::Cube<double> x = likelihood(t);
    for (arma::uword s = 0; s < 3; ++s) x.slice(s).col(0) = x.slice(s).col(1);
    dic += x;
  }
  EXPECT_EQ(printed(dic), expected_text.substr(expected_text.find("    Cond")));
}

TEST(Dic, FailedMarginalLikelihoodIsLeftOut) {
  DIC dic;
  for (int t = 0; t < 5; ++t) {
    arma::Cube<double> x = likelihood(t);
    x(1, 0, 2) = arma::datum::nan;
    if (t == 3) x(0, 0, 0) = -arma::datum::nan;
    dic += x;
  }
  EXPECT_EQ(printed(dic), expected_text.substr(expected_text.find("    Cond")));
  EXPECT_TRUE(std::isnan(dic.likel_mat()(2, 1)));
}

TEST(Dic, NanPrintsWithoutASign) {
  DIC dic;
  for (int t = 0; t < 5; ++t) {
    arma::Cube<double> x = likelihood(t);
    x.slice(2).col(1).fill(-arma::datum::nan);
    dic += x;
  }
  EXPECT_NE(printed(dic).find("    Conditional Likelihood\n      DIC2                  nan\n"),
            std::string::npos);
}

TEST(Dic, SmallLikelihoodsStayFinite) {
  DIC dic;
  for (int t = 0; t < 3; ++t) dic += arma::Cube<double>(1, 2, 2, arma::fill::value(-1000.0 - t));
  const double lppd = -1000.0 + std::log((1.0 + std::exp(-1.0) + std::exp(-2.0)) / 3.0);
  expect_near(dic.conditional().dic2, 2.0 * lppd + 4.0 * 1001.0);
  expect_near(dic.conditional().waic, -2.0 * lppd + 2.0);
}

TEST(Dic, TotalsGiveTheSameCriteriaAndNoTable) {
  DIC dic = DIC::of_totals();
  for (int t = 0; t < 3; ++t) dic += likelihood(t);
  DIC other = DIC::of_totals();
  for (int t = 3; t < 5; ++t) other += likelihood(t);
  dic += other;
  expect_criteria(dic);
  EXPECT_EQ(printed(dic), expected_text);
  EXPECT_EQ(dic.likel_mat().n_rows, 0u);
}

TEST(Dic, TotalsWithEqualColumnsSplitWhenTheyDiffer) {
  const auto equal = [](int t) {
    arma::Cube<double> x = likelihood(t);
    x.slice(2).col(0) = x.slice(2).col(1);
    return x;
  };
  for (int cut = 0; cut <= 5; ++cut) {  // iterations from here on have two columns
    DIC kept, dic = DIC::of_totals(), first = DIC::of_totals(), second = DIC::of_totals();
    for (int t = 0; t < 5; ++t) {
      const arma::Cube<double> x = t < cut ? equal(t) : likelihood(t);
      kept += x.slices(2, 2);
      dic += x;
      (t < 2 ? first : second) += x;
    }
    first += second;
    for (const DIC* totals : {&dic, &first}) {
      expect_near(totals->marginal().dic2, kept.marginal().dic2);
      expect_near(totals->marginal().waic, kept.marginal().waic);
      expect_near(totals->conditional().waic, kept.conditional().waic);
      EXPECT_EQ(printed(*totals).find("Marginal") != std::string::npos, cut < 5);
    }
  }
}

/// y on x in 300 rows of 30 clusters, of which every seventh y is missing.
tests::small_run study(bool clusters) {
  Random rng(3, 1);
  arma::mat data(300, 3);
  for (arma::uword i = 0; i < 300; ++i) {
    const double x = rng.rnorm();
    data.row(i) = arma::rowvec{static_cast<double>(i / 10), 1 + x + rng.rnorm(), x};
    if (i % 7 == 0) data(i, 1) = arma::datum::nan;
  }
  return {{"id", "y", "x"},
          data,
          clusters ? std::vector<std::string>{"id"} : std::vector<std::string>{},
          {"y ~ x"}};
}

/// Blocks end anywhere: at the end of a chain, and where an iteration was added by itself.
TEST(Dic, IterationsThatComeTogetherGiveTheSameCriteria) {
  for (const bool clusters : {false, true}) {
    const tests::small_run run = study(clusters);
    const auto chain = run.chain(Random(4, 1));
    chain->oneRep();
    const auto totals = chain->getLikelihoodTotals();
    DIC whole, singly = DIC::of_totals(), together = DIC::of_totals();
    const auto take = [&] {
      together += *totals;
      totals->clear();
    };
    for (int t = 0; t < 200; ++t) {
      chain->oneRep();
      whole += chain->getLikelihoods();
      singly += chain->getLikelihoods();
      if (t == 0 || t == 100) {
        take();
        together += chain->getLikelihoods();
      } else {
        totals->keep();
        if (totals->full() || t % 37 == 5) take();
      }
    }
    take();
    take();  // an empty block adds nothing
    for (const DIC* one : {&singly, &together}) {
      EXPECT_NEAR(one->marginal().dic2, whole.marginal().dic2, 1e-8);
      EXPECT_NEAR(one->marginal().waic, whole.marginal().waic, 1e-8);
      EXPECT_NEAR(one->conditional().dic2, whole.conditional().dic2, 1e-8);
      EXPECT_NEAR(one->conditional().waic, whole.conditional().waic, 1e-8);
      EXPECT_EQ(printed(*one), printed(whole));
    }
    EXPECT_EQ(printed(together).find("Marginal") != std::string::npos, clusters);
    together += singly;  // chains merge, whichever way they went
    EXPECT_NEAR(together.conditional().dic2, whole.conditional().dic2, 1e-8);
  }
}

TEST(Dic, IterationsComeTogetherForTotalsAlone) {
  const tests::small_run run = study(false);
  const auto chain = run.chain(Random(4, 1));
  chain->oneRep();
  const auto totals = chain->getLikelihoodTotals();
  totals->keep();
  DIC parts, other = DIC::of_totals();
  EXPECT_THROW(parts += *totals, error_debug);
  other += likelihood(1);
  EXPECT_THROW(other += *totals, error_debug);
}

TEST(Dic, RejectsAnotherShape) {
  DIC dic = iterations(0, 1);
  EXPECT_THROW(dic += arma::Cube<double>(2, 2, 3, arma::fill::zeros), error_debug);
}

}  // namespace
}  // namespace tovik::dic_test
