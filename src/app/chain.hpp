#pragma once

#include <algorithm>
#include <armadillo>
#include <concepts>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "app/draw_store.hpp"
#include "app/progress.hpp"
#include "input/chain_info.hpp"
#include "results/dic.hpp"
#include "results/run_stat.hpp"
#include "sem/ensemble/likelihood_totals.hpp"
#include "support/blas_threads.hpp"
#include "support/error.hpp"
#include "support/interrupt.hpp"
#include "support/text.hpp"

namespace tovik {

/// What a chain asks of its estimator, which owns its random numbers.
template <class T>
concept sampler = requires(T& estimator, T const& state, bool flag) {
  // One scan, and the report column of the state that it leaves.
  estimator.oneRep();
  { state.getParams() } -> std::convertible_to<arma::Col<double>>;
  // Adapts the proposals, at fixed intervals and after each scan; throws sem::error_tuning when they failed.
  estimator.tune();
  estimator.adapt();
  estimator.tune_check();
  // Units x 2 x (models + 1), or empty.
  { state.getLikelihoods() } -> std::convertible_to<arma::Cube<double>>;
  // Their sums over the models for several states together, without any yet; or null, which asks for the
  // above.
  { state.getLikelihoodTotals() } -> std::convertible_to<std::unique_ptr<sem::likelihood_totals>>;
  // Correlations among residuals.
  { state.getNumberCorrelations() } -> std::convertible_to<arma::uword>;
  { state.getCorrelations() } -> std::convertible_to<arma::Col<double>>;
  // Conditional effects.
  estimator.computeSimpleSlopes();
  { state.getSimpleSlopes() } -> std::convertible_to<arma::Col<double>>;
  // The completed data, rows in file order, with latent values, residuals and predicted values on demand.
  { state.getData(flag, flag, flag) } -> std::convertible_to<arma::Mat<double>>;
};

/// One independent Markov chain: an estimator, its share of the run and the draws that it leaves.
///
/// A request to end the run is followed between two scans: the draws so far stay.
///
/// A chain is built on the main thread, runs once on a thread of its own and is only read after that.
template <sampler T>
class chain {
 public:
  chain(std::shared_ptr<T> estimator, chain_info info)
      : estimator_(std::move(estimator)), info_(std::move(info)) {
    const arma::uword n = estimator_->getParams().n_elem;
    burn_draws_ = draw_store(n, info_.burn);
    iter_draws_ = draw_store(n, info_.iterations);
    if (!info_.likelihoods) fit_ = sem::DIC::of_totals();
    simple_draws_ = draw_store(estimator_->getSimpleSlopes().n_elem, info_.iterations);
    if (stores_correlations()) {
      corr_draws_ = draw_store(estimator_->getNumberCorrelations(), info_.iterations);
    }
  }

  /// Starts a thread that runs this chain; the chain must stay where it is until the thread is joined.
  std::thread spawn() {
    return std::thread([this] { run(); });
  }

  /// Burn-in and sampling. Never lets an exception out: a failure is kept in error().
  void run() noexcept {
    use_one_blas_thread_here();
    try {
      if (burn_in()) {
        if (chain_info::crash_on_tune_fail) estimator_->tune_check();
        say("  Chain %i completed burn-in on %s");
        sample();
        say("  Chain %i finished on %s");
      }
      trim();
    } catch (...) {
      error_ = std::current_exception();
      print_chain_error();
      trim();
    }
  }

  const draw_store& burn_draws() const { return burn_draws_; }
  const draw_store& iter_draws() const { return iter_draws_; }
  const draw_store& simple_draws() const { return simple_draws_; }
  const draw_store& corr_draws() const { return corr_draws_; }
  const RunStat<arma::Mat<double>>& avg_imp() const { return avg_imp_; }
  /// Running statistics of the log likelihoods.
  const sem::DIC& fit() const { return fit_; }
  const T& estimator() const { return *estimator_; }
  const chain_info& info() const { return info_; }
  std::exception_ptr error() const { return error_; }
  /// Imputations that have been saved.
  std::size_t saved() const { return next_imputation_; }

 private:
  /// What an error or an interruption has left of the stores.
  void trim() {
    for (draw_store* store : {&burn_draws_, &iter_draws_, &simple_draws_, &corr_draws_}) store->trim();
  }

  bool stores_correlations() const {
    return chain_info::compute_corrs && estimator_->getNumberCorrelations() > 0;
  }

  int id() const { return static_cast<int>(info_.id); }

  void say(const char* fmt) const { progress::print(format(fmt, id(), progress::now().c_str())); }

  void say(const char* fmt, std::uint32_t number) const {
    progress::print(format(fmt, id(), static_cast<int>(number), progress::now().c_str()));
  }

  void print_chain_error() const noexcept {
    try {
      say("  Chain %i had an error on %s");
    } catch (...) {
      // No memory is left for the line; the error itself is kept and will be reported.
    }
  }

  /// True at the end of each quarter of `total`, and at every step of a phase of three or fewer.
  static bool milestone(std::uint32_t step, std::uint32_t total) {
    return total <= 3 || step % (total / 4) == 0;
  }

  /// True when the burn-in is complete.
  bool burn_in() {
    const run_clock::stretch stretch(progress::clock(), run_phase::burn_in);
    say("  Chain %i burn-in started on %s");
    for (std::uint32_t i = 0; i < info_.burn;) {
      if (interrupt::requested() != 0) return false;
      estimator_->oneRep();
      progress::clock().scanned();
      burn_draws_.push(estimator_->getParams());
      ++i;
      if (milestone(i, info_.burn)) say("  Chain %i burn-in iteration %i completed on %s", i);
      if (i <= info_.burn / 2) estimator_->adapt();
      if (i < info_.burn / 2 && i % info_.tunecheck == 0) estimator_->tune();
    }
    return true;
  }

  void sample() {
    const run_clock::stretch stretch(progress::clock(), run_phase::sampling);
    for (std::uint32_t t = 0; t < info_.iterations && interrupt::requested() == 0;) {
      estimator_->oneRep();
      progress::clock().scanned();
      estimator_->computeSimpleSlopes();
      iter_draws_.push(estimator_->getParams());
      if (simple_draws_.draws().n_rows > 0) simple_draws_.push(estimator_->getSimpleSlopes());
      if (chain_info::compute_DIC) add_likelihoods(t == 0);
      if (stores_correlations()) add_correlations();
      ++t;
      if (milestone(t, info_.iterations)) say("  Chain %i completed iteration %i on %s", t);
      save_imputation(t);
      if (info_.averaging) avg_imp_ += data();
    }
    take_totals();
    totals_.reset();
  }

  /// Draws are kept until there is no room for more, unless the report asks for the parts of models.
  void add_likelihoods(bool first) {
    if (first && !info_.likelihoods) totals_ = estimator_->getLikelihoodTotals();
    if (totals_ == nullptr) {
      fit_ += estimator_->getLikelihoods();
      return;
    }
    totals_->keep();
    if (totals_->full()) take_totals();
  }

  void take_totals() {
    if (totals_ == nullptr) return;
    fit_ += *totals_;
    totals_->clear();
  }

  arma::Mat<double> data() const {
    return estimator_->getData(info_.savelatent, info_.saveresid, info_.savepred);
  }

  void add_correlations() {
    try {
      corr_draws_.push(estimator_->getCorrelations());
    } catch (...) {
      throw tovik::error(
          "ERROR: The model for correlations among residuals failed.\n"
          "       Disable estimating this model using 'OPTIONS: disable_corrs'");
    }
  }

  /// Imputations are spread evenly over the sampling phase; no more are saved than were asked for.
  void save_imputation(std::uint32_t t) {
    const std::size_t n = info_.imputations.size();
    if (next_imputation_ >= n) return;
    if (info_.iterations >= n && t % (info_.iterations / n) != 0) return;
    const std::size_t k = next_imputation_++;
    info_.saves.at(k)(data());
    say("  Chain %i saved imputation %i on %s", info_.imputations[k]);
  }

  draw_store burn_draws_;
  draw_store iter_draws_;
  draw_store simple_draws_;
  draw_store corr_draws_;
  RunStat<arma::Mat<double>> avg_imp_;
  sem::DIC fit_;
  std::shared_ptr<T> estimator_;
  std::unique_ptr<sem::likelihood_totals> totals_;  ///< draws that fit_ has not yet
  chain_info info_;
  std::size_t next_imputation_ = 0;
  std::exception_ptr error_;
};

}  // namespace tovik
