#pragma once

#include <armadillo>
#include <cstdio>
#include <string>
#include <vector>

namespace tovik {

/// The first line of a label and the lines that continue it.
struct broken_label {
  std::string first;
  std::vector<std::string> rest;
};

/// The frame of all tables of estimates: labels in 32 columns, cells of 11, one Table per printed table.
///
///   Table table(fp, summary.colNames());
///   table.heading();                                   // Parameters, column labels, rule, blank line
///   table.section("Variances:");
///   table.row("Residual Var.", values, tests::blank);  // "---" under ChiSq and PValue
///   table.section("\nCoefficients:");
///   table.row("x", values, tests::shown);
///   table.fixed_row("z", values, "1.000", tests::shown);
///   table.close("\n");
class Table {
 public:
  /// Whether the cells of ChiSq and PValue show their numbers or, while Summary::supress_print is set, "---".
  enum class tests { shown, blank };

  Table(std::FILE* stream, std::vector<std::string> columns);

  /// "Parameters" (or `first`), the column labels, the rule and a blank line. A leading "\n" is the caller's.
  void heading(const std::string& first = "Parameters") const;
  /// A line break, 32 blanks and the dashes; the line stays open.
  void rule() const;
  /// The closing rule, then `end`.
  void close(const char* end) const;

  /// A line of its own in the width of the labels: "Variances:". A leading "\n" gives a blank line before it.
  void section(const std::string& title) const;
  /// A line of empty cells behind a title at the left margin ("Level 1:"); `end` closes the line or leaves it
  /// open.
  void blank_row(const std::string& title, const char* end = "\n") const;

  /// A row of numbers, one for each column (cell_text). Long labels break between the tokens of an
  /// expression, a long token anywhere; what does not fit follows the row on lines of its own.
  void row(const std::string& label, const arma::Row<double>& values, tests show) const;
  /// A row that starts at the left margin ("Grand Mean"), with the lines of a long label behind it.
  void margin_row(const std::string& label, const arma::Row<double>& values, tests show) const;
  /// A row of the proportions of variance explained: "  by " and the label.
  void by_row(const std::string& label, const arma::Row<double>& values, tests show) const;
  /// A row of something that the model fixes: the value's text in the first cell and "---" in the others.
  /// Only tables that begin with Mean or Median print it so; others print the numbers.
  void fixed_row(const std::string& label, const arma::Row<double>& values, const std::string& value,
                 tests show) const;

  const std::vector<std::string>& columns() const { return columns_; }

 private:
  void cells(const arma::Row<double>& values, tests show) const;
  void cell(const std::string& text) const;
  void number(std::size_t column, double value) const;
  void continue_label(const broken_label& label) const;

  std::FILE* stream_;
  std::vector<std::string> columns_;
};

/// A number in nine characters: with three decimals, or as many of them as fit; in exponential form from 1e6
/// on and, where `small` is set, when three decimals would show 0 for another number.
std::string cell_text(double value, bool small = true);

/// The same at its own width: the value of something fixed.
std::string fixed_text(double value);

/// Breaks a label above 29 characters between the tokens of an expression: up to 29 characters on the first
/// line, below 28 on each of the others. A token that is longer than a line is broken anywhere.
broken_label break_label(const std::string& label);

/// The value itself, or the positive quiet NaN for any NaN, since printf shows the sign of a NaN.
double printable(double value);

/// "  Summaries based on %i iterations using 1 chain." or "... %i chains.", then `end`.
void print_summaries_based_on(std::FILE* stream, unsigned long long iterations, unsigned long long chains,
                              const char* end);

}  // namespace tovik
