#include "support/warning.hpp"

#include <gtest/gtest.h>

#include "capture.hpp"

namespace {

TEST(Warnings, LayOutOwnWordAndPlainTexts) {
  tovik::warning::warning_buffer buffer;
  buffer.push("WARNING: first\n         second");
  buffer.push("plain\nmore");
  buffer.push("");
  tovik::tests::Capture out;
  buffer.flush(out.stream(), true, true);
  EXPECT_EQ(out.text(),
            "\nWARNING MESSAGES:\n\n"
            "  WARNING: first\n           second\n"
            "  WARNING: plain\n           more\n"
            "  WARNING: \n"
            "\n");
  EXPECT_TRUE(buffer.empty());
}

TEST(Warnings, AnEmptyBufferSaysSo) {
  tovik::warning::warning_buffer buffer;
  tovik::tests::Capture out;
  buffer.flush(out.stream(), false, false);
  EXPECT_EQ(out.text(), "  No warning messages.\n\n");
}

TEST(Warnings, RemarksLeaveTheBufferWhenAnErrorTakesThem) {
  tovik::warning::warning_buffer buffer;
  buffer.push("WARNING: stays");
  buffer.push("WARNING: first\n         line", "first line");
  buffer.push("WARNING: second", "second");
  EXPECT_EQ(buffer.take_remarks(), "ERROR: first line\nERROR: second\n");
  EXPECT_EQ(buffer.messages().size(), 1u);
  EXPECT_EQ(buffer.take_remarks(), "");
}

}  // namespace
