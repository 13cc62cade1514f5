#pragma once

namespace tovik {

/// Keeps linear algebra on one thread inside a chain: chains are the parallelism, and a pool of BLAS threads under
/// each of them slows small matrices down by a factor and makes rounding depend on the number of processors.
void use_one_blas_thread();

}  // namespace tovik
