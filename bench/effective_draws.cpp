#include "effective_draws.hpp"

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace tovik::bench {
namespace {

std::vector<double> numbers_below_the_heading(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::vector<double> out;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) out.push_back(std::strtod(line.c_str(), nullptr));
  return out;
}

bool follows_from_others(const std::string& kind) {
  return kind == "R2" || kind.rfind("Standardized", 0) == 0;
}

}  // namespace

std::vector<parameter_draws> read_effective_draws(const std::filesystem::path& labels,
                                                  const std::filesystem::path& estimates) {
  const std::vector<double> effective = numbers_below_the_heading(estimates);
  std::ifstream file(labels);
  std::vector<parameter_draws> out;
  std::string line, model, kind, label;
  std::size_t number = 0;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    words >> std::quoted(model) >> std::quoted(kind) >> std::quoted(label) >> number;
    if (!words) throw std::runtime_error("A line of the labels cannot be read: " + line);
    if (number == 0 || follows_from_others(kind)) continue;  // 0: no row of the tables
    if (number > effective.size()) throw std::runtime_error("The estimates have too few rows.");
    const double n = effective[number - 1];
    if (std::isfinite(n) && n > 0.0) out.push_back({model + ": " + label, n});
  }
  if (out.empty()) throw std::runtime_error("No parameter has an effective number of draws.");
  return out;
}

}  // namespace tovik::bench
