#pragma once

#include <algorithm>
#include <armadillo>
#include <concepts>
#include <cstdio>
#include <exception>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "app/chain.hpp"
#include "app/chain_files.hpp"
#include "app/progress.hpp"
#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "results/dic.hpp"
#include "results/summary.hpp"
#include "results/wald_test.hpp"
#include "support/error.hpp"
#include "support/file_writer.hpp"
#include "support/interrupt.hpp"
#include "support/output.hpp"
#include "support/warning.hpp"

namespace tovik {

/// What a group of chains asks of their estimator: a chain's contract, and the acceptance rates of its
/// proposals.
template <class T>
concept grouped_sampler = sampler<T> &&
    requires(T const& state, std::FILE* stream, const VariableList& vars, const ModelList& models, bool all) {
  // Whether a proposal was ever made, and whether the rate of one is out of bounds.
  { state.hasTuningInfo() } -> std::convertible_to<bool>;
  { state.tune_warning() } -> std::convertible_to<bool>;
  state.printTuningInfo(stream, vars, models, all);
};

/// The tables of the report, which the estimator prints from the pooled draws.
template <class T>
concept reporting_sampler = grouped_sampler<T> &&
    requires(T const& state, std::FILE* stream, const VariableList& vars, const ModelList& models,
             const Summary& draws) {
  state.printInfo(stream, vars, models);
  state.printParameterLabels(stream, vars, models, draws);
  state.printParameterLabelsFile(stream, vars, models);
  // Of a report column, the last rows are those of the models of predictors.
  { state.getCovariateModelNumParams() } -> std::convertible_to<arma::uword>;
  // Cells of outcomes that the likelihoods leave out.
  { state.getUnobservedCells() } -> std::convertible_to<arma::uword>;
  { state.printOutcomes(stream, vars, models, draws, draws) } -> std::convertible_to<bool>;
  state.printCovariates(stream, vars, draws);
  state.printCorrelations(stream, models, draws);
};

/// How much of a run has been done, over all chains.
struct progress_count {
  unsigned long long iterations = 0;
  unsigned long long planned_iterations = 0;
  unsigned long long imputations = 0;
  unsigned long long planned_imputations = 0;
};

/// The chains of a run: runs them in batches of threads and pools what they leave. Filled once, run once; the
/// getters may be called any number of times after that, and refer to the chains' draws without copying them.
template <grouped_sampler T>
class chain_group {
 public:
  explicit chain_group(std::size_t processors) : processors_(processors) {}

  void push_back(chain<T> one) { chains_.push_back(std::move(one)); }
  bool empty() const { return chains_.empty(); }
  const chain<T>& front() const {
    require_chains();
    return chains_.front();
  }

  /// Runs all chains, at most `processors` at a time, and rethrows the error of the first chain that failed.
  void exec() {
    require_chains();
    progress::print("\nITERATION HISTORY:\n\n");
    if (processors_ == 0) throw error_debug("Number of threads is set to zero!");
    progress::clock().begin_chains(planned_scans());
    for (std::size_t next = 0; next < chains_.size() && interrupt::requested() == 0;) next = run_batch(next);
    progress::clock().end_chains();
    end_history();
    warn_threads();
    for (const chain<T>& one : chains_) {
      if (one.error()) std::rethrow_exception(one.error());
    }
  }

  progress_count done() const {
    progress_count out;
    for (const chain<T>& one : chains_) {
      out.iterations += one.iter_draws().size();
      out.planned_iterations += one.info().iterations;
      out.imputations += one.saved();
      out.planned_imputations += one.info().imputations.size();
    }
    return out;
  }
  /// True when a request has ended the sampling early.
  bool interrupted() const {
    const progress_count all = done();
    return interrupt::requested() != 0 && all.iterations < all.planned_iterations;
  }

  Summary burn() const { return pool(&chain<T>::burn_draws); }
  Summary iterations() const { return pool(&chain<T>::iter_draws); }
  Summary simple() const { return pool(&chain<T>::simple_draws); }
  Summary resid_cor() const { return pool(&chain<T>::corr_draws); }
  /// The draws of the chains that have any: an interrupted run estimates from them.
  Summary estimates() const { return pool(&chain<T>::iter_draws, true); }

  /// Mean and squared deviations of the completed data over all chains, merged in chain order.
  RunStat<arma::Mat<double>> avgImp() const {
    require_chains();
    RunStat<arma::Mat<double>> pooled;
    for (const chain<T>& one : chains_) pooled += one.avg_imp();
    return pooled;
  }

  sem::DIC dic() const {
    require_chains();
    sem::DIC pooled;
    for (const chain<T>& one : chains_) pooled += one.fit();
    return pooled;
  }

  void printInfo(const VariableList& vars, const ModelList& models) const requires reporting_sampler<T> {
    front().estimator().printInfo(Output::fp, vars, models);
    std::fflush(Output::fp);
  }

  void printLabels(const VariableList& vars, const ModelList& models) const requires reporting_sampler<T> {
    require_chains();
    std::fputs("\nPARAMETER LABELS:\n\n", Output::fp);
    front().estimator().printParameterLabels(Output::fp, vars, models, burn());
    std::fflush(Output::fp);
  }

  /// The acceptance rates of the Metropolis steps; prints nothing for a sampler without such steps. Unless
  /// `all`, only those out of bounds are shown, and chains without any are counted.
  void printTune(std::FILE* stream, const VariableList& vars, const ModelList& models, bool all) const {
    require_chains();
    const bool any = std::any_of(chains_.begin(), chains_.end(),
                                 [](const chain<T>& one) { return one.estimator().hasTuningInfo(); });
    if (!any) return;
    std::fputs("\nMETROPOLIS-HASTINGS ACCEPTANCE RATES:\n\n", stream);
    unsigned long suppressed = 0;
    for (const chain<T>& one : chains_) {
      if (!all && !one.estimator().tune_warning()) {
        ++suppressed;
        continue;
      }
      std::fprintf(stream, "  Chain %i:\n", static_cast<int>(one.info().id));
      one.estimator().printTuningInfo(stream, vars, models, all);
      std::fputs("\n", stream);
    }
    if (!all) print_suppressed(stream, suppressed);
    std::fflush(stream);
  }

  /// Pushes the warning about acceptance rates out of bounds, if there are any; whether they are printed or
  /// not.
  void warnTune() const {
    const bool warn = std::any_of(chains_.begin(), chains_.end(),
                                  [](const chain<T>& one) { return one.estimator().tune_warning(); });
    if (!warn) return;
    warning::buffer.push(
        "WARNING: One or more tuning parameters had a suboptimal acceptance probability.\n"
        "         This generally implies less efficient sampling of parameters.\n"
        "         Check the effective sample size (N_EFF) in estimates below.\n"
        "         See METROPOLIS-HASTINGS ACCEPTANCE RATES section for more information.");
  }

  /// The results: fit, correlations among residuals, estimates of the outcome models and of the predictor
  /// models, each where there is something to print. `draws`: those of estimates(). `brief`: one line in the
  /// place of the predictor models.
  void print(const VariableList& vars, const ModelList& models, const std::vector<model::waldtest>& tests,
             const Summary& draws, bool brief = false) const requires reporting_sampler<T> {
    std::FILE* fp = Output::fp;
    if (interrupted() && draws.n_iterations() == 0) return;
    const T& estimator = front().estimator();
    const arma::uword n_covariate_rows = estimator.getCovariateModelNumParams();
    const arma::uword n_outcome_rows = draws.n_rows() - n_covariate_rows;
    if (n_outcome_rows > 0) print_outcomes(fp, vars, models, tests, rows_of(draws, 0, n_outcome_rows));
    if (n_covariate_rows > 0) {
      std::fputs("\nPREDICTOR MODEL ESTIMATES:\n\n", fp);
      if (brief) {
        print_left_out(fp, n_covariate_rows);
      } else {
        estimator.printCovariates(fp, vars, rows_of(draws, n_outcome_rows, n_covariate_rows));
      }
      std::fputs("\n", fp);
      std::fflush(fp);
    }
  }

  /// The last draw of each chain as starting values.
  void saveStarts(const std::string& path, const VariableList&, const ModelList& models) const {
    save_starts(path, iterations(), models);
  }

  /// The names of all parameters.
  void saveLabelFile(const std::string& path, const VariableList& vars,
                     const ModelList& models) const requires reporting_sampler<T> {
    file_writer file(path);
    if (file.stream() != nullptr) front().estimator().printParameterLabelsFile(file.stream(), vars, models);
    file_set::store(std::move(file));
  }

  /// The draws of burn-in by parameter, and the names of all parameters.
  void saveTraces(const std::string& folder, const VariableList& vars,
                  const ModelList& models) const requires reporting_sampler<T> {
    const Summary draws = burn();
    arma::uword rows = 0;
    for (const chain<T>& one : chains_) {
      rows = std::max({rows, one.burn_draws().size(), one.iter_draws().size()});
    }
    save_traces(folder, draws, rows);
    saveLabelFile(folder + "/labels.dat", vars, models);
  }

 private:
  void require_chains() const {
    if (chains_.empty()) throw error_debug("Number of chains is set to zero!");
  }

  unsigned long long planned_scans() const {
    unsigned long long total = 0;
    for (const chain<T>& one : chains_) total += 0ull + one.info().burn + one.info().iterations;
    return total;
  }

  /// Starts the chains from `next` on, as many as there are processors, and joins them in the order started.
  /// When the system gives fewer threads, the chain that got none runs on this one, and later batches are as
  /// small as this has become.
  std::size_t run_batch(std::size_t next) {
    std::vector<std::thread> threads;
    while (next < chains_.size() && threads.size() < processors_) {
      try {
        threads.push_back(chains_[next].spawn());
      } catch (const std::system_error&) {
        processors_ = threads.size() + 1;
        short_of_threads_ = true;
        chains_[next++].run();
        break;
      }
      ++next;
    }
    for (std::thread& thread : threads) thread.join();
    return next;
  }

  void warn_threads() const {
    if (!short_of_threads_) return;
    warning::buffer.push("WARNING: The system started no more than " + std::to_string(processors_ - 1) +
                         " threads for the chains.\n         The other chains had to wait.");
  }

  static void end_history() {
    std::fputs("\n", stdout);
    std::fflush(stdout);
    if (Output::fp != stdout) std::fputs("\n", Output::fp);
  }

  /// With `filled`, without the chains that have no draws, unless none has any.
  Summary pool(const draw_store& (chain<T>::*store)() const, bool filled = false) const {
    require_chains();
    filled = filled && std::any_of(chains_.begin(), chains_.end(),
                                   [&](const chain<T>& one) { return (one.*store)().size() > 0; });
    std::vector<chain_draws> draws;
    arma::uword per_chain = std::numeric_limits<arma::uword>::max();
    for (const chain<T>& one : chains_) {
      const draw_store& kept = (one.*store)();
      if (filled && kept.size() == 0) continue;
      draws.push_back(chain_draws::borrow(kept.draws(), kept.size()));
      per_chain = std::min(per_chain, kept.size());
    }
    return Summary(std::move(draws), per_chain);
  }

  static void print_suppressed(std::FILE* stream, unsigned long chains) {
    constexpr double tolerance = 0.2;  // every band reaches to 0.05 + 0.15 on both sides of its target
    if (chains > 0)
      std::fprintf(stream, "  NOTE: Suppressing printing of %lu %s.\n", chains,
                   chains == 1 ? "chain" : "chains");
    std::fprintf(stream,
                 "  NOTE: Suppressing printing of tuning info that is within\n"
                 "        +/- %0.2f of the target acceptance probability.\n"
                 "        Use keyword 'tuneinfo' in options to override.\n",
                 tolerance);
    std::fputs("\n", stream);
  }

  static Summary rows_of(const Summary& draws, arma::uword first, arma::uword count) {
    return draws.rows(arma::span(first, first + count - 1));
  }

  void print_outcomes(std::FILE* fp, const VariableList& vars, const ModelList& models,
                      const std::vector<model::waldtest>& tests,
                      const Summary& draws) const requires reporting_sampler<T> {
    print_fit(fp, tests, draws);
    if (chain_info::compute_corrs) {
      std::fputs("\nCORRELATIONS AMONG RESIDUALS:\n\n", fp);
      front().estimator().printCorrelations(fp, models, pool(&chain<T>::corr_draws, true));
      std::fflush(fp);
    }
    std::fputs("\nOUTCOME MODEL ESTIMATES:\n\n", fp);
    if (front().estimator().printOutcomes(fp, vars, models, draws, pool(&chain<T>::simple_draws, true)))
      std::fputs("\n", fp);
    std::fflush(fp);
  }

  static void print_left_out(std::FILE* fp, arma::uword n) {
    std::fprintf(fp, "  NOTE: The tables of %llu %s are left out (brief on OPTIONS).\n",
                 static_cast<unsigned long long>(n), n == 1 ? "parameter" : "parameters");
  }

  void print_fit(std::FILE* fp, const std::vector<model::waldtest>& tests,
                 const Summary& draws) const requires reporting_sampler<T> {
    const sem::DIC fit = dic();
    const bool has_criteria = chain_info::compute_DIC && fit.exists();
    if (!has_criteria && tests.empty()) return;
    std::fputs("\nMODEL FIT:\n\n", fp);
    if (has_criteria) print_criteria(fp, fit);
    sem::print_wald_tests(fp, tests, draws);
    std::fflush(fp);
  }

  void print_criteria(std::FILE* fp, const sem::DIC& fit) const requires reporting_sampler<T> {
    std::fputs("\n  INFORMATION CRITERIA\n\n", fp);
    fit.print(fp);
    const arma::uword left_out = front().estimator().getUnobservedCells();
    if (left_out == 1)
      std::fputs("\n    NOTE: 1 cell of an outcome was not observed and is left out.\n", fp);
    else if (left_out > 1)
      std::fprintf(fp, "\n    NOTE: %llu cells of outcomes were not observed and are left out.\n",
                   static_cast<unsigned long long>(left_out));
    std::fputs("\n", fp);
  }

  std::vector<chain<T>> chains_;
  std::size_t processors_;
  bool short_of_threads_ = false;
};

}  // namespace tovik
