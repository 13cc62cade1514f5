// The order of a scan of the predictor models.

#include "sem/predictors/predictor_set.hpp"

#include <gtest/gtest.h>

#include "sem/predictor_run.hpp"
#include "sem/predictors/unit_chain.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::sem::predictor_set_test {
namespace {

using step = predictor_step;
using tests::predictor_run;
using call_log = std::vector<std::string>;

/// A predictor model that writes down which step is asked of it.
class recorded : public Variable {
 public:
  recorded(std::unique_ptr<Variable> inner, call_log& log, bool with_likelihood)
      : inner_(std::move(inner)), log_(log), with_likelihood_(with_likelihood) {
    missing = inner_->missing;
    deviates = inner_->deviates;
    predictors = inner_->predictors;
    level = inner_->level;
    n_levels = inner_->n_levels;
    mode = inner_->mode;
  }

  using matrix = arma::Mat<double>;
  using columns_t = arma::Col<arma::uword>;
  void read(const matrix& data) override {
    say("read");
    inner_->read(data);
  }
  void drawComponent(unsigned d, const level_scores& upper, const level_scores& lower) override {
    say("mean " + std::to_string(d));
    inner_->drawComponent(d, upper, lower);
  }
  void drawComponent(matrix&, unsigned d, const level_scores& upper, const level_scores& lower) override {
    say("MEAN " + std::to_string(d));
    inner_->drawComponent(d, upper, lower);
  }
  void drawGrandMean(const level_scores& top) override {
    say("grand");
    inner_->drawGrandMean(top);
  }
  void drawGrandMean(matrix&, const level_scores& top) override {
    say("GRAND");
    inner_->drawGrandMean(top);
  }
  void drawParam(unsigned d, level_scores& scores) override {
    say("param " + std::to_string(d));
    inner_->drawParam(d, scores);
  }
  void drawImputation(const level_scores& own) override {
    say("impute");
    inner_->drawImputation(own);
  }
  void drawImputation(matrix&, const level_scores& own) override {
    say("IMPUTE");
    inner_->drawImputation(own);
  }
  void publish(matrix& data) const override { inner_->publish(data); }
  void setLikelihood(step what, unsigned d, std::unique_ptr<estimator::likelihood> l) override {
    inner_->setLikelihood(what, d, std::move(l));
  }
  bool needsLikelihood(step, unsigned) const override { return with_likelihood_; }
  columns_t value_columns() const override { return inner_->value_columns(); }
  columns_t mean_columns(unsigned d) const override { return inner_->mean_columns(d); }
  columns_t columns() const override { return inner_->columns(); }
  const data::variable& variable() const override { return inner_->variable(); }
  const unit_chain& chain() const override { return inner_->chain(); }
  bool means_only() const override { return inner_->means_only(); }
  unsigned grandMeanLevel() const override { return inner_->grandMeanLevel(); }
  const double& sd() const override { return inner_->sd(); }
  const double& sdLatentMeans() const override { return inner_->sdLatentMeans(); }
  matrix deviation(unsigned d) const override { return inner_->deviation(d); }
  matrix data() const override { return inner_->data(); }
  matrix uncenteredData() const override { return inner_->uncenteredData(); }
  arma::Col<double> params() const override { return inner_->params(); }
  arma::uword numParams() const override { return inner_->numParams(); }
  arma::uword n_estimated() const override { return inner_->n_estimated(); }
  std::vector<predictor_row> layout(const std::vector<std::string>& names) const override {
    return inner_->layout(names);
  }
  void tune(bool has_outcomes) override { inner_->tune(has_outcomes); }
  estimator::tune_results tuneResults() const override { return inner_->tuneResults(); }
  void addProposals(std::vector<estimator::tune_obj*>& to) override { inner_->addProposals(to); }
  std::vector<matrix> latentMeans() const override { return inner_->latentMeans(); }
  matrix latentScores() const override { return inner_->latentScores(); }
  matrix getLatent() const override { return inner_->getLatent(); }
  double getMissingPercent() const override { return inner_->getMissingPercent(); }
  void print_debug(std::ostream& out) const override { inner_->print_debug(out); }

 private:
  void say(const std::string& what) { log_.push_back(inner_->variable().name + " " + what); }

  std::unique_ptr<Variable> inner_;
  call_log& log_;
  bool with_likelihood_;
};

/// id, y, x incomplete, w of the clusters incomplete, m an outcome whose mean is read, z fixed.
struct mixed {
  arma::mat file;
  predictor_run run;

  mixed()
      : file(make_file()),
        run({"id", "y", "x", "w", "m", "z"}, file, {"y ~ x w m m.mean z", "m ~ z"}, make_plan()) {}

  static predictor_run::plan make_plan() {
    predictor_run::plan p;
    p.ids = {"id"};
    p.fixed = {"z"};
    return p;
  }
  static arma::mat make_file() {
    Random rng(3, 3);
    arma::mat out(30 * 4, 6);
    for (arma::uword j = 0; j < 30; ++j) {
      const double t = rng.rnorm(), w = rng.rnorm();
      for (arma::uword i = 0; i < 4; ++i)
        out.row(4 * j + i) = arma::rowvec{
            static_cast<double>(j),        rng.rnorm(),     i == 1 ? arma::datum::nan : t + rng.rnorm(),
            j == 2 ? arma::datum::nan : w, t + rng.rnorm(), t + rng.rnorm()};
    }
    return out;
  }
};

call_log scan_of(const mixed& world, bool with_likelihood) {
  working_data working(world.run.data, {0});
  call_log log;
  const auto make = [&](const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
                        arma::Mat<double>& data) -> std::unique_ptr<Variable> {
    return std::make_unique<recorded>(make_predictor(setup, W, data), log, with_likelihood);
  };
  predictor_set set(world.run.vars, working, std::make_shared<Random>(1, 1), {1, 0.01}, make);
  log.clear();
  for (arma::uword i = 0; i < working.data.n_rows; ++i) {
    if (std::isnan(working.data(i, 4))) working.data(i, 4) = 0.0;
  }
  set.draw(working.data);
  return log;
}

TEST(PredictorSet, AScanGoesStepByStepThroughLevelsAndVariables) {
  EXPECT_EQ(scan_of(mixed(), false),
            (call_log{"m read", "x mean 1", "m mean 1", "x grand", "w grand", "m grand", "x param 0",
                      "m param 0", "x param 1", "w param 0", "m param 1", "x impute", "w impute"}));
}

TEST(PredictorSet, StepsThatMoveWhatEquationsReadAreMetropolisSteps) {
  EXPECT_EQ(scan_of(mixed(), true),
            (call_log{"m read", "x MEAN 1", "m MEAN 1", "x GRAND", "w GRAND", "m GRAND", "x param 0",
                      "m param 0", "x param 1", "w param 0", "m param 1", "x IMPUTE", "w IMPUTE"}));
}

TEST(PredictorSet, ScoresAreDeviationsAtEveryLevel) {
  const mixed world;
  working_data working(world.run.data, {0});
  predictor_set set(world.run.vars, working, std::make_shared<Random>(1, 1), {1, 0.01});
  arma::mat& data = working.data;
  for (int t = 0; t < 3; ++t) set.draw(data);
  for (const auto& v : set.models()) {
    for (unsigned d = 0; d < v->deviates.size(); ++d) {
      if (!v->isDeviation(d)) continue;
      const arma::mat held = set.scores()[v->level + d].data().cols(v->columns());
      EXPECT_TRUE(arma::approx_equal(held, v->deviation(d), "absdiff", 1e-12)) << v->variable().name << d;
    }
  }
  // The fixed variable is taken apart once: deviations from cluster means, and of these from their mean.
  arma::vec means(30, arma::fill::zeros);
  for (arma::uword i = 0; i < 120; ++i) means[i / 4] += data(i, 5) / 4;
  const arma::vec within = set.scores()[0].data().col(5);
  const arma::vec between = set.scores()[1].data().col(5);
  for (arma::uword i = 0; i < 120; ++i) EXPECT_NEAR(within[i], data(i, 5) - means[i / 4], 1e-12);
  for (arma::uword j = 0; j < 30; ++j) EXPECT_NEAR(between[j], means[j] - arma::mean(means), 1e-12);
  // Values, latent mean and grand mean add up.
  const Variable& x = *set.models().front();
  const arma::vec values = x.uncenteredData().col(0);
  for (arma::uword i = 0; i < 120; ++i) {
    const double sum = set.scores()[0].data()(i, 2) + set.scores()[1].data()(i / 4, 2) + x.params()[0];
    EXPECT_NEAR(values[i], sum, 1e-10);
    EXPECT_EQ(values[i], data(i, 2));
  }
}

TEST(PredictorSet, MissingCellsOfOutcomesAreLeftToTheirEquations) {
  mixed world;
  world.run.data(7, 4) = arma::datum::nan;
  working_data working(world.run.data, {0});
  const predictor_set set(world.run.vars, working, std::make_shared<Random>(1, 1), {1, 0.01});
  EXPECT_TRUE(std::isnan(working.data(7, 4)));
  EXPECT_FALSE(working.data.col(2).has_nan());
  EXPECT_FALSE(working.data.col(3).has_nan());
  EXPECT_FALSE(working.data.col(world.run.vars.find("m")->means.front()).has_nan());
}

TEST(PredictorSet, AFixedCenteredVariableIsTakenApartInItsRawMetric) {
  mixed world;
  const auto z = world.run.vars.find("z");
  arma::vec const raw = world.run.data.col(5);
  z->uncentered.assign(raw.begin(), raw.end());
  for (arma::uword i = 0; i < 120; ++i) {
    double mean = 0;
    for (arma::uword k = 4 * (i / 4); k < 4 * (i / 4) + 4; ++k) mean += raw[k] / 4;
    world.run.data(i, 5) = raw[i] - mean;
  }
  arma::vec const centered = world.run.data.col(5);
  working_data working(world.run.data, {0});
  const predictor_set set(world.run.vars, working, std::make_shared<Random>(1, 1), {1, 0.01});
  EXPECT_TRUE(set.excluded().empty());
  EXPECT_GT(arma::var(set.scores()[1].data().col(5)), 0.3);
  EXPECT_TRUE(arma::approx_equal(working.data.col(5), centered, "absdiff", 0.0));
}

TEST(PredictorSet, FixedPredictorsAloneNeedNoModels) {
  predictor_run::plan p;
  p.fixed = {"x"};
  arma::mat file(20, 2, arma::fill::randn);
  const predictor_run run({"y", "x"}, file, {"y ~ x"}, p);
  working_data working(run.data, {});
  const predictor_set set(run.vars, working, std::make_shared<Random>(1, 1), {1, 0.01});
  EXPECT_TRUE(set.models().empty());
  EXPECT_TRUE(set.scores().empty());
  EXPECT_EQ(set.n_params(), 0u);
}

TEST(ManifestScores, UnweightedMeansPassOverWhatIsMissing) {
  const double nan = arma::datum::nan;
  // Clusters of 2, 3 and 1 rows; the last has no observed value.
  arma::mat file = {{1, 2}, {1, 4}, {2, 10}, {2, nan}, {2, 14}, {3, nan}};
  const working_data working(file, {0});
  const unit_chain chain(working, 0, {true, true});
  const manifest_scores scores(chain, file.col(1));
  EXPECT_EQ(scores.deviation(0)[0], -1.0);
  EXPECT_EQ(scores.deviation(0)[4], 2.0);
  EXPECT_TRUE(std::isnan(scores.deviation(0)[3]));
  EXPECT_EQ(scores.deviation(1)[0], 3.0 - 7.5);
  EXPECT_EQ(scores.deviation(1)[1], 12.0 - 7.5);
  EXPECT_TRUE(std::isnan(scores.deviation(1)[2]));
  EXPECT_FALSE(scores.is_constant(0));
  EXPECT_FALSE(scores.is_constant(1));
  arma::vec const same = {3.1, 5.1, 3.1, 4.1, 5.1, 4.1};
  EXPECT_TRUE(manifest_scores(chain, same).is_constant(1));
  EXPECT_FALSE(manifest_scores(chain, same).is_constant(0));
  EXPECT_TRUE(manifest_scores(chain, arma::vec(6, arma::fill::value(0.1))).is_constant(0));
}

}  // namespace
}  // namespace tovik::sem::predictor_set_test
