// A model as the text of a statement.

#include "model/correlation.hpp"
#include "model/model.hpp"
#include "support/text.hpp"

namespace tovik {
namespace model {

std::string anyVariable::text() const {
  return name() + (modifier.empty() ? "" : "[" + modifier + "]") + param.text();
}

std::string combinationOfAnyVariable::text() const {
  return "(" + statement + ")" + param.text();
}

}  // namespace model

namespace {

using model::anyVariable;

template <class Term>
std::string term_text(const std::vector<Term>& terms) {
  std::string out;
  for (const Term& term : terms) out += " " + term.text();
  return out;
}

/// A phantom of the user's stands among the predictors; those of correlations have equations of their own.
std::string phantom_text(const std::vector<anyVariable>& phantoms) {
  std::string out;
  for (const anyVariable& phantom : phantoms) {
    if (phantom.variable->fullName.find("#cor#") == std::string::npos) out += " " + phantom.text();
  }
  return out;
}

std::string outcome_text(const anyVariable& outcome, model::link link, bool link_given) {
  const std::string name = outcome.is_transformed() ? outcome.transformation : outcome.variable->name;
  switch (link) {
    case model::link::yjt:
    case model::link::yjt_scale: {
      const std::string lambda = outcome.lambda.text();
      const std::string input = lambda.empty() || lambda.front() != '@' ? lambda : lambda.substr(1);
      return "yjt(" + name + (input.empty() ? "" : ", " + input) + ")";
    }
    case model::link::log_variance:
      return "var(" + name + ")";
    case model::link::logit:
      return link_given || outcome.variable->type != data::type::nominal ? "logit(" + name + ")" : name;
    case model::link::probit:
      return link_given ? "probit(" + name + ")" : name;
    default:
      return outcome.is_transformed() ? name : outcome.name();
  }
}

/// Each pair of members with what holds for its correlation.
std::string block_text(const std::vector<anyVariable>& correlations) {
  std::vector<std::string> out;
  for (const anyVariable& term : correlations)
    out.push_back(Model::correlationParse(Model(term)) + term.param.text());
  return join(out, "; ");
}

}  // namespace

std::string Model::command() const {
  const model::kind own = kind();
  if (own == model::kind::block) return block_text(random);
  if (own == model::kind::phantom && outcomes.front().ends) return correlationParse(*this) + variance.text();
  if (own == model::kind::parameter) return name() + " ~ " + prior.text;
  if (own == model::kind::computation) return name() + " = " + computation;

  std::vector<std::string> left;
  for (const anyVariable& outcome : outcomes) left.push_back(outcome_text(outcome, link, link_given));
  std::string out = join(left, " ") + (left.size() > 1 ? " | ~" : " ~");
  const std::string right = term_text(fixed) + term_text(fixed_compute) + phantom_text(phantoms);
  if (!has_fixed_intercept) out += " 0";
  out += right;
  const bool can_vary = levels > 0 && link != model::link::log_variance;
  const std::string varying = term_text(random) + term_text(random_compute);
  if (can_vary && !(has_random_intercept && varying.empty()))
    out += std::string(" |") + (has_random_intercept ? "" : " 0") + varying;
  return out;
}

}  // namespace tovik
