#include "sem/predictor_run.hpp"

#include <algorithm>

#include "data/category.hpp"
#include "data/dummy.hpp"
#include "data/levels.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"

namespace tovik::tests {

predictor_run::predictor_run(const std::vector<std::string>& names, const arma::mat& columns,
                             const std::vector<std::string>& statements, const plan& p)
    : data(columns) {
  make_catalogue(names, p);
  std::vector<block::one_model> texts;
  for (const auto& [name, expression] : p.definitions) texts.push_back({name + " = " + expression, ""});
  for (const std::string& text : statements) texts.push_back({text, ""});
  models = sem::parse(texts, vars, block::map(), {{}, false, false});
  for (const auto& v : models.variables()) {
    if (v->type != data::type::constant) v->covariate();
  }
  for (const std::string& name : p.auxiliary) vars.find(name)->covariate();
  for (const std::string& name : p.fixed) vars.find(name)->fixed(true);
  for (const auto& [name, kind] : p.centered) vars.find(name)->setCentered(kind);
  for (const auto& [name, kind] : p.centered_means) vars.find(name)->setCenteredMeans(kind);
  append_derived();
}

std::shared_ptr<sem::Mcmc> predictor_run::chain(const Random& rng) const {
  auto out = std::make_shared<sem::Mcmc>(vars, data, rng, xprior, icc_cutoff);
  out->addOutcomes(vars, models, {});
  return out;
}

std::string predictor_run::failure() const {
  try {
    chain(Random(1, 1));
  } catch (const tovik::error& e) {
    return e.what();
  }
  return "";
}

void predictor_run::make_catalogue(const std::vector<std::string>& names, const plan& p) {
  std::vector<unsigned> id_columns;
  for (unsigned j = 0; j < names.size(); ++j) {
    if (has(p.ids, names[j])) id_columns.push_back(j);
  }
  const std::vector<unsigned> levels = determineNLevels(data, id_columns);
  for (unsigned j = 0; j < names.size(); ++j) {
    data::type kind = data::type::continuous;
    if (has(p.ids, names[j])) kind = data::type::id;
    if (has(p.ordinal, names[j])) kind = data::type::ordinal;
    if (has(p.nominal, names[j])) kind = data::type::nominal;
    vars.variables.push_back(std::make_shared<data::variable>(names[j], kind, j, levels[j]));
    auto& v = *vars.variables.back();
    if (kind == data::type::ordinal || kind == data::type::nominal)
      v.values = dummyvalues(data.col(j), data.col(j).has_nan());
  }
  const auto constant = static_cast<unsigned>(data.n_cols);
  data.insert_cols(constant, arma::ones(data.n_rows, 1));
  vars.variables.push_back(std::make_shared<data::variable>("1", data::type::constant, constant, 0));
  for (const auto& v : vars.subset(data::type::nominal)) add_codes(v);
  vars.order_clusters();
}

void predictor_run::add_codes(const std::shared_ptr<data::variable>& v) {
  const arma::mat codes = dummycode(data.col(v->column), v->values, data.col(v->column).has_nan());
  for (arma::uword k = 0; k < codes.n_cols; ++k) {
    const auto column = static_cast<unsigned>(data.n_cols);
    data.insert_cols(column, codes.col(k));
    auto code = std::make_shared<data::dummy>(v, v->values[k + 1], column);
    v->setDummy(code);
    vars.variables.push_back(code);
  }
}

std::shared_ptr<data::variable> predictor_run::owner(const std::shared_ptr<data::variable>& v) {
  const auto* code = dynamic_cast<const data::dummy*>(v.get());
  return code ? code->parent() : v;
}

void predictor_run::append_derived() {
  auto next = static_cast<unsigned>(data.n_cols);
  for (const auto& term : models.variables(model::type::mean, true)) {
    const auto v = owner(term.variable);
    if (!v->means.empty()) continue;
    v->fixed(false);
    const std::size_t codes = std::max<std::size_t>(v->dummies.size(), 1);
    for (std::size_t k = 0; k < v->level * codes; ++k) v->setMean(next++);
    for (std::size_t k = 0; k < v->means.size() && !v->dummies.empty(); ++k)
      v->dummies[k % codes]->means.push_back(v->means[k]);
  }
  for (const auto& term : models.variables(model::type::variable, false)) {
    const auto v = owner(term.variable);
    if (v->usage() == data::usage::outcome && v->centered() != data::center::none &&
        v->centered_columns.empty())
      v->centered_columns.push_back(next++);
  }
  const arma::uword before = data.n_cols;
  data.resize(data.n_rows, next);
  if (next > before) data.cols(before, next - 1).fill(arma::datum::nan);
  models.update_def();
}

const sem::Variable& predictor(const sem::Mcmc& chain, const std::string& name) {
  for (const auto& v : chain.predictors()) {
    if (v->variable().name == name) return *v;
  }
  throw tovik::error_debug("There is no model of " + name);
}

}  // namespace tovik::tests
