#include "sem/chain/saved_columns.hpp"

#include <algorithm>
#include <cmath>

#include "data/variable_list.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

using variable_ptr = VariableList::variable_ptr;

std::shared_ptr<const saved_columns> keep_saved_columns(const VariableList& variables,
                                                        const arma::Mat<double>& data) {
  const auto constant = std::find_if(variables.variables.begin(), variables.variables.end(),
                                     [](const variable_ptr& v) { return v->type == data::type::constant; });
  if (constant == variables.variables.end()) throw error_debug("No intercept!");
  auto out = std::make_shared<saved_columns>();
  for (auto v = variables.variables.begin(); v != constant; ++v) {
    out->columns.push_back((*v)->column);
    out->names.push_back((*v)->fullName);
  }
  out->values = data.cols(arma::Col<arma::uword>(out->columns));
  for (auto v = variables.variables.begin(); v != constant; ++v) {
    if ((*v)->uncentered.empty()) continue;
    out->values.col(static_cast<arma::uword>(v - variables.variables.begin())) =
        arma::Col<double>((*v)->uncentered);
  }
  return out;
}

void fill_missing(const saved_columns& saved, const working_data& working, arma::uword column,
                  const arma::Col<double>& values, arma::Mat<double>& out) {
  const auto at = std::find(saved.columns.begin(), saved.columns.end(), column);
  if (at == saved.columns.end()) return;
  double* to = out.colptr(static_cast<arma::uword>(at - saved.columns.begin()));
  for (arma::uword i = 0; i < values.n_elem; ++i) {
    double& cell = to[working.file_rows()[i]];
    if (std::isnan(cell)) cell = values[i];
  }
}

}  // namespace tovik::sem
