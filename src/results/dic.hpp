#pragma once

#include <armadillo>
#include <cstdio>
#include <utility>

#include "random/log_sum_exp.hpp"
#include "results/run_stat.hpp"

namespace tovik::sem {

class likelihood_totals;

/// Information criteria from the log likelihood of every unit at every iteration.
///
/// A sample is a cube: rows are the units of the highest level, column 0 the marginal and column 1 the
/// conditional log likelihood, one slice per outcome model and a last one with their sum. With lppd_i the log
/// of the mean likelihood of unit i,
///   DIC2 =  2 sum_i lppd_i - 4 sum_i mean_i      (Celeux et al., 2006, Bayesian Analysis 1, 651-673)
///   WAIC = -2 sum_i lppd_i + 2 sum_i var_i       (Watanabe, 2010, JMLR 11, 3571-3594)
class DIC {
 public:
  DIC() = default;
  /// For the criteria alone: keeps the sums over models and not each model's part, which likel_mat then has
  /// not; and one column as long as both are the same.
  static DIC of_totals();
  /// From the accumulators of one chain, which saw the same cubes.
  DIC(RunStat<arma::Cube<double>> stat, LogSumExp<arma::Cube<double>> log_sum)
      : stat_(std::move(stat)), log_sum_(std::move(log_sum)) {}

  /// Adds one iteration of a chain. An empty cube is passed over; throws error_debug "Does not match." when
  /// the shape differs from that of the iterations before.
  DIC& operator+=(const arma::Cube<double>& log_likelihood);
  /// Merges another chain.
  DIC& operator+=(const DIC& other);
  /// Adds the iterations that a chain has kept, to totals: up to rounding as if they came one by one. Throws
  /// error_debug where parts of models are kept, and "Does not match." when the units differ from before.
  DIC& operator+=(likelihood_totals& kept);

  /// The two criteria of one column of the cubes.
  struct criteria {
    double dic2;
    double waic;
  };
  criteria marginal() const { return compute(0); }
  criteria conditional() const { return compute(1); }

  /// True when there is something to print: two iterations of non-empty cubes.
  bool exists() const { return stat_.count > 1 && !stat_.mean.is_empty(); }
  /// The block of INFORMATION CRITERIA; nothing without at least two iterations. The marginal part is left
  /// out when it is the same as the conditional one (single-level data) or when none of it is finite.
  void print(std::FILE* stream) const;
  /// One row per slice: its number from 1, then marginal and conditional sums over units of lppd, of the mean
  /// and of the variance of the log likelihood. No rows without iterations.
  arma::Mat<double> likel_mat() const;

 private:
  void add(const arma::Cube<double>& sample);
  void add_totals(const arma::Cube<double>& log_likelihood);
  void make_room(arma::uword units, arma::uword columns);
  /// From one column to two.
  void split();
  criteria compute(arma::uword column) const;
  /// Sum over units of the log of the mean likelihood.
  double sum_lppd(arma::uword column, arma::uword slice) const;

  RunStat<arma::Cube<double>> stat_;
  LogSumExp<arma::Cube<double>> log_sum_;
  bool totals_ = false;
  bool one_column_ = false;  ///< the columns of all totals so far were the same
};

}  // namespace tovik::sem
