#include "app/start_values.hpp"

#include <cmath>
#include <fstream>
#include <map>
#include <unordered_map>

#include "data/read_data.hpp"
#include "support/csv.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

const std::string draws_start = ".chain,.iteration,.draw";

std::string the_file(const std::string& path) {
  return "ERROR: The STARTS file \"" + path + "\"";
}

constexpr const char* origin = "\n       It must come from a run of the same model with as many chains.";

double cell_value(const std::string& cell, const std::string& path) {
  if (iequals(cell, "nan") || iequals(cell, "na")) return arma::datum::nan;
  try {
    return std::stod(cell);
  } catch (const std::exception&) {
    throw error(the_file(path) + " holds \"" + cell + "\" in the place of a number.");
  }
}

/// The place of each parameter among the columns of a file of draws.
std::vector<std::size_t> places_of(const std::vector<parameter_name>& names, const std::string& header,
                                   const std::string& path) {
  const std::vector<std::string> columns = csv_cells(header);
  std::unordered_map<std::string, std::size_t> places;
  for (std::size_t k = 0; k < columns.size(); ++k) places.emplace(columns[k], k);
  std::vector<std::size_t> out;
  for (const parameter_name& name : names) {
    const auto at = places.find(name.column);
    if (at == places.end()) throw error(the_file(path) + " has no column \"" + name.column + "\"." + origin);
    out.push_back(at->second);
  }
  return out;
}

/// A file may be long: of its lines only the last of each chain is kept.
arma::Mat<double> from_draws(std::ifstream& in, const std::string& header, const std::string& path,
                             const std::vector<parameter_name>& names) {
  const std::vector<std::size_t> places = places_of(names, header, path);
  std::map<unsigned, std::string> last;
  for (std::string line; std::getline(in, line);) {
    if (line.empty()) continue;
    const double chain = cell_value(line.substr(0, line.find(',')), path);
    if (!(chain >= 1 && chain <= 1e6))
      throw error(the_file(path) + " has a line without the number of a chain.");
    last[static_cast<unsigned>(chain)].swap(line);
  }
  arma::Mat<double> out(names.size(), last.empty() ? 0 : last.rbegin()->first);
  out.fill(arma::datum::nan);
  for (const auto& [chain, line] : last) {
    const std::vector<std::string> cells = csv_cells(line);
    for (std::size_t k = 0; k < places.size(); ++k) {
      if (places[k] < cells.size()) out(k, chain - 1) = cell_value(cells[places[k]], path);
    }
  }
  return out;
}

/// One row per parameter, without names.
arma::Mat<double> from_starts(const std::string& path) {
  std::ifstream in(path);
  std::string text;
  std::vector<std::vector<double>> rows;
  while (std::getline(in, text)) {
    const std::vector<std::string> cells = words(replace_all(text, ",", " "));
    if (cells.empty()) continue;
    rows.emplace_back();
    for (const std::string& cell : cells) rows.back().push_back(cell_value(cell, path));
    if (rows.back().size() != rows.front().size())
      throw error(the_file(path) + " has lines of different lengths." + origin);
  }
  arma::Mat<double> out(rows.size(), rows.empty() ? 0 : rows.front().size());
  for (std::size_t r = 0; r < rows.size(); ++r)
    for (std::size_t c = 0; c < rows[r].size(); ++c) out(r, c) = rows[r][c];
  return out;
}

bool is_variance(const parameter_name& name) {
  return name.label == "Residual Var." || name.label.find("Var(") != std::string::npos;
}

void check_values(const arma::Mat<double>& values, const std::vector<parameter_name>& names,
                  const std::string& path) {
  for (arma::uword c = 0; c < values.n_cols; ++c) {
    for (arma::uword r = 0; r < values.n_rows; ++r) {
      const double x = values(r, c);
      const std::string of = " for \"" + names[r].column + "\" of chain " + std::to_string(c + 1);
      if (!std::isfinite(x)) throw error(the_file(path) + " has no value" + of + ".");
      if (is_variance(names[r]) && !(x > 0.0)) {
        throw error(the_file(path) + format(" has %g", x) + of +
                    ",\n       and a variance must be positive.");
      }
    }
  }
}

}  // namespace

arma::Mat<double> read_start_values(const std::string& path, const std::vector<parameter_name>& names,
                                    std::size_t chains) {
  std::ifstream in(path);
  if (!in) throw error("ERROR: File \"" + path + "\" cannot be opened.");
  std::string first;
  std::getline(in, first);
  const bool draws = first.rfind(draws_start, 0) == 0;
  arma::Mat<double> out = draws ? from_draws(in, first, path, names) : from_starts(path);
  if (out.n_rows != names.size()) {
    throw error(the_file(path) +
                format(" has %llu values for each chain,\n       and this model has %zu "
                       "parameters.",
                       static_cast<unsigned long long>(out.n_rows), names.size()) +
                origin);
  }
  if (out.n_cols != chains) {
    throw error(the_file(path) +
                format(" has the values of %llu chains, and this run has %zu (CHAINS command).",
                       static_cast<unsigned long long>(out.n_cols), chains) +
                origin);
  }
  check_values(out, names, path);
  return out;
}

}  // namespace tovik
