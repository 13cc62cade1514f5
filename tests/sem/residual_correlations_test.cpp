#include "sem/ensemble/residual_correlations.hpp"

#include <gtest/gtest.h>

#include "small_run.hpp"

namespace tovik::tests::residual_correlations_test {
namespace {

/// Six districts of two schools with three to six pupils; y1, y2 and x are pupils', s is the school's.
arma::mat pupils() {
  Random rng(11, 1);
  arma::mat out(0, 6);
  for (int school = 0; school < 12; ++school) {
    const double s = rng.rnorm();
    for (int pupil = 0; pupil < 3 + school % 4; ++pupil)
      out.insert_rows(out.n_rows, arma::rowvec{static_cast<double>(school), static_cast<double>(school / 2),
                                               s + rng.rnorm(), rng.rnorm() - s, rng.rnorm(), s});
  }
  return out;
}

const std::vector<std::string> names = {"school", "district", "y1", "y2", "x", "s"};

small_run run(const std::vector<std::string>& ids, const std::vector<std::string>& statements) {
  return small_run(names, pupils(), ids, statements);
}

/// Pearson's correlation by its textbook formula.
double pearson(const arma::vec& a, const arma::vec& b) {
  return arma::as_scalar(arma::cor(a, b));
}

/// The units of a level of "y", its residual, or of "y term", a random effect of it.
arma::vec column(const ModelList& models, const sem::Mcmc& chain, const std::string& name, unsigned level) {
  const sem::working_data& working = chain.working();
  for (unsigned i = 0; i < models.size(); ++i) {
    const sem::estimator::Outcome& outcome = chain.outcomes()->outcome(i);
    const std::string own = models[i].name();
    if (name == own) return arma::mat(outcome.residual(working.data)).rows(working.first_rows(level));
    const arma::mat effects = outcome.latent(working.data);
    arma::uword at = 0;
    for (int above = models[i].levels - 1; above >= 0; --above) {
      for (const std::string& effect : models[i].reName(above)) {
        if (name == own + " " + effect && static_cast<unsigned>(2 - above) == level)
          return arma::mat(effects.col(at)).rows(working.first_rows(level));
        ++at;
      }
    }
  }
  ADD_FAILURE() << name;
  return {};
}

TEST(ResidualCorrelations, AreThoseOfTheResiduals) {
  const small_run world = run({}, {"y1 ~ x", "y2 ~ x", "s ~ 1"});
  const auto chain = world.chain(Random(5, 1));
  for (int i = 0; i < 3; ++i) chain->oneRep();
  const arma::mat residuals = chain->outcomes()->residual(chain->working().data);
  const arma::vec values = chain->getCorrelations();
  ASSERT_EQ(values.n_elem, 3u);
  EXPECT_EQ(chain->getNumberCorrelations(), 3u);
  EXPECT_NEAR(values[0], pearson(residuals.col(0), residuals.col(1)), 1e-12);
  EXPECT_NEAR(values[1], pearson(residuals.col(0), residuals.col(2)), 1e-12);
  EXPECT_NEAR(values[2], pearson(residuals.col(1), residuals.col(2)), 1e-12);
}

TEST(ResidualCorrelations, OneEquationHasNone) {
  const auto chain = run({"school"}, {"y1 ~ x | x"}).chain(Random(5, 1));
  EXPECT_EQ(chain->getNumberCorrelations(), 0u);
  EXPECT_TRUE(chain->getCorrelations().empty());
}

TEST(ResidualCorrelations, RandomEffectsMeetResidualsOfTheirLevel) {
  const small_run world = run({"school", "district"}, {"y1 ~ x | x[school]", "y2 ~ x | 1", "s ~ 1"});
  const auto chain = world.chain(Random(5, 1));
  for (int i = 0; i < 3; ++i) chain->oneRep();
  const arma::vec values = chain->getCorrelations();
  arma::uword k = 0;
  for (unsigned level = 0; level < 3; ++level) {
    for (const std::string& label : world.models.rcorr_names(static_cast<int>(2 - level))) {
      const std::size_t arrow = label.find(" <-> ");
      ASSERT_LT(k, values.n_elem);
      EXPECT_NEAR(values[k++],
                  pearson(column(world.models, *chain, label.substr(0, arrow), level),
                          column(world.models, *chain, label.substr(arrow + 5), level)),
                  1e-10)
          << label;
    }
  }
  EXPECT_EQ(k, values.n_elem);
  EXPECT_EQ(k, 1u + (2u + 2u + 1u) + 3u);
}

TEST(ResidualCorrelations, AConstantColumnHasNone) {
  arma::mat data = pupils();
  data.col(4) = arma::round(4.0 * data.col(4));
  data.col(3) = data.col(4) + 2.0;  // so that the residual of y2 is 2 to the last digit
  const small_run world(names, data, {}, {"y1 ~ x", "y2 ~ 1@0 x@1"});
  const auto chain = world.chain(Random(5, 1));
  EXPECT_TRUE(std::isnan(chain->getCorrelations()[0]));
}

}  // namespace
}  // namespace tovik::tests::residual_correlations_test
