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

std::vector<const estimator::Outcome*> readers_of(const arma::Col<arma::uword>& columns,
                                                  const estimator::Outcome& owner, const model_list& models) {
  std::vector<const estimator::Outcome*> out;
  for (const auto& model : models) {
    if (model.get() == &owner || !has_likelihood(*model)) continue;
    const bool same_outcome =
        std::any_of(owner.y.begin(), owner.y.end(), [&](arma::uword c) { return arma::any(model->y == c); });
    if (same_outcome ||
        std::any_of(columns.begin(), columns.end(), [&](arma::uword c) { return model->reads(c); }))
      out.push_back(model.get());
  }
  return out;
}

arma::Col<arma::uword> columns_of(const estimator::Outcome& owner,
                                  const std::vector<following_columns>& following) {
  arma::Col<arma::uword> out = owner.columns();
  for (const following_columns& derived : following)
    if (arma::any(owner.y == derived.column)) out = arma::join_cols(out, derived.followers);
  return out;
}

}  // namespace

std::vector<const estimator::Outcome*> readers_of(const estimator::Outcome& owner, const model_list& models) {
  return readers_of(owner.columns(), owner, models);
}

void wire_likelihood_lists(const model_list& models, const level_units& units, const arma::Mat<double>& data,
                           const std::vector<following_columns>& following) {
  for (const auto& owner : models) {
    if (!owner->missing || !has_likelihood(*owner)) continue;
    const arma::Col<arma::uword> columns = columns_of(*owner, following);
    const auto readers = readers_of(columns, *owner, models);
    if (readers.empty()) continue;
    auto list = std::make_unique<estimator::likelihood>();
    list->add_once(owner->likelihoodFunc(likelihood_type::imputed));
    for (const estimator::Outcome* reader : readers)
      list->add_once(reader->likelihoodFunc(likelihood_type::imputed));
    list->together = acceptance_groups(columns, owner->level, readers, units, data);
    owner->addLL(std::move(list), likelihood_type::imputed);
  }
}

}  // namespace tovik::sem
