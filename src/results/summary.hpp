#pragma once

#include <armadillo>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "results/chain_draws.hpp"

namespace tovik {

/// The draws of all chains for a block of parameters, and the report columns computed from them.
///
/// Every matrix holds parameters in rows and draws in columns. A Summary holds windows on the chains' stores
/// and copies no draws (chain_draws::borrow); the stores outlive it. Plain columns use all draws of all
/// chains; PSR and effective sample size use the first n_cols() draws of each chain. A parameter with a NaN
/// draw has NaN in every column; so have too few draws, which are no error.
///
/// The static members are process-wide settings of the command file, fixed before any chain starts.
class Summary {
 public:
  enum class column : int {
    mean = 0,
    median = 1,
    stddev = 2,
    variance = 3,
    mad_sd = 4,
    quantiles = 5,
    quant99 = 6,
    quant95 = 7,
    quant50 = 8,
    psr = 9,
    n_eff = 10,
    mcmc_se = 11,
    chisq = 12,
    pvalue = 13,
  };

  static bool supress_print;           ///< blank ChiSq and PValue where no test is wanted; default true
  static bool splitChain;              ///< split every chain in two for the PSR; default true
  static unsigned long long interval;  ///< iterations between the check points of the PSR table; default 100
  static std::vector<column> cols;  ///< columns of the report; empty until OUTPUT words or the first reader

  /// Adds what one OUTPUT word stands for to `cols`; the four "default" words replace the list. An empty word
  /// The words of the OUTPUT command.
  static std::vector<std::string> column_words();
  /// and "OUTPUT:" do nothing. Throws error for an unknown word.
  static void add_column(const std::string& token);
  /// The labels of a column: as many as it has report columns. Throws error_debug for a value out of range.
  static std::vector<std::string> column_strs(const column& which);
  /// Descriptive table of a data set (rows observations, columns variables): one row per variable, the
  /// columns in the order of `which`. Throws error_debug for a column beyond quant50.
  static arma::Mat<double> summarize(const arma::Mat<double>& x, const std::vector<column>& which);
  /// True for the labels "ChiSq" and "PValue" while `supress_print` is set.
  static bool supress(const std::string& label);

  /// Columns of x, parameters in rows: one value per parameter. mad: median absolute deviation times 1.4826;
  /// wald: mean^2 / variance (divisor N - 1); pvalue: its upper tail under a chi-square with one df.
  static arma::Col<double> mad(const arma::Mat<double>& x);
  static arma::Col<double> wald(const arma::Mat<double>& x);
  static arma::Col<double> pvalue(const arma::Mat<double>& x);
  /// The bounds of the central interval of probability p: two columns, the quantiles at 0.5 - p/2 and 0.5 +
  /// p/2.
  static arma::Mat<double> quantile(const arma::Mat<double>& x, double p);
  /// Biased autocovariances (divisor N) of x at the lags 0 to N - 1, by the fast Fourier transform.
  static arma::Col<double> _autocov(const arma::Col<double>& x);

  Summary() = default;
  /// One matrix per chain, owned. `iterations`: the iterations per chain that the PSR table spans (the
  /// burn-in).
  Summary(std::vector<arma::Mat<double>> chains, unsigned long long iterations);
  /// One chain, owned.
  Summary(arma::Mat<double> chain, unsigned long long iterations);
  /// One window per chain, usually borrowed from the chain's store with its cursor.
  Summary(std::vector<chain_draws> chains, unsigned long long iterations);
  /// A ready-made table with its column labels; summary() gives it back as it is.
  Summary(arma::Mat<double> table, std::vector<std::string> labels);

  /// Adds a chain. Throws error_debug "Estimates don't match!" when its rows differ from the first chain's.
  void push_back(arma::Mat<double> chain) { push_back(chain_draws(std::move(chain))); }
  void push_back(chain_draws chain);

  const std::vector<chain_draws>& chains() const { return chains_; }
  arma::uword n_chains() const { return chains_.size(); }
  /// Parameters; 0 without chains.
  arma::uword n_rows() const { return chains_.empty() ? 0 : chains_.front().n_rows(); }
  /// The smallest number of draws of a chain. Throws error_debug "No Data present!" without chains.
  std::uint32_t n_cols() const;
  /// The draws of all chains together: the number of "Summaries based on %i iterations".
  arma::uword n_iterations() const;

  /// The Summary of the given parameters alone; windows on the same draws.
  Summary rows(const arma::span& which) const;

  /// Labels of the columns of summary().
  std::vector<std::string> colNames() const;
  /// One row per parameter, columns as colNames(). Without draws: 0 rows and 7 columns.
  arma::Mat<double> summary() const;
  /// The same with these columns, whatever the report has; without draws 0 rows. Of a ready-made table the
  /// table.
  arma::Mat<double> summary(const std::vector<column>& which) const;
  /// One column, or block of columns, of the pooled draws x (parameters in rows). PSR and n_eff come from the
  /// chains of this object. Throws error_debug for a value out of range.
  arma::Mat<double> compute(const column& which, const arma::Mat<double>& x) const;

  /// Split-chain potential scale reduction of all stored draws, one value per parameter: sqrt((V + B/n) / V)
  /// with V = (L - 1)/L times the mean variance of the chunks of length L (after Gelman and Rubin, 1992,
  /// Statistical Science 7, 457-472). NaN for chunks below two draws and for parameters that do not vary.
  arma::Col<double> psr() const;
  /// The same from the second half of the first n iterations of every chain.
  arma::Col<double> psr(const unsigned long long& n) const;
  /// Effective sample size by Geyer's initial monotone sequence (1992, Statistical Science 7, 473-483) on the
  /// autocovariances of all chains; NaN below three draws and for parameters that do not vary. Costs more
  /// than all other columns together where chains mix slowly: the first call keeps the values, which rows()
  /// hands on.
  arma::Col<double> ess() const;
  /// Monte Carlo standard error: the standard deviation of the rows of x over sqrt(ess()).
  arma::Col<double> mcmc_se(const arma::Mat<double>& x) const;

  /// psr(n) at the check points: one row per check point, one column per parameter.
  arma::Mat<double> psrMatrix() const;
  /// psr(n) at the last check point; empty without any.
  arma::Col<double> last_psr() const;
  /// The place of the highest of such values. NaN never wins; without any number there is none. Of parameters
  /// that mirror each other, as two shares of variance that add up to one, the first counts, whichever way
  /// the last digits are rounded.
  static std::optional<arma::uword> highest(const arma::Col<double>& psr);
  /// The block BURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT with the highest PSR at each check point.
  void printPSR(std::FILE* stream) const;
  /// The head of a table with one PSR column for each of the last `rows` check points.
  void printPSRHeader(std::FILE* stream, const unsigned long long& rows) const;
  /// Writes psrMatrix() to a file, with the delimiter of the path's ending or the one given.
  void savePSR(const std::string& path, bool scientific) const;
  void savePSR(const std::string& path, const std::string& delimiter, bool scientific) const;

 private:
  struct psr_chunk;
  std::vector<unsigned long long> check_points() const;
  arma::Col<double> psr_core(const std::vector<psr_chunk>& chunks, arma::uword length) const;

  arma::Col<double> compute_ess() const;

  std::vector<chain_draws> chains_;
  mutable std::optional<arma::Col<double>> ess_;
  std::vector<std::string> labels_;
  unsigned long long iterations_ = 0;
};

}  // namespace tovik
