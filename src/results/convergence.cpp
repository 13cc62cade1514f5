#include "results/convergence.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

#include "results/summary.hpp"
#include "results/table.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::convergence {

namespace {

void require_names(const Summary& draws, const std::vector<parameter_name>& names) {
  if (draws.n_rows() != names.size()) throw error_debug("Parameters and their names don't match!");
}

/// Effective draws on a scale of six digits: of parameters that mirror each other, as two shares of variance
/// that add up to one, the last digits must not decide which comes first.
double place(const slow_parameter& one) {
  constexpr double digits = 1e6;
  return std::round(std::log(one.ess) * digits);
}

/// A line for each parameter, the numbers under each other.
std::string table_of(const std::vector<slow_parameter>& slow, const std::vector<parameter_name>& names) {
  const std::size_t shown = std::min(slow.size(), most_named);
  std::size_t width = 0;
  for (std::size_t k = 0; k < shown; ++k) width = std::max(width, names[slow[k].row].text.size());
  const int columns = static_cast<int>(width);
  std::string out = format("           %-*s  %9s  %9s\n", columns, "", "PSR", "N_Eff");
  for (std::size_t k = 0; k < shown; ++k) {
    out += format("           %-*s  %s  %s\n", columns, names[slow[k].row].text.c_str(),
                  cell_text(slow[k].psr).c_str(), cell_text(slow[k].ess).c_str());
  }
  if (shown < slow.size()) out += format("           and %zu more\n", slow.size() - shown);
  return out;
}

/// What can be said of draws of which some fall short.
enum class verdict {
  unknown,  ///< as many draws as these differ by chance as much as slow chains do
  apart,    ///< the chains, or their halves, have not come together
  few       ///< nothing tells the chains apart, but they move slowly
};

verdict verdict_on(const Summary& draws, const std::vector<slow_parameter>& slow) {
  if (draws.n_iterations() < least_effective) return verdict::unknown;
  const bool any =
      std::any_of(slow.begin(), slow.end(), [](const slow_parameter& one) { return !(one.psr <= most_psr); });
  return any ? verdict::apart : verdict::few;
}

std::string headline(verdict what) {
  switch (what) {
    case verdict::unknown:
      return "WARNING: There are too few iterations to tell whether the chains have converged.\n";
    case verdict::apart:
      return "WARNING: The chains have not converged.\n";
    case verdict::few:
      return "WARNING: The chains have too few effective draws.\n";
  }
  throw error_debug("Unknown verdict on the chains.");
}

std::string criterion(verdict what) {
  if (what == verdict::few)
    return "         These estimates have fewer than 100 effective draws (N_Eff), the worst first:\n";
  return "         These estimates have a potential scale reduction (PSR) above 1.05 or fewer than 100\n"
         "         effective draws (N_Eff), the worst first:\n";
}

std::string about_data_sets(verdict what) {
  const char* clause = what == verdict::apart     ? ", which have not converged"
                       : what == verdict::unknown ? ", which may not have converged"
                                                  : ", and may depend on each other";
  return std::string("         The imputed data sets come from the same chains") + clause + ".\n";
}

}  // namespace

std::vector<slow_parameter> slow_parameters(const Summary& draws, const std::vector<parameter_name>& names) {
  require_names(draws, names);
  const arma::Col<double> psr = draws.psr();
  const arma::Col<double> ess = draws.ess();
  std::vector<slow_parameter> out;
  for (arma::uword row = 0; row < names.size(); ++row) {
    if (names[row].fixed || std::isnan(ess(row))) continue;
    if (psr(row) > most_psr || ess(row) < least_effective) out.push_back({row, psr(row), ess(row)});
  }
  std::stable_sort(out.begin(), out.end(),
                   [](const slow_parameter& a, const slow_parameter& b) { return place(a) < place(b); });
  return out;
}

std::string warning_of_draws(const Summary& draws, const std::vector<parameter_name>& names,
                             bool saves_data) {
  constexpr std::uint32_t least_draws = 4;  // two in each half of a chain
  if (draws.n_iterations() == 0 || draws.n_rows() == 0) return "";
  const bool measured = draws.n_cols() >= least_draws;
  const std::vector<slow_parameter> slow =
      measured ? slow_parameters(draws, names) : std::vector<slow_parameter>();
  if (measured && slow.empty()) return "";
  const verdict what = verdict_on(draws, slow);
  std::string out = headline(what);
  if (measured) out += criterion(what) + table_of(slow, names);
  if (saves_data) out += about_data_sets(what);
  out += "         Please use longer BURN and ITERATIONS; THIN does not replace them.";
  if (what == verdict::unknown) return out;
  return out +
         " If the warning stays,\n"
         "         the first of the list shows which part of the model holds the chains back.";
}

std::string warning_of_burn_in(const Summary& burn, const std::vector<parameter_name>& names) {
  require_names(burn, names);
  const arma::Col<double> psr = burn.last_psr();
  if (psr.empty()) {
    return format(
        "WARNING: The burn-in has no potential scale reduction (PSR), which takes at least\n"
        "         %llu iterations. Please use a longer BURN.",
        Summary::interval);
  }
  const std::optional<arma::uword> worst = Summary::highest(psr);
  if (!worst || psr(*worst) <= most_psr) return "";
  const auto above = std::count_if(psr.begin(), psr.end(), [](double value) { return value > most_psr; });
  std::string out = "WARNING: At the end of the burn-in, the highest potential scale reduction (PSR) is ";
  out += format("%s:\n           parameter %llu, %s\n", trim(cell_text(psr(*worst))).c_str(),
                static_cast<unsigned long long>(*worst + 1), names[*worst].text.c_str());
  if (above > 1)
    out += format("         %lld parameters are above 1.05.", static_cast<long long>(above));
  else
    out += "         It should be 1.05 at most.";
  return out + " Please use a longer BURN.";
}

}  // namespace tovik::convergence
