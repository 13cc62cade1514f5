#include "sem/ensemble/availability.hpp"

#include <string>

#include "data/named_effect.hpp"
#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "sem/phantoms/phantom_links.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

/// "... ('y')", where y is the outcome of the equation.
[[noreturn]] void refuse(const std::string& what, const Model& model) {
  not_available::refuse(what + " ('" + model.name() + "')");
}

/// What an equation is by its outcome; null for the kinds that are drawn.
const char* kind_name(const Model& model) {
  switch (model.kind()) {
    case model::kind::normal:
    case model::kind::latent:
      return model.outcomes.size() == 1 ? nullptr : "An equation with several outcomes";
    case model::kind::ordinal:
    case model::kind::missing:
    case model::kind::count:
    case model::kind::nominal:
    case model::kind::phantom:
    case model::kind::log_variance:
      return nullptr;
    default:
      return "An outcome of this kind";
  }
}

void check_nominal(const Model& model) {
  if (model.link == model::link::probit)
    throw error_debug("Probit Link not avaiable for Nominal variables Outcomes!");
  if (model.link != model::link::logit) throw error_debug("Unrecognized Link for Nominal variables!");
}

void check_outcome(const Model& model) {
  if (const char* name = kind_name(model)) refuse(name, model);
  if (model.kind() == model::kind::phantom || model.kind() == model::kind::log_variance) return;
  if (model.kind() == model::kind::nominal) return check_nominal(model);
  if (model.kind() == model::kind::ordinal) {
    if (model.link == model::link::scale) return;
    if (model.link != model::link::probit && model.link != model::link::logit)
      throw error_debug("Unrecognized Link for Ordinal variables!");
    return;
  }
  if (model.kind() == model::kind::missing) return;
  if (model.kind() == model::kind::count) {
    if (model.link != model::link::identity) throw error_debug("Unrecognized Link for Count variables!");
    return;
  }
  const model::anyVariable& outcome = model.outcomes.front();
  if (model.link == model::link::probit || model.link == model::link::logit) {
    throw error_debug(model.kind() == model::kind::latent ? "Invalid Link for factor model!"
                                                          : "Invalid Link for normal model!");
  }
  if (outcome.type != model::type::variable) refuse("An outcome of this kind", model);
  const bool varies = model.link == model::link::scale || model.link == model::link::yjt_scale;
  const auto phantoms = phantoms_of(model);
  if (varies && !phantoms.empty() && !phantoms.front().empty())
    refuse("A correlation by phantoms beside a variance model", model);
}

/// What a term is that cannot be drawn; null for an observed variable and for what can.
const char* term_name(const model::anyVariable& term) {
  switch (term.type) {
    case model::type::variable:
      break;
    case model::type::mean:
      return term.variable->type == data::type::latent ? "A cluster mean of a latent variable" : nullptr;
    case model::type::latent:
    case model::type::missing:
      return nullptr;
    case model::type::random: {
      const auto* effect = dynamic_cast<const data::random*>(term.variable.get());
      const bool of_codes = effect != nullptr && effect->applies_to()->type == data::type::nominal;
      return of_codes ? "A named random effect of a nominal outcome as a predictor" : nullptr;
    }
    default:
      return "A phantom variable as a predictor";
  }
  switch (term.variable->type) {
    case data::type::phantom:
      return "A phantom variable as a predictor";
    case data::type::random_effect:
      return "A named random effect as a predictor";
    default:
      return nullptr;
  }
}

void check_terms(const Model& model) {
  for (const auto* terms : {&model.fixed, &model.random}) {
    for (const model::anyVariable& term : *terms) {
      if (const char* name = term_name(term)) refuse(name, model);
    }
  }
  for (const auto* terms : {&model.fixed_compute, &model.random_compute}) {
    for (const model::combinationOfAnyVariable& computed : *terms) {
      for (const model::anyVariable& term : computed.all_variables()) {
        if (const char* name = term_name(term)) refuse(name, model);
      }
    }
  }
}

/// A variance that is known is no element of the inverse Wishart draw of its matrix.
void check_random_variances(const Model& model) {
  for (std::int32_t c = 0; c < model.levels; ++c) {
    for (const model::parameter& p : model.randomParameters(static_cast<unsigned>(c))) {
      if (p.is_fixed()) refuse("A fixed variance of a random effect", model);
    }
  }
}

}  // namespace

void check_available(const ModelList& models) {
  for (const Model& model : models) {
    if (!model::speaks_of_variables(model.kind())) continue;
    check_outcome(model);
    check_terms(model);
    check_random_variances(model);
  }
  for (const auto& [definition, expression] : models.definitions) {
    for (const model::anyVariable& term : expression.all_variables()) {
      if (const char* name = term_name(term)) not_available::refuse(name + (" ('" + definition + "')"));
    }
  }
}

}  // namespace tovik::sem
