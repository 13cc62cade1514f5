#include "input/keyed_list.hpp"

#include <gtest/gtest.h>

#include <string>

namespace tovik::keyed_list_test {
namespace {

TEST(KeyedList, KeepsTheOrderOfFirstAppearance) {
  keyed_list<int> list;
  EXPECT_TRUE(list.empty());
  for (const char* key : {"b", "a", "", "b", "c"}) ++list[key];
  std::string keys;
  for (const auto& [key, value] : list) keys += key + std::to_string(value) + " ";
  EXPECT_EQ(keys, "b2 a1 1 c1 ");
  EXPECT_EQ(list.size(), 4u);
}

TEST(KeyedList, FindsWhatIsThere) {
  keyed_list<int> list({{"x", 1}, {"y", 2}});
  EXPECT_EQ(*list.find("y"), 2);
  EXPECT_EQ(list.find("Y"), nullptr);
  *list.find("x") = 7;
  const keyed_list<int> copy = list;
  list["x"] = 8;
  EXPECT_EQ(*copy.find("x"), 7);
}

TEST(KeyedList, ManyKeysStayQuick) {
  keyed_list<std::size_t> list;
  for (std::size_t i = 0; i < 200000; ++i) list["k" + std::to_string(i)] = i;
  EXPECT_EQ(*list.find("k199999"), 199999u);
}

}  // namespace
}  // namespace tovik::keyed_list_test
