#include "sem/outcomes/row_variances.hpp"

#include <algorithm>
#include <cmath>

#include "sem/outcomes/variance_rows.hpp"
#include "support/error.hpp"

namespace tovik::sem {

void row_variances::attach(LogScale* model) {
  model_ = model;
  precisions_.ones(this->model().n_units);
  rows_.reset();
}

LogScale& row_variances::model() const {
  if (model_ == nullptr) throw error_debug("No Scale link.");
  return *model_;
}

// Steps on values ask for the units that they move, before and after: what is read for these may be the state
// of a rejected proposal afterwards, so that only a model of columns that never change is read once.
void row_variances::read(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                         double left) {
  const LogScale& from = model();
  const arma::Mat<double>& g = from.betas();
  const bool same =
      of_left_ == left && of_betas_.n_elem == g.n_elem && std::equal(g.begin(), g.end(), of_betas_.begin());
  if (is_current_ && same) return;
  const auto precision = [left](double l) { return std::exp(-std::max(l, LogScale::trunc_point)) / left; };
  if (units != nullptr && !from.is_static()) {
    if (part_.n_elem < n) part_.set_size(n);
    from.log_variances(data, units, n, part_.memptr());
    for (arma::uword k = 0; k < n; ++k) precisions_(units[k]) = precision(part_(k));
    return;
  }
  from.log_variances(data, nullptr, precisions_.n_elem, precisions_.memptr());
  for (double& x : precisions_) x = precision(x);
  of_betas_.set_size(g.n_elem);
  std::copy_n(g.memptr(), g.n_elem, of_betas_.memptr());
  of_left_ = left;
  is_current_ = from.is_static();
}

void row_variances::keep(const arma::Mat<double>& data, double left) {
  read(data, nullptr, 0, left);
  kept_.set_size(precisions_.n_elem);
  for (arma::uword i = 0; i < kept_.n_elem; ++i) kept_(i) = 1.0 / (precisions_(i) * left);
  mean_ = arma::mean(kept_);
  rows_.reset();
}

const arma::Col<double>& row_variances::rows() const {
  if (rows_.is_empty()) rows_ = variance_rows(kept_, LogScale::proportions);
  return rows_;
}

}  // namespace tovik::sem
