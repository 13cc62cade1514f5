#include "allocation_count.hpp"

#include <cerrno>
#include <cstdlib>

namespace {
thread_local std::size_t count = 0;
}

namespace tovik::tests {
std::size_t allocations() {
  return count;
}
}  // namespace tovik::tests

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

// The sanitizers own malloc, and tell of each call.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*,
                                                                             std::size_t),
                                                         void (*free_hook)(const volatile void*));
namespace {
void on_malloc(const volatile void*, std::size_t) {
  ++count;
}
void on_free(const volatile void*) {}
const int installed = __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free);
}  // namespace

#else

// Stand in for the C library's functions and pass on to it; operator new ends here too.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t n, std::size_t size);
void* __libc_realloc(void* p, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
  ++count;
  return __libc_malloc(size);
}

void* calloc(std::size_t n, std::size_t size) {
  ++count;
  return __libc_calloc(n, size);
}

void* realloc(void* p, std::size_t size) {
  ++count;
  return __libc_realloc(p, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  ++count;
  return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  ++count;
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
  ++count;
  void* p = __libc_memalign(alignment, size);
  if (p == nullptr) return ENOMEM;
  *out = p;
  return 0;
}
}

#endif
