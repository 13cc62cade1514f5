#include "support/wrapped.hpp"

#include <gtest/gtest.h>

namespace tovik::wrapped_test {
namespace {

TEST(Wrapped, BreaksBeforeAPieceThatPassesTheWidth) {
  EXPECT_EQ(wrapped({}, 4, 10), "");
  EXPECT_EQ(wrapped({"abcd", "efgh"}, 4, 10), " abcd efgh");
  EXPECT_EQ(wrapped({"abcd", "efghi"}, 4, 10), " abcd\n     efghi");
  EXPECT_EQ(wrapped({"a_long_long_name", "b", "c"}, 2, 10), " a_long_long_name\n   b c");
}

}  // namespace
}  // namespace tovik::wrapped_test
