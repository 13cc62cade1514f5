#include "system/program.hpp"

#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace tovik::tests {

run_result run_program(const std::string& arguments) {
  std::string command = TOVIK_PROGRAM;
  command += " ";
  command += arguments;
  command += " 2>&1";
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot start " + command);
  run_result result;
  char block[4096];
  for (std::size_t n; (n = std::fread(block, 1, sizeof block, pipe)) > 0;) result.output.append(block, n);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::string read_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void write_file(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string masked(const std::string& report) {
  static const std::regex clock(R"([A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4})");
  std::istringstream lines(std::regex_replace(report, clock, "Jan  1 00:00:00 2026"));
  std::string out;
  std::vector<std::string> progress;
  auto flush = [&] {
    std::stable_sort(progress.begin(), progress.end(), [](const std::string& a, const std::string& b) {
      return std::stoi(a.substr(8)) < std::stoi(b.substr(8));
    });
    for (const std::string& line : progress) out += line + "\n";
    progress.clear();
  };
  for (std::string line; std::getline(lines, line);) {
    const bool of_a_chain = line.rfind("  Chain ", 0) == 0 && std::isdigit(line[8]) != 0;
    if (of_a_chain && line.back() != ':') {
      progress.push_back(line);
    } else {
      flush();
      out += line + "\n";
    }
  }
  flush();
  return out;
}

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Where the digits that begin at `from` end.
std::size_t digits_end(const std::string& line, std::size_t from) {
  while (from < line.size() && is_digit(line[from])) ++from;
  return from;
}

/// The end of a number with decimals that begins at `from`, or `from` itself. A version has two points; a
/// percentage is part of a title.
std::size_t number_end(const std::string& line, std::size_t from) {
  if (from > 0 && (is_digit(line[from - 1]) || line[from - 1] == '.')) return from;
  const std::size_t start = line[from] == '-' ? from + 1 : from;
  const std::size_t point = digits_end(line, start);
  if (point == start || point >= line.size() || line[point] != '.') return from;
  const std::size_t end = digits_end(line, point + 1);
  const char behind = end < line.size() ? line[end] : ' ';
  if (end == point + 1 || behind == '.' || behind == '%') return from;
  if (end + 1 >= line.size() || line[end] != 'e') return end;
  return digits_end(line, end + 2);  // an exponent has a sign
}

/// A number in exponential notation stands in a cell of three decimals.
std::string mask_number(const std::string& number, bool aligned) {
  const bool exponential = number.find('e') != std::string::npos;
  const std::size_t decimals = exponential ? 3 : number.size() - number.find('.') - 1;
  const std::string zero = "0." + std::string(decimals, '0');
  const std::size_t width = number.size();
  return aligned && width > zero.size() ? std::string(width - zero.size(), ' ') + zero : zero;
}

std::string masked_line(const std::string& line) {
  static const std::regex psr(R"(( +\d+ to \d+ +(?:with +\d+ to \d+ +)?\S+ +)(\d+)(  ))");
  std::smatch match;
  if (std::regex_match(line, match, psr)) {
    const std::string one = std::string(match[2].str().size() - 1, ' ') + "1";
    const std::string head = match[1];
    const std::size_t value = head.find_last_of(' ', head.find_last_not_of(' ')) + 1;
    const std::size_t end = head.find_last_not_of(' ') + 1;
    return head.substr(0, value) + mask_number(head.substr(value, end - value), true) + head.substr(end) +
           one + match[3].str();
  }
  const bool aligned = line.rfind("      DIC2 ", 0) != 0 && line.rfind("      WAIC ", 0) != 0;
  std::string out;
  for (std::size_t i = 0; i < line.size();) {
    const std::size_t end = number_end(line, i);
    out += end > i ? mask_number(line.substr(i, end - i), aligned) : line.substr(i, 1);
    i = end > i ? end : i + 1;
  }
  return out;
}

bool starts_with(const std::string& line, const char* text) {
  return line.rfind(text, 0) == 0;
}

/// Which parameters are slow, and whether any is, is a matter of numbers.
bool begins_a_warning_of_convergence(const std::string& line) {
  return starts_with(line, "  WARNING: The chains have ") ||
         starts_with(line, "  WARNING: The burn-in has ") ||
         starts_with(line, "  WARNING: At the end of the burn-in") ||
         starts_with(line, "  WARNING: There are too few iterations to tell ");
}

std::string without_warnings_of_convergence(const std::string& report) {
  static const std::string heading = "WARNING MESSAGES:\n\n";
  std::istringstream lines(report);
  std::string out;
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    inside = begins_a_warning_of_convergence(line) || (inside && starts_with(line, "         "));
    if (!inside) out += line + "\n";
  }
  const std::size_t block = out.find(heading);
  if (block != std::string::npos && out[block + heading.size()] == '\n')
    out.insert(block + heading.size(), "  No warning messages.\n");
  return out;
}

}  // namespace

std::string masked_numbers(const std::string& report) {
  std::istringstream lines(without_warnings_of_convergence(report));
  std::string out;
  for (std::string line; std::getline(lines, line);) out += masked_line(line) + "\n";
  return out;
}

}  // namespace tovik::tests
