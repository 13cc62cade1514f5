#include "sem/predictors/centered_copy.hpp"

#include "data/variable.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

centered_copy::centered_copy(const Variable& owner, const working_data& working)
    : owner_(owner), unit_of_row_(working.units(owner.level)) {
  const data::variable& v = owner.variable();
  if (!v.dummies.empty()) categories_.assign(v.values.begin() + 1, v.values.end());
  const arma::Col<arma::uword> columns = owner.value_columns();
  for (arma::uword k = 0; k < columns.n_elem; ++k) {
    if (columns[k] != columns[0] + k) throw error_debug("The columns of a centred copy stand apart.");
  }
  take();
}

arma::uword centered_copy::column() const {
  return owner_.variable().column;
}

void centered_copy::take() {
  const arma::Mat<double> centered = owner_.data();
  const arma::Mat<double> raw = owner_.uncenteredData();
  centers_ = raw.tail_cols(centered.n_cols) - centered;
}

void centered_copy::write(const arma::Col<double>& x, arma::Mat<double>& out) const {
  for (arma::uword k = 0; k < out.n_cols; ++k) {
    const double* center = centers_.colptr(k);
    double* to = out.colptr(k);
    for (arma::uword i = 0; i < out.n_rows; ++i) {
      const double value = categories_.empty() ? x[i] : (x[i] == categories_[k] ? 1.0 : 0.0);
      to[i] = value - center[unit_of_row_[i]];
    }
  }
}

estimator::covariate_link centered_copy::link() const {
  estimator::covariate_link out;
  out.fun = [this](const arma::Col<double>& x, arma::Mat<double>& to) { write(x, to); };
  out.column = static_cast<std::uint32_t>(column());
  out.mean_column = static_cast<std::uint32_t>(owner_.value_columns()[0]);
  out.n_columns = static_cast<std::uint32_t>(owner_.value_columns().n_elem);
  return out;
}

}  // namespace tovik::sem
