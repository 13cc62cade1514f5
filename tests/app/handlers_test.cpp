#include "app/handlers.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>

#include "evaluate/error.hpp"
#include "support/error.hpp"
#include "support/file_writer.hpp"

namespace {

std::string words(const std::function<void()>& stages, int expected_status = 1) {
  testing::internal::CaptureStdout();
  const int status = tovik::report_errors(stages);
  EXPECT_EQ(status, expected_status);
  return testing::internal::GetCapturedStdout();
}

const std::string no_warnings = "\nWARNING MESSAGES:\n\n  No warning messages.\n\n";

TEST(Handlers, PrintTheUsersErrorAsItStands) {
  EXPECT_EQ(words([] { throw tovik::error("ERROR: x"); }), "ERROR: x\n" + no_warnings);
}

TEST(Handlers, PointInternalErrorsToSupport) {
  EXPECT_EQ(words([] { throw tovik::error_debug("oops"); }),
            "DEBUG ERROR: Please contact Tovik Support. Error message:\n             oops\n" + no_warnings);
}

TEST(Handlers, AdviseOnTheSliceSampler) {
  EXPECT_EQ(words([] { throw tovik::error_ess(""); }),
            "ERROR: The ESS sampler was unable to start.\n"
            "       Change to Metropolis sampling step with:\n"
            "       \"DEBUG: metropolis_sampler;\"\n" +
                no_warnings);
}

TEST(Handlers, ShowAcceptanceRatesWhenTuningFailed) {
  EXPECT_EQ(words([] { throw tovik::sem::error_tuning("rates"); }),
            "ERROR: The Metropolis-Hastings sampler was unable to tune.\n"
            "       The first half of the burn-in iterations are used for tuning.\n"
            "       Increase the burn-in iterations and rerun.\n"
            "  Acceptance rate diagnostic information:\n"
            "rates\n" +
                no_warnings);
}

TEST(Handlers, AdviseOnSingularMatrices) {
  const std::string advice =
      "ERROR: A matrix is numerically not positive definite.\n"
      "       Either:\n"
      "              (1) Try another seed.\n"
      "              (2) Specify fewer random effects.\n"
      "              (3) Specify fewer variables in model.\n" +
      no_warnings;
  EXPECT_EQ(words([] { throw tovik::numeric_error::not_positive_definite(); }), advice);
  EXPECT_EQ(words([] { throw tovik::numeric_error::singular(); }), advice);
  // The linear algebra library's own.
  EXPECT_EQ(words([] { throw std::runtime_error("chol(): decomposition failed"); }), advice);
}

TEST(Handlers, TellThreadFailuresFromSingularMatrices) {
  const std::string text =
      words([] { throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again)); });
  EXPECT_EQ(text.find("positive definite"), std::string::npos);
  EXPECT_EQ(text.rfind("ERROR: The system refuses what the run needs: ", 0), 0u) << text;
}

TEST(Handlers, PrintOtherExceptionsByTheirText) {
  EXPECT_EQ(words([] { throw std::logic_error("odd"); }), "odd\n" + no_warnings);
}

TEST(Handlers, TellWhatToDoWhenMemoryIsShort) {
  EXPECT_EQ(words([] { throw std::bad_alloc(); }),
            "ERROR: There is not enough memory for this run.\n"
            "       Fewer CHAINS, ITERATIONS, BURN or NIMPS, or fewer variables, need less.\n" +
                no_warnings);
}

TEST(Handlers, NameFilesThatCouldNotBeWrittenBehindEverythingElse) {
  const std::string file = "ERROR: The file 'a.csv' could not be written completely.\n";
  EXPECT_EQ(words([] { tovik::file_set::failures().push_back({"a.csv"}); }), file);
  EXPECT_EQ(words([] {
              tovik::file_set::failures().push_back({"a.csv"});
              throw tovik::error("ERROR: x");
            }),
            "ERROR: x\n" + no_warnings + file);
  EXPECT_TRUE(tovik::file_set::failures().empty());
  EXPECT_EQ(words([] {
              tovik::file_set::failures().push_back({"a.csv", EACCES});
            }),
            file + "       The system says: Permission denied.\n");
}

TEST(Handlers, ReturnZeroAndPrintNothingOnSuccess) {
  EXPECT_EQ(words([] {}, 0), "");
}

}  // namespace
