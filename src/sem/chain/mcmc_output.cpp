// What a chain hands out of its data.

#include <algorithm>

#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "sem/chain/mcmc.hpp"
#include "sem/chain/saved_columns.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/ensemble/output_names.hpp"
#include "sem/predictors/predictor_set.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using variable_ptr = VariableList::variable_ptr;

/// The variables behind the score columns of a predictor model.
std::vector<const data::variable*> score_variables(const Variable& v) {
  std::vector<const data::variable*> out;
  for (const variable_ptr& code : v.variable().dummies) out.push_back(code.get());
  if (out.empty()) out.push_back(&v.variable());
  return out;
}

/// Latent scores of a categorical variable, then latent means from the nearest level up.
std::vector<std::string> latent_names(const Variable& v, const std::vector<variable_ptr>& clusters) {
  std::vector<std::string> out;
  const auto scores = score_variables(v);
  const auto type = v.variable().type;
  if (type == data::type::ordinal || type == data::type::nominal) {
    for (const data::variable* score : scores) out.push_back(score->fullName + ".latent");
  }
  for (unsigned q = 1; q <= v.chain().n_above(); ++q) {
    const std::string id = clusters.at(v.chain().level(q) - 1)->fullName;
    for (const data::variable* score : scores) out.push_back(score->fullName + ".mean[" + id + "]");
  }
  return out;
}

void append(std::vector<std::string>& list, const std::vector<std::string>& more) {
  list.insert(list.end(), more.begin(), more.end());
}

arma::uword width(const arma::Mat<double>& columns) {
  return columns.n_cols;
}

}  // namespace

/// Names and columns are listed side by side, so that they cannot part.
void Mcmc::list_output(const VariableList& variables, const ModelList& models) {
  using kind = output_part::kind;
  output_.clear();
  const arma::Mat<double>& data = working_.data;
  if (outcomes_) {
    std::vector<std::string> definitions, latent, residual, predicted;
    for (const auto& definition : models.definitions) definitions.push_back(definition.first);
    for (unsigned i = 0; i < outcomes_->n_outcomes(); ++i) {
      const estimator::Outcome& model = outcomes_->outcome(i);
      if (width(model.latent(data)) > 0) append(latent, latent_names(models[i]));
      if (width(model.residual(data)) > 0) append(residual, residual_names(models[i]));
      if (width(model.predicted(data)) > 0) append(predicted, predicted_names(models[i]));
    }
    output_.push_back({kind::always, definitions, [this] { return outcomes_->defines(working_.data); }});
    output_.push_back({kind::latent, latent, [this] { return outcomes_->latent(working_.data); }});
    output_.push_back({kind::residual, residual, [this] { return outcomes_->residual(working_.data); }});
    output_.push_back({kind::predicted, predicted, [this] { return outcomes_->predicted(working_.data); }});
  }
  const auto behind = std::find_if(output_.begin(), output_.end(),
                                   [](const output_part& part) { return part.what == kind::residual; });
  std::vector<output_part> means;
  for (const auto& v : predictors())
    means.push_back({kind::latent, latent_names(*v, variables.clusters), [&v] { return v->getLatent(); }});
  output_.insert(behind, means.begin(), means.end());
  for (const output_part& part : output_) {
    if (width(part.columns()) != part.names.size())
      throw error_debug("Saved columns and their names differ in number.");
  }
}

arma::Mat<double> Mcmc::completed() const {
  arma::Mat<double> out = saved_->values;
  if (outcomes_) {
    for (arma::uword column : outcomes_->imputed_columns())
      fill_missing(*saved_, working_, column, working_.data.col(column), out);
  }
  for (const auto& v : predictors()) {
    if (!v->missing) continue;
    const arma::Col<double> units = v->uncenteredData().col(0);
    fill_missing(*saved_, working_, v->variable().column, units.elem(working_.units(v->level)), out);
  }
  return out;
}

arma::Mat<double> Mcmc::getData() const {
  return getData(false, false, false);
}

arma::Mat<double> Mcmc::getData(const bool& latent, const bool& residual, const bool& predicted) const {
  const bool wanted[] = {true, latent, residual, predicted};
  arma::Mat<double> out = completed();
  for (const output_part& part : output_) {
    if (!wanted[static_cast<int>(part.what)] || part.names.empty()) continue;
    out.insert_cols(out.n_cols, working_.in_file_order(part.columns()));
  }
  return out;
}

std::vector<std::string> Mcmc::dataNames(const VariableList&, const ModelList&, const bool& latent,
                                         const bool& residual, const bool& predicted) const {
  const bool wanted[] = {true, latent, residual, predicted};
  std::vector<std::string> out = saved_->names;
  for (const output_part& part : output_) {
    if (wanted[static_cast<int>(part.what)]) out.insert(out.end(), part.names.begin(), part.names.end());
  }
  return out;
}

}  // namespace tovik::sem
