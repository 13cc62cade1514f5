#include "support/blas_threads.hpp"

// Entry point of OpenBLAS; weak, so that another BLAS can stand in its place.
extern "C" void openblas_set_num_threads(int) __attribute__((weak));

namespace tovik {

void use_one_blas_thread() {
  if (openblas_set_num_threads != nullptr) openblas_set_num_threads(1);
}

}  // namespace tovik
