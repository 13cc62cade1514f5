#include "sem/chain/missing_summary.hpp"

#include "data/levels.hpp"
#include "data/variable_list.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::sem {

missing_summary summarise_missing(const VariableList& variables, const arma::Mat<double>& data,
                                  const working_data& working) {
  missing_summary out;
  const auto model_variables = variables.modelvars();
  arma::Mat<double> columns(data.n_rows, model_variables.size());
  for (std::size_t j = 0; j < model_variables.size(); ++j) {
    const data::variable& v = *model_variables[j];
    columns.col(j) = data.col(v.column);
    out.names.push_back(v.name);
    const unsigned level = sampler_level(working.n_levels() - 1, v.level);
    const double n_missing = static_cast<double>(working.missing_units(working.data, v.column, level).n_elem);
    const double n = static_cast<double>(working.n_units(level));
    out.percents.push_back(n > 0 ? 100.0 * n_missing / n : 0.0);
  }
  out.table = patterns(columns);
  return out;
}

}  // namespace tovik::sem
