#pragma once

namespace tovik {

// Constants of normal densities: log(2 pi), its half and 1 / sqrt(2 pi).
inline constexpr double log_2_pi = 1.8378770664093453;
inline constexpr double half_log_2_pi = 0.9189385332046728;
inline constexpr double inverse_sqrt_2_pi = 0.3989422804014327;

}  // namespace tovik
