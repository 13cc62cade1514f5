#include "model/model.hpp"

#include <algorithm>
#include <unordered_set>

#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

std::string term_text(const std::vector<anyVariable>& terms) {
  std::string out;
  for (const anyVariable& term : terms) out += " " + term.text();
  return out;
}

void append(std::vector<unsigned>& to, const std::vector<unsigned>& columns) {
  to.insert(to.end(), columns.begin(), columns.end());
}

/// Names of terms that hold a column seen before, each once, in order.
std::vector<std::string> repeated(const std::vector<anyVariable>& terms) {
  std::unordered_set<unsigned> seen;
  std::vector<std::string> out;
  for (const anyVariable& term : terms) {
    bool twice = false;
    for (unsigned column : term.indicator()) twice = !seen.insert(column).second || twice;
    if (twice && std::find(out.begin(), out.end(), term.name()) == out.end()) out.push_back(term.name());
  }
  return out;
}

}  // namespace

std::vector<std::string> Model::names() const {
  std::vector<std::string> out;
  for (const anyVariable& outcome : outcomes) out.push_back(outcome.name());
  return out;
}

std::string Model::name() const {
  return join(names(), " ");
}

std::string Model::command() const {
  std::string left = name();
  if (link_given) left = model::link_str(link) + "(" + left + ")";
  const std::string right = fixed.empty() ? " 0" : term_text(fixed);
  return left + " ~" + right + (random.empty() ? "" : " |" + term_text(random));
}

int Model::kind() const {
  for (const anyVariable& outcome : outcomes) {
    if (outcome.type == model::type::missing) return 6;
    if (outcome.type == model::type::variance) return 12;
  }
  const bool normal = std::any_of(outcomes.begin(), outcomes.end(), [](const anyVariable& outcome) {
    return outcome.variable->type == data::type::continuous;
  });
  return normal || outcomes.empty() ? 0 : static_cast<int>(outcomes.front().variable->type);
}

bool Model::has(const anyVariable& term) const {
  for (const auto* list : {&outcomes, &fixed, &random, &phantoms}) {
    if (std::find(list->begin(), list->end(), term) != list->end()) return true;
  }
  return false;
}

std::string Model::var_param_name() const {
  if (outcomes.size() != 1) throw error_debug("Doesn't work for other than 1 outcome.");
  return outcomes.front().fullname_noModifer();
}

std::vector<unsigned> Model::yind() const {
  std::vector<unsigned> out;
  for (const anyVariable& outcome : outcomes) append(out, outcome.indicator());
  return out;
}

std::vector<unsigned> Model::xind() const {
  std::vector<unsigned> out;
  for (const anyVariable& term : fixed) append(out, term.indicator());
  return out;
}

std::vector<std::vector<unsigned>> Model::zind() const {
  std::vector<std::vector<unsigned>> out;
  for (std::int32_t c = levels - 1; c >= 0; --c) {
    std::vector<unsigned> columns;
    for (const anyVariable& term : random) {
      if (isRE(term, static_cast<unsigned>(c))) append(columns, term.indicator());
    }
    out.push_back(std::move(columns));
  }
  return out;
}

unsigned Model::n_re() const {
  unsigned n = 0;
  for (std::int32_t c = 0; c < levels; ++c) n += n_re(static_cast<unsigned>(c));
  return n;
}

unsigned Model::n_re(unsigned level_value) const {
  return static_cast<unsigned>(reName(static_cast<int>(level_value)).size());
}

std::vector<bool> Model::hasRandomIntercept() const {
  std::vector<bool> out;
  for (std::int32_t c = levels - 1; c >= 0; --c) {
    out.push_back(std::any_of(random.begin(), random.end(), [&](const anyVariable& term) {
      return term.is_intercept() && isRE(term, static_cast<unsigned>(c));
    }));
  }
  return out;
}

bool Model::isRE(const anyVariable& term, unsigned level_value) const {
  return static_cast<std::int64_t>(level_value) < levels && term.isRE(level_value);
}

std::vector<model::parameter> Model::fixedParameters() const {
  std::vector<model::parameter> out;
  for (const anyVariable& term : fixed) out.insert(out.end(), term.indicator().size(), term.param);
  for (const auto& term : fixed_compute) out.push_back(term.param);
  return out;
}

std::vector<model::parameter> Model::randomParameters(unsigned level_value) const {
  std::vector<model::parameter> out;
  for (const anyVariable& term : random) {
    if (isRE(term, level_value)) out.insert(out.end(), term.indicator().size(), term.param);
  }
  return out;
}

std::vector<model::parameter> Model::constraints() const {
  std::vector<model::parameter> out;
  for (const anyVariable& term : fixed) out.push_back(term.param);
  for (const anyVariable& term : random) out.push_back(term.param);
  for (const auto& term : fixed_compute) out.push_back(term.param);
  for (const auto& term : random_compute) out.push_back(term.param);
  if (variance.has_label()) out.push_back(variance);
  return out;
}

std::vector<std::string> Model::duplicateFixed() const {
  return repeated(fixed);
}

std::vector<std::string> Model::duplicateRandom() const {
  std::vector<std::string> out;
  for (std::int32_t c = levels - 1; c >= 0; --c) {
    std::vector<anyVariable> here;
    for (const anyVariable& term : random) {
      if (isRE(term, static_cast<unsigned>(c))) here.push_back(term);
    }
    for (std::string& twice : repeated(here)) {
      if (std::find(out.begin(), out.end(), twice) == out.end()) out.push_back(std::move(twice));
    }
  }
  return out;
}

}  // namespace tovik
