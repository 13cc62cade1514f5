#include "data/read_data.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "data/cell_walker.hpp"
#include "data/line_reader.hpp"
#include "data/numbers.hpp"
#include "support/error.hpp"
#include "support/file_access.hpp"
#include "support/source.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr std::string_view white = " \t\n\v\f\r";

std::string_view trim_view(std::string_view text) {
  const std::size_t first = text.find_first_not_of(white);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(white) - first + 1);
}

/// What one call is about, and which of the two sets of texts it speaks.
struct job {
  const std::string& path;
  std::vector<std::string>& names;
  std::string& delimiter;
  const std::string& missing;
  std::size_t reserve_rows;

  /// Without a missing code the reader knows that a word in the first line is no data.
  bool fast() const { return missing.empty(); }
};

[[noreturn]] void fail_unopened(const std::string& path, int failure) {
  throw error("ERROR: Unable to open data file at \"" + path + "\"" + system_reason(failure));
}

[[noreturn]] void fail_empty(const std::string& path) {
  throw error("ERROR: Data file is empty. Specified file path: \"" + path + "\"");
}

[[noreturn]] void fail_counts(const job& j, std::size_t columns) {
  throw error(std::string("ERROR: Unable to determine delimiter for data file.\n") +
              (j.fast() ? "       Use comma separated or space separated text files.\n"
                        : "       Use comma separated or space separated  text files.\n") +
              "       The number of variables names read in was " + std::to_string(j.names.size()) + "\n" +
              "       and the number of columns read in was " + std::to_string(columns));
}

void check_delimiter(const std::string& delimiter) {
  if (delimiter.size() > 1) throw error("ERROR: Improper delimiter specified for reading in data.");
}

/// Drops a UTF-8 byte order mark from the file's first line and refuses UTF-16.
std::string_view strip_mark(std::string_view line) {
  const auto first = [&] { return static_cast<unsigned char>(line.front()); };
  while (!line.empty() && (first() == 0xEF || first() == 0xBB || first() == 0xBF)) line.remove_prefix(1);
  if (!line.empty() && (first() == 0xFE || first() == 0xFF))
    throw error("ERROR: Data file appears to be UTF-16 encoded. Only UTF-8 is supported.");
  return line;
}

std::string without_quotes(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '"' || c == '\''; }),
             text.end());
  return text;
}

/// The fields between separators that stand outside of double quotes. Adjacent separators of a header count
/// as one, except that a first field may be empty.
std::vector<std::string> split_quoted(const std::string& line, char separator) {
  std::vector<std::string> out(1);
  bool inside = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') inside = !inside;
    if (line[i] != separator || inside) {
      out.back() += line[i];
    } else if (i == 0 || line[i - 1] != separator) {
      out.emplace_back();
    }
  }
  return out;
}

void advise_semicolons(std::string_view line) {
  if (line.find(';') != std::string_view::npos)
    source::advise("The file seems to be separated by semicolons (;). Save it with commas instead.");
}

/// The names of a header; settles the delimiter when it is not known. No name holds a comma, so a comma that
/// stands outside of quotes is the delimiter.
std::vector<std::string> split_header(const std::string& header, std::string& delimiter) {
  const std::vector<std::string> quoted = split_quoted(header, ',');
  if (delimiter.empty()) delimiter = quoted.size() > 1 ? "," : " ";
  std::vector<std::string> fields =
      delimiter == "," ? quoted
                       : split(without_quotes(header),
                               separator::of(delimiter).blank ? std::string(" \t") : delimiter, true);
  if (fields.size() == 1) advise_semicolons(header);
  if (fields.size() == 1)
    throw error(
        "ERROR: Unable to determine delimiter for data file.\n"
        "       Use comma separated or space separated text files.\n"
        "       If there is only one variable, \"VARIABLE\" command must be specified.");
  return fields;
}

/// A first column without a name is what a statistics package writes for its row names.
void check_row_names(const std::vector<std::string>& names) {
  if (!names.front().empty() || names.size() == 1) return;
  throw error(
      "ERROR: The first column of the data file has no name.\n"
      "       It seems to hold row names. Write the file without them\n"
      "       (in R: write.csv(..., row.names = FALSE)).");
}

void check_name(const std::string& name, std::size_t column, bool fast) {
  if (name.find(' ') != std::string::npos)
    throw error("ERROR: The variable name \"" + name + "\" has a space.\n" +
                "       Variable names must be a single word.\n" +
                "       Use underscores (\"_\") instead.\n" + "       Error occured for column " +
                std::to_string(column) + ".\n");
  if (isNumber(name))
    throw error("ERROR: The variable name \"" + name + "\" is numeric.\n" +
                "       Variable names cannot be numeric.\n" + "       Error occured for column " +
                std::to_string(column) + (fast ? ".\n" : "."));
}

void read_header(std::string_view line, job& j) {
  j.names = split_header(std::string(line), j.delimiter);
  for (std::string& name : j.names) name = trim(without_quotes(name));
  check_row_names(j.names);
  for (std::size_t k = 0; k < j.names.size(); ++k) {
    check_name(j.names[k], k + 1, j.fast());
  }
}

/// The delimiter that gives the first data line as many cells as there are names.
void settle_delimiter(std::string_view line, job& j) {
  if (!j.delimiter.empty()) return;
  const std::size_t blanks = separator::of(" ").count(line);
  const std::size_t commas = separator::of(",").count(line);
  if (blanks != j.names.size() && commas != j.names.size()) {
    advise_semicolons(line);
    fail_counts(j, std::max(blanks, commas));
  }
  j.delimiter = blanks == j.names.size() ? " " : ",";
}

/// What to do about a cell that is no number.
void advise_cell(std::string_view cell) {
  const auto letter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
  if (std::any_of(cell.begin(), cell.end(), letter)) {
    source::advise(
        "Give text categories numbers, or name the text of a missing cell in the MISSING command.");
  } else {
    advise_semicolons(cell);
  }
}

[[noreturn]] void fail_line(const line_result& result, std::size_t line, bool fast) {
  if (result.status == line_result::kind::not_numeric) advise_cell(result.text);
  const std::string number = std::to_string(line);
  if (result.status == line_result::kind::wrong_count)
    throw error("ERROR: Line " + number +
                " in the data file does not have the appopriate number of columns.");
  std::string text =
      "ERROR: Line " + number + ", column " + std::to_string(result.column) + " is non-numeric.\n";
  if (line == 1 && fast) text += "       If these are variable names, remove VARIABLES command from input.\n";
  throw error(text + "       Only numeric data is allowed.\n       Parsed data: \"" +
              std::string(result.text) + "\".");
}

/// The next line that is not blank, trimmed; `passed` counts the lines gone through, that one included.
bool next_filled(line_reader& lines, std::string_view& line, std::size_t& passed) {
  while (lines.next(line)) {
    ++passed;
    line = trim_view(line);
    if (!line.empty()) return true;
  }
  return false;
}

/// The file's first line with something in it, without a byte order mark.
std::string_view first_line(line_reader& lines, const std::string& path) {
  std::string_view line;
  if (!lines.next(line)) fail_empty(path);
  line = trim_view(strip_mark(line));
  std::size_t passed = 0;
  if (line.empty() && !next_filled(lines, line, passed)) fail_empty(path);
  return line;
}

arma::Mat<double> read_rows(line_reader& lines, std::string_view line, const job& j) {
  const std::size_t columns = j.names.size();
  const cell_walker walker(separator::of(j.delimiter), j.missing);
  std::vector<double> cells;
  // A header of a broken file can be very wide: the hint is followed up to 256 MB.
  cells.reserve(columns * std::min(j.reserve_rows, (std::size_t{1} << 25) / columns + 1));
  std::size_t number = 1;
  do {
    const std::size_t at = cells.size();
    cells.resize(at + columns);
    const line_result result = walker.read(line, cells.data() + at, columns);
    if (result.status != line_result::kind::good) {
      source::data_line(j.path, lines.count(), line);
      fail_line(result, number, j.fast());
    }
  } while (next_filled(lines, line, number));

  const arma::Mat<double> rows(cells.data(), columns, cells.size() / columns, false, true);
  return rows.t();
}

arma::Mat<double> read_lines(line_reader& lines, job j) {
  std::string_view line = first_line(lines, j.path);
  source::data_line(j.path, lines.count(), line);
  if (j.names.empty()) {
    read_header(line, j);
    source::no_data_line();
    std::size_t passed = 0;
    if (!next_filled(lines, line, passed)) return arma::Mat<double>(0, j.names.size());
  }
  source::data_line(j.path, lines.count(), line);
  settle_delimiter(line, j);
  source::no_data_line();
  return read_rows(lines, line, j);
}

arma::Mat<double> read_file(const job& j) {
  check_delimiter(j.delimiter);
  if (const int failure = read_failure(j.path)) fail_unopened(j.path, failure);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(j.path.c_str(), "rb"), std::fclose);
  if (!file) fail_unopened(j.path, errno);
  line_reader lines([&](char* to, std::size_t size) {
    const std::size_t got = std::fread(to, 1, size, file.get());
    if (got == 0 && std::ferror(file.get()) != 0) fail_unopened(j.path, errno);
    return got;
  });
  return read_lines(lines, j);
}

}  // namespace

arma::Mat<double> readData(const std::string& path, std::vector<std::string>& names, std::string& delimiter,
                           const std::string& missingCode, std::size_t reserveRows) {
  return read_file({path, names, delimiter, missingCode, reserveRows});
}

arma::Mat<double> readData_fast(const std::string& path, std::vector<std::string>& names,
                                std::string& delimiter, std::size_t reserveRows) {
  const std::string none;
  return read_file({path, names, delimiter, none, reserveRows});
}

arma::Mat<double> readData_memory(std::string_view text, const std::string& path,
                                  std::vector<std::string>& names, std::string& delimiter,
                                  const std::string& missingCode, std::size_t reserveRows,
                                  std::size_t block) {
  check_delimiter(delimiter);
  line_reader lines(
      [&](char* to, std::size_t size) {
        const std::size_t got = std::min(size, text.size());
        if (got > 0) std::memcpy(to, text.data(), got);
        text.remove_prefix(got);
        return got;
      },
      block);
  return read_lines(lines, {path, names, delimiter, missingCode, reserveRows});
}

std::string delimeter(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  return dot != std::string::npos && iequals(trim(path.substr(dot + 1)), "csv") ? "csv" : "dat";
}

}  // namespace tovik
