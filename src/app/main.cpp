#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "app/application.hpp"
#include "app/changelog.hpp"
#include "support/blas_threads.hpp"

int main(int argc, char** argv) {
  tovik::use_one_blas_thread();
  tovik::Application application(argc, argv);
  application.version = "3.2.17";

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
