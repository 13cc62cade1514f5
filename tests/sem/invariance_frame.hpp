#pragma once

#include <cstdint>
#include <functional>

#include "sem/kernel_samples.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::tests {

/// How often a test of invariance draws, and what it does besides in each replication.
struct repetition {
  int replications;
  int applications;                   ///< of the kernel in each
  std::function<void()> begin = {};   ///< first: new models for a new state
  std::function<void()> before = {};  ///< at the state to which the kernel is applied, before it is
  std::function<void()> after = {};   ///< at the state that the kernel has left
};

/// What became of the proposals of steps, over replications.
struct proposal_count {
  std::uint64_t total = 0, accepted = 0;

  void add(const sem::estimator::tune_obj& tune) {
    total += tune.total;
    accepted += tune.accepted;
  }
};

/// The frame of every test that a kernel leaves the joint distribution of parameters and data as it is
/// (Geweke, 2004, JASA 99, 799-804): functions of states that `draw` takes from it directly, against the same
/// functions of states that have gone through the kernel.
template <typename Draw, typename Functions, typename Kernel>
void kernel_leaves_joint(const repetition& times, Draw draw, Functions functions, Kernel kernel) {
  Samples fresh, after;
  for (int rep = 0; rep < times.replications; ++rep) {
    if (times.begin) times.begin();
    draw();
    fresh.add(functions());
    draw();
    if (times.before) times.before();
    for (int t = 0; t < times.applications; ++t) kernel();
    if (times.after) times.after();
    after.add(functions());
    if (testing::Test::HasFatalFailure()) return;
  }
  expect_same_distribution(fresh, after);
}

/// The same for the scans of a world that draws its joint distribution itself.
template <typename World>
void world_leaves_joint(World& world, const repetition& times) {
  kernel_leaves_joint(
      times, [&] { world.draw_joint(); }, [&] { return world.functions(); }, [&] { world.scan(); });
}

}  // namespace tovik::tests
