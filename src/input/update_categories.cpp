// Categories of ordinal and nominal variables after rows have left.

#include <algorithm>

#include "data/category.hpp"
#include "input/preparation.hpp"
#include "support/error.hpp"

namespace tovik::preparation {

namespace {

std::vector<double> observed_values(const run& r, const data::variable& v) {
  // The catalogue has them already, unless rows have left since.
  if (r.input.dropped_rows.empty()) return v.values;
  const arma::Col<double> column(r.data.colptr(v.column), r.data.n_rows, false, true);
  return dummyvalues(column, r.input.missing_flags[v.column] != 0);
}

/// The codes of a nominal variable stand already; a code without rows would be a column of zeros.
void check_codes(const data::variable& v, std::vector<double> values) {
  if (v.usage() == data::usage::unset) return;
  std::sort(values.begin(), values.end());
  for (double value : v.values) {
    if (std::binary_search(values.begin(), values.end(), value)) continue;
    throw error("ERROR: Variable " + v.name +
                " has a category with no observations after\n"
                "       dropping observations. Remove the category or change the model.");
  }
}

}  // namespace

void set_categories(const run& r) {
  for (const variable_ptr& v : r.vars.variables) {
    if (v->type != data::type::ordinal && v->type != data::type::nominal) continue;
    const std::vector<double> values = observed_values(r, *v);
    if (values.size() < 2) {
      throw error("ERROR: Variable " + v->name +
                  " has only one observed category.\n"
                  "       Ordinal and nominal variables need\n"
                  "       a minimum of two observed categories.\n");
    }
    if (v->type == data::type::ordinal) {
      v->values = values;
    } else {
      check_codes(*v, values);
    }
  }
}

}  // namespace tovik::preparation
