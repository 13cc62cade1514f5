#include "input/commands.hpp"

#include <unordered_map>

#include "support/text.hpp"

namespace tovik {

int parseTovikCommand(const std::string& word) {
  static const std::unordered_map<std::string, int> codes = {
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
  };
  if (word.empty() || word.back() != ':') return 0;
  const auto at = codes.find(to_lower(word));
  return at == codes.end() ? 0 : at->second;
}

}  // namespace tovik
