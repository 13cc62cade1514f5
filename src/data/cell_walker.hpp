#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tovik {

/// What separates the cells of a line.
struct separator {
  /// Blanks and tabs: a run of them counts as one. Otherwise each `mark` ends a cell, and two in a row hold
  /// an empty one.
  bool blank = true;
  char mark = ' ';

  /// From the delimiter text: " " and a tab mean blanks and tabs, any other character itself.
  static separator of(const std::string& delimiter);

  bool at(char c) const { return blank ? c == ' ' || c == '\t' : c == mark; }
  /// The number of cells in a trimmed line.
  std::size_t count(std::string_view line) const;
};

/// How a line went.
struct line_result {
  enum class kind { good, wrong_count, not_numeric } status = kind::good;
  std::size_t column = 0;  ///< from 1, of a cell that is not numeric
  std::string_view text;   ///< that cell, trimmed
};

/// Turns trimmed lines into numbers, in place and without allocation.
class cell_walker {
 public:
  /// `missing` is the text of a missing cell, empty for none.
  cell_walker(separator sep, std::string missing);

  /// Reads exactly `columns` cells to `out`; missing cells become NaN. Between marks other than blanks an
  /// empty cell is missing, and a cell may stand in double quotes.
  line_result read(std::string_view line, double* out, std::size_t columns) const;

 private:
  bool parse(std::string_view cell, double& value) const;

  separator separator_;
  std::string missing_;
  bool numeric_code_;  ///< the missing code reads as a number, so that each cell is compared before it is
                       ///< parsed
};

}  // namespace tovik
