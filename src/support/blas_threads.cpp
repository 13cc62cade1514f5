#include "support/blas_threads.hpp"

// Entry points of OpenBLAS and of its OpenMP runtime.
extern "C" void openblas_set_num_threads(int);
extern "C" void omp_set_num_threads(int);

namespace tovik {

void use_one_blas_thread() {
  use_one_blas_thread_here();
  openblas_set_num_threads(1);
}

void use_one_blas_thread_here() {
  omp_set_num_threads(1);
}

}  // namespace tovik
