#include "results/report_tuning.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "capture.hpp"
#include "support/error.hpp"

using tovik::sem::estimator::tune_obj;
using tovik::sem::estimator::tune_results;

namespace {

tune_obj entry(std::uint32_t accepted, std::uint32_t total) {
  tune_obj out(3.0, tune_obj::kind_type::imputation);
  out.accepted = accepted;
  out.total = total;
  return out;
}

const std::string head =
    "    Type                            Variable     Multiplier   Target Value    Probability \n";

using labels = std::vector<tovik::tuning_label>;

std::string table(const std::vector<tune_results>& results, const labels& names, bool all) {
  tovik::tests::Capture out;
  tovik::print_tuning_table(out.stream(), results, names, all);
  return out.text();
}

const std::vector<tune_results> imputations = {tune_results{entry(5, 10)},
                                               tune_results{entry(9, 10), entry(0, 0)}};
const labels x_and_y = {{"", "x"}, {"", "y"}};

TEST(TuningTable, LeavesOutProposalsThatWereNeverMade) {
  EXPECT_EQ(
      table(imputations, x_and_y, true),
      head +
          "    imputation                             x          3.000          0.500          0.500 \n"
          "    imputation                             y          3.000          0.500          0.900 \n");
}

TEST(TuningTable, ShowsOnRequestOnlyWhatIsOutOfBounds) {
  EXPECT_EQ(
      table(imputations, x_and_y, false),
      head + "    imputation                             y          3.000          0.500          0.900 \n");
}

TEST(TuningTable, NamesParametersAndBlocksByTheirType) {
  EXPECT_EQ(
      table({tune_results{entry(5, 10)}, tune_results{entry(5, 10)}},
            {{"Parameter: slope", ""}, {"CovMat(reading writing spelling arithmetic)", ""}}, true),
      head +
          "    Parameter: slope                                  3.000          0.500          0.500 \n"
          "    CovMat(reading writing sp                         3.000          0.500          0.500 \n");
}

TEST(TuningTable, CallsBothKindsOfLatentScoresTheSame) {
  tune_obj factor = entry(1, 4);
  factor.kind = tune_obj::kind_type::latent;
  tune_obj phantom = entry(3, 4);
  phantom.kind = tune_obj::kind_type::latent_2;
  EXPECT_EQ(
      table({tune_results{factor, phantom}}, {{"", "a_name_that_is_long"}}, true),
      head +
          "    latent imp                 a_name_that_i          3.000          0.500          0.250 \n"
          "    latent imp                 a_name_that_i          3.000          0.500          0.750 \n");
}

TEST(TuningTable, AProposalWithoutTargetIsNeverOutOfBounds) {
  tune_obj logistic(1.0, tune_obj::kind_type::logistic_imputation);
  logistic.accepted = logistic.total = 10;
  logistic.target = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(table({tune_results{logistic}}, {{"", "y"}}, false), head);
  EXPECT_EQ(
      table({tune_results{logistic}}, {{"", "y"}}, true),
      head + "    logistic imp                           y          1.000            nan          1.000 \n");
}

TEST(TuningTable, WantsALabelForEachEntry) {
  tovik::tests::Capture out;
  EXPECT_THROW(tovik::print_tuning_table(out.stream(), {tune_results{}}, {}, true), tovik::error_debug);
}

}  // namespace
