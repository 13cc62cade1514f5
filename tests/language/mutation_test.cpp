// Command files with slips: cases of the language, changed at random. Each ends, soon, in a result or in a
// message that speaks to the user; none in a crash, and under the sanitizers in no report of theirs.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "language_case.hpp"

namespace tovik::tests::mutation_test {
namespace {

const std::filesystem::path root = std::filesystem::path(TOVIK_SOURCE_DIR) / "tests" / "language";

/// Changes texts: the same seed gives the same changes everywhere, for only the engine is used, and no
/// distribution.
class mutator {
 public:
  explicit mutator(unsigned seed) : engine_(seed) {}

  std::size_t below(std::size_t n) { return n == 0 ? 0 : engine_() % n; }

  std::string change(std::string text, const std::vector<language_case>& pool) {
    for (std::size_t slips = 1 + below(3); slips > 0; --slips) change_once(text, pool);
    return text;
  }

 private:
  void change_once(std::string& text, const std::vector<language_case>& pool) {
    static const std::string signs = "~|@%:;,=()[]{}$.*+-/^_ \t\n\"'#0123456789exyz";
    static const std::vector<std::string> words = {
        "MODEL:",    "PARAMETERS:", "CENTER:",  "ORDINAL:", "NOMINAL:", "FCS:",     "@b",    "x.mean",
        "y.latent",  "| x",         "~~",       "1e999",    "-1",       "nan",      "0",     "(",
        ")",         "y.missing",   "[school]", "x*z",      "log(y)",   "OPTIONS:", "SAVE:", "SIMPLE:",
        "SIMULATE:", "TRANSFORM:",  "x1:x9",    ":+:",      "%0",       "PHANTOM:"};
    const std::size_t at = below(text.size() + 1), length = 1 + below(12);
    switch (below(7)) {
      case 0:
        text.erase(at, length);
        break;
      case 1:
        text.insert(at, 1, signs[below(signs.size())]);
        break;
      case 2:
        if (at < text.size()) text[at] = signs[below(signs.size())];
        break;
      case 3:
        text.insert(at, " " + words[below(words.size())] + " ");
        break;
      case 4:
        text.insert(at, text.substr(below(text.size() + 1), length));
        break;
      case 5: {
        const std::string& other = pool[below(pool.size())].text.commands;
        text.insert(at, other.substr(below(other.size() + 1), 5 * length));
        break;
      }
      default:
        if (at < text.size()) text[at] = static_cast<char>(below(256));
    }
  }

  std::mt19937 engine_;
};

/// What is wrong with the answer to a command file; "" for nothing.
std::string fault(const std::string& answer) {
  if (answer.empty()) return "nothing was said";
  for (const char* internal :
       {"debug error", "unexpected", "DEBUG ERROR", "Contact support", "std::", "basic_string"})
    if (answer.find(internal) != std::string::npos) return std::string("an internal message: ") + internal;
  const std::string headline = "error:\n";
  if (answer.rfind(headline, 0) == 0 && answer.size() <= headline.size() + 1) return "an empty message";
  return "";
}

constexpr std::size_t n_mutants = 2000, n_parts = 4;

class Mutants : public ::testing::TestWithParam<std::size_t> {};

TEST_P(Mutants, AreAnswered) {
  using clock = std::chrono::steady_clock;
  const std::vector<language_case> cases = find_cases(root);
  const scratch_case scratch(root / "data");
  mutator slips(20260000u + static_cast<unsigned>(GetParam()));
  for (std::size_t k = 0; k < n_mutants / n_parts; ++k) {
    const std::string commands = slips.change(cases[slips.below(cases.size())].text.commands, cases);
    const auto start = clock::now();
    const std::string answer = front_half(commands, {"models"}, scratch.folder());
    EXPECT_LT(std::chrono::duration<double>(clock::now() - start).count(), 10.0) << commands;
    const std::string wrong = fault(answer);
    EXPECT_EQ(wrong, "") << "commands:\n" << commands << "\nanswer:\n" << answer.substr(0, 500);
  }
}

INSTANTIATE_TEST_SUITE_P(Language, Mutants, ::testing::Range<std::size_t>(0, n_parts));

}  // namespace
}  // namespace tovik::tests::mutation_test
