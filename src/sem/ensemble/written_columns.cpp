#include "sem/ensemble/written_columns.hpp"

#include "model/model_list.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::sem {

namespace {

bool is_drawn(const model::anyVariable& term) {
  switch (term.type) {
    case model::type::mean:
    case model::type::latent:
    case model::type::random:
    case model::type::phantom:
      return true;
    case model::type::variable:
      break;
    default:
      return false;
  }
  switch (term.variable->type) {
    case data::type::latent:
    case data::type::phantom:
    case data::type::random_effect:
      return true;
    default:
      return false;
  }
}

void mark(const arma::Col<arma::uword>& which, std::vector<bool>& columns) {
  for (arma::uword column : which) {
    if (column < columns.size()) columns[column] = true;
  }
}

}  // namespace

void mark_written(const std::vector<std::unique_ptr<Variable>>& predictors, std::vector<bool>& columns) {
  constexpr int not_centered = 2;
  for (const auto& v : predictors) {
    if (v->missing || v->mode != not_centered) mark(v->value_columns(), columns);
    if (v->missing) mark({v->variable().column}, columns);
    for (unsigned d = 1; d < v->deviates.size(); ++d) {
      if (v->isDeviation(d)) mark(v->mean_columns(d), columns);
    }
  }
}

std::vector<bool> written_columns(const ModelList& list, const arma::Mat<double>& data) {
  std::vector<bool> out(data.n_cols, false);
  for (arma::uword j = 0; j < data.n_cols; ++j) out[j] = data.col(j).has_nan();
  for (auto type : {model::type::variable, model::type::mean, model::type::latent, model::type::random,
                    model::type::phantom}) {
    for (const model::anyVariable& term : list.variables(type, true)) {
      if (!is_drawn(term)) continue;
      for (unsigned column : term.indicator()) {
        if (column < out.size()) out[column] = true;
      }
    }
  }
  return out;
}

}  // namespace tovik::sem
