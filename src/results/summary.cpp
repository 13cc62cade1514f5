#include "results/summary.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "results/summary_ess.hpp"
#include "results/summary_plan.hpp"
#include "results/summary_row.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

/// Parameters gathered at a time: a draw's column is read in pieces of whole cache lines.
constexpr arma::uword block_rows = 16;

/// The draws of parameters first to first + count - 1, one column per parameter: the first `n_of(chain)`
/// draws of each chain, chain after chain.
template <typename Count>
void gather(const std::vector<chain_draws>& chains, arma::uword first, arma::uword count, Count n_of,
            arma::Mat<double>& out) {
  arma::uword offset = 0;
  for (const chain_draws& chain : chains) {
    const arma::uword n = n_of(chain);
    for (arma::uword t = 0; t < n; ++t) {
      const double* draw = chain.draw(t) + first;
      for (arma::uword r = 0; r < count; ++r) out(offset + t, r) = draw[r];
    }
    offset += n;
  }
}

}  // namespace

Summary::Summary(std::vector<arma::Mat<double>> chains, unsigned long long iterations)
    : iterations_(iterations) {
  for (arma::Mat<double>& chain : chains) push_back(std::move(chain));
}

Summary::Summary(arma::Mat<double> chain, unsigned long long iterations) : iterations_(iterations) {
  push_back(std::move(chain));
}

Summary::Summary(std::vector<chain_draws> chains, unsigned long long iterations) : iterations_(iterations) {
  for (chain_draws& chain : chains) push_back(std::move(chain));
}

Summary::Summary(arma::Mat<double> table, std::vector<std::string> labels) : labels_(std::move(labels)) {
  push_back(std::move(table));
}

void Summary::push_back(chain_draws chain) {
  if (!chains_.empty() && chain.n_rows() != n_rows()) throw error_debug("Estimates don't match!");
  chains_.push_back(std::move(chain));
  ess_.reset();
}

std::uint32_t Summary::n_cols() const {
  if (chains_.empty()) throw error_debug("No Data present!");
  arma::uword smallest = chains_.front().n_cols();
  for (const chain_draws& chain : chains_) smallest = std::min(smallest, chain.n_cols());
  return static_cast<std::uint32_t>(smallest);
}

arma::uword Summary::n_iterations() const {
  arma::uword total = 0;
  for (const chain_draws& chain : chains_) total += chain.n_cols();
  return total;
}

Summary Summary::rows(const arma::span& which) const {
  Summary out = *this;
  const arma::uword first = which.whole ? 0 : which.a;
  const arma::uword count = which.whole ? n_rows() : which.b + 1 - which.a;
  for (chain_draws& chain : out.chains_) chain = chain.rows(first, count);
  const arma::uword kept = out.n_rows();  // a window may reach beyond the last row
  if (ess_ && kept > 0) out.ess_ = ess_->rows(first, first + kept - 1);
  return out;
}

arma::Mat<double> Summary::summary() const {
  if (labels_.empty() && cols.empty()) add_column("default");
  return summary(cols);
}

arma::Mat<double> Summary::summary(const std::vector<column>& which) const {
  if (!labels_.empty()) {
    arma::Mat<double> table;
    for (const chain_draws& chain : chains_) table = arma::join_rows(table, chain.matrix());
    return table;
  }
  const auto empty = [](const chain_draws& chain) { return chain.n_rows() == 0 || chain.n_cols() == 0; };
  if (chains_.empty() || std::any_of(chains_.begin(), chains_.end(), empty)) return arma::Mat<double>(0, 7);

  const summary_plan plan(which, "Failed to compute output.");
  const arma::Col<double> psr_values = plan.needs_psr() ? psr() : arma::Col<double>(n_rows());
  const bool new_ess = plan.needs_ess() && !ess_;
  EffectiveSize effective_size(chains_.size(), new_ess ? n_cols() : 0);
  arma::Col<double> ess_values = ess_ ? *ess_ : arma::Col<double>(n_rows(), arma::fill::zeros);
  arma::Mat<double> out(n_rows(), plan.width());
  arma::Mat<double> values(n_iterations(), std::min(block_rows, n_rows()));
  std::vector<const double*> starts(chains_.size());
  for (arma::uword first = 0; first < n_rows(); first += block_rows) {
    const arma::uword count = std::min(block_rows, n_rows() - first);
    gather(
        chains_, first, count, [](const chain_draws& chain) { return chain.n_cols(); }, values);
    for (arma::uword r = 0; r < count; ++r) {
      double* x = values.colptr(r);
      const double* start = x;
      for (std::size_t j = 0; j < chains_.size(); start += chains_[j++].n_cols()) starts[j] = start;
      if (new_ess) ess_values(first + r) = effective_size(starts);
      plan.fill(x, values.n_rows, psr_values(first + r), ess_values(first + r), out, first + r);
    }
  }
  if (new_ess) ess_ = std::move(ess_values);
  return out;
}

arma::Mat<double> Summary::compute(const column& which, const arma::Mat<double>& x) const {
  const summary_plan plan({which}, "Failed to compute output.");
  if (!plan.needs_psr() && !plan.needs_ess()) return plan.table(x);
  const arma::Col<double> values = plan.needs_psr() ? psr() : ess();
  if (values.n_elem != x.n_rows) throw error_debug("Estimates don't match!");
  arma::Mat<double> out(x.n_rows, 1);
  for (arma::uword r = 0; r < x.n_rows; ++r) {
    arma::Row<double> row = x.row(r);
    plan.fill(row.memptr(), row.n_elem, values(r), values(r), out, r);
  }
  return out;
}

arma::Col<double> Summary::ess() const {
  if (chains_.empty()) throw error_debug("No data to compute ESS!");
  if (!ess_) ess_ = compute_ess();
  return *ess_;
}

arma::Col<double> Summary::compute_ess() const {
  const arma::uword n = n_cols();
  EffectiveSize effective_size(chains_.size(), n);
  arma::Col<double> out(n_rows());
  arma::Mat<double> values(n * chains_.size(), std::min(block_rows, n_rows()));
  std::vector<const double*> starts(chains_.size());
  for (arma::uword first = 0; first < n_rows(); first += block_rows) {
    const arma::uword count = std::min(block_rows, n_rows() - first);
    gather(
        chains_, first, count, [n](const chain_draws&) { return n; }, values);
    for (arma::uword r = 0; r < count; ++r) {
      for (std::size_t j = 0; j < starts.size(); ++j) starts[j] = values.colptr(r) + j * n;
      out(first + r) = effective_size(starts);
    }
  }
  return out;
}

arma::Col<double> Summary::mcmc_se(const arma::Mat<double>& x) const {
  return compute(column::mcmc_se, x);
}

arma::Mat<double> Summary::summarize(const arma::Mat<double>& x, const std::vector<column>& which) {
  for (const column c : which) {
    if (c < column::mean || c > column::quant50) throw error_debug("Summary not available.");
  }
  return summary_plan(which, "Summary not available.").table(x.t());
}

arma::Col<double> Summary::mad(const arma::Mat<double>& x) {
  return summary_plan({column::mad_sd}, "").table(x);
}

arma::Col<double> Summary::wald(const arma::Mat<double>& x) {
  return summary_plan({column::chisq}, "").table(x);
}

arma::Col<double> Summary::pvalue(const arma::Mat<double>& x) {
  return summary_plan({column::pvalue}, "").table(x);
}

arma::Mat<double> Summary::quantile(const arma::Mat<double>& x, double p) {
  arma::Mat<double> out(x.n_rows, 2);
  for (arma::uword r = 0; r < x.n_rows; ++r) {
    arma::Row<double> row = x.row(r);
    if (summary_row::has_nan(row.memptr(), row.n_elem)) {
      out.row(r).fill(std::numeric_limits<double>::quiet_NaN());
      continue;
    }
    const std::vector<double> q =
        summary_row::quantiles(row.memptr(), row.n_elem, {0.5 - p / 2, 0.5 + p / 2});
    out(r, 0) = q[0];
    out(r, 1) = q[1];
  }
  return out;
}

arma::Col<double> Summary::_autocov(const arma::Col<double>& x) {
  if (x.is_empty()) return x;
  const double n = static_cast<double>(x.n_elem);
  // Deviations from the first value first: a constant is exactly zero.
  arma::Col<double> centred = x - x(0);
  centred -= arma::accu(centred) / n;
  return summed_autocovariance(centred.memptr(), nullptr, x.n_elem) / n;
}

}  // namespace tovik
