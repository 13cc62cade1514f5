#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "app/application.hpp"
#include "app/changelog.hpp"
#include "support/blas_threads.hpp"

#ifdef __GLIBC__  // known once a header of the standard library has been read
#include <malloc.h>
#endif

namespace {

/// Large temporaries stay in the heap. By default every block of some megabytes comes as fresh pages from the
/// system, which must clear each of them, and goes back at once: that made the set-up of a run, with columns
/// of 8 MB, twice as slow. Blocks above the threshold, the highest that the library accepts, still do.
void keep_large_blocks() {
#ifdef __GLIBC__
  constexpr int megabyte = 1 << 20;
  mallopt(M_MMAP_THRESHOLD, 32 * megabyte);
  mallopt(M_TRIM_THRESHOLD, 1024 * megabyte);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  keep_large_blocks();
  tovik::use_one_blas_thread();
  tovik::Application application(argc, argv);
  application.version = TOVIK_VERSION;

  std::string path;
  if (argc < 2) {
    std::fputs("Please provide a path to an input file:\n>>> ", stdout);
    std::fflush(stdout);
    std::cin >> path;
  } else if (std::strcmp(argv[1], "--changelog") == 0) {
    std::printf("%s\n", tovik::changelog::log);
    return 0;
  } else {
    path = argv[1];
  }
  return application.exec(path);
}
