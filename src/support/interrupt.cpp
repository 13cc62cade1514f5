#include "support/interrupt.hpp"

#include <atomic>
#include <csignal>
#include <ctime>

namespace tovik::interrupt {

namespace {

// Written by the handler and read by chains between two scans; nothing else hangs on its order.
std::atomic<int> pending{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may touch it");

// When the request came. Only the handler uses it.
volatile std::sig_atomic_t came_at = 0;

// Programs that end others send a signal to the process and once more to its group: within this time both are
// one request.
constexpr long echo_ms = 100;

long milliseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return (now.tv_sec % 1000000) * 1000 + now.tv_nsec / 1000000;
}

extern "C" void on_signal(int signal) {
  const long now = milliseconds();
  if (pending.exchange(signal, std::memory_order_relaxed) == 0) {
    came_at = static_cast<std::sig_atomic_t>(now);
    return;
  }
  if (now - came_at < echo_ms) return;
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

void watch() {
  struct sigaction action {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

int requested() noexcept {
  return pending.load(std::memory_order_relaxed);
}

void request(int signal) noexcept {
  pending.store(signal, std::memory_order_relaxed);
}

}  // namespace tovik::interrupt
