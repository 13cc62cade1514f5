#include "sem/ensemble/likelihood_lists.hpp"

#include <utility>

namespace tovik::sem {

bool has_likelihood(estimator::Outcome const& model) {
  const int type = static_cast<int>(model.type);
  return type != model_type::parameter && type != model_type::computation && type != model_type::log_scale;
}

std::vector<estimator::Outcome const*> readers_of(
    estimator::Outcome const& owner, std::vector<std::shared_ptr<estimator::Outcome>> const& models) {
  std::vector<estimator::Outcome const*> out;
  for (auto const& model : models)
    if (model.get() != &owner && has_likelihood(*model) && model->reads(owner.y(0)))
      out.push_back(model.get());
  return out;
}

void wire_likelihood_lists(std::vector<std::shared_ptr<estimator::Outcome>> const& models,
                           level_units const& units, arma::Mat<double> const& data) {
  for (auto const& owner : models) {
    if (!owner->missing || !has_likelihood(*owner)) continue;
    auto const readers = readers_of(*owner, models);
    if (readers.empty()) continue;
    auto list = std::make_unique<estimator::likelihood>();
    list->add_once(owner->likelihoodFunc(likelihood_type::imputed));
    for (estimator::Outcome const* reader : readers)
      list->add_once(reader->likelihoodFunc(likelihood_type::imputed));
    list->together = acceptance_groups(owner->y(0), owner->level, readers, units, data);
    owner->addLL(list.release(), likelihood_type::imputed);
  }
}

}  // namespace tovik::sem
