#include "model/availability.hpp"

#include "model/model_list.hpp"
#include "support/not_available.hpp"

namespace tovik::model {
namespace {

[[noreturn]] void refuse(const std::string& what, const Model& model) {
  not_available::refuse(what + " (see '" + model.command() + "')");
}

void check_outcome(const Model& model) {
  for (const anyVariable& outcome : model.outcomes) {
    switch (outcome.variable->type) {
      case data::type::continuous:
        break;
      case data::type::ordinal:
        refuse("An ordinal outcome", model);
      case data::type::count:
        refuse("A count outcome", model);
      case data::type::nominal:
        refuse("A nominal outcome", model);
      case data::type::latent:
        refuse("A latent outcome", model);
      case data::type::phantom:
        refuse("A phantom outcome", model);
      default:
        refuse("An outcome of this kind", model);
    }
  }
  if (model.link != link::identity) refuse("The link '" + link_str(model.link) + "'", model);
}

void check_predictor(const anyVariable& term, const Model& model) {
  switch (term.variable->type) {
    case data::type::latent:
      refuse("A latent variable as a predictor", model);
    case data::type::phantom:
      refuse("A phantom variable as a predictor", model);
    case data::type::random_effect:
      refuse("A named random effect as a predictor", model);
    default:
      break;
  }
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
