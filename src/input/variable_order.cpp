#include "input/variable_order.hpp"

#include <cstdio>

#include "support/output.hpp"
#include "support/text.hpp"
#include "support/wrapped.hpp"

namespace tovik {

std::string variable_order(const std::string& key, const std::string& path,
                           const std::vector<std::string>& names) {
  return format("%10s = '%s'\n\n", key.c_str(), path.c_str()) + "    " + wrapped(names, 4, 76) + "\n\n";
}

void print_everywhere(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
  if (Output::fp == stdout) return;
  std::fputs(text.c_str(), Output::fp);
  std::fflush(Output::fp);
}

}  // namespace tovik
