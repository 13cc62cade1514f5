#include "input/nominal_name.hpp"

#include "data/numbers.hpp"
#include "support/error.hpp"

namespace tovik {

nominal_name::nominal_name(const std::string& word) : name(word) {
  const std::size_t open = word.rfind('(');
  if (open == std::string::npos) return;
  const std::size_t close = word.rfind(')');
  const bool whole = open > 0 && close != std::string::npos && close > open;
  // A word that is no "name(value)" has no value to read: the reader of numbers gives its error on all of it.
  try {
    reference = toDouble(whole ? word.substr(open + 1, close - open - 1) : word);
  } catch (const error& fault) {
    throw error("ERROR: " + std::string(fault.what()) + "\n       See '" + word +
                "' in the NOMINAL command.");
  }
  name = word.substr(0, open);
}

}  // namespace tovik
