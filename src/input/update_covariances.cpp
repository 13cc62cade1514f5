// What the missing cells must leave to estimate from.

#include "input/observed_bits.hpp"
#include "input/preparation.hpp"
#include "support/error.hpp"

namespace tovik::preparation {

namespace {

/// The counted columns that have missing cells. A complete column meets every other one.
std::vector<variable_ptr> incomplete_columns(const run& r) {
  std::vector<variable_ptr> out;
  for (const variable_ptr& v : counted_columns(r)) {
    if (r.input.missing_flags[v->column] != 0) out.push_back(v);
  }
  return out;
}

}  // namespace

void check_observed(const run& r) {
  for (const variable_ptr& v : incomplete_columns(r)) {
    const double* cell = r.data.colptr(v->column);
    const bool any = std::any_of(cell, cell + r.data.n_rows, [](double x) { return !std::isnan(x); });
    if (!any) throw error("ERROR: Variable '" + v->name + "' has no observed values.");
  }
}

void check_covariances(const run& r) {
  const std::vector<variable_ptr> list = incomplete_columns(r);
  std::vector<observed_bits> bits;
  bits.reserve(list.size());
  for (const variable_ptr& v : list) bits.emplace_back(r.data.colptr(v->column), r.data.n_rows);
  for (std::size_t i = 0; i < list.size(); ++i) {
    for (std::size_t j = i + 1; j < list.size(); ++j) {
      if (list[i]->level != list[j]->level || bits[i].meets(bits[j])) continue;
      throw error("ERROR: The covariance between '" + list[i]->name + "' and '" + list[j]->name +
                  "' is undefined\n"
                  "       due to the missing data patterns.\n"
                  "       Remove one of the variables and rerun.");
    }
  }
}

}  // namespace tovik::preparation
