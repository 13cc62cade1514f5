#include "model/kind.hpp"

#include "support/error.hpp"

namespace tovik::model {

kind kind_of(data::type outcome) {
  switch (outcome) {
    case data::type::continuous:
      return kind::normal;
    case data::type::ordinal:
      return kind::ordinal;
    case data::type::count:
      return kind::count;
    case data::type::nominal:
      return kind::nominal;
    case data::type::latent:
      return kind::latent;
    case data::type::phantom:
      return kind::phantom;
    case data::type::multi:
      return kind::block;
    case data::type::parameter:
      return kind::parameter;
    case data::type::computation:
      return kind::computation;
    case data::type::log_variance:
      return kind::log_variance;
    case data::type::constant:
    case data::type::random_effect:
    case data::type::dummy:
    case data::type::weight:
    case data::type::id:
      break;
  }
  throw error_debug("A variable of this type is no outcome.");
}

bool is_equation(kind what) {
  return what != kind::parameter && what != kind::computation;
}

bool speaks_of_variables(kind what) {
  return is_equation(what) && what != kind::block;
}

bool has_predictors(kind what) {
  return speaks_of_variables(what) && what != kind::phantom;
}

bool is_manifest(kind what) {
  return has_predictors(what) && what != kind::latent;
}

bool has_likelihood(kind what) {
  return is_equation(what) && what != kind::log_variance;
}

bool can_be_correlated(kind what) {
  return what == kind::normal || what == kind::ordinal || what == kind::count || what == kind::latent;
}

bool has_normal_residual(kind what, link how) {
  return what == kind::normal || what == kind::latent || (what == kind::ordinal && how != link::logit);
}

bool shows_variances(kind what, link how) {
  const bool in_own_scale = what == kind::normal || what == kind::ordinal || what == kind::latent;
  return in_own_scale && how != link::log_variance;
}

}  // namespace tovik::model
