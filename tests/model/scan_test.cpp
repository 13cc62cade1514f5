#include <gtest/gtest.h>

#include "model/statement_text.hpp"
#include "support/error.hpp"

namespace tovik::model::scan_test {
namespace {

constexpr std::size_t npos = std::string::npos;

/// The same rule by trying every pair: a place is hidden if some matched pair stands around it.
std::vector<char> naive_outside(const std::string& text) {
  std::vector<char> out(text.size(), 1);
  for (std::size_t a = 0; a < text.size(); ++a) {
    if (text[a] != '(') continue;
    int depth = 0;
    for (std::size_t b = a; b < text.size(); ++b) {
      if (text[b] == '(') ++depth;
      if (text[b] == ')' && --depth == 0) {
        for (std::size_t k = a; k <= b; ++k) out[k] = 0;
        break;
      }
    }
  }
  return out;
}

TEST(Scan, FindsSignsOutsideParentheses) {
  EXPECT_EQ(find_outside("a~b", "~"), 1u);
  EXPECT_EQ(find_outside("(a~b)~c", "~"), 5u);
  EXPECT_EQ(find_outside("(a~b)", "~"), npos);
  EXPECT_EQ(find_outside("a[~]", "~"), 2u);
  EXPECT_EQ(find_outside("a[~]", "~", 0, true), npos);
  EXPECT_EQ(find_outside("", "~"), npos);
}

TEST(Scan, UnclosedSignsHideNothing) {
  EXPECT_EQ(find_outside("(a ~ b", "~"), 3u);
  EXPECT_EQ(find_outside("a) ~ b", "~"), 3u);
  EXPECT_EQ(find_outside("([~)]", "~", 0, true), npos);
  EXPECT_EQ(find_outside("x[id@2", "@", 0, true), 4u);
}

TEST(Scan, AgreesWithTheSlowRuleOnAllShortTexts) {
  const std::string signs = "()~";
  for (std::size_t length = 1; length <= 8; ++length) {
    std::string text(length, '(');
    std::size_t count = 1;
    for (std::size_t i = 0; i < length; ++i) count *= signs.size();
    for (std::size_t code = 0; code < count; ++code) {
      std::size_t rest = code;
      for (char& c : text) {
        c = signs[rest % signs.size()];
        rest /= signs.size();
      }
      const std::vector<char> open = naive_outside(text);
      std::size_t expected = npos;
      for (std::size_t i = 0; i < length && expected == npos; ++i) {
        if (text[i] == '~' && open[i]) expected = i;
      }
      ASSERT_EQ(find_outside(text, "~"), expected) << text;
      ASSERT_EQ(find_first_outside(text, "~@"), expected) << text;
    }
  }
}

TEST(Scan, LongTextsTakeLinearTime) {
  const std::string text =
      std::string(1000000, '[') + std::string(1000000, '(') + std::string(1000000, ')') + "~";
  EXPECT_EQ(find_outside(text, "~", 0, true), 3000000u);
}

TEST(Scan, KnowsWrappedText) {
  EXPECT_TRUE(is_wrapped("(a + (b))"));
  EXPECT_FALSE(is_wrapped("(a) + (b)"));
  EXPECT_FALSE(is_wrapped("(a"));
  EXPECT_FALSE(is_wrapped(""));
  EXPECT_FALSE(is_wrapped(")("));
}

TEST(Scan, CutsTheSuffixOutsideParenthesesAndBrackets) {
  EXPECT_EQ(cut_suffix("x@0.5%1").head, "x");
  EXPECT_EQ(cut_suffix("x@0.5%1").suffix, "@0.5%1");
  EXPECT_EQ(cut_suffix("x[a%b]%1").suffix, "%1");
  EXPECT_EQ(cut_suffix("(x@1)").suffix, "");
  EXPECT_EQ(cut_suffix("x").head, "x");
}

TEST(Scan, MismatchedParenthesesPointAtThePlace) {
  try {
    terms("  a   (b + c ", "y");
    FAIL();
  } catch (const error& fault) {
    EXPECT_STREQ(fault.what(),
                 "ERROR: There are mismatched parentheses in the 'y' model:\n"
                 "       \"a (b + c\"\n"
                 "          ^");
  }
  EXPECT_EQ(terms("a (b + c) d", "y"), (std::vector<std::string>{"a", "(b + c)", "d"}));
}

}  // namespace
}  // namespace tovik::model::scan_test
