#pragma once

#include <armadillo>
#include <boost/math/distributions/chi_squared.hpp>
#include <functional>
#include <string>
#include <vector>

#include "calibration/replicate.hpp"
#include "results/summary.hpp"

namespace tovik::tests::calibration {

/// A model whose parameters are drawn from its prior before the data are simulated.
///
/// If the draws are from the posterior, the truth is one more draw of the same distribution: its rank among
/// independent draws is uniform, for every quantity, also one that depends on the data. Cook, Gelman and
/// Rubin (2006), Journal of Computational and Graphical Statistics 15, 675-692; Talts, Betancourt, Simpson,
/// Vehtari and Gelman (2018), arXiv:1804.06788; for the log likelihood as a quantity Modrak et al. (2023),
/// Bayesian Analysis.
struct rank_study {
  std::string title;
  std::string design;  ///< sentences for the report
  experiment runs;     ///< the truth of a study holds the parameters, in the order of `rows`
  std::vector<std::string> parameters;
  std::vector<arma::uword> rows;  ///< of the parameters in the draws
  /// Log likelihood of the observed data, everything latent integrated out, at given parameters.
  std::function<double(const arma::Col<double>& parameters, const arma::Mat<double>& data)> log_likelihood;
  /// Null, or: the study is of these parameters only. For a prior that is improper but for what is shut out;
  /// what the draws bring of that is passed over.
  std::function<bool(const arma::Col<double>& parameters)> admits;
  std::uint32_t burn = 1000;
  std::uint32_t thin = 100;  ///< scans between the draws that are ranked
};

/// Ranks of the truth among this many draws: with one bin for each rank that can occur.
constexpr std::uint32_t ranked_draws = 19;

/// One column per quantity, the parameters and then the log likelihood, one row per replication.
struct rank_table {
  std::vector<std::string> quantities;
  arma::Mat<arma::uword> ranks;

  /// How often each rank occurs.
  arma::Col<arma::uword> histogram(arma::uword quantity) const {
    arma::Col<arma::uword> counts(ranked_draws + 1, arma::fill::zeros);
    for (arma::uword rank : ranks.col(quantity)) ++counts(rank);
    return counts;
  }

  double chi_square(arma::uword quantity) const {
    const double expected = static_cast<double>(ranks.n_rows) / (ranked_draws + 1);
    double sum = 0;
    for (arma::uword count : histogram(quantity)) {
      sum += (static_cast<double>(count) - expected) * (static_cast<double>(count) - expected) / expected;
    }
    return sum;
  }

  /// Probability of a chi-square this large when ranks are uniform.
  double p_value(arma::uword quantity) const {
    const boost::math::chi_squared_distribution<double> null(ranked_draws);
    return boost::math::cdf(boost::math::complement(null, chi_square(quantity)));
  }
};

inline std::string run_length(const rank_study& model) {
  // Conditions of the tuning that a long run warns of are no concern of a calibration.
  return format("CHAINS: 1; BURN: %u; ITERATIONS: %u; DEBUG: allow_tune_fail;\n", model.burn,
                ranked_draws * model.thin);
}

inline rank_table ranks(const rank_study& model, std::size_t replications) {
  rank_table table;
  table.quantities = model.parameters;
  table.quantities.push_back("log likelihood");
  table.ranks.zeros(replications, table.quantities.size());
  experiment runs = model.runs;
  runs.commands += run_length(model);
  replicate(runs, replications, [&](std::size_t i, const study& one, const sampled_run& run) {
    const Summary draws = run.group->iterations();
    const chain_draws& chain = draws.chains()[0];
    const double truth = model.log_likelihood(one.truth, one.data);
    arma::Col<double> parameters(model.rows.size());
    std::uint32_t ranked = 0;
    for (std::uint32_t t = 0; t < ranked_draws; ++t) {
      for (arma::uword j = 0; j < parameters.n_elem; ++j)
        parameters(j) = chain(model.rows[j], (t + 1) * model.thin - 1);
      if (model.admits && !model.admits(parameters)) continue;
      ++ranked;
      for (arma::uword j = 0; j < parameters.n_elem; ++j) table.ranks(i, j) += parameters(j) < one.truth(j);
      table.ranks(i, parameters.n_elem) += model.log_likelihood(parameters, one.data) < truth;
    }
    if (ranked == ranked_draws) return;
    // The rank among fewer is uniform, too: it stands for an interval of [0, 1], of which a point is drawn.
    std::mt19937_64 engine = engine_of(~model.runs.seed, i);
    std::uniform_real_distribution<double> point(0.0, 1.0);
    for (arma::uword& rank : table.ranks.row(i)) {
      const double share = (static_cast<double>(rank) + point(engine)) / (ranked + 1.0);
      rank = static_cast<arma::uword>(share * (ranked_draws + 1.0));
    }
  });
  return table;
}

}  // namespace tovik::tests::calibration
