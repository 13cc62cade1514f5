#include "data/patterns.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

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

namespace {

/// The finalizer of SplitMix64 (Steele, Lea & Flood, 2014), chained over the words.
std::uint64_t hash(const std::uint64_t* words, std::size_t n) {
  std::uint64_t h = n;
  for (std::size_t k = 0; k < n; ++k) {
    h = (h ^ words[k]) + 0x9e3779b97f4a7c15ull;
    h = (h ^ (h >> 30)) * 0xbf58476d1ce4e5b9ull;
    h = (h ^ (h >> 27)) * 0x94d049bb133111ebull;
    h ^= h >> 31;
  }
  return h;
}

}  // namespace

patterns::patterns(const arma::Mat<double>& data)
    : width_((data.n_cols + 63) / 64), nrows_(data.n_rows), ncols_(data.n_cols), rates_(data.n_cols, 0.0) {
  std::vector<std::uint64_t> packed(nrows_ * width_, 0);
  pack(data, packed);
  count(packed);
}

/// One bit for each cell, the words of a row side by side; columns are read in storage order.
void patterns::pack(const arma::Mat<double>& data, std::vector<std::uint64_t>& packed) {
  for (std::size_t j = 0; j < ncols_; ++j) {
    const double* cell = data.colptr(j);
    std::uint64_t* word = packed.data() + j / 64;
    const unsigned shift = j % 64;
    std::size_t missing = 0;
    for (std::size_t i = 0; i < nrows_; ++i) {
      const bool na = std::isnan(cell[i]);
      missing += na;
      word[i * width_] |= static_cast<std::uint64_t>(na) << shift;
    }
    if (nrows_ > 0) rates_[j] = static_cast<double>(missing) / static_cast<double>(nrows_);
  }
}

/// Counts equal rows in a hash table with open addressing. Its places hold the number of a pattern plus one.
void patterns::count(const std::vector<std::uint64_t>& packed) {
  std::size_t places = 16;
  while (places < 2 * nrows_) places *= 2;
  std::vector<std::uint64_t> table(places, 0);
  for (std::size_t i = 0; i < nrows_; ++i) {
    const std::uint64_t* row = packed.data() + i * width_;
    std::size_t at = hash(row, width_) & (places - 1);
    while (table[at] != 0 && !std::equal(row, row + width_, key(table[at] - 1))) at = (at + 1) & (places - 1);
    if (table[at] == 0) {
      keys_.insert(keys_.end(), row, row + width_);
      counts_.push_back(0);
      table[at] = counts_.size();
    }
    ++counts_[table[at] - 1];
  }
}

/// Equal counts stand in the order of their keys as text, from the first variable on.
bool patterns::before(std::size_t a, std::size_t b) const {
  if (counts_[a] != counts_[b]) return counts_[a] > counts_[b];
  for (std::size_t w = 0; w < width_; ++w) {
    const std::uint64_t differ = key(a)[w] ^ key(b)[w];
    if (differ != 0) return (key(b)[w] & (differ & (~differ + 1))) != 0;
  }
  return false;
}

std::vector<patterns::pattern> patterns::first(std::size_t n) const {
  std::vector<std::size_t> order(size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto end = order.begin() + static_cast<std::ptrdiff_t>(std::min(n, order.size()));
  std::partial_sort(order.begin(), end, order.end(),
                    [&](std::size_t a, std::size_t b) { return before(a, b); });
  std::vector<pattern> out;
  for (auto at = order.begin(); at != end; ++at) {
    pattern& next = out.emplace_back();
    next.count = counts_[*at];
    next.missing.resize(ncols_);
    for (std::size_t j = 0; j < ncols_; ++j)
      next.missing[j] = static_cast<char>(key(*at)[j / 64] >> (j % 64) & 1u);
  }
  return out;
}

std::vector<patterns::pattern> patterns::sorted_vec() const {
  return first(size());
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
  const std::size_t band = std::max<std::uint64_t>(max_row_print, 1);
  const std::size_t shown = print_all ? size() : std::min<std::size_t>(band, size());
  const std::vector<pattern> sorted = first(shown);
  for (std::size_t from = 0; from < shown; from += band) {
    // The line above has ended; one more end of line keeps the bands apart.
    if (from > 0) std::fprintf(stream, "\n");
    const std::size_t to = std::min(from + band, shown);
    print_band(stream, sorted.begin() + static_cast<std::ptrdiff_t>(from),
               sorted.begin() + static_cast<std::ptrdiff_t>(to), static_cast<int>(from) + 1, nrows_, names,
               percent);
  }
  if (shown == size()) return;

  std::uint64_t rest = nrows_;
  for (const pattern& p : sorted) rest -= p.count;
  std::fprintf(stream, "  NOTE: Suppressing printing of %lu missing data patterns.\n",
               static_cast<unsigned long>(size() - shown));
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
