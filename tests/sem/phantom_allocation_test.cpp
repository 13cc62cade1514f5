#include <gtest/gtest.h>

#include "allocation_count.hpp"
#include "correlated_world.hpp"

namespace tovik::tests::phantom_allocation_test {
namespace {

std::size_t allocations_of(CorrelatedWorld& w) {
  w.finish();
  w.build();
  w.draw_joint();
  return allocations_of_scans(10, [&] { w.scan(); });
}

TEST(PhantomAllocation, NoneWithCorrelatedResiduals) {
  CorrelatedWorld w(1, {{300}}, 401);
  w.add(0, 1, {0, 2});
  w.add(0, 9, {0, 3});
  w.add(0, 10, {0});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  EXPECT_EQ(allocations_of(w), 0U);
}

TEST(PhantomAllocation, NoneWithCorrelatedEffects) {
  CorrelatedWorld w(3, many_clusters(), 402);
  w.add(0, 1, {0}).z = {{0, 2}, {0}};
  w.add(0, 9, {0}).z = {{0}, {0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}},
            {12, 1, {{1, 1, 0}, {0, 1, 1}}},
            {13, 2, {{0, 2, 0}, {1, 2, 0}}},
            {14, 0, {{0, 0, 0}, {1, 0, 0}}}};
  EXPECT_EQ(allocations_of(w), 0U);
}

}  // namespace
}  // namespace tovik::tests::phantom_allocation_test
