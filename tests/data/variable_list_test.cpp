#include "data/variable_list.hpp"

#include <gtest/gtest.h>

#include <unordered_set>

#include "support/error.hpp"

namespace tovik::variable_list_test {
namespace {

using Ptr = VariableList::variable_ptr;

class VariableListTest : public ::testing::Test {
 protected:
  void TearDown() override { VariableList::truncate = 9; }

  Ptr add(const std::string& name, data::type kind = data::type::continuous, unsigned level = 0) {
    list.variables.push_back(
        std::make_shared<data::variable>(name, kind, static_cast<unsigned>(list.variables.size()), level));
    return list.variables.back();
  }

  Ptr add_code(const Ptr& parent, double value) {
    const auto code = std::make_shared<data::dummy>(parent, value, 0);
    parent->setDummy(code);
    list.variables.push_back(code);
    return code;
  }

  /// The shown names after truncation, in order.
  std::vector<std::string> truncated(std::initializer_list<const char*> names) {
    list.variables.clear();
    list.renames.clear();
    for (const char* name : names) add(name);
    report = list.truncateNames();
    return list.variableNames();
  }

  VariableList list;
  std::string report;
};

using Names = std::vector<std::string>;
using Ptrs = std::vector<Ptr>;

TEST_F(VariableListTest, FindsWithoutRegardToCaseFullNamesFirst) {
  const Ptr a = add("Alpha");
  const Ptr b = add("beta_long_name");
  b->rename("Alph");
  const Ptr c = add("alph");
  EXPECT_EQ(list.find("ALPHA"), a);
  EXPECT_EQ(list.find("Beta_Long_Name"), b);
  EXPECT_EQ(list.find("alph"), c) << "a full name wins over an earlier shown name";
  EXPECT_EQ(list.find("gamma"), nullptr);
  EXPECT_EQ(list.find(""), nullptr);
}

TEST_F(VariableListTest, FindsByShownName) {
  const Ptr b = add("beta_long_name");
  b->rename("beta_long");
  EXPECT_EQ(list.find("BETA_LONG"), b);
}

TEST_F(VariableListTest, SelectsInCatalogueOrder) {
  const Ptr id = add("id", data::type::id);
  const Ptr y = add("y");
  const Ptr x = add("x", data::type::nominal);
  const Ptr z = add("z", data::type::ordinal);
  const Ptr unused = add("unused");
  const Ptr w = add("w", data::type::weight);
  const Ptr one = add("1", data::type::constant);
  const Ptr code = add_code(x, 2);
  const Ptr f = add("f", data::type::latent);
  y->outcome();
  z->outcome();
  z->setMean(7);
  code->covariate();
  one->covariate();
  f->outcome();

  EXPECT_EQ(list.subset(data::type::continuous), (Ptrs{y, unused}));
  EXPECT_EQ(list.subset(data::type::dummy), Ptrs{code});
  EXPECT_EQ(list.subset(data::usage::outcome), (Ptrs{y, z, f}));
  EXPECT_EQ(list.subset(data::usage::covariate), (Ptrs{x, one, code}));
  EXPECT_EQ(list.weights(), Ptrs{w});
  EXPECT_EQ(list.modelvars(), (Ptrs{y, x, z}));
  EXPECT_EQ(list.outcomeWithMeans(), Ptrs{z});
  EXPECT_EQ(list.covarAndOutMeans(), (Ptrs{x, z}));
  EXPECT_EQ(list.variableNames(), (Names{"id", "y", "x", "z", "unused", "w", "1", "x.2", "f"}));
}

TEST_F(VariableListTest, ClustersRiseFromLevelTwo) {
  const Ptr school = add("school", data::type::id, 0);
  add("y", data::type::continuous, 2);
  const Ptr classroom = add("class", data::type::id, 1);
  list.order_clusters();
  EXPECT_EQ(list.clusters, (Ptrs{classroom, school}));
}

TEST_F(VariableListTest, AddsPhantomsAtTheEnd) {
  add("y");
  const Ptr p = list.add_phantom("a#cor#b");
  EXPECT_EQ(list.variables.back(), p);
  EXPECT_EQ(p->type, data::type::phantom);
  EXPECT_EQ(list.find("A#COR#B"), p);
}

TEST_F(VariableListTest, ShortNamesStay) {
  EXPECT_EQ(truncated({"y", "ninechars"}), (Names{"y", "ninechars"}));
  EXPECT_EQ(report, "");
  EXPECT_TRUE(list.renames.empty());
}

TEST_F(VariableListTest, TrailingNumberSurvives) {
  EXPECT_EQ(truncated({"item_number12345"}), Names{"item12345"});
  EXPECT_EQ(report, "\n           item_number12345 -> item12345");
  EXPECT_EQ(list.renames.at("item_number12345"), "item12345");
  EXPECT_EQ(list.find("ITEM_NUMBER12345"), list.variables[0]);
  EXPECT_EQ(list.find("item12345"), list.variables[0]);
}

TEST_F(VariableListTest, NumberIsDroppedWhereItDoesNotHelp) {
  EXPECT_EQ(truncated({"item1_of_the_scale"}), Names{"item1_of_"}) << "not lost by the cut";
  EXPECT_EQ(truncated({"some_item_name0"}), Names{"some_item"}) << "zero";
  EXPECT_EQ(truncated({"name_1234567890"}), Names{"name_1234"}) << "too many digits";
  EXPECT_EQ(truncated({"name_x12345678"}), Names{"name_x123"}) << "8 digits is not less than 8";
  EXPECT_EQ(truncated({"name_xy1234567"}), Names{"na1234567"});
  EXPECT_EQ(truncated({"item_number_2_end"}), Names{"item_num2"}) << "the last run, wherever it stands";
}

TEST_F(VariableListTest, ClashesGetRunningNumbers) {
  EXPECT_EQ(truncated({"attitude_to_work", "attitude_to_life", "ATTITUDE_TO_ALL"}),
            (Names{"attitude_", "attitude1", "ATTITUDE2"}));
  EXPECT_EQ(report,
            "\n           attitude_to_work -> attitude_"
            "\n           attitude_to_life -> attitude1"
            "\n           ATTITUDE_TO_ALL -> ATTITUDE2");
}

TEST_F(VariableListTest, ClashesWithNamesThatStayCount) {
  EXPECT_EQ(truncated({"abcdefghijk", "ABCDEFGHI", "abcdefgh1"}),
            (Names{"abcdefgh2", "ABCDEFGHI", "abcdefgh1"}));
}

TEST_F(VariableListTest, RunningNumbersMayGrow) {
  list.variables.clear();
  for (int i = 0; i < 12; ++i) add(std::string("same_start") + static_cast<char>('a' + i));
  list.truncateNames();
  EXPECT_EQ(list.variables[0]->name, "same_star");
  EXPECT_EQ(list.variables[9]->name, "same_sta9");
  EXPECT_EQ(list.variables[10]->name, "same_sta10");
}

TEST_F(VariableListTest, LimitIsAdjustable) {
  VariableList::truncate = 4;
  EXPECT_EQ(truncated({"item12", "abcdef"}), (Names{"it12", "abcd"}));
  VariableList::truncate = 1;
  EXPECT_EQ(truncated({"abc", "abd", "ace"}), (Names{"a", "1", "2"}));
  VariableList::truncate = 40;
  EXPECT_EQ(truncated({"item_number12345"}), Names{"item_number12345"});
}

TEST_F(VariableListTest, CodesFollowTheirParent) {
  const Ptr x = add("education_level", data::type::nominal);
  add("educatio2");
  const Ptr code = add_code(x, 2);
  EXPECT_EQ(list.truncateNames(), "\n           education_level -> education");
  EXPECT_EQ(code->name, "education.2");
  EXPECT_EQ(list.renames.at("education_level.2"), "education.2");
  EXPECT_EQ(list.find("EDUCATION_LEVEL.2"), code);
}

TEST_F(VariableListTest, NamedRandomEffectsKeepTheirNames) {
  const Ptr y = add("y");
  const Ptr id = add("id", data::type::id);
  list.variables.push_back(std::make_shared<data::random>(
      data::random_effect{"random_intercept", "y", "Intercept", "id", ""}, y, id));
  EXPECT_EQ(list.truncateNames(), "");
  EXPECT_EQ(list.variables.back()->name, "random_intercept");
}

TEST_F(VariableListTest, FindsWithAndWithoutAnIndex) {
  const Ptr first = add("x");
  list.index();
  const Ptr second = add("later");
  EXPECT_EQ(list.find("X"), first);
  EXPECT_EQ(list.find("LATER"), second);
  second->rename("shown");
  EXPECT_EQ(list.find("shown"), second);
  EXPECT_EQ(list.find("unknown"), nullptr);
  const Ptr p = list.add_phantom("a#cor#b");
  EXPECT_EQ(p->column, data::variable::no_column);
  EXPECT_EQ(list.find("a#COR#b"), p);
  list.variables.clear();
  EXPECT_EQ(list.find("x"), nullptr);
  const Ptr other = add("x");
  list.index();
  EXPECT_EQ(list.find("x"), other);
}

TEST_F(VariableListTest, FullNamesGoBeforeShownOnes) {
  const Ptr a = add("alpha");
  const Ptr b = add("beta");
  a->rename("beta");
  list.index();
  EXPECT_EQ(list.find("beta"), b);
}

TEST_F(VariableListTest, FreedNamesCountAgain) {
  VariableList::truncate = 4;
  // "abc10" is taken until its own turn, when it becomes "ab10"; then the next name gets it.
  for (int i = 0; i < 12; ++i) add("abcd_" + std::string(1, static_cast<char>('a' + i)));
  list.variables.insert(list.variables.begin() + 11,
                        std::make_shared<data::variable>("abc10", data::type::continuous, 0u, 0u));
  list.truncateNames();
  EXPECT_EQ(list.variables[10]->name, "abc11");
  EXPECT_EQ(list.variables[11]->name, "ab10");
  EXPECT_EQ(list.variables[12]->name, "abc10");
}

TEST_F(VariableListTest, ThousandsOfNamesWithOneBeginning) {
  for (int i = 0; i < 20000; ++i)
    add("one_beginning_" + std::string(1 + i % 3, 'x') + std::to_string(i) + "_");
  VariableList::truncate = 9;
  list.truncateNames();
  std::unordered_set<std::string> seen;
  for (const Ptr& v : list.variables) EXPECT_TRUE(seen.insert(v->name).second) << v->name;
}

TEST_F(VariableListTest, CutsBetweenCharacters) {
  // Eight letters, then two bytes each of which is half a letter.
  EXPECT_EQ(truncated({"abcdefgh\xC3\xA4zz"}), Names{"abcdefgh"});
  EXPECT_EQ(truncated({"abcdefg\xC3\xA4zz"}), Names{"abcdefg\xC3\xA4"});
}

}  // namespace
}  // namespace tovik::variable_list_test
