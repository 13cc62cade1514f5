#include "model/availability.hpp"

#include "model/model_list.hpp"
#include "support/not_available.hpp"

namespace tovik::model {
namespace {

void check_outcome(const Model& model) {
  const std::string see = " (see '" + model.command() + "')";
  for (const anyVariable& outcome : model.outcomes) {
    switch (outcome.variable->type) {
      case data::type::continuous:
        break;
      case data::type::ordinal:
        not_available::refuse("An ordinal outcome" + see);
      case data::type::count:
        not_available::refuse("A count outcome" + see);
      case data::type::nominal:
        not_available::refuse("A nominal outcome" + see);
      case data::type::latent:
        not_available::refuse("A latent outcome" + see);
      case data::type::phantom:
        not_available::refuse("A phantom outcome" + see);
      default:
        not_available::refuse("An outcome of this kind" + see);
    }
  }
  if (model.link != link::identity) not_available::refuse("The link '" + link_str(model.link) + "'" + see);
}

void check_predictor(const anyVariable& term, const Model& model) {
  const std::string see = " as a predictor (see '" + model.command() + "')";
  if (term.variable->type == data::type::latent) not_available::refuse("A latent variable" + see);
  if (term.variable->type == data::type::phantom) not_available::refuse("A phantom variable" + see);
  if (term.variable->type == data::type::random_effect) not_available::refuse("A named random effect" + see);
}

}  // namespace

void check_available(const ModelList& models) {
  for (const Model& model : models) {
    check_outcome(model);
    for (const anyVariable& term : model.fixed) check_predictor(term, model);
    for (const anyVariable& term : model.random) check_predictor(term, model);
  }
  for (const parameter& p : models.constraints()) {
    if (models.appearances(p) > 1)
      not_available::refuse("A label that ties parameters together ('" + p.name() + "')");
  }
}

}  // namespace tovik::model
