#include "app/progress_line.hpp"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "support/text.hpp"

namespace tovik {

namespace {

/// "1:05:09", "0:41".
std::string clock_time(double seconds) {
  constexpr double most = 359999;  // a hundred hours: who sees that wants to know nothing finer
  const auto all = static_cast<unsigned>(std::min(std::ceil(seconds), most));
  const unsigned minutes = all / 60;
  if (minutes < 60) return format("%u:%02u", minutes, all % 60);
  return format("%u:%02u:%02u", minutes / 60, minutes % 60, all % 60);
}

}  // namespace

std::string progress_text(const run_state& state) {
  std::string out = state.groups > 0 ? format("group %u of %u, ", state.group, state.groups) : "";
  out += name_of(state.phase);
  if (state.planned == 0) return out;
  const auto done = static_cast<double>(state.scans);
  const auto planned = static_cast<double>(state.planned);
  // The last per cent is for the last scan.
  out += format("  %3.0f%%", std::floor(100.0 * done / planned));
  if (state.scans == 0 || state.seconds <= 0) return out;
  const double rate = done / state.seconds;
  return out + format("  %.*f scans/s  ", rate < 10 ? 1 : 0, rate) +
         clock_time(std::max(planned - done, 0.0) / rate) + " left";
}

std::string seconds_text(const std::array<double, n_run_phases>& seconds) {
  std::string out;
  for (std::size_t k = 0; k < n_run_phases; ++k) {
    out += format("%s %s %.1f", k == 0 ? "Seconds:" : ",", name_of(static_cast<run_phase>(k)), seconds[k]);
  }
  return out;
}

progress_line::progress_line(std::FILE* stream, const run_clock& clock, std::chrono::milliseconds interval,
                             bool shared)
    : stream_(stream), clock_(clock), interval_(interval), shared_(shared) {
  try {
    thread_ = std::thread([this] { watch(); });
  } catch (const std::system_error&) {
    // Without a thread to spare the run goes on unseen.
  }
}

progress_line::~progress_line() {
  stop();
  rewrite("");
}

void progress_line::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  stopping_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void progress_line::watch() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopping_.wait_for(lock, interval_, [this] { return stop_; })) {
    const run_state state = clock_.now();
    const bool hidden = shared_ && state.phase == run_phase::summarising;
    rewrite(hidden ? "" : progress_text(state));
  }
}

/// The cursor goes back to the start of the line, so that whatever comes next on a terminal writes over it.
void progress_line::rewrite(const std::string& text) {
  if (text.empty() && width_ == 0) return;
  const std::size_t rest = width_ > text.size() ? width_ - text.size() : 0;
  width_ = text.size();
  std::fprintf(stream_, "\r%s%s\r", text.c_str(), std::string(rest, ' ').c_str());
  std::fflush(stream_);
}

void progress_line::finish(const std::string& text) {
  stop();
  rewrite(text);
  width_ = 0;
  std::fputs("\n", stream_);
  std::fflush(stream_);
}

progress_line::gap::gap(progress_line* line) {
  if (line == nullptr || !line->shared_) return;
  lock_ = std::unique_lock<std::mutex>(line->mutex_);
  line->rewrite("");
}

}  // namespace tovik
