// Generated equations: the text of a model reads back to the same model.

#include <random>

#include "catalogue.hpp"
#include "data/named_effect.hpp"
#include "evaluate/defines.hpp"

namespace tovik::tests::round_trip_test {
namespace {

/// Statements by chance, from all forms of outcomes and terms. Many are wrong in their levels.
class generator {
 public:
  generator(unsigned seed, unsigned identifiers) : engine_(seed), identifiers_(identifiers) {}

  std::string statement() {
    std::string out = outcome() + " ~";
    for (unsigned n = below(4); n > 0; --n) out += " " + with_parameter(fixed_term(), true);
    if (below(4) == 0) out += pick({" 0", " 1@0", " 1", " Intercept", " INTERCEPT"});
    if (below(8) == 0) out += " 1" + pick({"@i0", "@2.5", "%7", "@i1%-1", "@(1/7)", "@eta"});
    if (identifiers_ > 0 && below(2) == 0) {
      out += " |";
      if (below(3) == 0) out += pick({" 0", " 1", " Intercept", " 1[school]", " Intercept[school]%2"});
      for (unsigned n = below(3); n > 0; --n) out += " " + with_parameter(random_term(), false);
    }
    return out;
  }

 private:
  unsigned below(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(engine_); }
  std::string pick(const std::vector<std::string>& list) {
    return list[below(static_cast<unsigned>(list.size()))];
  }
  std::string variable() {
    return pick({"x", "Z", "y10", "y2", "g", "g.3", "grade", "visits", "w", "v", "held", "eta", "slope"});
  }

  std::string outcome() {
    return pick({"y",
                 "y",
                 "(Y)",
                 "w",
                 "v",
                 "grade",
                 "g",
                 "bin",
                 "visits",
                 "eta",
                 "logit(bin)",
                 "logit(g)",
                 "probit(grade)",
                 "yjt(y)",
                 "yjt(y, lam)",
                 "yjt( y , 0.1)",
                 "yjt(y, lam%0.3)",
                 "yjt(w, %-1)",
                 "var(y)",
                 "y.missing",
                 "log(y + 10)",
                 "(sqrt(y)*2)",
                 "yjt(y*2, 0.5)",
                 "1/y"});
  }

  std::string number() {
    return pick(
        {"0", "1", "-2", "0.5", "1e-9", "-1e30", "(1/3)", "123456789", "0.1", "-0.000001", "(2^0.5)"});
  }

  std::string with_parameter(std::string term, bool can_fix) {
    const unsigned form = below(5);
    if (form == 0) term += "@b" + std::to_string(labels_++);
    if (form == 1 && can_fix) term += "@" + number();
    if (form == 2) term += "%" + pick({"1", "-0.25", "1e-12", "3.14159"});
    if (form == 3) term += "@c" + std::to_string(labels_++) + "%0.125";
    return term;
  }

  std::string computed(unsigned depth) {
    if (depth == 0) return below(4) == 0 ? pick({"b", "lab", "2", "_pi", "d", "0.5"}) : variable();
    const std::string a = computed(depth - 1);
    const std::string b = computed(depth - 1);
    switch (below(5)) {
      case 0:
        return "(" + a + " + " + b + ")";
      case 1:
        return "(" + a + "*" + b + ")";
      case 2:
        return "exp(" + a + " - " + b + ")";
      case 3:
        return "ifelse(" + a + " > 0.25, " + b + ", 1)";
      default:
        return "((" + a + " == 1) and (" + b + " < 3))";
    }
  }

  std::string fixed_term() {
    switch (below(7)) {
      case 0:
        return computed(1 + below(2));
      case 1:
        return "(" + variable() + " * " + variable() + ")";
      case 2:
        return pick({"x.mean", "x.missing", "grade.latent", "g.mean", "w.mean", "x.mean[district]"});
      case 3:
        return pick({"ghost", "ghost$1", "d", "D"});
      default:
        return variable();
    }
  }

  std::string random_term() {
    switch (below(5)) {
      case 0:
        return "(" + variable() + "*" + variable() + ")";
      case 1:
        return variable() + pick({"[school]", "[district]"});
      case 2:
        return pick({"x.mean", "d"});
      default:
        return variable();
    }
  }

  std::mt19937 engine_;
  unsigned identifiers_;
  unsigned labels_ = 0;
};

/// Everything that a model says, as one text. Values are exact.
std::string content(const Model& model) {
  std::string out = format("link %d levels %d intercepts %d %d", static_cast<int>(model.link), model.levels,
                           model.has_fixed_intercept, model.has_random_intercept);
  const auto parameter = [&](const model::parameter& p) {
    out += " {" + to_lower(p.label()) +
           format(" %d %d %a %d}", p.is_fixed(), p.has_start(), p.start(), p.is_free());
  };
  const auto list = [&](const char* name, const std::vector<model::anyVariable>& terms) {
    out += std::string("\n") + name;
    for (const model::anyVariable& term : terms) {
      out += format(" [%p %d ", static_cast<const void*>(term.variable.get()), static_cast<int>(term.type)) +
             (term.level ? term.level->name : "-") + " " + term.transformation;
      parameter(term.param);
      parameter(term.lambda);
      out += "]";
    }
  };
  list("outcomes", model.outcomes);
  list("fixed", model.fixed);
  list("random", model.random);
  list("phantoms", model.phantoms);
  for (const auto* computed : {&model.fixed_compute, &model.random_compute}) {
    out += "\ncomputed";
    for (const model::combinationOfAnyVariable& term : *computed) {
      out += " [" + term.statement + format(" %d", term.is_random) + " " + join(term.names(), ",");
      parameter(term.param);
      out += "]";
    }
  }
  return out;
}

/// A catalogue with a named random effect and a name table with a definition.
struct world {
  VariableList list;
  evaluate::defines names;

  explicit world(unsigned identifiers) : list(catalogue(identifiers)) {
    names.announce("d", "x*lab + v");
    if (identifiers > 0) {
      const data::random_effect effect{"slope", "y", "x", "school", "slope = y | x[school]"};
      list.variables.push_back(
          std::make_shared<data::random>(effect, list.find("y"), list.find("school"), list.find("x")));
    }
    list.index();
  }
};

class RoundTrip : public testing::TestWithParam<unsigned> {};

TEST_P(RoundTrip, TheTextOfAModelReadsBackToTheSameModel) {
  world of(GetParam());
  generator make(20240711 + GetParam(), GetParam());
  unsigned valid = 0;
  for (int k = 0; k < 6000; ++k) {
    const std::string statement = make.statement();
    std::string first;
    std::string command;
    try {
      const Model model(statement, of.list, &of.names);
      first = content(model);
      command = model.command();
    } catch (const error_debug& fault) {
      FAIL() << statement << "\n" << fault.what();
    } catch (const error&) {
      continue;
    }
    ++valid;
    try {
      const Model again(command, of.list, &of.names);
      ASSERT_EQ(content(again), first) << statement << "\n" << command;
      ASSERT_EQ(again.command(), command) << statement;
    } catch (const error& fault) {
      FAIL() << statement << "\n" << command << "\n" << fault.what();
    }
  }
  EXPECT_GT(valid, 1500u);
}

INSTANTIATE_TEST_SUITE_P(Levels, RoundTrip, testing::Values(0u, 1u, 2u));

}  // namespace
}  // namespace tovik::tests::round_trip_test
