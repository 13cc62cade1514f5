#include <algorithm>
#include <cmath>

#include "input/preparation.hpp"

namespace tovik {

namespace {

read_cells observed(const arma::Mat<double>& data) {
  read_cells out(arma::size(data));
  std::transform(data.begin(), data.end(), out.begin(), [](double v) { return std::isnan(v) ? 0 : 1; });
  return out;
}

}  // namespace

void InputFile::update(arma::Mat<double>& data, VariableList& vars, const ModelList& models) {
  const preparation::run r{*this, data, vars, models};
  preparation::set_roles(r);
  if (isWrite("stacked0")) {
    // Set 0 of the stacked file is the data as they were read: all rows, nothing centred.
    if (imputations.empty()) imputations.resize(1);
    imputations[0] = data.cols(0, variableNames.size() - 1);
  }
  preparation::drop_rows(r);
  if (savesData()) observed_cells = observed(data.cols(0, variableNames.size() - 1));
  preparation::check_observed(r);
  if (undefinedcovariance) preparation::check_covariances(r);
  preparation::set_categories(r);
  preparation::set_centering(r);
  preparation::fix_complete(r);
  preparation::release_for_means(r);
  preparation::check_propensities(r);
  preparation::connect_random_effects(r);
  preparation::center_fixed(r);
  preparation::append_derived_columns(r);
  models.update_def();
}

}  // namespace tovik
