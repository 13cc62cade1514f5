#include "sem/ensemble/random_effect_links.hpp"

#include <algorithm>

#include "data/dummy.hpp"
#include "data/named_effect.hpp"
#include "model/model_list.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/wiring/outcome.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using model_ptr = std::shared_ptr<estimator::Outcome>;

constexpr arma::uword no_column = data::variable::no_column;

/// Named effects that have a column: some equation reads them.
std::vector<std::shared_ptr<data::random>> read_effects(const ModelList& list) {
  std::vector<std::shared_ptr<data::random>> out;
  for (const model::anyVariable& term : list.variables(model::type::random, true)) {
    auto effect = std::dynamic_pointer_cast<data::random>(term.variable);
    if (effect == nullptr) throw error_debug("Not a random effect!");
    const bool known = std::find(out.begin(), out.end(), effect) != out.end();
    if (!known && effect->column != data::variable::no_column) out.push_back(std::move(effect));
  }
  return out;
}

std::size_t owner_of(const ModelList& list, const data::random& effect) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i].link == model::link::log_variance) continue;
    for (const model::anyVariable& outcome : list[i].outcomes)
      if (outcome.variable == effect.applies_to() && outcome.type == model::type::variable) return i;
  }
  throw error_debug("A named random effect belongs to no equation.");
}

/// The variable behind a dummy code.
std::shared_ptr<data::variable> whole(const std::shared_ptr<data::variable>& v) {
  const auto* code = dynamic_cast<const data::dummy*>(v.get());
  return code != nullptr ? code->parent() : v;
}

/// Where the effect stands among the random effects of its level.
arma::uword position_of(const Model& model, const data::random& effect) {
  const unsigned level = effect.cluster()->level;
  arma::uword position = 0;
  for (const model::anyVariable& term : model.random) {
    if (!model.isRE(term, level)) continue;
    const bool same = effect.term() == nullptr
                          ? term.is_intercept()
                          : term.type == model::type::variable && !term.is_intercept() &&
                                (term.variable == effect.term() || term.variable == whole(effect.term()));
    model::anyVariable everywhere = term;
    everywhere.level = nullptr;
    for (const model::term_column& column : everywhere.columns(model.clusters)) {
      if (column.level <= level) continue;
      // Of the codes of a nominal predictor the one that is named.
      const bool here = effect.term() == nullptr || term.variable == effect.term() ||
                        column.column == effect.term()->column;
      if (same && here) return position;
      ++position;
    }
  }
  throw error_debug("The equation does not estimate the named random effect.");
}

/// The effects of one model, one column for each, levels from the nearest up.
struct published {
  arma::Col<arma::uword> columns;
  std::vector<arma::uword> first;  ///< per level, where its columns begin

  explicit published(const estimator::Outcome& owner) {
    arma::uword n = 0;
    for (unsigned L = 0; L < owner.n_levels; ++L) {
      first.push_back(n);
      n += owner.n_random(L);
    }
    columns.set_size(n);
    columns.fill(no_column);
  }
};

bool reads_any(const estimator::Outcome& model, const arma::Col<arma::uword>& columns) {
  return std::any_of(columns.begin(), columns.end(),
                     [&](arma::uword c) { return c != no_column && model.reads(c); });
}

/// The model's part at levels that it has; below its own level it does not depend on the effects.
estimator::likelihood_function above_own(const estimator::Outcome& model, const level_units& units) {
  const auto whole = model.likelihoodFunc(likelihood_type::imputed);
  const int own = static_cast<int>(model.level);
  std::vector<arma::uword> n_units;
  for (const auto* of_level : units) n_units.push_back(of_level->n_elem == 0 ? 0 : of_level->max() + 1);
  return {whole.source(), [whole, own, n_units](const arma::Mat<double>& data, const int& at) {
            if (at < own)
              return arma::Col<double>(n_units.at(static_cast<std::size_t>(at)), arma::fill::zeros);
            return whole(data, at);
          }};
}

void give_list(estimator::Outcome& owner, const published& effects, const std::vector<model_ptr>& models,
               const level_units& units) {
  auto list = std::make_unique<estimator::likelihood>();
  list->add_once(owner.likelihoodFunc(likelihood_type::imputed));
  for (const model_ptr& model : models)
    if (has_likelihood(*model) && reads_any(*model, effects.columns))
      list->add_once(above_own(*model, units));
  owner.addLL(std::move(list), likelihood_type::random_effect);
}

/// Where an equation holds a statistic of an effect, a cluster's effect moves other clusters' predictions.
void tie_clusters(estimator::Outcome& owner, const published& effects, const std::vector<model_ptr>& models,
                  const level_units& units, const arma::Mat<double>& data) {
  for (unsigned L = 0; L < owner.n_levels; ++L) {
    for (arma::uword j = 0; j < owner.n_random(L); ++j) {
      const arma::uword column = effects.columns(effects.first[L] + j);
      if (column == no_column) continue;
      std::vector<const estimator::Outcome*> readers;
      for (const model_ptr& model : models)
        if (has_likelihood(*model) && model->reads(column)) readers.push_back(model.get());
      if (!acceptance_groups(column, owner.level + 1 + L, readers, units, data).each_alone())
        owner.accept_together(L);
    }
  }
}

}  // namespace

void link_random_effects(const ModelList& list, const std::vector<model_ptr>& models,
                         const level_units& units, arma::Mat<double>& data) {
  const auto effects = read_effects(list);
  for (std::size_t i = 0; i < list.size() && !effects.empty(); ++i) {
    published columns(*models[i]);
    bool any = false;
    for (const auto& effect : effects) {
      if (owner_of(list, *effect) != i) continue;
      const auto L = static_cast<std::size_t>(list[i].levels - 1) - effect->cluster()->level;
      columns.columns(columns.first.at(L) + position_of(list[i], *effect)) = effect->column;
      any = true;
    }
    if (!any) continue;
    estimator::Outcome& owner = *models[i];
    owner.addIndicator(columns.columns, indicator_type::random_effect);
    give_list(owner, columns, models, units);
    tie_clusters(owner, columns, models, units, data);
    owner.publish_effects(data);
  }
}

}  // namespace tovik::sem
