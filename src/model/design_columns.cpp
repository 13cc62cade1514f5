// From the terms of a model to columns of the prepared data and positions among its coefficients.

#include <algorithm>

#include "model/correlation.hpp"
#include "model/model.hpp"
#include "support/error.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::combinationOfAnyVariable;
using model::term_column;

void append(std::vector<unsigned>& to, const std::vector<term_column>& columns) {
  for (const term_column& c : columns) to.push_back(c.column);
}

void sort_unique(std::vector<unsigned>& columns) {
  std::sort(columns.begin(), columns.end());
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
}

std::vector<unsigned> columns_of_type(const Model& model, model::type type) {
  std::vector<unsigned> out;
  for (const auto* list : {&model.fixed, &model.random}) {
    for (const anyVariable& term : *list) {
      if (term.type == type) append(out, term.columns(model.clusters));
    }
  }
  sort_unique(out);
  return out;
}

bool stands_in(const std::vector<anyVariable>& list, const anyVariable& term) {
  return std::find(list.begin(), list.end(), term) != list.end();
}

}  // namespace

/// The columns of a fixed term. An outcome cannot depend on the means of levels below its own.
std::vector<term_column> Model::design(const anyVariable& term) const {
  std::vector<term_column> out = term.columns(clusters);
  if (term.type != model::type::mean || levels < 0) return out;
  out.erase(std::remove_if(out.begin(), out.end(),
                           [&](const term_column& c) { return c.level > static_cast<unsigned>(levels); }),
            out.end());
  return out;
}

/// The columns of a random term that vary within the clusters of a level.
std::vector<term_column> Model::design(const anyVariable& term, unsigned level_value) const {
  if (!isRE(term, level_value)) return {};
  anyVariable everywhere = term;
  everywhere.level = nullptr;
  std::vector<term_column> out = everywhere.columns(clusters);
  out.erase(
      std::remove_if(out.begin(), out.end(), [&](const term_column& c) { return c.level <= level_value; }),
      out.end());
  return out;
}

bool Model::isRE(const anyVariable& term, unsigned level_value) const {
  return static_cast<std::int64_t>(level_value) < levels && !is_multi() && term.isRE(level_value);
}

bool Model::isRE(const combinationOfAnyVariable& term, unsigned level_value) const {
  if (static_cast<std::int64_t>(level_value) >= levels) return false;
  const std::vector<anyVariable> parts = term.all_variables();
  return std::any_of(parts.begin(), parts.end(), [&](const anyVariable& part) {
    return !part.is_intercept() && level_value < part.top_level();
  });
}

std::vector<unsigned> Model::yind() const {
  std::vector<unsigned> out;
  for (const anyVariable& outcome : is_multi() ? fixed : outcomes) {
    const bool in_data =
        outcome.variable->type != data::type::parameter && outcome.variable->type != data::type::computation;
    if (in_data && outcome.type == model::type::variable) {
      out.push_back(outcome.variable->column);
    } else if (in_data) {
      append(out, outcome.columns(clusters));
    }
  }
  return out;
}

std::vector<unsigned> Model::rawIndicators() const {
  std::vector<unsigned> out;
  for (const anyVariable& outcome : is_multi() ? fixed : outcomes) {
    if (outcome.type == model::type::latent ||
        (outcome.type == model::type::variable && outcome.variable->dummies.empty())) {
      out.push_back(outcome.variable->column);
    } else if (outcome.type == model::type::variable) {
      for (const auto& code : outcome.variable->dummies) out.push_back(code->column);
    } else {
      append(out, outcome.columns(clusters));
    }
  }
  return out;
}

std::vector<unsigned> Model::xind() const {
  std::vector<unsigned> out;
  for (const anyVariable& term : fixed) append(out, design(term));
  return out;
}

std::vector<std::vector<unsigned>> Model::zind() const {
  std::vector<std::vector<unsigned>> out;
  for (std::int32_t c = levels - 1; c >= 0; --c) {
    std::vector<unsigned> columns;
    for (const anyVariable& term : random) append(columns, design(term, static_cast<unsigned>(c)));
    out.push_back(std::move(columns));
  }
  return out;
}

std::vector<std::vector<unsigned>> Model::dind() const {
  std::vector<std::vector<unsigned>> out;
  for (std::int32_t c = levels; c >= 0; --c) {
    std::vector<unsigned> columns;
    for (const anyVariable& term : phantoms) {
      if (static_cast<std::int64_t>(term.variable->level) == c) columns.push_back(term.variable->column);
    }
    out.push_back(std::move(columns));
  }
  return out;
}

std::vector<std::vector<std::vector<unsigned>>> Model::xindInter() const {
  std::vector<std::vector<std::vector<unsigned>>> out;
  for (const combinationOfAnyVariable& term : fixed_compute) out.push_back(term.indicators());
  return out;
}

std::vector<std::vector<std::vector<unsigned>>> Model::zindInter() const {
  std::vector<std::vector<std::vector<unsigned>>> out;
  for (const combinationOfAnyVariable& term : random_compute) out.push_back(term.indicators());
  return out;
}

std::vector<unsigned> Model::latentIndicators() const {
  return columns_of_type(*this, model::type::latent);
}
std::vector<unsigned> Model::missingIndicators() const {
  return columns_of_type(*this, model::type::missing);
}
std::vector<unsigned> Model::randomIndicators() const {
  return columns_of_type(*this, model::type::random);
}

std::vector<unsigned> Model::fixedIndicators(const anyVariable& wanted) const {
  std::vector<unsigned> out;
  unsigned position = 0;
  for (const anyVariable& term : fixed) {
    const std::size_t n = design(term).size();
    for (std::size_t k = 0; k < n; ++k, ++position) {
      if (term == wanted) out.push_back(position);
    }
  }
  return out;
}

std::vector<unsigned> Model::fixedIndicators(const model::parameter& p) const {
  std::vector<unsigned> out;
  const std::vector<model::parameter> all = fixedParameters();
  for (unsigned position = 0; position < all.size(); ++position) {
    if (p.has_label() && all[position] == p) out.push_back(position);
  }
  return out;
}

bool Model::hasFixedOnly(const anyVariable& term) const {
  const auto reads = [&](const combinationOfAnyVariable& computed) { return computed.has(term); };
  return stands_in(fixed, term) && !stands_in(outcomes, term) && !stands_in(random, term) &&
         !stands_in(phantoms, term) && std::none_of(fixed_compute.begin(), fixed_compute.end(), reads) &&
         std::none_of(random_compute.begin(), random_compute.end(), reads);
}

bool Model::hasRandom(const model::parameter& p) const {
  if (!p.has_label() || is_multi()) return false;
  const auto carries = [&](const auto& term) { return term.param == p; };
  return std::any_of(random.begin(), random.end(), carries) ||
         std::any_of(random_compute.begin(), random_compute.end(), carries);
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

std::vector<model::parameter> Model::fixedParameters() const {
  std::vector<model::parameter> out;
  const model::kind what = kind();
  if (what == model::kind::block) {
    out.resize(fixed.size());
    for (const anyVariable& correlation : random) out.push_back(correlation.param);
    return out;
  }
  if (!model::is_equation(what)) return {model::parameter()};
  for (const anyVariable& term : fixed) out.insert(out.end(), design(term).size(), term.param);
  for (const auto& term : fixed_compute) out.insert(out.end(), term.names().size(), term.param);
  return out;
}

std::vector<model::parameter> Model::randomParameters(unsigned level_value) const {
  std::vector<model::parameter> out;
  for (const anyVariable& term : random) out.insert(out.end(), design(term, level_value).size(), term.param);
  for (const auto& term : random_compute) {
    if (isRE(term, level_value)) out.insert(out.end(), term.names().size(), term.param);
  }
  return out;
}

}  // namespace tovik
