#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "data/read_data.hpp"
#include "data/save_matrix.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

constexpr const char* split_note =
    "  NOTE: Split chain PSR is being used. This splits each chain's\n"
    "        iterations to create twice as many chains.";

/// What a row of the table shows: the highest PSR and its parameter, counted from 1.
struct highest_cells {
  std::string value;
  std::string parameter;
};

highest_cells find_highest(const arma::Col<double>& psr) {
  const std::optional<arma::uword> where = Summary::highest(psr);
  if (!where) return {format("%11.3f", not_a_number), format("%11s", "nan")};
  return {format("%11.3f", psr(*where)), format("%11i", static_cast<int>(*where + 1))};
}

/// The four printed bounds of a check point: the halves of the iterations that psr(n) compares.
struct bounds {
  int a;
  int b;
  int n;
};

bounds bounds_of(unsigned long long n) {
  const unsigned long long a = n / 2 + 1;
  return {static_cast<int>(a), static_cast<int>(n / 4 + a), static_cast<int>(n)};
}

}  // namespace

/// Consecutive draws of one chain.
struct Summary::psr_chunk {
  const chain_draws* chain;
  arma::uword first;
};

arma::Col<double> Summary::psr_core(const std::vector<psr_chunk>& chunks, arma::uword length) const {
  const arma::uword n_parameters = n_rows();
  const double L = static_cast<double>(length), M = static_cast<double>(chunks.size());
  arma::Mat<double> means(n_parameters, chunks.size(), arma::fill::none);
  arma::Col<double> W(n_parameters, arma::fill::zeros), s1(n_parameters), s2(n_parameters);
  for (arma::uword j = 0; j < chunks.size(); ++j) {
    // One pass over the draws, as deviations from the first draw of the chunk: that draw is among those
    // summed, so that the difference of the sums keeps its digits, and parameters that do not vary give
    // exactly zero.
    const double* base = chunks[j].chain->draw(chunks[j].first);
    s1.zeros();
    s2.zeros();
    for (arma::uword t = 1; t < length; ++t) {
      const double* x = chunks[j].chain->draw(chunks[j].first + t);
      double* sum = s1.memptr();
      double* squares = s2.memptr();
      for (arma::uword i = 0; i < n_parameters; ++i) {
        const double d = x[i] - base[i];
        sum[i] += d;
        squares[i] += d * d;
      }
    }
    for (arma::uword i = 0; i < n_parameters; ++i) {
      means(i, j) = base[i] + s1(i) / L;
      W(i) += (s2(i) - s1(i) * s1(i) / L) / (L - 1.0);
    }
  }
  arma::Col<double> out(n_parameters);
  for (arma::uword i = 0; i < n_parameters; ++i) {
    const double V = (L - 1.0) / L * (W(i) / M);
    double grand = 0.0, B = 0.0;
    for (arma::uword j = 0; j < chunks.size(); ++j) grand += means(i, j) / M;
    for (arma::uword j = 0; j < chunks.size(); ++j) B += (means(i, j) - grand) * (means(i, j) - grand);
    out(i) = V > 0.0 ? std::sqrt((V + B / (M - 1.0)) / V) : not_a_number;
  }
  return out;
}

arma::Col<double> Summary::psr() const {
  if (chains_.empty()) throw error_debug("No data to compute psr!");
  const bool split = chains_.size() == 1 || splitChain;
  const arma::uword length = split ? n_cols() / 2 : n_cols();
  if (length < 2) return arma::Col<double>(n_rows()).fill(not_a_number);
  std::vector<psr_chunk> chunks;
  for (const chain_draws& chain : chains_) {
    chunks.push_back({&chain, 0});
    if (split) chunks.push_back({&chain, length});
  }
  return psr_core(chunks, length);
}

arma::Col<double> Summary::psr(const unsigned long long& n) const {
  if (chains_.empty()) throw error_debug("No data to compute psr!");
  const bool split = chains_.size() == 1 || splitChain;
  const arma::uword length = split ? n / 4 : n / 2;
  if (length < 2 || n > n_cols()) return arma::Col<double>(n_rows()).fill(not_a_number);
  std::vector<psr_chunk> chunks;
  for (const chain_draws& chain : chains_) {
    if (split) {
      chunks.push_back({&chain, 2 * length});
      chunks.push_back({&chain, 3 * length});
    } else {
      chunks.push_back({&chain, length});
    }
  }
  return psr_core(chunks, length);
}

std::vector<unsigned long long> Summary::check_points() const {
  std::vector<unsigned long long> out;
  if (interval == 0) return out;
  for (unsigned long long n = interval; n <= iterations_; n += interval) out.push_back(n);
  return out;
}

arma::Mat<double> Summary::psrMatrix() const {
  const std::vector<unsigned long long> points = check_points();
  arma::Mat<double> out(points.size(), n_rows());
  for (arma::uword k = 0; k < points.size(); ++k) out.row(k) = psr(points[k]).t();
  return out;
}

arma::Col<double> Summary::last_psr() const {
  const std::vector<unsigned long long> points = check_points();
  return points.empty() ? arma::Col<double>() : psr(points.back());
}

std::optional<arma::uword> Summary::highest(const arma::Col<double>& psr) {
  constexpr double rounding = 1e-9;
  double best = -std::numeric_limits<double>::infinity();
  std::optional<arma::uword> where;
  for (arma::uword i = 0; i < psr.n_elem; ++i) {
    if (psr(i) > best && (!where || psr(i) - best > rounding * std::abs(best))) {
      best = psr(i);
      where = i;
    }
  }
  return where;
}

void Summary::printPSR(std::FILE* stream) const {
  std::fprintf(stream, "\nBURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT:\n\n");
  const std::vector<unsigned long long> points = check_points();
  constexpr const char* heading = "%-40s   %-11s   %11s  \n";
  const bool single = chains_.size() == 1;
  if (points.empty()) {
    std::fprintf(stream, "  Requires at least 100 burn-in iterations for PSR to be computed.\n");
  } else if (single) {
    std::fprintf(stream, heading, "  Comparing iterations within 1 chain", "Highest PSR", " Param #");
  } else {
    if (splitChain) std::fprintf(stream, "%s\n\n", split_note);
    const std::string title =
        format("  Comparing iterations across %i chains", static_cast<int>(chains_.size()));
    std::fprintf(stream, heading, title.c_str(), "Highest PSR", "Parameter #");
  }
  for (const unsigned long long point : points) {
    const highest_cells top = find_highest(psr(point));
    const auto [a, b, n] = bounds_of(point);
    if (single) {
      std::fprintf(stream, "  %6i to %-6i with %6i to %-6i   %s   %s  \n", a, b - 1, b, n, top.value.c_str(),
                   top.parameter.c_str());
    } else {
      std::fprintf(stream, "%21s  %6i to %-6i    %s   %s  \n", "", a, n, top.value.c_str(),
                   top.parameter.c_str());
    }
  }
  std::fprintf(stream, "\n");
  std::fflush(stream);
}

void Summary::printPSRHeader(std::FILE* stream, const unsigned long long& rows) const {
  const std::vector<unsigned long long> points = check_points();
  const bool single = chains_.size() == 1;
  if (single) {
    std::fprintf(stream, "%-40s\n", "       Comparing iterations within 1 chain");
  } else {
    if (splitChain) std::fprintf(stream, "%s\n\n", split_note);
    std::fprintf(stream, "%-40s\n",
                 format("  Comparing iterations across %i chains", static_cast<int>(chains_.size())).c_str());
  }
  const std::size_t shown = std::min<unsigned long long>(rows, points.size());
  for (std::size_t k = 0; k < shown; ++k) {
    const auto [a, b, n] = bounds_of(points[points.size() - shown + k]);
    const int number = static_cast<int>(k) + 1;
    if (single) {
      std::fprintf(stream, "  [%i]  %6i to %-6i with %6i to %-6i\n", number, a, b - 1, b, n);
    } else {
      std::fprintf(stream, "%18s[%i]  %6i to %-6i\n", "", number, a, n);
    }
  }
  std::fflush(stream);
}

void Summary::savePSR(const std::string& path, bool scientific) const {
  savePSR(path, delimeter(path), scientific);
}

void Summary::savePSR(const std::string& path, const std::string& delimiter, bool scientific) const {
  save_matrix(psrMatrix(), path, delimiter, "", not_a_number, scientific);
}

}  // namespace tovik
