#include "data/save_matrix.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "support/error.hpp"
#include "support/file_writer.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr double two_to_53 = 9007199254740992.0;  // below it every whole number is a double
constexpr double large_cell = 10000000.0;
constexpr double small_deviation = 0.05;

bool whole(double v) {
  return std::abs(v) < two_to_53 && v == std::trunc(v);
}

/// printf shows the sign of a NaN, which means nothing.
double unsigned_nan(double v) {
  return std::isnan(v) ? std::numeric_limits<double>::quiet_NaN() : v;
}

/// What the notation of a cell depends on in its column.
struct column_scale {
  bool large = false;  ///< a cell is above 10000000; infinity counts
  bool small = false;  ///< the standard deviation of its finite cells is below 0.05
};

column_scale scale_of(const double* cell, arma::uword n) {
  column_scale out;
  double count = 0, mean = 0, squares = 0;
  for (arma::uword r = 0; r < n; ++r) {
    out.large = out.large || cell[r] > large_cell;  // NaN is above nothing
    if (!std::isfinite(cell[r])) continue;
    const double before = cell[r] - mean;
    mean += before / ++count;
    squares += before * (cell[r] - mean);
  }
  out.small = count > 1 && squares < small_deviation * small_deviation * (count - 1);
  return out;
}

/// True when printf's text of v with 4 decimals reads as v again.
bool reads_back(const char* first, const char* last, double v) {
  while (first != last && *first == ' ') ++first;
  double parsed = 0;
  const auto [end, status] = std::from_chars(first, last, parsed);
  return status == std::errc() && end == last && parsed == v;
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

  std::string header_cell(const std::string& name) const {
    if (!csv_ || name.find_first_of(",\"") == std::string::npos) return padded(name);
    return '"' + replace_all(name, "\"", "\"\"") + '"';
  }

  void append(std::string& line, double v, const column_scale& column, bool read) const {
    if (std::isnan(v) && !missing_.empty()) {
      line += missing_;
      return;
    }
    if (std::isnan(v)) v = value_;
    char text[400];  // "%.4f" of the smallest double has 315 characters
    line.append(text, static_cast<std::size_t>(print(text, sizeof text, v, column, read)));
  }

 private:
  int print(char* text, std::size_t size, double v, const column_scale& column, bool read) const {
    if (std::isnan(v)) return std::snprintf(text, size, csv_ ? "%f" : "%12f", v);
    const char* const exponential = csv_ ? "%.10e" : "%12.10e";
    const char* const decimal = csv_ ? "%.4f" : "%12.4f";
    if (scientific_) return std::snprintf(text, size, exponential, v);
    if (whole(v) && (csv_ || column.large)) {
      return std::snprintf(text, size, csv_ ? "%.0f" : "%12.0f", v == 0 ? 0.0 : v);
    }
    if (std::isfinite(v) && !whole(v)) {
      if (read) return print_exactly(text, size, decimal, v);
      if (column.large || column.small) return std::snprintf(text, size, exponential, v);
    }
    return std::snprintf(text, size, decimal, v);
  }

  /// With 4 decimals when no more are needed.
  int print_exactly(char* text, std::size_t size, const char* decimal, double v) const {
    if (std::abs(v) < two_to_53) {
      const int n = std::snprintf(text, size, decimal, v);
      if (reads_back(text, text + n, v)) return n;
    }
    char shortest[40];
    const auto end = std::to_chars(shortest, shortest + sizeof shortest, v).ptr;
    const std::string all(shortest, end);
    return std::snprintf(text, size, csv_ ? "%s" : "%12s", all.c_str());
  }

  bool csv_;
  bool scientific_;
  std::string missing_;
  double value_;
};

std::vector<column_scale> scales_of(const arma::Mat<double>& m) {
  std::vector<column_scale> out;
  for (arma::uword c = 0; c < m.n_cols; ++c) out.push_back(scale_of(m.colptr(c), m.n_rows));
  return out;
}

void write_header(file_writer& file, const notation& cells, const std::vector<std::string>& names) {
  if (names.empty()) return;
  std::string line;
  for (const std::string& name : names) line += cells.header_cell(name) + cells.separator();
  line.back() = '\n';
  file.write(line);
}

void write_rows(file_writer& file, const notation& cells, const arma::Mat<double>& m,
                const read_cells& read) {
  const std::vector<column_scale> scales = scales_of(m);
  std::string line;
  for (arma::uword r = 0; r < m.n_rows; ++r) {
    line.clear();
    for (arma::uword c = 0; c < m.n_cols; ++c) {
      cells.append(line, m(r, c), scales[c], !read.empty() && read(r, c) != 0);
      line += cells.separator();
    }
    line.back() = '\n';
    file.write(line);
  }
}

}  // namespace

file_writer written_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                           const std::vector<std::string>& names, const std::string& missing,
                           const double& value, bool scientific, const read_cells& read) {
  if (m.n_cols > 0 && !names.empty() && names.size() != m.n_cols) {
    throw error_debug("Variable names do not match output matrix size!");
  }
  if (!read.empty() && arma::size(read) != arma::size(m))
    throw error_debug("Marked cells do not match output.");
  file_writer file(path);
  const notation cells(delimiter == "csv", scientific, missing, value);
  if (m.n_cols > 0) {
    write_header(file, cells, names);
    write_rows(file, cells, m, read);
  }
  file.finish();
  return file;
}

void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::vector<std::string>& names, const std::string& missing, const double& value,
                 bool scientific, const read_cells& read) {
  file_set::store(written_matrix(m, path, delimiter, names, missing, value, scientific, read));
}

void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::string& missing, const double& value, bool scientific) {
  save_matrix(m, path, delimiter, {}, missing, value, scientific);
}

}  // namespace tovik
