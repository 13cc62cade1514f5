#include "data/save_matrix.hpp"

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

struct close_file {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

bool whole_int32(double v) {
  return std::abs(v) < 2147483648.0 && v == std::trunc(v);
}

/// printf shows the sign of a NaN, which means nothing.
double unsigned_nan(double v) {
  return std::isnan(v) ? std::numeric_limits<double>::quiet_NaN() : v;
}

/// The notation of one file: turns values into cells.
struct notation {
  bool csv;
  bool scientific;
  const std::string& missing;
  double value;

  std::string cell(double v, bool large) const {
    if (std::isnan(v) && !missing.empty()) return csv ? missing : format("%12s", missing.c_str());
    if (std::isnan(v)) v = unsigned_nan(value);
    if (std::isnan(v)) return format(csv ? "%f" : "%12f", v);
    if (scientific || large) return format(csv ? "%.10e" : "%12.10e", v);
    if (csv && whole_int32(v)) return format("%i", static_cast<int>(v));
    return format(csv ? "%.4f" : "%12.4f", v);
  }
};

std::vector<char> large_columns(const arma::Mat<double>& m) {
  std::vector<char> large(m.n_cols, 0);
  for (arma::uword c = 0; c < m.n_cols; ++c) {
    for (arma::uword r = 0; r < m.n_rows && !large[c]; ++r) large[c] = m(r, c) > 10000000.0;
  }
  return large;
}

}  // namespace

void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::vector<std::string>& names, const std::string& missing, const double& value,
                 bool scientific) {
  if (!names.empty() && names.size() != m.n_cols) {
    throw error_debug("Variable names do not match output matrix size!");
  }
  const std::unique_ptr<std::FILE, close_file> file(std::fopen(path.c_str(), "w"));
  if (!file) return;
  const notation cells{delimiter == "csv", scientific, missing, value};
  const char separator = cells.csv ? ',' : ' ';
  for (std::size_t c = 0; c < names.size(); ++c) {
    const char end = c + 1 < names.size() ? separator : '\n';
    std::fprintf(file.get(), cells.csv ? "%s%c" : "%12s%c", names[c].c_str(), end);
  }
  const std::vector<char> large = large_columns(m);
  for (arma::uword r = 0; r < m.n_rows; ++r) {
    for (arma::uword c = 0; c < m.n_cols; ++c) {
      const char end = c + 1 < m.n_cols ? separator : '\n';
      std::fprintf(file.get(), "%s%c", cells.cell(m(r, c), large[c] != 0).c_str(), end);
    }
  }
}

void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::string& missing, const double& value, bool scientific) {
  save_matrix(m, path, delimiter, {}, missing, value, scientific);
}

}  // namespace tovik
