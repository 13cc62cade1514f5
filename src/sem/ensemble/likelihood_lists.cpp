#include "sem/ensemble/likelihood_lists.hpp"

#include <algorithm>
#include <utility>

#include "model/kind.hpp"

namespace tovik::sem {

bool has_likelihood(estimator::Outcome const& model) {
  return model::has_likelihood(model::kind_of(model.type));
}

namespace {

using model_list = std::vector<std::shared_ptr<estimator::Outcome>>;

std::vector<estimator::Outcome const*> readers_of(arma::Col<arma::uword> const& columns,
                                                  estimator::Outcome const& owner, model_list const& models) {
  std::vector<estimator::Outcome const*> out;
  for (auto const& model : models) {
    if (model.get() == &owner || !has_likelihood(*model)) continue;
    if (std::any_of(columns.begin(), columns.end(), [&](arma::uword c) { return model->reads(c); }))
      out.push_back(model.get());
  }
  return out;
}

arma::Col<arma::uword> columns_of(estimator::Outcome const& owner,
                                  std::vector<following_columns> const& following) {
  arma::Col<arma::uword> out = owner.columns();
  for (following_columns const& derived : following)
    if (arma::any(owner.y == derived.column)) out = arma::join_cols(out, derived.followers);
  return out;
}

}  // namespace

std::vector<estimator::Outcome const*> readers_of(estimator::Outcome const& owner, model_list const& models) {
  return readers_of(owner.columns(), owner, models);
}

void wire_likelihood_lists(model_list const& models, level_units const& units, arma::Mat<double> const& data,
                           std::vector<following_columns> const& following) {
  for (auto const& owner : models) {
    if (!owner->missing || !has_likelihood(*owner)) continue;
    arma::Col<arma::uword> const columns = columns_of(*owner, following);
    auto const readers = readers_of(columns, *owner, models);
    if (readers.empty()) continue;
    auto list = std::make_unique<estimator::likelihood>();
    list->add_once(owner->likelihoodFunc(likelihood_type::imputed));
    for (estimator::Outcome const* reader : readers)
      list->add_once(reader->likelihoodFunc(likelihood_type::imputed));
    list->together = acceptance_groups(columns, owner->level, readers, units, data);
    owner->addLL(std::move(list), likelihood_type::imputed);
  }
}

}  // namespace tovik::sem
