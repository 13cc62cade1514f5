#include "app/progress.hpp"

#include <cstdio>
#include <ctime>

#include "support/output.hpp"

namespace tovik::progress {

void print(const std::string& line) {
  std::fputs(line.c_str(), stdout);
  std::fflush(stdout);
  if (Output::print_iterations && Output::fp != stdout) {
    std::fputs(line.c_str(), Output::fp);
    std::fflush(Output::fp);
  }
}

std::string now() {
  // ctime keeps its text in one static buffer, which chains would share; ctime_r writes into this one.
  char text[64] = "";
  const std::time_t clock = std::time(nullptr);
  if (ctime_r(&clock, text) == nullptr) return "\n";
  return std::string(text).substr(4);
}

}  // namespace tovik::progress
