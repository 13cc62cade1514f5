// Linear algebra stays on one thread here, as it does in every chain: a team of threads under small matrices
// makes these tests many times slower.

#include <gtest/gtest.h>

#include "support/blas_threads.hpp"

namespace tovik {
namespace {

class one_blas_thread : public testing::Environment {
 public:
  void SetUp() override { use_one_blas_thread(); }
};

// The runner owns and deletes it.
[[maybe_unused]] const auto* const registered = testing::AddGlobalTestEnvironment(new one_blas_thread);

}  // namespace
}  // namespace tovik
