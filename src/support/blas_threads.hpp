#pragma once

namespace tovik {

/// Keeps linear algebra on one thread: chains are the parallelism, and a team of BLAS threads under each of
/// them slows small matrices down by a factor and makes rounding depend on the number of processors. To be
/// called once before any thread starts.
void use_one_blas_thread();

/// The same for the calling thread: the size of an OpenMP team is a property of each thread, and a new thread
/// starts with the machine's default.
void use_one_blas_thread_here();

}  // namespace tovik
