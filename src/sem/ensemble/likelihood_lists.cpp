#include "sem/ensemble/likelihood_lists.hpp"

#include <algorithm>
#include <utility>

#include "model/kind.hpp"

namespace tovik::sem {

bool has_likelihood(const estimator::Outcome& model) {
  return model::has_likelihood(model::kind_of(model.type));
}

namespace {

using model_list = std::vector<std::shared_ptr<estimator::Outcome>>;

/// Whether the values in `columns`, or the outcome of `owner` as an outcome of its own, stand in the model.
bool holds(const estimator::Outcome& model, const arma::Col<arma::uword>& columns) {
  return std::any_of(columns.begin(), columns.end(),
                     [&](arma::uword c) { return model.reads(c) || arma::any(model.y == c); });
}

std::vector<const estimator::Outcome*> readers_of(const arma::Col<arma::uword>& columns,
                                                  const estimator::Outcome& owner, const model_list& models) {
  std::vector<const estimator::Outcome*> out;
  for (const auto& model : models) {
    if (model.get() != &owner && has_likelihood(*model) && holds(*model, columns)) out.push_back(model.get());
  }
  return out;
}

/// y, and what is derived from it.
arma::Col<arma::uword> value_columns(const estimator::Outcome& owner,
                                     const std::vector<following_columns>& following) {
  arma::Col<arma::uword> out = owner.y;
  for (const following_columns& derived : following)
    if (arma::any(owner.y == derived.column)) out = arma::join_cols(out, derived.followers);
  return out;
}

/// The list of those who read some of the columns; none if nobody does.
void give_list(const arma::Col<arma::uword>& columns, estimator::Outcome& owner, const model_list& models,
               const level_units& units, const arma::Mat<double>& data, likelihood_type kind) {
  const auto readers = readers_of(columns, owner, models);
  if (readers.empty()) return;
  auto list = std::make_unique<estimator::likelihood>();
  list->add_once(owner.likelihoodFunc(likelihood_type::imputed));
  for (const estimator::Outcome* reader : readers)
    list->add_once(reader->likelihoodFunc(likelihood_type::imputed));
  list->together = acceptance_groups(columns, owner.level, readers, units, data);
  owner.addLL(std::move(list), kind);
}

}  // namespace

std::vector<const estimator::Outcome*> readers_of(const estimator::Outcome& owner, const model_list& models) {
  return readers_of(owner.columns(), owner, models);
}

void wire_likelihood_lists(const model_list& models, const level_units& units, const arma::Mat<double>& data,
                           const std::vector<following_columns>& following) {
  for (const auto& owner : models) {
    if (!has_likelihood(*owner)) continue;
    const arma::Col<arma::uword> values = value_columns(*owner, following);
    if (!readers_of(owner->published(), *owner, models).empty())
      give_list(arma::join_cols(values, owner->published()), *owner, models, units, data,
                likelihood_type::latent);
    if (owner->missing) give_list(values, *owner, models, units, data, likelihood_type::imputed);
  }
}

}  // namespace tovik::sem
