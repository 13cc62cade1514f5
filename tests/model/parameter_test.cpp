#include "model/parameter.hpp"

#include <gtest/gtest.h>

#include "model/block_map.hpp"
#include "model/link.hpp"
#include "support/error.hpp"

namespace tovik::model::parameter_test {
namespace {

TEST(Parameter, IsFreeByDefault) {
  const parameter p;
  EXPECT_TRUE(p.is_free());
  EXPECT_TRUE(p.is_unfixed());
  EXPECT_FALSE(p.is_fixed());
  EXPECT_FALSE(p.has_label());
  EXPECT_FALSE(p.has_start());
  EXPECT_EQ(p.name(), "");
  EXPECT_THROW(p.value(), error);
  try {
    p.valueStr();
    FAIL();
  } catch (const error& fault) {
    EXPECT_STREQ(fault.what(), "Value was never fixed.");
  }
}

TEST(Parameter, FixedHasValueAndStart) {
  parameter p = parameter::fixed_at(0.5);
  EXPECT_TRUE(p.is_fixed());
  EXPECT_FALSE(p.is_free());
  EXPECT_FALSE(p.is_unfixed());
  EXPECT_FALSE(p.has_label());
  EXPECT_FALSE(p.has_start());
  EXPECT_EQ(p.value(), 0.5);
  EXPECT_EQ(p.start(), 0.5);
  p.set_start(3);
  EXPECT_FALSE(p.has_start());
  EXPECT_EQ(p.start(), 0.5);
  EXPECT_EQ(p.name(), "@0.500000");
}

TEST(Parameter, IntegralValuesPrintAsIntegers) {
  EXPECT_EQ(parameter::fixed_at(-3).valueStr(), "-3");
  EXPECT_EQ(parameter::fixed_at(-0.0).valueStr(), "0");
  EXPECT_EQ(parameter::fixed_at(1e10).valueStr(), "10000000000");
  EXPECT_EQ(parameter::fixed_at(1.0 / 3).valueStr(), "0.333333");
}

TEST(Parameter, LabelledIsUnfixed) {
  parameter p = parameter::labelled("b0");
  EXPECT_TRUE(p.has_label());
  EXPECT_TRUE(p.is_unfixed());
  EXPECT_FALSE(p.is_free());
  EXPECT_EQ(p.name(), "@b0");
  p.set_start(2);
  EXPECT_EQ(p.text(), "@b0%2");
  EXPECT_EQ(p.start(), 2);
}

TEST(Parameter, EqualityKnowsValuesAndLabels) {
  EXPECT_TRUE(parameter::fixed_at(1) == parameter::fixed_at(1));
  EXPECT_FALSE(parameter::fixed_at(1) == parameter::fixed_at(2));
  EXPECT_TRUE(parameter::labelled("a") == parameter::labelled("A"));
  EXPECT_FALSE(parameter::labelled("a") == parameter::labelled("b"));
  EXPECT_FALSE(parameter() == parameter());
  EXPECT_FALSE(parameter::labelled("a") == parameter());
  EXPECT_FALSE(parameter::fixed_at(0) == parameter::labelled("a"));
}

TEST(Parameter, LabelsSortInNaturalOrderWithoutCase) {
  EXPECT_TRUE(parameter::labelled("b2") < parameter::labelled("B10"));
  EXPECT_FALSE(parameter::labelled("B") < parameter::labelled("b"));
  EXPECT_FALSE(parameter::labelled("b") < parameter::labelled("B"));
}

TEST(Link, HasItsName) {
  const char* names[] = {"identity", "weighted", "probit", "logit", "yjt", "yjt", "var", "var", "hev"};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(link_str(static_cast<link>(i)), names[i]);
  EXPECT_EQ(link_str(static_cast<link>(9)), "");
}

TEST(BlockMap, NumbersUserBlocksInOrderOfAppearance) {
  block::map map;
  map.insert("first");
  map.insert("second");
  map.insert("first");
  map.insert("");
  map.insert("_hidden");
  map.insert("third");
  EXPECT_EQ(map.number("first"), 1);
  EXPECT_EQ(map.number("second"), 2);
  EXPECT_EQ(map.number("third"), 3);
  EXPECT_FALSE(block::is_reserved("first"));
  EXPECT_FALSE(map.contains("fourth"));
  EXPECT_THROW(map.number("fourth"), error_debug);
}

TEST(BlockMap, ReservedNamesComeBeforeTheUsersInTheirOwnOrder) {
  block::map map;
  map.insert("first");
  int last = -100;
  for (const char* name : {"", "_hidden", "#_parameter", "#_computation", "#_imputation", "model", "first"}) {
    EXPECT_GT(map.number(name), last) << name;
    EXPECT_NE(map.number(name), -1) << "the mark of a model without a block";
    EXPECT_EQ(block::is_reserved(name), std::string(name) != "first");
    last = map.number(name);
  }
}

TEST(BlockMap, CopiesShareOneTable) {
  block::map map;
  const block::map copy = map;
  map.insert("late");
  EXPECT_EQ(copy.number("late"), 1);
}

}  // namespace
}  // namespace tovik::model::parameter_test
