// What a model tells of its state.

#include <string>

#include "manifest/var.hpp"

namespace tovik::manifest {

namespace {

/// The columns that a variable's scores stand for.
std::vector<std::string> score_names(const member& m) {
  std::vector<std::string> out;
  for (const data::variable* column : m.columns) out.push_back(column->name);
  return out;
}

}  // namespace

arma::Col<double> Var::values() const {
  return variable().values[0].col(0);
}

arma::Col<double> Var::params() const {
  arma::Col<double> out(numParams());
  const std::vector<predictor>& all = data_.predictors(variable().level);
  arma::uword at = 0;
  for (arma::uword c = 0; c < gamma_.n_cols; ++c) {
    arma::uword const intercept = at;
    for (arma::uword j = 0; j < gamma_.n_rows; ++j) {
      const predictor& one = all[predictors_[j]];
      out[at++] = gamma_(j, c);
      if (one.owner != Data::none && !one.deviation)
        out[intercept] -= gamma_(j, c) * data_.at(one.owner).origin[one.column];
    }
  }
  for (const intercepts& one : effects_)
    for (double variance : one.t2) out[at++] = variance;
  if (residual_.by_cluster()) {
    out[at++] = residual_.clusters().mean();
  } else {
    for (double element : sem::lower_triangle(residual_.Sigma)) out[at++] = element;
  }
  for (double tau : thresholds()) out[at++] = tau;
  return out;
}

arma::uword Var::numParams() const {
  arma::uword const dim = score_.n_cols;
  return gamma_.n_elem + dim * effects_.size() + dim * (dim + 1) / 2 + thresholds().n_elem;
}

arma::uword Var::n_estimated() const {
  arma::uword const residual = residual_.by_cluster() ? 2 : residual_.drawn ? 1 : 0;
  return gamma_.n_elem + score_.n_cols * effects_.size() + residual + thresholds().n_elem;
}

double Var::getMissingPercent() const {
  return 100.0 * static_cast<double>(missing().n_elem) / static_cast<double>(score_.n_rows);
}

std::vector<parameter_row> Var::layout() const {
  using kind = parameter_row::kind;
  const std::vector<predictor>& all = data_.predictors(variable().level);
  const std::vector<std::string> names = score_names(variable());
  const bool one_column = score_.n_cols == 1;
  std::vector<parameter_row> out;
  const auto add = [&](kind what, const std::string& name, const std::string& other, unsigned level,
                       unsigned number, bool fixed) {
    out.push_back({what, name, other, level, number, fixed});
  };
  for (const std::string& name : names)
    for (arma::uword j : predictors_)
      add(kind::coefficient, name, all[j].owner == Data::none ? "" : data_.name(all[j]), 0, 0, false);
  for (const intercepts& one : effects_)
    for (const std::string& name : names)
      add(kind::effect_variance, one_column ? "Intercept" : name, "", one.level() + 1, 0, false);
  for (std::size_t a = 0; a < names.size(); ++a) {
    if (one_column && variable().variable->dummies.empty()) {
      add(kind::residual_variance, names[a], "", 0, 0, !residual_.drawn);
      continue;
    }
    for (std::size_t b = a; b < names.size(); ++b)
      add(a == b ? kind::variance : kind::covariance, names[a], a == b ? "" : names[b], 0, 0, true);
  }
  for (unsigned k = 1; k <= thresholds().n_elem; ++k) add(kind::threshold, names.front(), "", 0, k, false);
  return out;
}

}  // namespace tovik::manifest
