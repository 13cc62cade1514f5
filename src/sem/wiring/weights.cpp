#include "sem/wiring/weights.hpp"

#include <algorithm>

#include "data/variable.hpp"
#include "data/variable_list.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

namespace {

arma::Col<double> cells(const arma::Mat<double>& data, arma::uword column,
                        const arma::Col<arma::uword>& rows) {
  arma::Col<double> out(rows.n_elem, arma::fill::ones);
  if (column == weights::none) return out;
  for (arma::uword i = 0; i < out.n_elem; ++i) out(i) = data(rows(i), column);
  return out;
}

/// With mean 1.
void standardise(arma::Col<double>& w) {
  w *= static_cast<double>(w.n_elem) / arma::accu(w);
}

void standardise_within(arma::Col<double>& w, const selector& groups) {
  for (arma::uword c = 0; c < groups.size(); ++c) {
    arma::Col<double> part(w.memptr() + groups.start[c], groups.count[c], false, true);
    standardise(part);
  }
}

void check(const data::variable& v, const arma::Mat<double>& data) {
  for (arma::uword i = 0; i < data.n_rows; ++i)
    if (!(data(i, v.column) > 0.0))
      throw error("ERROR: Sampling weights must be greater than zero.\n       Problem variable: " + v.name);
}

}  // namespace

weights::weights(const cluster& structure, const arma::Mat<double>& data,
                 const std::vector<arma::uword>& columns)
    : clusters(structure.n_levels()) {
  if (structure.own_rows.empty() || columns.size() != structure.n_levels() + 1 || structure.n_levels() > 1)
    throw error_debug("Sampling weights do not match the levels.");
  within = cells(data, columns[0], *structure.own_rows[0]);
  if (structure.n_levels() == 0)
    standardise(within);
  else if (columns[0] != none)
    standardise_within(within, *structure.selectors[0]);
  rows = within;
  if (structure.n_levels() == 0 || columns[1] == none) return;
  clusters[0] = cells(data, columns[1], *structure.own_rows[1]);
  standardise(clusters[0]);
  for (arma::uword i = 0; i < rows.n_elem; ++i) rows(i) *= clusters[0]((*structure.row_cluster[0])(i));
  standardise(rows);
}

bool weights::of_clusters() const {
  return std::any_of(clusters.begin(), clusters.end(), [](const auto& h) { return !h.is_empty(); });
}

std::vector<std::shared_ptr<const weights>> sampling_weights(const VariableList& variables,
                                                             const working_data& working) {
  const auto given = variables.weights();
  if (given.empty()) return {};
  std::vector<arma::uword> columns(working.n_levels(), weights::none);
  for (const auto& v : given) {
    check(*v, working.data);
    columns.at(level_of(*v, variables)) = v->column;
  }
  std::vector<std::shared_ptr<const weights>> out;
  for (unsigned level = 0; level < working.n_levels(); ++level) {
    const std::vector<arma::uword> from(columns.begin() + level, columns.end());
    const bool all_1 = std::all_of(from.begin(), from.end(), [](auto c) { return c == weights::none; });
    out.push_back(all_1 ? nullptr
                        : std::make_shared<const weights>(working.clusters(level), working.data, from));
  }
  return out;
}

void refuse_predictor_models(const VariableList& variables) {
  if (variables.weights().empty()) return;
  throw error(
      "ERROR: Unspecified predictor models are not supported with sampling weights.\n"
      "       Specify the models directly via the sequential approach\n"
      "       in the MODEL command. See the User Guide for example.");
}

}  // namespace tovik::sem::estimator
