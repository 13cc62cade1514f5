// What a chain hands out of its data.

#include <algorithm>

#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "sem/mcmc.hpp"
#include "sem/outcomes.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

namespace {

void refuse_extra_columns(bool latent, bool residual, bool predicted) {
  if (latent) not_available::refuse("Saving latent values");
  if (residual) not_available::refuse("Saving residuals");
  if (predicted) not_available::refuse("Saving predicted values");
}

}  // namespace

arma::Mat<double> Mcmc::getData() const {
  return getData(false, false, false);
}

arma::Mat<double> Mcmc::getData(bool const& latent, bool const& residual, bool const& predicted) const {
  refuse_extra_columns(latent, residual, predicted);
  arma::Mat<double> out = raw_;
  if (!outcomes_) return out;
  for (arma::uword column : outcomes_->imputed_columns()) {
    const auto saved = std::find(saved_columns_.begin(), saved_columns_.end(), column);
    if (saved == saved_columns_.end()) continue;
    const auto k = static_cast<arma::uword>(saved - saved_columns_.begin());
    out.col(k) = working_.in_file_order(working_.data.col(column));
    if (!subtracted_[k].is_empty()) out.col(k) += subtracted_[k];
  }
  if (outcomes_->n_defines() > 0)
    out.insert_cols(out.n_cols, working_.in_file_order(outcomes_->defines(working_.data)));
  return out;
}

std::vector<std::string> Mcmc::dataNames(VariableList const& variables, ModelList const& models, bool const& latent,
                                         bool const& residual, bool const& predicted) const {
  refuse_extra_columns(latent, residual, predicted);
  std::vector<std::string> names;
  for (auto const& v : variables.variables) {
    if (v->type == data::type::constant) break;
    names.push_back(v->name);
  }
  for (auto const& definition : models.definitions) names.push_back(definition.first);
  return names;
}

}  // namespace tovik::sem
