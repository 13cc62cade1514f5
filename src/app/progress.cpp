#include "app/progress.hpp"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>

#include "support/output.hpp"

namespace tovik::progress {

namespace {

std::unique_ptr<progress_line> line_on_stderr;

bool is_wanted() {
  return wish == line_wish::always || (wish == line_wish::on_terminals && ::isatty(STDERR_FILENO) == 1);
}

}  // namespace

void print(const std::string& line) {
  const progress_line::gap gap(line_on_stderr.get());
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

run_clock& clock() {
  static run_clock one;
  return one;
}

void enter(run_phase next) {
  const progress_line::gap gap(line_on_stderr.get());
  clock().enter(next);
}

shown::shown() {
  constexpr std::chrono::seconds interval(2);
  clock().restart();
  if (!is_wanted()) return;
  const bool shared = ::isatty(STDOUT_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
  line_on_stderr = std::make_unique<progress_line>(stderr, clock(), interval, shared);
}

shown::~shown() {
  line_on_stderr.reset();
}

void shown::finish() {
  clock().enter(run_phase::summarising);
  if (line_on_stderr != nullptr) line_on_stderr->finish(seconds_text(clock().seconds()));
}

}  // namespace tovik::progress
