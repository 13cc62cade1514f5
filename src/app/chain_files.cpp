#include "app/chain_files.hpp"

#include <vector>

#include "data/read_data.hpp"
#include "data/save_matrix.hpp"
#include "model/row_table.hpp"

namespace tovik {

std::vector<arma::uword> parameter_draws(const ModelList& models, arma::uword n_rows) {
  std::vector<arma::uword> out;
  const model::row_table table(models);
  arma::uword place = 0;
  for (std::size_t i = 0; i < models.size(); ++i) {
    for (unsigned code = 0; code < models[i].n_codes(); ++code) {
      for (const model::row& row : table.rows(i)) {
        if (model::is_parameter(row.section)) out.push_back(place);
        ++place;
      }
    }
  }
  for (arma::uword k = place; k < n_rows; ++k) out.push_back(k);
  return out;
}

void save_starts(const std::string& path, const Summary& iterations, const ModelList& models) {
  const std::vector<arma::uword> rows = parameter_draws(models, iterations.n_rows());
  if (rows.empty()) return;
  arma::Mat<double> out(rows.size(), iterations.n_chains());
  out.fill(arma::datum::nan);
  for (arma::uword j = 0; j < iterations.n_chains(); ++j) {
    const chain_draws& chain = iterations.chains()[j];
    if (chain.n_cols() == 0) continue;
    for (arma::uword k = 0; k < rows.size(); ++k) out(k, j) = chain(rows[k], chain.n_cols() - 1);
  }
  save_matrix(out, path, delimeter(path), "", arma::datum::nan, true);
}

void save_traces(const std::string& folder, const Summary& burn, arma::uword rows) {
  arma::Mat<double> trace(rows, 1 + burn.n_chains());
  trace.fill(arma::datum::nan);
  for (arma::uword t = 0; t < rows; ++t) trace(t, 0) = static_cast<double>(t) + 1.0;
  for (arma::uword k = 0; k < burn.n_rows(); ++k) {
    for (arma::uword j = 0; j < burn.n_chains(); ++j) {
      const chain_draws& chain = burn.chains()[j];
      for (arma::uword t = 0; t < chain.n_cols(); ++t) trace(t, 1 + j) = chain(k, t);
    }
    save_matrix(trace, folder + "/burn" + std::to_string(k + 1) + ".csv", "csv", "", arma::datum::nan, true);
  }
}

}  // namespace tovik
