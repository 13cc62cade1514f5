#pragma once

#include <string>

namespace tovik {

/// The commands of the language, by code.
enum class command : int {
  none = 0,
  data = 1,
  variables = 2,
  missing = 3,
  bygroup = 4,
  seed = 5,
  burn = 6,
  thin = 7,
  iterations = 8,
  nimps = 9,
  latent = 10,
  phantom = 11,
  clusterid = 12,
  ordinal = 13,
  nominal = 14,
  count = 15,
  fixed = 16,
  fcs = 17,
  center = 18,
  compute = 19,
  transform = 20,
  chains = 21,
  options = 22,
  save = 23,
  simple = 24,
  waldtest = 25,
  weights = 26,
  plot = 27,
  outfile = 28,
  debug = 29,
  parameters = 30,
  model = 31,
  randomeffect = 32,
  output = 33,
  simulate = 34,
  starts = 35,
};

/// The code of a command word, 0 when the word is none. The word is compared as a whole, its colon included,
/// without regard to letter case.
int parseTovikCommand(const std::string& word);

/// The command word nearest to a word with a colon, in capitals and without the colon; empty when none is
/// near. Near are words that a few letters added, left out, changed or swapped make of each other.
std::string nearest_command(const std::string& word);

}  // namespace tovik
