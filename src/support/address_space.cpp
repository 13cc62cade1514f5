#include "support/address_space.hpp"

#include <sys/mman.h>

#include <utility>
#include <vector>

namespace tovik {

namespace {

/// A thread's stack (8 MB), its work area in the linear algebra library (32 MB on most processors, up to
/// 128), and room for its own small things.
constexpr std::size_t per_thread = std::size_t{176} << 20;

}  // namespace

std::size_t threads_that_fit(std::size_t wanted) {
  std::vector<void*> areas;
  while (areas.size() < wanted) {
    void* area = ::mmap(nullptr, per_thread, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (area == MAP_FAILED) break;
    areas.push_back(area);
  }
  for (void* area : areas) ::munmap(area, per_thread);
  return areas.size();
}

}  // namespace tovik
