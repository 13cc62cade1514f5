#pragma once

#include <string>

#include "app/progress_line.hpp"
#include "app/run_clock.hpp"

namespace tovik::progress {

/// Prints one line to standard output, and to the report when that is another stream that wants progress
/// lines. One fputs per stream, so that lines of different chains stay whole.
void print(const std::string& line);

/// The clock as "Jan  1 00:00:00 2026\n": the text of ctime from the month on, with its newline.
std::string now();

/// Whether a line on standard error shows how far the run is: where it is a terminal, or as the command line
/// says.
enum class line_wish { on_terminals, always, never };
inline line_wish wish = line_wish::on_terminals;

/// Of the run of this process.
run_clock& clock();
/// Moves the clock on. From the main thread.
void enter(run_phase next);

/// The line on standard error, from its making on, if it is wanted. One at a time.
class shown {
 public:
  shown();
  shown(const shown&) = delete;
  shown& operator=(const shown&) = delete;
  ~shown();
  /// The run has come to its end: the seconds of its phases take the place of the line.
  void finish();
};

}  // namespace tovik::progress
