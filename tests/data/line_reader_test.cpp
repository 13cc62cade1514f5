#include "data/line_reader.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace tovik::line_reader_test {
namespace {

/// All lines, from a source that gives at most `step` bytes a call.
std::vector<std::string> lines_of(std::string_view text, std::size_t block, std::size_t step) {
  line_reader reader(
      [&](char* to, std::size_t size) {
        const std::size_t got = std::min({size, step, text.size()});
        if (got > 0) std::memcpy(to, text.data(), got);
        text.remove_prefix(got);
        return got;
      },
      block);
  std::vector<std::string> out;
  for (std::string_view line; reader.next(line);) out.emplace_back(line);
  return out;
}

TEST(LineReader, GivesTheSameLinesForAnyBlock) {
  using Lines = std::vector<std::string>;
  for (std::size_t block : {0, 1, 2, 3, 7, 100})
    for (std::size_t step : {1, 2, 5, 100}) {
      EXPECT_EQ(lines_of("", block, step), Lines{});
      EXPECT_EQ(lines_of("\n", block, step), Lines{""});
      EXPECT_EQ(lines_of("ab", block, step), Lines{"ab"});
      EXPECT_EQ(lines_of("ab\n", block, step), Lines{"ab"});
      EXPECT_EQ(lines_of("ab\n\ncdefghijkl\r\nm", block, step), (Lines{"ab", "", "cdefghijkl\r", "m"}));
    }
}

TEST(LineReader, EndStaysTheEnd) {
  line_reader reader([](char*, std::size_t) { return std::size_t{0}; });
  std::string_view line;
  EXPECT_FALSE(reader.next(line));
  EXPECT_FALSE(reader.next(line));
}

}  // namespace
}  // namespace tovik::line_reader_test
