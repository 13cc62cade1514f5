// Outcomes that are transformed inline, and the Yeo-Johnson link.

#include <armadillo>

#include "catalogue.hpp"
#include "model/outcome_parse.hpp"

namespace tovik::tests::transformation_test {
namespace {

model::outcome_term outcome(const std::string& text) {
  const VariableList list = catalogue(1);
  return model::parse_outcome(text, text + " ~ x", list, nullptr);
}

TEST(Transformation, HasAnInverse) {
  arma::Mat<double> values(5, 1);
  values.col(0) = arma::Col<double>{0.2, 0.35, 0.5, 0.7, 0.9};
  for (const char* text : {"log(y)",      "log(y + 10)", "sqrt(y)",       "exp(y)",       "2*y + 3",
                           "3 - y",       "1/y",         "y/4",           "y^3",          "logit(y/2)",
                           "probit(y/2)", "sigm(y)",     "phi(y)",        "iphi(y*0.5)",  "log1p(y)",
                           "expm1(y)",    "sin(y)",      "cos(y)",        "tan(y)",       "asin(y)",
                           "acos(y)",     "atan(y)",     "yjt(y*2, 0.5)", "iyjt(y, 0.5)", "(log(y) - 2)/3",
                           "y*y",         "y + y",       "log(sqrt(Y))"}) {
    const model::outcome_term parsed = outcome(text);
    EXPECT_EQ(parsed.term.variable->name, "y") << text;
    EXPECT_EQ(parsed.link, model::link::identity);
    EXPECT_FALSE(parsed.link_given);
    EXPECT_TRUE(parsed.term.is_transformed());
    const evaluate::pair both = parsed.term.pair();
    ASSERT_TRUE(both.flag) << text;
    const arma::Mat<double> transformed = both.data_side->eval(values);
    const arma::Col<double> back = both.parameter_side->eval(transformed);
    EXPECT_TRUE(arma::approx_equal(back, values.col(0), "absdiff", 1e-10)) << text << "\n" << back;
  }
}

TEST(Transformation, IsKeptAsWritten) {
  EXPECT_EQ(outcome("log( y + 10 )").term.transformation, "log( y + 10 )");
  EXPECT_EQ(outcome("(log(Y))").term.transformation, "log(Y)");
  EXPECT_FALSE(outcome("y").term.pair().flag);
  EXPECT_EQ(one_model(1, "log(y) ~ x")->pair().flag, true);
}

TEST(Transformation, LinksStandAroundPlainNamesOnly) {
  EXPECT_EQ(outcome("logit(bin)").link, model::link::logit);
  EXPECT_TRUE(outcome("logit(y/10)").term.is_transformed());
  EXPECT_EQ(outcome("yjt(y)").link, model::link::yjt);
  EXPECT_EQ(outcome("yjt( eta )").link, model::link::yjt);
  EXPECT_EQ(outcome("var(y)").link, model::link::log_variance);
  EXPECT_TRUE(outcome("var(y)").link_given);
}

TEST(Transformation, ReadsLambda) {
  EXPECT_TRUE(outcome("yjt(y)").term.lambda.is_free());
  EXPECT_EQ(outcome("yjt(y, lam)").term.lambda.label(), "lam");
  EXPECT_EQ(outcome("yjt(y,-0.5)").term.lambda.value(), -0.5);
  EXPECT_EQ(outcome("yjt(y, lam%0.5)").term.lambda.start(), 0.5);
  EXPECT_EQ(outcome("yjt(y, %0.5)").term.lambda.start(), 0.5);
  EXPECT_TRUE(outcome("yjt(y, %0.5)").term.lambda.is_free());
}

TEST(Transformation, DefaultLinksDependOnWhatIsMeant) {
  EXPECT_EQ(outcome("grade").link, model::link::probit);
  EXPECT_EQ(outcome("grade.missing").link, model::link::identity);
  EXPECT_EQ(outcome("g").link, model::link::logit);
  EXPECT_EQ(outcome("g.missing").link, model::link::identity);
  EXPECT_EQ(outcome("probit(grade.missing)").link, model::link::identity);
  EXPECT_FALSE(outcome("probit(y.missing)").link_given);
  EXPECT_EQ(outcome("visits").link, model::link::identity);
}

}  // namespace
}  // namespace tovik::tests::transformation_test
