#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tovik {

/// What a run is doing.
enum class run_phase { reading, preparing, burn_in, sampling, summarising, writing };
inline constexpr std::size_t n_run_phases = 6;

/// "burn-in" and so on.
const char* name_of(run_phase phase);

/// How far a run has come at a moment.
struct run_state {
  run_phase phase = run_phase::reading;
  unsigned group = 0;  ///< of the groups of the data, from 1; 0 without groups
  unsigned groups = 0;
  std::uint64_t scans = 0;    ///< that the chains have made, burn-in included
  std::uint64_t planned = 0;  ///< of all chains; 0 in phases without chains
  double seconds = 0;         ///< since the chains have started
};

/// Where a run stands and what its phases have cost. The main thread moves it from phase to phase; chains
/// tell of their scans through atomics, so that another thread may look at any time. Nothing of a run depends
/// on it.
class run_clock {
 public:
  run_clock() { restart(); }

  /// Everything at its beginning, in the phase of reading.
  void restart();
  void enter(run_phase next);
  /// The group that comes next, from 1, of so many.
  void begin_group(unsigned number, unsigned total);
  /// The chains start, with so many scans before them.
  void begin_chains(std::uint64_t planned);
  /// They have ended. Burn-in and sampling share the time in proportion to what the chains spent in each:
  /// while one chain samples another may still be in its burn-in.
  void end_chains();

  /// From a chain: one more scan.
  void scanned() noexcept { scans_.fetch_add(1, std::memory_order_relaxed); }

  /// The burn-in or the sampling of one chain, as long as the object lives.
  class stretch {
   public:
    stretch(run_clock& clock, run_phase phase) noexcept;
    stretch(const stretch&) = delete;
    stretch& operator=(const stretch&) = delete;
    ~stretch();

   private:
    run_clock& clock_;
    bool burn_in_;
    std::int64_t start_;
  };

  run_state now() const;
  /// By phase, up to the last change of phase.
  const std::array<double, n_run_phases>& seconds() const { return seconds_; }

 private:
  static std::int64_t nanoseconds();
  double take();

  std::atomic<run_phase> phase_;
  std::atomic<unsigned> group_, groups_;
  std::atomic<std::uint64_t> scans_, planned_;
  std::atomic<std::int64_t> chains_started_;
  std::atomic<int> burning_;
  std::atomic<std::int64_t> burn_in_, sampling_;  ///< nanoseconds of all chains together
  // Of the main thread alone.
  std::int64_t last_ = 0;
  std::array<double, n_run_phases> seconds_{};
};

}  // namespace tovik
