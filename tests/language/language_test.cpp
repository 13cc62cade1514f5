#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "language_case.hpp"

namespace tovik::tests::language_test {
namespace {

const std::filesystem::path root = std::filesystem::path(TOVIK_SOURCE_DIR) / "tests" / "language";

class Language : public ::testing::TestWithParam<language_case> {};

TEST_P(Language, MeansWhatIsExpected) {
  const std::string text = GetParam().run();
  if (std::getenv("TOVIK_UPDATE_EXPECTED") != nullptr) GetParam().accept(text);
  EXPECT_EQ(text, GetParam().expected())
      << "in " << GetParam().file.string() << ", line " << GetParam().text.line;
}

std::string test_name(const ::testing::TestParamInfo<language_case>& info) {
  return info.param.area + "_" + info.param.text.name;
}

INSTANTIATE_TEST_SUITE_P(Cases, Language, ::testing::ValuesIn(find_cases(root)), test_name);

TEST(LanguageRunner, FindsCases) {
  EXPECT_GT(find_cases(root).size(), 3u);
}

TEST(LanguageRunner, SettingsOfOneCaseDoNotReachTheNext) {
  const scratch_case scratch(root / "data");
  const std::string plain =
      "DATA: ../../data/two_level.csv; SEED: 1; BURN: 10; ITER: 10; MODEL: y ~ x; y ~ z;";
  const std::vector<std::string> show = {"models", "variables"};
  const std::string before = front_half(plain, show, scratch.folder());
  const std::string other = front_half("DEBUG: no_reduce; " + plain, show, scratch.folder());
  EXPECT_NE(before, other);
  EXPECT_EQ(front_half(plain, show, scratch.folder()), before);
}

TEST(LanguageRunner, RefusesAnUnknownView) {
  const scratch_case scratch(root / "data");
  EXPECT_THROW(front_half("DATA: ../../data/two_level.csv; SEED: 1; BURN: 10; ITER: 10; MODEL: y ~ x;",
                          {"picture"}, scratch.folder()),
               std::runtime_error);
}

}  // namespace
}  // namespace tovik::tests::language_test
