// Writes docs/validation.md: rank histograms of the sampler and coverage of its intervals, from simulated
// data.
//
//   calibrate <replications for ranks> <replications for coverage> <path of the report>

#include <algorithm>
#include <boost/math/distributions/binomial.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

#include "calibration/coverage_models.hpp"
#include "calibration/rank_models.hpp"
#include "calibration/rejection.hpp"
#include "support/text.hpp"

using namespace tovik;
using namespace tovik::tests::calibration;

namespace {

/// One block character per rank; half the height is the expected count, full height twice of it or more.
std::string bars(const arma::Col<arma::uword>& counts, double expected) {
  const char* const blocks[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  std::string out;
  for (arma::uword count : counts) {
    const double height = 4 * static_cast<double>(count) / expected;
    out += blocks[std::min(7, static_cast<int>(height))];
  }
  return out;
}

std::string ranks_section(const rank_study& model, const rank_table& table) {
  const double n = static_cast<double>(table.ranks.n_rows), bins = ranked_draws + 1;
  const boost::math::binomial_distribution<double> count(n, 1 / bins);
  std::string out =
      "### " + model.title + "\n\n" + model.design + "\n\n```\n" + model.runs.commands + "```\n\n";
  out += format(
      "%.0f replications, draws %u scans apart. A count is expected to be %.0f; under uniformity 99%% of "
      "them lie between %.0f and %.0f.\n\n```\n",
      n, model.thin, n / bins, boost::math::quantile(count, 0.005), boost::math::quantile(count, 0.995));
  out += format("%-24s %7s %7s  %s\n", "quantity", "chi-sq", "p", "ranks 0 to 19");
  for (arma::uword j = 0; j < table.quantities.size(); ++j) {
    const arma::Col<arma::uword> counts = table.histogram(j);
    out += format("%-24s %7.1f %7.4f  %s ", table.quantities[j].c_str(), table.chi_square(j),
                  table.p_value(j), bars(counts, n / bins).c_str());
    for (arma::uword one : counts) out += format(" %llu", static_cast<unsigned long long>(one));
    out += "\n";
  }
  return out + "```\n\n";
}

std::string coverage_section(const coverage_study& what, const coverage_table& table) {
  return "### " + what.title + "\n\n" + what.design + "\n\n```\n" + what.runs.commands + "```\n\n" +
         format("%zu simulated data sets.\n\n", table.replications) + table.markdown() + "\n";
}

const char* const introduction =
    "# Validation\n\n"
    "This page is written by `make calibrate`, which simulates data, runs Tovik on them from command file to "
    "draws, and\n"
    "compares the draws with the truth. Seeds are fixed: the same build writes the same page.\n\n"
    "## Ranks of true parameters\n\n"
    "Parameters are drawn from their prior, data from the model, and the program samples the posterior. If "
    "it samples\n"
    "the right distribution, the true value is one more draw of it, and its rank among independent draws is "
    "uniform\n"
    "(Cook, Gelman and Rubin, 2006, *Journal of Computational and Graphical Statistics* 15, 675-692; Talts "
    "et al., 2018,\n"
    "arXiv:1804.06788). Ranks piled up at one side show a bias, at both sides a posterior that is too "
    "narrow, in the middle\n"
    "one that is too wide. The last quantity is the log likelihood of the observed data with everything "
    "latent integrated\n"
    "out, which also finds a sampler that ignores the data. The test is a chi-square of the 20 ranks that "
    "occur among 19\n"
    "draws; `make test` repeats it with 200 replications and fails below a family-wise level of 0.0001.\n\n";

const char* const coverage_introduction =
    "## Coverage of intervals\n\n"
    "Data are simulated again and again from fixed values, some cells are deleted at random given what is "
    "observed, and\n"
    "the central 95% interval of each parameter is to cover its true value in 95% of the data sets. Errors "
    "are Monte Carlo\n"
    "standard errors: that of the bias over the data sets, that of the coverage if it is 95%.\n\n";

std::string rejection_section(const rejection_study& what, const arma::Mat<double>& p) {
  std::string text = "### " + what.title + "\n\n" + what.design +
                     format(" %zu simulated data sets.\n\n", static_cast<std::size_t>(p.n_rows)) + "| test |";
  std::string rule = "|---|";
  for (const double level : rejection_levels) {
    text += format(" %g%% |", 100 * level);
    rule += "---|";
  }
  text += "\n" + rule + "\n";
  for (arma::uword j = 0; j < p.n_cols; ++j) {
    text += "| " + what.tests[j] + " |";
    for (const double level : rejection_levels)
      text += format(" %.1f%% |", 100 * rejections(p.col(j), level));
    text += "\n";
  }
  text += "| standard error |";
  for (const double level : rejection_levels)
    text += format(" %.1f%% |", 100 * std::sqrt(level * (1 - level) / static_cast<double>(p.n_rows)));
  return text + "\n\n";
}

const char* const rejection_introduction =
    "## Rejection rates of Wald tests\n\n"
    "How often WALDTEST rejects a hypothesis that is true, by the level of the test. The statistic is "
    "compared "
    "with\nchi-square, as in large samples.\n\n";

/// Section by section, so that what is there stays when a later one fails.
void write_report(std::size_t rank_replications, std::size_t coverage_replications, const char* path) {
  std::ofstream out(path);
  const auto write = [&](const std::string& text) {
    if (!(out << text << std::flush)) throw std::runtime_error(std::string("cannot write ") + path);
  };
  write(introduction);
  for (const rank_study& model : rank_studies()) {
    std::fprintf(stderr, "ranks: %s\n", model.title.c_str());
    write(ranks_section(model, ranks(model, rank_replications)));
  }
  write(coverage_introduction);
  for (const coverage_study& what : coverage_studies()) {
    std::fprintf(stderr, "coverage: %s\n", what.title.c_str());
    write(coverage_section(what, coverage(what, coverage_replications)));
  }
  write(rejection_introduction);
  for (const rejection_study& what : rejection_studies()) {
    std::fprintf(stderr, "rejections: %s\n", what.title.c_str());
    write(rejection_section(what, probabilities(what, coverage_replications)));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const long ranks = argc == 4 ? std::atol(argv[1]) : 0, intervals = argc == 4 ? std::atol(argv[2]) : 0;
  if (ranks < 1 || intervals < 2) {
    std::fprintf(stderr, "usage: calibrate <replications for ranks> <replications for coverage> <path>\n");
    return 2;
  }
  try {
    write_report(static_cast<std::size_t>(ranks), static_cast<std::size_t>(intervals), argv[3]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return 0;
}
