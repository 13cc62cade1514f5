#include "sem/predictors/modeled_variable.hpp"

#include <cmath>
#include <utility>

#include "data/variable.hpp"
#include "sem/predictors/predictor_starts.hpp"
#include "sem/wiring/settings.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

modeled_variable::modeled_variable(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
                                   arma::uword dim, const arma::Mat<double>& data)
    : state_(setup, W, dim),
      published_(setup, state_),
      variable_(*setup.variable),
      means_only_(setup.means_only) {
  deviates = setup.deviates;
  predictors = state_.predictors;
  level = setup.level;
  n_levels = setup.working->n_levels();
  prior = setup.xprior;
  unit_ = setup.unit;
  mode = published_.mode();
  mean_mode = published_.mean_mode();
  if (variable_.type == data::type::nominal) {
    columns_.set_size(dim);
    for (arma::uword k = 0; k < dim; ++k) columns_(k) = variable_.dummies[k]->column;
  } else {
    columns_ = arma::Col<arma::uword>{variable_.column};
  }
  const arma::Col<double> values = coded_values(data);
  std::vector<arma::uword> seen, unseen;
  for (arma::uword i = 0; i < values.n_elem; ++i)
    (means_only_ || !std::isnan(values(i)) ? seen : unseen).push_back(i);
  observed_units = arma::Col<arma::uword>(seen);
  missing_units = arma::Col<arma::uword>(unseen);
  missing = !unseen.empty();
}

component_setup modeled_variable::setup_of(unsigned q) const {
  component_setup out;
  out.rng = state_.rng;
  out.n_units = state_.n_units(q);
  out.n_predictors = state_.predictors[q].n_elem;
  out.dim = state_.dim;
  out.prior = prior;
  out.unit = unit_;
  out.name = variable_.name;
  if (n_levels > 1) out.level = state_.chain.level(q) + 1;
  return out;
}

void modeled_variable::finish() {
  for (unsigned q = 1; q <= state_.top(); ++q)
    means_.push_back(std::make_unique<mean_step>(state_, published_, q));
  if (missing) imputation_ = std::make_unique<imputation_step>(state_, published_, missing_units);
  spread_.assign(state_.top(), arma::Mat<double>(state_.dim, state_.dim, arma::fill::zeros));
  set_links();
}

// Of a nominal variable without a column of its own the dummy codes tell the category.
arma::Col<double> modeled_variable::coded_values(const arma::Mat<double>& data) const {
  const working_data& working = *state_.working;
  if (variable_.type != data::type::nominal || variable_.column != data::variable::no_column)
    return unit_values(working, data, variable_.column, level);
  arma::Col<double> out(state_.chain.n_units(0));
  out.fill(variable_.values[0]);
  for (arma::uword k = 0; k < columns_.n_elem; ++k) {
    const arma::Col<double> code = unit_values(working, data, columns_(k), level);
    for (arma::uword i = 0; i < out.n_elem; ++i) {
      if (std::isnan(code(i))) out(i) = code(i);
      if (code(i) == 1.0) out(i) = variable_.values[k + 1];
    }
  }
  return out;
}

void modeled_variable::read(const arma::Mat<double>& data) {
  take_values(coded_values(data));
  if (state_.categorical()) state_.follow_categories();
}

mean_step& modeled_variable::step_above(unsigned d) {
  if (d == 0) throw error_debug("l is less than 1");
  return *means_[state_.chain.place(d) - 1];
}

void modeled_variable::drawComponent(unsigned d, const level_scores& upper, const level_scores& lower) {
  step_above(d).draw(&upper, lower);
}

void modeled_variable::drawComponent(arma::Mat<double>& data, unsigned d, const level_scores& upper,
                                     const level_scores& lower) {
  mean_step& step = step_above(d);
  in_step(data);
  step.draw(data, &upper, lower);
}

// Links follow from the variances too: they are taken anew by the parameter step, which none come before.
void modeled_variable::redrawCovariance(unsigned d) {
  if (!sampler_settings::redraw_factors || published_.has_links()) return;
  step_above(d).redraw_covariance();
}

void modeled_variable::drawGrandMean(const level_scores& top) {
  means_.back()->draw(nullptr, top);
}

void modeled_variable::drawGrandMean(arma::Mat<double>& data, const level_scores& top) {
  in_step(data);
  means_.back()->draw(data, nullptr, top);
}

void modeled_variable::drawParam(unsigned d, level_scores& scores) {
  const unsigned q = state_.chain.place(d);
  Component& component = *state_.components[q];
  if (q == 0 && state_.categorical()) {
    state_.expected(0, scores, scratch_);
    component.drawLatent(scratch_);
  }
  if (means_only_ || (q == 0 && state_.categorical())) {
    writeDeviation(d, scores);
  }
  const arma::Col<arma::uword>& W = state_.predictors[q];
  component.draw(scores, W, columns_);
  if (!published_.has_links()) return;
  if (!W.is_empty())
    spread_[q] = component.gamma.t() * scores.products(W, W) * component.gamma /
                 static_cast<double>(state_.n_units(q));
  if (q + 1 < state_.top()) return;
  set_links();
  links_moved_ = true;
}

void modeled_variable::drawImputation(const level_scores& own) {
  if (imputation_ == nullptr) return;
  imputation_->draw(own);
  follow_sd();
}

void modeled_variable::drawImputation(arma::Mat<double>& data, const level_scores& own) {
  if (imputation_ == nullptr) return;
  in_step(data);
  imputation_->draw(data, own);
  follow_sd();
}

void modeled_variable::publish(arma::Mat<double>& data) const {
  published_.write(data);
  follow_sd();
}

void modeled_variable::publishImputed(arma::Mat<double>& data) const {
  published_.write(data, 0, missing_units);
}

void modeled_variable::writeDeviation(unsigned d, level_scores& to) const {
  const unsigned q = state_.chain.place(d);
  for (arma::uword k = 0; k < state_.dim; ++k) state_.deviation(q, k, to.rewrite(columns_(k)));
}

void modeled_variable::writeImputed(level_scores& own) const {
  for (arma::uword k = 0; k < state_.dim; ++k) state_.deviation(k, missing_units, own.rewrite(columns_(k)));
}

// A step by likelihoods starts from columns that follow from the state.
void modeled_variable::in_step(arma::Mat<double>& data) {
  if (links_moved_) published_.write(data);
  links_moved_ = false;
}

// The scores around the mean at place q are what all levels below add: their residuals, and the regressions
// on deviations of other variables.
void modeled_variable::set_links() {
  if (!published_.has_links()) return;
  std::vector<arma::Mat<double>> omega(state_.top() + 1);
  arma::Mat<double> sum(state_.dim, state_.dim, arma::fill::zeros);
  for (unsigned q = 1; q <= state_.top(); ++q) {
    sum += state_.components[q - 1]->covariance() + spread_[q - 1];
    omega[q] = sum;
  }
  published_.set_links(omega);
}

void modeled_variable::setLikelihood(predictor_step step, unsigned d,
                                     std::unique_ptr<estimator::likelihood> readers) {
  if (step == predictor_step::imputation) {
    if (imputation_ == nullptr) throw error_debug("The variable has no missing values.");
    heed_missing(readers != nullptr);
    imputation_->set_readers(std::move(readers));
  } else if (step == predictor_step::level_mean) {
    step_above(d).set_readers(std::move(readers));
  } else {
    means_.back()->set_readers(std::move(readers));
  }
}

bool modeled_variable::needsLikelihood(predictor_step step, unsigned d) const {
  if (step == predictor_step::imputation) return imputation_ != nullptr && imputation_->has_readers();
  if (step == predictor_step::grand_mean) return means_.back()->has_readers();
  return isDeviation(d) && d > 0 && means_[state_.chain.place(d) - 1]->has_readers();
}

void modeled_variable::tune(bool has_outcomes) {
  if (has_outcomes) {
    if (imputation_ != nullptr) imputation_->tune.tune();
    for (const auto& step : means_) step->tune.tune();
  }
  if (numThresh() > 0) state_.components[0]->tune();
}

void modeled_variable::addProposals(std::vector<estimator::tune_obj*>& to) {
  if (imputation_ != nullptr) to.push_back(&imputation_->tune);
  for (const auto& step : means_) to.push_back(&step->tune);
  for (const auto& component : state_.components) component->addProposals(to);
}

estimator::tune_results modeled_variable::tuneResults() const {
  estimator::tune_results out;
  out.label = variable_.name;
  if (imputation_ != nullptr) out.push_back(imputation_->tune);
  for (const auto& step : means_) out.push_back(step->tune);
  if (numThresh() > 0)
    for (const estimator::tune_obj& t : state_.components[0]->tuneResults()) out.push_back(t);
  return out;
}

}  // namespace tovik::sem
