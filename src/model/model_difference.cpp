// Which parameters of an equation a restricted one holds, row by row.

#include <algorithm>

#include "model/difference.hpp"
#include "model/row_layout.hpp"
#include "model/same_term.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::combinationOfAnyVariable;
using model::parameter;
using model::same_term;

/// The full equation may have what the statement of the restricted one leaves open: a variance model, weights
/// or a variance per cluster change the link behind the user's back.
bool same_link(const Model& full, const Model& restricted) {
  if (!restricted.link_given || full.link == restricted.link) return true;
  if (full.link == model::link::yjt_scale) return restricted.link == model::link::yjt;
  return full.link == model::link::scale && restricted.link == model::link::probit;
}

std::string plain_transformation(const Model& model) {
  return to_lower(replace_all(model.outcomes.front().transformation, " ", ""));
}

bool same_effect(const anyVariable& a, const anyVariable& b) {
  return a.variable == b.variable && a.type == b.type;
}

bool same_effect(const combinationOfAnyVariable& a, const combinationOfAnyVariable& b) {
  return a == b;
}

/// Whether a list of random terms has this one at a level. A term without a bracket stands at each level that
/// a bracket could select.
template <class Term>
bool has_effect_at(const Model& model, const std::vector<Term>& list, const Term& term, unsigned level) {
  return std::any_of(list.begin(), list.end(),
                     [&](const Term& other) { return same_effect(other, term) && model.isRE(other, level); });
}

/// True if `list` has the term wherever `owner` has it.
template <class Term>
bool has_effect_everywhere(const Model& owner, const Term& term, const Model& model,
                           const std::vector<Term>& list) {
  for (std::int32_t c = 0; c < owner.levels; ++c) {
    const auto level = static_cast<unsigned>(c);
    if (owner.isRE(term, level) && !has_effect_at(model, list, term, level)) return false;
  }
  return true;
}

/// What a restricted equation says of a term: 0 where it leaves the term out.
template <class Term>
parameter restricted_parameter(const Term& term, const std::vector<Term>& list) {
  const Term* other = same_term(list, term);
  if (!other) return parameter::fixed_at(0.0);
  return other->param.is_fixed() ? other->param : term.param;
}

void check_nested(const Model& full, const Model& restricted) {
  const auto require = [&](bool nested, const char* what) {
    if (!nested)
      model::refuse_difference(std::string("ERROR: Non nested model in model test.") + what, full,
                               restricted);
  };
  const auto has_all = [](const auto& list, const auto& terms) {
    return std::all_of(terms.begin(), terms.end(),
                       [&](const auto& term) { return same_term(list, term) != nullptr; });
  };
  const auto has_effects = [&](const auto& list, const auto& terms) {
    return std::all_of(terms.begin(), terms.end(),
                       [&](const auto& term) { return has_effect_everywhere(restricted, term, full, list); });
  };
  require(has_all(full.fixed, restricted.fixed) && has_all(full.fixed_compute, restricted.fixed_compute) &&
              has_all(full.phantoms, restricted.phantoms),
          " A predictor was not found.");
  require(has_effects(full.random, restricted.random) &&
              has_effects(full.random_compute, restricted.random_compute),
          " A random effect was not found.");
  require(same_link(full, restricted) && plain_transformation(full) == plain_transformation(restricted), "");
}

template <class Term, class Has>
std::vector<Term> terms_without(const std::vector<Term>& terms, const Has& has) {
  std::vector<Term> out;
  std::copy_if(terms.begin(), terms.end(), std::back_inserter(out),
               [&](const Term& term) { return !has(term); });
  return out;
}

}  // namespace

/// The coefficients as `restricted` has them, in the order of fixedParameters(). A parameter of PARAMETERS is
/// its own label.
std::vector<parameter> Model::restricted_coefficients(const Model& restricted) const {
  if (!model::is_equation(kind())) return {parameter::labelled(name())};
  std::vector<parameter> out;
  for (const anyVariable& term : fixed)
    out.insert(out.end(), design(term).size(), restricted_parameter(term, restricted.fixed));
  for (const combinationOfAnyVariable& term : fixed_compute)
    out.insert(out.end(), term.names().size(), restricted_parameter(term, restricted.fixed_compute));
  return out;
}

/// The same of the variances of random effects, from the top level down as the rows have them.
std::vector<parameter> Model::restricted_variances(const Model& restricted) const {
  std::vector<parameter> out;
  for (std::int32_t c = 0; c < levels; ++c) {
    const auto level = static_cast<unsigned>(c);
    const auto at_level = [&](const auto& term, const auto& list) {
      return has_effect_at(restricted, list, term, level) ? term.param : parameter::fixed_at(0.0);
    };
    for (const anyVariable& term : random)
      out.insert(out.end(), design(term, level).size(), at_level(term, restricted.random));
    for (const combinationOfAnyVariable& term : random_compute) {
      if (isRE(term, level))
        out.insert(out.end(), term.names().size(), at_level(term, restricted.random_compute));
    }
  }
  return out;
}

std::vector<parameter> Model::restricted_rows(const Model& restricted) const {
  const std::vector<parameter> coefficients = restricted_coefficients(restricted);
  const std::vector<parameter> variances = restricted_variances(restricted);
  const bool many = layout().residual == model::residual_rows::spread;
  std::size_t next_coefficient = 0, next_variance = 0;
  std::vector<parameter> out;
  for (const model::row& row : rows()) {
    if (!model::is_parameter(row.section)) continue;
    switch (row.section) {
      case model::row_section::variance:
        if (row.of.size() == 1) {
          out.push_back(variances.at(next_variance++));
        } else if (row.of.empty() && (!many || row.label == "Mean Residual Var.")) {
          out.push_back(variance);
        } else {
          out.emplace_back();
        }
        break;
      case model::row_section::fixed:
        out.push_back(coefficients.at(next_coefficient++));
        break;
      case model::row_section::transform: {
        const parameter& other = restricted.outcomes.front().lambda;
        const bool holds = model::has_lambda(restricted.link) && other.is_fixed();
        out.push_back(holds ? other : outcomes.front().lambda);
        break;
      }
      default:
        out.emplace_back();
    }
  }
  return out;
}

model::difference Model::difference(const Model& full) const {
  model::difference out(full, *this);
  if (!(full == *this))
    model::refuse_difference("ERROR: Not equivalent outcomes in model test.", full, *this);
  check_nested(full, *this);
  out.removed = terms_without(full.fixed, [&](const anyVariable& t) { return same_term(fixed, t); });
  out.removed_compute = terms_without(
      full.fixed_compute, [&](const combinationOfAnyVariable& t) { return same_term(fixed_compute, t); });
  out.removed_random = terms_without(
      full.random, [&](const anyVariable& t) { return has_effect_everywhere(full, t, *this, random); });
  out.removed_random_compute = terms_without(full.random_compute, [&](const combinationOfAnyVariable& t) {
    return has_effect_everywhere(full, t, *this, random_compute);
  });
  out.parameters = full.restricted_rows(*this);
  out.given = full.restricted_rows(full);
  return out;
}

model::difference Model::operator-(const Model& full) const {
  return difference(full);
}

}  // namespace tovik
