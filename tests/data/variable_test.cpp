#include "data/variable.hpp"

#include <gtest/gtest.h>

#include "data/dummy.hpp"
#include "data/modifier.hpp"
#include "data/named_effect.hpp"
#include "support/error.hpp"

namespace tovik::data::variable_test {
namespace {

using Ptr = std::shared_ptr<variable>;

Ptr make(const std::string& name, data::type kind = data::type::continuous, unsigned level = 1) {
  return std::make_shared<variable>(name, kind, 3, level);
}

TEST(Variable, StartsWithoutRoleAndCentring) {
  const Ptr x = make("x");
  EXPECT_EQ(x->usage(), usage::unset);
  EXPECT_EQ(x->centered(), center::none);
  EXPECT_EQ(x->centeredMeans(), center::none);
  EXPECT_FALSE(x->fixed());
  EXPECT_EQ(x->name, "x");
  EXPECT_EQ(x->fullName, "x");
  EXPECT_EQ(x->column, 3u);
  EXPECT_EQ(x->level, 1u);
}

TEST(Variable, TypesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(type::continuous), 0);
  EXPECT_EQ(static_cast<int>(type::ordinal), 1);
  EXPECT_EQ(static_cast<int>(type::count), 3);
  EXPECT_EQ(static_cast<int>(type::nominal), 4);
  EXPECT_EQ(static_cast<int>(type::constant), 5);
  EXPECT_EQ(static_cast<int>(type::latent), 7);
  EXPECT_EQ(static_cast<int>(type::phantom), 8);
  EXPECT_EQ(static_cast<int>(type::random_effect), 13);
  EXPECT_EQ(static_cast<int>(type::dummy), 14);
  EXPECT_EQ(static_cast<int>(type::weight), 15);
  EXPECT_EQ(static_cast<int>(type::id), 16);
  for (type kind : {type::continuous, type::ordinal, type::count, type::nominal, type::constant,
                    type::random_effect, type::dummy, type::weight, type::id})
    EXPECT_FALSE(isLatent(kind));
  EXPECT_TRUE(isLatent(type::latent));
  EXPECT_TRUE(isLatent(type::phantom));
}

TEST(Variable, OutcomeIsNotTurnedIntoACovariate) {
  const Ptr x = make("x");
  x->covariate();
  EXPECT_EQ(x->usage(), usage::covariate);
  x->outcome();
  EXPECT_EQ(x->usage(), usage::outcome);
  x->covariate();
  EXPECT_EQ(x->usage(), usage::outcome);
}

TEST(Variable, IdentifiersAndRandomEffectsAreNoCovariates) {
  for (type kind : {type::id, type::random_effect}) {
    const Ptr x = make("x", kind);
    x->covariate();
    EXPECT_EQ(x->usage(), usage::unset);
  }
}

TEST(Variable, SettersAppendAndReplace) {
  const Ptr x = make("x");
  x->setMean(4);
  x->setMean(5);
  x->setLatent(6);
  x->setRstar(7);
  x->setRandef(8, "Intercept[school]");
  x->setCentered(center::grand);
  x->setCenteredMeans(center::cluster);
  x->fixed(true);
  EXPECT_EQ(x->means, (std::vector<unsigned>{4, 5}));
  EXPECT_EQ(x->latent, std::vector<unsigned>{6});
  EXPECT_EQ(x->rstar, std::vector<unsigned>{7});
  EXPECT_EQ(x->randef, std::vector<unsigned>{8});
  EXPECT_EQ(x->randefNames, std::vector<std::string>{"Intercept[school]"});
  EXPECT_EQ(x->centered(), center::grand);
  EXPECT_EQ(x->centeredLevel, variable::no_level);
  EXPECT_EQ(x->centeredMeans(), center::cluster);
  EXPECT_TRUE(x->fixed());
  x->setCentered(0, center::cluster);
  EXPECT_EQ(x->centered(), center::cluster);
  EXPECT_EQ(x->centeredLevel, 0u);
}

TEST(Dummy, IsNamedByItsValue) {
  EXPECT_EQ(dummy::label("x", 2), "x.2");
  EXPECT_EQ(dummy::label("x", 2.5), "x.2.500000");
  EXPECT_EQ(dummy::label("x", -1), "x.-1");
  EXPECT_EQ(dummy::label("x", -0.0), "x.0");
  EXPECT_EQ(dummy::label("x", 123456789), "x.123456789");
}

TEST(Dummy, SharesTheRoleOfItsParent) {
  const Ptr x = make("x", type::nominal);
  const Ptr code = std::make_shared<dummy>(x, 2, 9);
  x->setDummy(code);
  EXPECT_EQ(code->type, type::dummy);
  EXPECT_EQ(code->name, "x.2");
  EXPECT_EQ(code->fullName, "x.2");
  EXPECT_EQ(code->level, 1u);
  EXPECT_EQ(code->column, 9u);
  EXPECT_EQ(std::dynamic_pointer_cast<dummy>(code)->parent(), x);
  EXPECT_EQ(std::dynamic_pointer_cast<dummy>(code)->value(), 2);

  EXPECT_EQ(code->usage(), usage::unset);
  code->covariate();
  EXPECT_EQ(x->usage(), usage::covariate);
  EXPECT_EQ(code->usage(), usage::covariate);
  code->outcome();
  EXPECT_EQ(x->usage(), usage::outcome);
  code->fixed(true);
  EXPECT_TRUE(x->fixed());
  EXPECT_TRUE(code->fixed());
  x->setCentered(center::grand);
  x->setCenteredMeans(center::cluster);
  EXPECT_EQ(code->centered(), center::grand);
  EXPECT_EQ(code->centeredMeans(), center::cluster);
  code->setMean(12);
  EXPECT_EQ(x->means, std::vector<unsigned>{12});
  EXPECT_TRUE(code->means.empty());
}

TEST(Dummy, RefusesWhatOnlyAVariableHas) {
  const Ptr x = make("x", type::nominal);
  dummy code(x, 2, 9);
  EXPECT_THROW(code.setLatent(1), error_debug);
  EXPECT_THROW(code.setRstar(1), error_debug);
  EXPECT_THROW(code.setRandef(1, "e"), error_debug);
  EXPECT_THROW(code.setDummy(x), error_debug);
  EXPECT_THROW(code.setCentered(center::grand), error_debug);
  EXPECT_THROW(code.setCentered(0, center::grand), error_debug);
  EXPECT_THROW(code.setCenteredMeans(center::grand), error_debug);
}

TEST(Dummy, RefusesToOutliveItsParent) {
  Ptr x = make("x", type::nominal);
  const dummy code(x, 2, 9);
  x.reset();
  EXPECT_THROW(code.usage(), error_debug);
}

TEST(Dummy, KeepsItsSuffixWhenRenamed) {
  const Ptr x = make("longer_name", type::nominal);
  const Ptr code = std::make_shared<dummy>(x, 2.5, 9);
  x->setDummy(code);
  x->rename("short");
  EXPECT_EQ(x->name, "short");
  EXPECT_EQ(x->fullName, "longer_name");
  EXPECT_EQ(code->name, "short.2.500000");
  EXPECT_EQ(code->fullName, "longer_name.2.500000");
}

TEST(Random, TakesNameAndLevelFromItsStatement) {
  const Ptr y = make("y", type::continuous, 2);
  const Ptr school = make("school", type::id, 1);
  const Ptr x = make("x");
  random effect({"u", "y", "x", "school", "u = y | x[school]"}, y, school, x);
  EXPECT_EQ(effect.term(), x);
  EXPECT_EQ(effect.effect().term, "x");
  EXPECT_EQ(effect.column, variable::no_column);
  EXPECT_EQ(effect.type, type::random_effect);
  EXPECT_EQ(effect.name, "u");
  EXPECT_EQ(effect.level, 1u);
  EXPECT_EQ(effect.applies_to(), y);
  EXPECT_EQ(effect.cluster(), school);
  EXPECT_EQ(effect.effect().fullline, "u = y | x[school]");

  effect.covariate();
  EXPECT_EQ(effect.usage(), usage::covariate);
  EXPECT_EQ(effect.estimated_in(), nullptr);
  effect.outcome(y);
  EXPECT_EQ(effect.usage(), usage::outcome);
  EXPECT_EQ(effect.estimated_in(), y);
}

TEST(Random, RefusesWhatOnlyAVariableHas) {
  const Ptr y = make("y");
  random effect({"u", "y", "Intercept", "id", "u = y | Intercept[id]"}, y, make("id", type::id));
  EXPECT_EQ(effect.term(), nullptr);
  variable& plain = effect;
  EXPECT_THROW(plain.fixed(true), error_debug);
  EXPECT_THROW(plain.outcome(), error_debug);
  EXPECT_THROW(plain.setMean(1), error_debug);
  EXPECT_THROW(plain.setLatent(1), error_debug);
  EXPECT_THROW(plain.setRstar(1), error_debug);
  EXPECT_THROW(plain.setRandef(1, "e"), error_debug);
  EXPECT_THROW(plain.setDummy(y), error_debug);
  EXPECT_THROW(plain.setCentered(center::grand), error_debug);
  EXPECT_THROW(plain.setCentered(0, center::grand), error_debug);
  EXPECT_THROW(plain.setCenteredMeans(center::grand), error_debug);
  EXPECT_THROW(plain.rename("v"), error_debug);
  EXPECT_FALSE(plain.fixed());
}

TEST(Modifier, ShowsItsTextOrTheFullName) {
  const Ptr x = make("x_full");
  x->rename("x");
  EXPECT_EQ(modifier(*x).string(), "x_full");
  EXPECT_EQ(modifier("other", *x).string(), "other");
  EXPECT_EQ("Var(" + modifier(*x) + ")", "Var(x_full)");
  EXPECT_EQ(modifier("t", *x) + ".mean", "t.mean");
}

TEST(Modifier, ShowsAPhantomAsItsCorrelation) {
  EXPECT_EQ(phantom_text("a#cor#b"), "a <-> b");
  EXPECT_EQ(phantom_text("y###id#####cor#x"), "y[id] <-> x");
  EXPECT_EQ(phantom_text("x##z#cor#y#1"), "x*z <-> y$1");
  const Ptr p = make("a#cor#b", type::phantom);
  EXPECT_EQ(modifier::phantom(*p).string(), "a <-> b");
}

}  // namespace
}  // namespace tovik::data::variable_test
