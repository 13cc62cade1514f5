#include "data/category.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/error.hpp"

namespace tovik {

std::vector<double> dummyvalues(const arma::Col<double>& column, bool missing) {
  std::vector<double> values;
  values.reserve(column.n_elem);
  for (double cell : column)
    if (!missing || !std::isnan(cell)) values.push_back(cell);
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  return values;
}

std::vector<double> dummyvalues(const arma::Col<double>& column, bool missing, double reference) {
  std::vector<double> values = dummyvalues(column, missing);
  const auto at = std::find(values.begin(), values.end(), reference);
  if (at == values.end()) throw error_debug("Reference is not among the nominal values!");
  std::rotate(values.begin(), at, at + 1);
  return values;
}

bool has_value(const std::vector<double>& values, double value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

arma::Mat<double> dummycode(const arma::Col<double>& column, const std::vector<double>& values,
                            bool missing) {
  const arma::uword codes = values.empty() ? 0 : values.size() - 1;
  arma::Mat<double> out(column.n_elem, codes);
  for (arma::uword k = 0; k < codes; ++k)
    for (arma::uword i = 0; i < column.n_elem; ++i)
      out(i, k) = missing && std::isnan(column(i)) ? std::numeric_limits<double>::quiet_NaN()
                                                   : static_cast<double>(column(i) == values[k + 1]);
  return out;
}

}  // namespace tovik
