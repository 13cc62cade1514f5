#include "support/text.hpp"

#include <gtest/gtest.h>

#include "support/error.hpp"

namespace {

TEST(Text, UnsignedIntegersRefuseSignsFractionsAndOverflow) {
  EXPECT_EQ(tovik::toUint(" 12 "), 12u);
  EXPECT_EQ(tovik::toUint("4294967295"), 4294967295u);
  for (const char* bad : {"", " ", "-1", "+1", "1.0", "4294967296", "1 2", "x"}) {
    EXPECT_THROW(tovik::toUint(bad), tovik::error) << bad;
  }
  try {
    tovik::toUint("1e3");
  } catch (const tovik::error& e) {
    EXPECT_STREQ(e.what(), "Not a positive integer = 1e3");
  }
}

TEST(Text, SplitKeepsEmptyEndsWhenCompressed) {
  EXPECT_EQ(tovik::split(",a,,b,", ",", true), (std::vector<std::string>{"", "a", "b", ""}));
  EXPECT_EQ(tovik::split("a,,b", ",", false), (std::vector<std::string>{"a", "", "b"}));
}

TEST(Text, NaturalOrderReadsDigitsAsNumbers) {
  EXPECT_TRUE(tovik::natural_less("y2", "y10"));
  EXPECT_FALSE(tovik::natural_less("y10", "y2"));
  EXPECT_TRUE(tovik::natural_less("y1", "y01"));
  EXPECT_TRUE(tovik::natural_less("1", "a"));
  EXPECT_TRUE(tovik::natural_less("y", "y1"));
  EXPECT_FALSE(tovik::natural_less("y1", "y1"));
}

}  // namespace
