#include "sem/wiring/covariate_link.hpp"

namespace tovik::sem::estimator {

void covariate_link::update(const arma::Col<double>& x, arma::Mat<double>& data) const {
  if (!fun) return;
  arma::Mat<double> out(data.colptr(mean_column), data.n_rows, n_columns, false, true);
  fun(x, out);
}

void covariate_link::update(arma::Mat<double>& data) const {
  const arma::Col<double> x(data.colptr(column), data.n_rows, false, true);
  update(x, data);
}

void covariate_link::update(arma::Mat<double>& data, const cluster& structure) const {
  if (structure.rows == nullptr) return update(data);
  arma::Col<double> x(data.n_rows);
  for (arma::uword c = 0; c < structure.rows->size(); ++c) {
    arma::uword const begin = structure.rows->start[c];
    const double value = data(begin, column);
    for (arma::uword i = begin; i < begin + structure.rows->count[c]; ++i) x(i) = value;
  }
  update(x, data);
}

}  // namespace tovik::sem::estimator
