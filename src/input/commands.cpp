#include "input/commands.hpp"

#include <algorithm>
#include <map>
#include <vector>

#include "input/language_words.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

const std::map<std::string, int> codes = {
    {"data:", 1},       {"variables:", 2},     {"missing:", 3},  {"misind:", 3},     {"bygroup:", 4},
    {"seed:", 5},       {"burn:", 6},          {"thin:", 7},     {"iter:", 8},       {"niter:", 8},
    {"iterations:", 8}, {"niterations:", 8},   {"nimps:", 9},    {"nimp:", 9},       {"factors:", 10},
    {"factor:", 10},    {"latent:", 10},       {"phantom:", 11}, {"phantoms:", 11},  {"clusterid:", 12},
    {"ordinal:", 13},   {"nominal:", 14},      {"count:", 15},   {"fixed:", 16},     {"fcs:", 17},
    {"centering:", 18}, {"center:", 18},       {"compute:", 19}, {"transform:", 20}, {"chains:", 21},
    {"chain:", 21},     {"options:", 22},      {"save:", 23},    {"simple:", 24},    {"simpleeffects:", 24},
    {"waldtest:", 25},  {"test:", 25},         {"weights:", 26}, {"weight:", 26},    {"plot:", 27},
    {"plots:", 27},     {"outfile:", 28},      {"debug:", 29},   {"parameter:", 30}, {"parameters:", 30},
    {"model:", 31},     {"randomeffect:", 32}, {"randeff:", 32}, {"output:", 33},    {"simulate:", 34},
    {"starts:", 35},
};

/// Letters to add, leave out, change or swap with their neighbour (the optimal string alignment distance,
/// Damerau, 1964).
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        d[i][j] = i + j;
        continue;
      }
      const std::size_t change = d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, change});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[a.size()][b.size()];
}

}  // namespace

int parseTovikCommand(const std::string& word) {
  if (word.empty() || word.back() != ':') return 0;
  const auto at = codes.find(to_lower(word));
  return at == codes.end() ? 0 : at->second;
}

std::string nearest_command(const std::string& word) {
  constexpr std::size_t longest = 20;  // no command word is longer
  if (word.size() > longest) return "";
  const std::string lower = to_lower(word);
  std::string best;
  std::size_t least = std::max<std::size_t>(word.size() / 2, 1);
  for (const auto& [name, code] : codes) {
    const std::size_t d = distance(lower, name);
    if (d >= least) continue;
    least = d;
    best = name;
  }
  return best.empty() ? "" : to_upper(best.substr(0, best.size() - 1));
}

std::vector<std::string> command_words() {
  std::vector<std::string> out;
  for (const auto& [word, code] : codes) out.push_back(to_upper(word.substr(0, word.size() - 1)));
  return out;
}

}  // namespace tovik
