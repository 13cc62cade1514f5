#include "manifest/mi.hpp"

#include <algorithm>
#include <utility>

#include "model/model_list.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::manifest {

MI::MI(const VariableList& variables, const ModelList& models, const arma::Mat<double>& data,
       const Random& rng, const options& how, std::shared_ptr<const sem::saved_columns> saved)
    : rng_(std::make_shared<Random>(rng)),
      working_(data, sem::identifier_columns(variables)),
      saved_(std::move(saved)),
      missing_(sem::summarise_missing(variables, data, working_)),
      how_(how) {
  checkOutcome(models);
  sem::estimator::refuse_predictor_models(variables);
  if (saved_ == nullptr || saved_->values.n_rows != data.n_rows)
    throw error_debug("The saved columns are those of other data.");
  data_ = std::make_unique<Data>(variables, working_, how.how, how.ICCcutoff);
  for (unsigned level = 0; level < n_levels(); ++level) levels_.emplace_back(*data_, level, rng_, how);
  data_->refresh();
}

void MI::checkOutcome(const ModelList& models) const {
  for (const Model& model : models) {
    if (!model.random_compute.empty())
      throw error("ERROR: Computation statements for random slopes not allowed in manifest.");
  }
  if (!models.empty()) {
    throw error(
        "ERROR: MODEL Command is no longer supported for noclmean/manifest.\n"
        "       Please use Tovik Version 2.2.2 for this feature.");
  }
}

void MI::impute() {
  constexpr std::uint32_t tuning_interval = 100;
  for (unsigned level = 0; level < n_levels(); ++level) {
    if (level > 0) data_->convUpLvlCol(level);
    levels_[level].oneRep();
    data_->convDownLvlCol(level);
  }
  ++scan_;
  if (scan_ < how_.burn / 2 && scan_ % tuning_interval == 0)
    for (Level& level : levels_) level.tune();
}

std::vector<const Var*> MI::variables() const {
  std::vector<const Var*> out;
  for (const Level& level : levels_)
    for (const auto& v : level.variables()) out.push_back(v.get());
  return out;
}

arma::Col<double> MI::getParams() const {
  arma::Col<double> out(n_params());
  arma::uword at = 0;
  for (const Var* v : variables())
    for (double value : v->params()) out[at++] = value;
  return out;
}

arma::uword MI::n_params() const {
  arma::uword n = 0;
  for (const Var* v : variables()) n += v->numParams();
  return n;
}

arma::uword MI::n_estimated() const {
  arma::uword n = 0;
  for (const Var* v : variables()) n += v->n_estimated();
  return n;
}

arma::Mat<double> MI::getData() const {
  arma::Mat<double> out = saved_->values;
  for (const Var* v : variables()) {
    const arma::Col<double> units = v->values();
    sem::fill_missing(*saved_, working_, v->variable().variable->column,
                      units.elem(working_.units(v->variable().level)), out);
  }
  return out;
}

arma::Col<double> MI::getAcpts() const {
  std::vector<double> out;
  for (const Var* v : variables())
    for (const auto& step : v->tuneResults()) out.push_back(step.rate());
  return arma::Col<double>(out);
}

}  // namespace tovik::manifest
