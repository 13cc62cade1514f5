#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "app/application.hpp"
#include "app/changelog.hpp"
#include "app/flags.hpp"
#include "app/usage.hpp"
#include "app/version.hpp"
#include "support/blas_threads.hpp"
#include "support/interrupt.hpp"

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

/// Prints what an argument in the place of the command file or of an option asks for; false when none does.
bool answers(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--help" || word == "-h") {
      std::fputs(tovik::usage, stdout);
      return true;
    }
    if (word == "--version") {
      std::printf("%s\n", tovik::version_number);
      return true;
    }
    if (i > 1 && !tovik::is_flag(word)) ++i;  // the next word is its value
  }
  return false;
}

int run(int argc, char** argv) {
  const tovik::Application application(argc, argv);
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
  tovik::interrupt::watch();
  return application.exec(path);
}

}  // namespace

int main(int argc, char** argv) {
  keep_large_blocks();
  if (answers(argc, argv)) return 0;
  tovik::use_one_blas_thread();
  try {
    return run(argc, argv);
  } catch (const std::exception& e) {  // a wrong option; errors of a run have become words before
    std::fprintf(stderr, "%s\n", e.what());
    return 2;
  }
}
