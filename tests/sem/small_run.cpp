#include "sem/small_run.hpp"

#include <algorithm>
#include <cmath>

#include "data/category.hpp"
#include "data/dummy.hpp"
#include "data/levels.hpp"
#include "data/named_effect.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"

namespace tovik::tests {

small_run::small_run(const std::vector<std::string>& names, const arma::mat& columns,
                     const std::vector<std::string>& ids, const std::vector<std::string>& statements,
                     const std::vector<std::string>& parameters, const std::vector<std::string>& ordinal,
                     const std::vector<std::string>& latent, const std::vector<std::string>& nominal)
    : data(columns) {
  make_catalogue(names, ids);
  for (const std::string& name : ordinal) make_ordinal(*vars.find(name));
  for (const std::string& name : latent) add_latent(name);
  for (const std::string& name : nominal) make_nominal(name);
  std::vector<block::one_model> texts;
  for (const std::string& text : statements) texts.push_back({text, ""});
  models = sem::parse(texts, vars, block::map(), {parameters, false, false});
  for (const auto& v : vars.subset(data::usage::covariate)) {
    if (v->column < data.n_cols && !data.col(v->column).has_nan()) v->fixed(true);
  }
}

std::shared_ptr<sem::Mcmc> small_run::chain(const Random& rng, const sem::priors& prior, int xprior) const {
  auto out = std::make_shared<sem::Mcmc>(vars, data, rng, xprior, 0.01);
  out->addOutcomes(vars, models, prior);
  return out;
}

std::string small_run::failure(const sem::priors& prior) const {
  try {
    chain(Random(1, 1), prior);
  } catch (const tovik::error& e) {
    return e.what();
  }
  return "";
}

void small_run::make_ordinal(data::variable& v) const {
  v.type = data::type::ordinal;
  const arma::vec column = data.col(v.column);
  const arma::vec values = arma::unique(column.elem(arma::find_finite(column)));
  v.values.assign(values.begin(), values.end());
}

void small_run::make_nominal(const std::string& text) {
  const std::size_t equal = text.find('=');
  const auto v = vars.find(text.substr(0, equal));
  const arma::vec column = data.col(v->column);
  const bool missing = column.has_nan();
  v->type = data::type::nominal;
  v->values = equal == std::string::npos ? dummyvalues(column, missing)
                                         : dummyvalues(column, missing, std::stod(text.substr(equal + 1)));
  const arma::mat codes = dummycode(column, v->values, missing);
  for (arma::uword k = 0; k < codes.n_cols; ++k) {
    auto code = std::make_shared<data::dummy>(v, v->values[k + 1], static_cast<unsigned>(data.n_cols));
    v->setDummy(code);
    vars.variables.push_back(std::move(code));
    data.insert_cols(data.n_cols, codes.col(k));
  }
}

void small_run::add_latent(const std::string& text) {
  const std::size_t equal = text.find('=');
  const auto id = equal == std::string::npos ? nullptr : vars.find(text.substr(0, equal));
  const auto level = static_cast<unsigned>(id != nullptr ? id->level : vars.clusters.size());
  vars.variables.push_back(
      std::make_shared<data::variable>(equal == std::string::npos ? text : text.substr(equal + 1),
                                       data::type::latent, data::variable::no_column, level));
}

void small_run::make_catalogue(const std::vector<std::string>& names, const std::vector<std::string>& ids) {
  std::vector<unsigned> id_columns;
  for (unsigned j = 0; j < names.size(); ++j) {
    for (const std::string& id : ids) {
      if (id == names[j]) id_columns.push_back(j);
    }
  }
  const std::vector<unsigned> levels = determineNLevels(data, id_columns);
  for (unsigned j = 0; j < names.size(); ++j) {
    bool is_id = false;
    for (unsigned column : id_columns) is_id = is_id || column == j;
    const data::type kind = is_id ? data::type::id : data::type::continuous;
    vars.variables.push_back(std::make_shared<data::variable>(names[j], kind, j, levels[j]));
  }
  const unsigned constant = static_cast<unsigned>(data.n_cols);
  data.insert_cols(constant, arma::ones(data.n_rows, 1));
  vars.variables.push_back(std::make_shared<data::variable>("1", data::type::constant, constant, 0));
  vars.order_clusters();
}

void prepare(small_run& run) {
  unsigned next = static_cast<unsigned>(run.data.n_cols);
  const auto read = [&](model::type what) {
    std::vector<data::variable*> out;
    for (const model::anyVariable& term : run.models.variables(what, true)) {
      data::variable* v = run.vars.find(term.variable->name).get();
      if (std::find(out.begin(), out.end(), v) == out.end()) out.push_back(v);
    }
    return out;
  };
  for (data::variable* v : read(model::type::latent)) v->setLatent(next++);
  const auto indicators = read(model::type::missing);
  for (data::variable* v : indicators) v->setRstar(next++);
  for (const auto& v : run.vars.variables) {
    const bool effect = dynamic_cast<const data::random*>(v.get()) != nullptr;
    if ((data::isLatent(v->type) || effect) && v->column == data::variable::no_column) v->column = next++;
  }
  const arma::uword before = run.data.n_cols;
  run.data.resize(run.data.n_rows, next);
  if (next > before) run.data.cols(before, next - 1).fill(arma::datum::nan);
  for (const data::variable* v : indicators)
    for (arma::uword i = 0; i < run.data.n_rows; ++i)
      run.data(i, v->rstar.front()) = std::isnan(run.data(i, v->column)) ? 1.0 : 0.0;
}

void burn_in(sem::Mcmc& chain, int scans) {
  for (int i = 0; i < scans; ++i) {
    chain.oneRep();
    if (i % 50 == 49 && i + 100 < scans) chain.tune();
  }
}

arma::mat draws(sem::Mcmc& chain, arma::uword burn, arma::uword n) {
  for (arma::uword i = 0; i < burn; ++i) chain.oneRep();
  arma::mat out(chain.getTotalParams(), n);
  for (arma::uword t = 0; t < n; ++t) {
    chain.oneRep();
    out.col(t) = chain.getParams();
  }
  return out;
}

double mean_error(const arma::rowvec& series) {
  constexpr arma::uword batches = 50;
  const arma::uword length = series.n_elem / batches;
  arma::vec means(batches);
  for (arma::uword b = 0; b < batches; ++b)
    means[b] = arma::mean(series.subvec(b * length, (b + 1) * length - 1));
  return arma::stddev(means) / std::sqrt(static_cast<double>(batches));
}

}  // namespace tovik::tests
