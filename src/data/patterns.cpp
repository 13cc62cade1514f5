#include "data/patterns.hpp"

#include <algorithm>
#include <cmath>

#include "support/error.hpp"

namespace tovik {

std::uint64_t patterns::max_row_print = 10;
bool patterns::print_all = false;

arma::Col<double> patterns::pattern::is_na(const arma::Row<double>& row) {
  arma::Col<double> out(row.n_elem);
  for (arma::uword j = 0; j < row.n_elem; ++j) out(j) = std::isnan(row(j)) ? 1.0 : 0.0;
  return out;
}

std::string patterns::pattern::key() const {
  std::string out;
  out.reserve(missing.size());
  for (char flag : missing) out += flag ? '1' : '0';
  return out;
}

std::size_t patterns::hash::operator()(const bits& words) const {
  // The finalizer of SplitMix64 (Steele, Lea & Flood, 2014), chained over the words.
  std::uint64_t h = words.size();
  for (std::uint64_t word : words) {
    h = (h ^ word) + 0x9e3779b97f4a7c15ull;
    h = (h ^ (h >> 30)) * 0xbf58476d1ce4e5b9ull;
    h = (h ^ (h >> 27)) * 0x94d049bb133111ebull;
    h ^= h >> 31;
  }
  return static_cast<std::size_t>(h);
}

patterns::patterns(const arma::Mat<double>& data)
    : nrows_(data.n_rows), ncols_(data.n_cols), rates_(data.n_cols, 0.0) {
  // One bit for each cell, rows packed side by side, so that columns are read in storage order.
  const std::size_t width = (ncols_ + 63) / 64;
  std::vector<std::uint64_t> packed(nrows_ * width, 0);
  for (std::size_t j = 0; j < ncols_; ++j) {
    const double* cell = data.colptr(j);
    std::uint64_t* word = packed.data() + j / 64;
    const unsigned shift = j % 64;
    std::size_t missing = 0;
    for (std::size_t i = 0; i < nrows_; ++i) {
      const bool na = std::isnan(cell[i]);
      missing += na;
      word[i * width] |= static_cast<std::uint64_t>(na) << shift;
    }
    if (nrows_ > 0) rates_[j] = static_cast<double>(missing) / static_cast<double>(nrows_);
  }

  bits row(width);
  for (std::size_t i = 0; i < nrows_; ++i) {
    std::copy_n(packed.data() + i * width, width, row.begin());
    pattern& found = map_[row];
    if (found.count++ > 0) continue;
    found.missing.resize(ncols_);
    for (std::size_t j = 0; j < ncols_; ++j)
      found.missing[j] = static_cast<char>(row[j / 64] >> (j % 64) & 1u);
  }
}

std::vector<patterns::pattern> patterns::sorted_vec() const {
  std::vector<pattern> out;
  out.reserve(map_.size());
  for (auto const& entry : map_) out.push_back(entry.second);
  std::sort(out.begin(), out.end(), [](const pattern& a, const pattern& b) {
    return a.count != b.count ? a.count > b.count : a.missing < b.missing;
  });
  return out;
}

namespace {

using pattern_iterator = std::vector<patterns::pattern>::const_iterator;

void print_rule(std::FILE* stream, std::size_t columns) {
  std::fprintf(stream, "       %27s", "-");
  for (std::size_t k = 0; k < columns; ++k) std::fprintf(stream, "%s", "------");
  std::fprintf(stream, "-\n");
}

double percent_of(std::uint64_t count, std::size_t rows) {
  return 100.0 * static_cast<double>(count) / static_cast<double>(rows);
}

/// One band of the table: patterns as columns, numbered from `number` on, variables as rows.
void print_band(std::FILE* stream, pattern_iterator first, pattern_iterator last, int number,
                std::size_t rows, const std::vector<std::string>& names, const std::vector<double>& percent) {
  const auto columns = static_cast<std::size_t>(last - first);
  std::fprintf(stream, "       %27s", "miss %  ");
  for (std::size_t k = 0; k < columns; ++k) std::fprintf(stream, "    %2i", number + static_cast<int>(k));
  std::fprintf(stream, "\n");
  print_rule(stream, columns);
  for (std::size_t j = 0; j < names.size(); ++j) {
    std::fprintf(stream, "       %20s", (names[j] + " =").c_str());
    std::fprintf(stream, " %4.1f  ", percent[j]);
    for (auto p = first; p != last; ++p) std::fprintf(stream, "     %s", p->missing[j] ? "M" : "-");
    std::fprintf(stream, "  \n");
  }
  print_rule(stream, columns);
  std::fprintf(stream, "       %18s  %7s", "", "%");
  for (auto p = first; p != last; ++p) std::fprintf(stream, " %5.1f", percent_of(p->count, rows));
  std::fprintf(stream, "\n");
}

}  // namespace

void patterns::print(std::FILE* stream, const std::vector<std::string>& names,
                     const std::vector<double>& percent) const {
  if (names.size() != ncols_ || percent.size() != ncols_) throw error_debug("Incorrect names to variables.");
  if (nrows_ == 0) return;
  const std::vector<pattern> sorted = sorted_vec();
  const std::size_t band = std::max<std::uint64_t>(max_row_print, 1);
  const std::size_t shown = print_all ? sorted.size() : std::min(band, sorted.size());
  for (std::size_t from = 0; from < shown; from += band) {
    // The line above has ended; one more end of line keeps the bands apart.
    if (from > 0) std::fprintf(stream, "\n");
    const std::size_t to = std::min(from + band, shown);
    print_band(stream, sorted.begin() + static_cast<std::ptrdiff_t>(from),
               sorted.begin() + static_cast<std::ptrdiff_t>(to), static_cast<int>(from) + 1, nrows_, names,
               percent);
  }
  if (shown == sorted.size()) return;

  std::uint64_t rest = 0;
  for (std::size_t k = shown; k < sorted.size(); ++k) rest += sorted[k].count;
  std::fprintf(stream, "  NOTE: Suppressing printing of %lu missing data patterns.\n",
               static_cast<unsigned long>(sorted.size() - shown));
  std::fprintf(stream, "        These patterns consist of %.1f%s of the data.\n", percent_of(rest, nrows_),
               "%");
  std::fprintf(stream, "        Use keyword 'allpatterns' in options to print all patterns.\n");
}

void patterns::print(std::FILE* stream, const std::vector<std::string>& names) const {
  std::vector<double> percent(rates_);
  for (double& share : percent) share *= 100.0;
  print(stream, names, percent);
}

}  // namespace tovik
