#include "app/run_clock.hpp"

namespace tovik {

namespace {

double& seconds_of(std::array<double, n_run_phases>& all, run_phase phase) {
  return all[static_cast<std::size_t>(phase)];
}

}  // namespace

const char* name_of(run_phase phase) {
  constexpr std::array<const char*, n_run_phases> names = {"reading",  "preparing",   "burn-in",
                                                           "sampling", "summarising", "writing"};
  return names[static_cast<std::size_t>(phase)];
}

std::int64_t run_clock::nanoseconds() {
  using namespace std::chrono;
  return duration_cast<std::chrono::nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

void run_clock::restart() {
  phase_ = run_phase::reading;
  group_ = groups_ = 0;
  scans_ = planned_ = 0;
  chains_started_ = 0;
  burning_ = 0;
  burn_in_ = sampling_ = 0;
  seconds_.fill(0.0);
  last_ = nanoseconds();
}

double run_clock::take() {
  const std::int64_t now = nanoseconds();
  const double passed = static_cast<double>(now - last_) / 1e9;
  last_ = now;
  return passed;
}

void run_clock::enter(run_phase next) {
  seconds_of(seconds_, phase_) += take();
  phase_ = next;
}

void run_clock::begin_group(unsigned number, unsigned total) {
  group_ = number;
  groups_ = total;
}

void run_clock::begin_chains(std::uint64_t planned) {
  enter(run_phase::burn_in);
  scans_ = 0;
  burn_in_ = sampling_ = 0;
  chains_started_ = last_;
  planned_ = planned;
}

void run_clock::end_chains() {
  const double passed = take();
  const auto burn_in = static_cast<double>(burn_in_);
  const double all = burn_in + static_cast<double>(sampling_);
  const double share = all > 0 ? burn_in / all : 1.0;
  seconds_of(seconds_, run_phase::burn_in) += share * passed;
  seconds_of(seconds_, run_phase::sampling) += (1.0 - share) * passed;
  planned_ = 0;
  phase_ = run_phase::summarising;
}

run_clock::stretch::stretch(run_clock& clock, run_phase phase) noexcept
    : clock_(clock), burn_in_(phase == run_phase::burn_in), start_(nanoseconds()) {
  if (burn_in_) ++clock_.burning_;
}

run_clock::stretch::~stretch() {
  if (burn_in_) --clock_.burning_;
  (burn_in_ ? clock_.burn_in_ : clock_.sampling_) += nanoseconds() - start_;
}

run_state run_clock::now() const {
  run_state out;
  out.phase = phase_;
  out.group = group_;
  out.groups = groups_;
  out.planned = planned_;
  if (out.planned == 0) return out;
  out.scans = scans_;
  out.seconds = static_cast<double>(nanoseconds() - chains_started_) / 1e9;
  out.phase = burning_ > 0 || out.scans == 0 ? run_phase::burn_in : run_phase::sampling;
  return out;
}

}  // namespace tovik
