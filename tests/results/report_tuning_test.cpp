#include "results/report_tuning.hpp"

#include <gtest/gtest.h>

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

std::string table(bool all) {
  tovik::tests::Capture out;
  tovik::print_tuning_table(out.stream(), {tune_results{entry(5, 10)}, tune_results{entry(9, 10), entry(0, 0)}},
                            {"x", "y"}, all);
  return out.text();
}

TEST(TuningTable, LeavesOutProposalsThatWereNeverMade) {
  EXPECT_EQ(table(true),
            head +
                "    imputation                             x          3.000          0.500          0.500 \n"
                "    imputation                             y          3.000          0.500          0.900 \n");
}

TEST(TuningTable, ShowsOnRequestOnlyWhatIsOutOfBounds) {
  EXPECT_EQ(table(false),
            head + "    imputation                             y          3.000          0.500          0.900 \n");
}

TEST(TuningTable, WantsANameForEachEntry) {
  tovik::tests::Capture out;
  EXPECT_THROW(tovik::print_tuning_table(out.stream(), {tune_results{}}, {}, true), tovik::error_debug);
}

}  // namespace
