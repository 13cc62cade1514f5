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

/// The notation of one file: turns cells into text, a line at a time.
class notation {
 public:
  notation(bool csv, bool scientific, const std::string& missing, double value)
      : csv_(csv),
        scientific_(scientific),
        missing_(missing.empty() ? "" : padded(missing)),
        value_(unsigned_nan(value)) {}

  char separator() const { return csv_ ? ',' : ' '; }
  std::string padded(const std::string& text) const { return csv_ ? text : format("%12s", text.c_str()); }

  void append(std::string& line, double v, bool large) const {
    if (std::isnan(v) && !missing_.empty()) {
      line += missing_;
      return;
    }
    if (std::isnan(v)) v = value_;
    char text[400];  // "%.4f" of the smallest double has 315 characters
    line.append(text, static_cast<std::size_t>(print(text, sizeof text, v, large)));
  }

 private:
  int print(char* text, std::size_t size, double v, bool large) const {
    if (std::isnan(v)) return std::snprintf(text, size, csv_ ? "%f" : "%12f", v);
    if (scientific_ || large) return std::snprintf(text, size, csv_ ? "%.10e" : "%12.10e", v);
    if (csv_ && whole_int32(v)) return std::snprintf(text, size, "%i", static_cast<int>(v));
    return std::snprintf(text, size, csv_ ? "%.4f" : "%12.4f", v);
  }

  bool csv_;
  bool scientific_;
  std::string missing_;
  double value_;
};

/// NaN is above nothing; infinity counts.
std::vector<char> large_columns(const arma::Mat<double>& m) {
  std::vector<char> large(m.n_cols, 0);
  for (arma::uword c = 0; c < m.n_cols; ++c) {
    for (arma::uword r = 0; r < m.n_rows && !large[c]; ++r) large[c] = m(r, c) > 10000000.0;
  }
  return large;
}

void write(std::FILE* file, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), file);
}

}  // namespace

void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::vector<std::string>& names, const std::string& missing, const double& value,
                 bool scientific) {
  if (m.n_cols > 0 && !names.empty() && names.size() != m.n_cols) {
    throw error_debug("Variable names do not match output matrix size!");
  }
  const std::unique_ptr<std::FILE, close_file> file(std::fopen(path.c_str(), "w"));
  if (!file || m.n_cols == 0) return;
  const notation cells(delimiter == "csv", scientific, missing, value);
  std::string line;
  for (const std::string& name : names) line += cells.padded(name) + cells.separator();
  if (!names.empty()) line.back() = '\n';
  write(file.get(), line);
  const std::vector<char> large = large_columns(m);
  for (arma::uword r = 0; r < m.n_rows; ++r) {
    line.clear();
    for (arma::uword c = 0; c < m.n_cols; ++c) {
      cells.append(line, m(r, c), large[c] != 0);
      line += cells.separator();
    }
    line.back() = '\n';
    write(file.get(), line);
  }
}

void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::string& missing, const double& value, bool scientific) {
  save_matrix(m, path, delimiter, {}, missing, value, scientific);
}

}  // namespace tovik
