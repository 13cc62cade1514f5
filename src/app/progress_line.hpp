#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "app/run_clock.hpp"

namespace tovik {

/// "burn-in   12%   1234 scans/s   0:41 left"; the word alone for a phase without chains. With groups of the
/// data "group 2 of 5, burn-in ...".
std::string progress_text(const run_state& state);

/// "Seconds: reading 0.0, preparing 0.1, burn-in 1.2, sampling 3.4, summarising 0.2, writing 0.0".
std::string seconds_text(const std::array<double, n_run_phases>& seconds);

/// One line that is rewritten in place while a run is under way, on a stream of its own: a terminal, or
/// whatever shows text that a carriage return takes back. A thread of its own looks at the clock, first after
/// one interval.
class progress_line {
 public:
  /// `shared`: the report goes to the same terminal. The line then keeps away while it is printed.
  progress_line(std::FILE* stream, const run_clock& clock, std::chrono::milliseconds interval, bool shared);
  progress_line(const progress_line&) = delete;
  progress_line& operator=(const progress_line&) = delete;
  /// The line goes.
  ~progress_line();

  /// While it lives the line is gone from a shared terminal, for other text.
  class gap {
   public:
    /// `line` may be null.
    explicit gap(progress_line* line);

   private:
    std::unique_lock<std::mutex> lock_;
  };

  /// The last line, which stays, in the place of the one that was rewritten.
  void finish(const std::string& text);

 private:
  void watch();
  void stop();
  void rewrite(const std::string& text);

  std::FILE* stream_;
  const run_clock& clock_;
  std::chrono::milliseconds interval_;
  bool shared_;
  std::mutex mutex_;
  std::condition_variable stopping_;
  bool stop_ = false;
  std::size_t width_ = 0;  ///< of the text that stands there
  std::thread thread_;
};

}  // namespace tovik
