#include "sem/ensemble/predictor_readers.hpp"

#include <algorithm>
#include <utility>

#include "data/variable.hpp"
#include "sem/ensemble/likelihood_lists.hpp"

namespace tovik::sem {

namespace {

using step = predictor_step;

constexpr int grand_centered = 0;
constexpr int group_centered = 1;

void append(arma::Col<arma::uword>& to, const arma::Col<arma::uword>& more) {
  to = arma::join_cols(to, more);
}

/// Distances above the own level at which the variable has a latent mean, rising.
std::vector<unsigned> mean_distances(const Variable& v) {
  std::vector<unsigned> out;
  for (unsigned q = 1; q <= v.chain().n_above(); ++q) out.push_back(v.chain().level(q) - v.level);
  return out;
}

arma::Col<arma::uword> moved_by_mean(const Variable& v, unsigned d) {
  arma::Col<arma::uword> out = v.mean_columns(d);
  const unsigned q = v.chain().place(d);
  if (q == 1 && v.mode == group_centered) append(out, v.value_columns());
  if (q > 1 && v.variable().centeredMeans() == data::center::cluster)
    append(out, v.mean_columns(v.chain().level(q - 1) - v.level));
  return out;
}

arma::Col<arma::uword> moved_by_grand_mean(const Variable& v) {
  arma::Col<arma::uword> out;
  if (v.mode == grand_centered) append(out, v.value_columns());
  if (v.variable().centeredMeans() != data::center::grand) return out;
  for (unsigned d : mean_distances(v)) append(out, v.mean_columns(d));
  return out;
}

/// The intercepts of equations that read some of the columns as plain predictors.
std::vector<estimator::moving_intercept> intercepts_over(const arma::Col<arma::uword>& columns,
                                                         Outcomes& outcomes) {
  std::vector<estimator::moving_intercept> out;
  for (unsigned i = 0; i < outcomes.n_outcomes(); ++i) {
    estimator::Outcome& model = outcomes.outcome(i);
    std::vector<estimator::moving_intercept::term> terms;
    for (arma::uword j = 0; j < model.x.n_elem; ++j)
      if (arma::any(columns == model.x(j))) terms.push_back({model.betas().memptr() + j, model.x(j)});
    if (terms.empty()) continue;
    if (auto intercept = model.moved_intercept()) out.emplace_back(std::move(intercept), std::move(terms));
  }
  return out;
}

void wire_step(Variable& v, step what, unsigned d, unsigned level, Outcomes& outcomes,
               const level_units& units, const arma::Mat<double>& data) {
  const arma::Col<arma::uword> columns = moved_columns(v, what, d);
  const auto readers = readers_of(columns, outcomes);
  if (readers.empty()) return;
  auto list = std::make_unique<estimator::likelihood>();
  for (const estimator::Outcome* reader : readers)
    list->add_once(reader->likelihoodFunc(likelihood_type::imputed));
  // A grand mean is one step whatever its readers tie together.
  if (what == step::grand_mean)
    list->intercepts = intercepts_over(columns, outcomes);
  else
    list->together = acceptance_groups(columns, level, readers, units, data);
  v.setLikelihood(what, d, std::move(list));
}

}  // namespace

std::vector<const estimator::Outcome*> readers_of(const arma::Col<arma::uword>& columns,
                                                  const Outcomes& outcomes) {
  std::vector<const estimator::Outcome*> out;
  for (unsigned i = 0; i < outcomes.n_outcomes(); ++i) {
    const estimator::Outcome& model = outcomes.outcome(i);
    if (!has_likelihood(model)) continue;
    if (std::any_of(columns.begin(), columns.end(), [&](arma::uword c) { return model.reads(c); }))
      out.push_back(&model);
  }
  return out;
}

arma::Col<arma::uword> moved_columns(const Variable& v, predictor_step what, unsigned d) {
  switch (what) {
    case step::imputation:
      return v.value_columns();
    case step::level_mean:
      return moved_by_mean(v, d);
    default:
      return moved_by_grand_mean(v);
  }
}

void wire_predictors(const std::vector<std::unique_ptr<Variable>>& predictors, Outcomes& outcomes,
                     const level_units& units, const arma::Mat<double>& data) {
  for (const auto& v : predictors) {
    if (v->missing) wire_step(*v, step::imputation, 0, v->level, outcomes, units, data);
    for (unsigned d : mean_distances(*v))
      wire_step(*v, step::level_mean, d, v->level + d, outcomes, units, data);
    wire_step(*v, step::grand_mean, 0, v->grandMeanLevel(), outcomes, units, data);
  }
}

}  // namespace tovik::sem
