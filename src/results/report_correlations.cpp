// Correlations among the residuals and random effects of different equations.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "model/correlation.hpp"
#include "model/model_list.hpp"
#include "results/report_outcomes.hpp"
#include "results/summary.hpp"
#include "results/table.hpp"
#include "sem/chain/mcmc.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

/// One side of a correlation under the name that the table gives it: an outcome, or an outcome and its term.
std::string side_name(const model::correlation_side& side) {
  const std::string outcome = side.outcome.name();
  if (!side.effect) return outcome;
  const bool intercept = side.effect->type == data::type::constant;
  return outcome + " " + (intercept ? "Intercept" : side.effect->name);
}

/// The correlations that are parameters themselves, by the two names in either order.
class own_parameters {
 public:
  explicit own_parameters(const ModelList& models) {
    for (const Model& model : models) {
      if (model.kind() == model::kind::phantom) add(model.outcomes.front());
      if (!model.is_multi()) continue;
      for (const model::anyVariable& correlation : model.random) {
        const bool zero = correlation.param.is_fixed() && correlation.param.value() == 0.0;
        if (!zero) add(correlation);
      }
    }
  }

  bool has(const std::string& pair) const { return pairs_.count(to_lower(pair)) > 0; }

 private:
  void add(const model::anyVariable& term) {
    if (!term.ends) return;
    const std::string first = side_name(term.ends->first);
    const std::string second = side_name(term.ends->second);
    pairs_.insert(to_lower(first + " <-> " + second));
    pairs_.insert(to_lower(second + " <-> " + first));
  }

  std::set<std::string> pairs_;
};

/// The pairs of one level that the report shows.
struct level_rows {
  std::vector<std::string> labels;
  std::vector<arma::uword> rows;  ///< of the table
};

/// NaN counts as the smallest.
double size_of(double value) {
  return std::isnan(value) ? -1.0 : std::abs(value);
}

void sort_rows(level_rows& level, const arma::Mat<double>& table) {
  if (table.n_cols == 0 || table.n_rows == 0) return;
  std::vector<std::size_t> order(level.rows.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return size_of(table(level.rows[a], 0)) > size_of(table(level.rows[b], 0));
  });
  level_rows sorted;
  for (std::size_t k : order) {
    sorted.labels.push_back(std::move(level.labels[k]));
    sorted.rows.push_back(level.rows[k]);
  }
  level = std::move(sorted);
}

std::vector<level_rows> shown_rows(const ModelList& models, unsigned n_levels, bool all) {
  const own_parameters own(models);
  std::vector<level_rows> out(n_levels);
  arma::uword row = 0;
  for (unsigned level = 0; level < n_levels; ++level) {
    const int place = static_cast<int>(n_levels - 1 - level);
    std::vector<std::string> labels = models.rcorr_names(place);
    const std::vector<bool> hidden = models.rcorr_hidden(place);
    for (std::size_t k = 0; k < labels.size(); ++k) {
      const arma::uword at = row++;
      if (hidden[k] || (!all && own.has(labels[k]))) continue;
      out[level].labels.push_back(std::move(labels[k]));
      out[level].rows.push_back(at);
    }
  }
  return out;
}

void print_level(std::FILE* stream, const level_rows& level, const Summary& correlations,
                 const arma::Mat<double>& values) {
  const Table table(stream, correlations.colNames());
  std::fputs("\n", stream);
  table.heading("Correlations");
  for (std::size_t k = 0; k < level.rows.size(); ++k) {
    const bool there = level.rows[k] < values.n_rows;
    table.row(level.labels[k], there ? arma::Row<double>(values.row(level.rows[k])) : arma::Row<double>(),
              Table::tests::shown);
  }
  table.close("\n\n\n");
}

}  // namespace

void print_correlations(std::FILE* stream, const ModelList& models, unsigned n_levels,
                        const Summary& correlations, bool sorted, bool all) {
  std::vector<level_rows> levels = shown_rows(models, n_levels, all);
  const bool some =
      std::any_of(levels.begin(), levels.end(), [](const level_rows& level) { return !level.rows.empty(); });
  if (!some) {
    std::fputs("  No residual correlations.\n\n\n", stream);
    return;
  }
  const arma::Mat<double> values = correlations.summary();
  print_summaries_based_on(stream, correlations.n_iterations(), correlations.n_chains(), "\n");
  for (unsigned level = 0; level < n_levels; ++level) {
    const int number = static_cast<int>(level + 1);
    if (levels[level].rows.empty()) {
      std::fprintf(stream, "   No residual correlations at Level-%i.\n", number);
      continue;
    }
    if (n_levels > 1) std::fprintf(stream, "\n   Level-%i:\n", number);
    if (sorted) sort_rows(levels[level], values);
    print_level(stream, levels[level], correlations, values);
  }
}

void sem::Mcmc::printCorrelations(std::FILE* stream, const ModelList& models,
                                  const Summary& correlations) const {
  print_correlations(stream, models, n_levels(), correlations, sort_rcorrs, print_all_rcorrs);
}

}  // namespace tovik
