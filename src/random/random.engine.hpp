#pragma once

#include <cstdint>
#include <limits>

namespace tovik {

/// The engine: a permuted congruential generator with 128 bits of state and 64 bits of output, PCG XSL-RR
/// 128/64 (O'Neill, 2014, "PCG: A family of simple fast space-efficient statistically good algorithms for
/// random number generation"). Satisfies std::uniform_random_bit_generator. A value: a copy continues from
/// the same state.
class Pcg {
 public:
  using result_type = std::uint64_t;
  using word = unsigned __int128;

  static constexpr word multiplier = (word{0x2360ED051FC65DA4} << 64) | 0x4385DF649FCCF645;

  /// The stream of an integer seed, sign-extended to 128 bits, with the constant increment: a negative seed
  /// is a stream of its own.
  explicit constexpr Pcg(int seed)
      : Pcg(start{(word{0x5851F42D4C957F2D} << 64) | 0x14057B7EF767814F,
                  static_cast<word>(std::int64_t{seed})}) {}

  /// Stream number `stream` of a seed. Streams differ in their increments 2 * stream + 1, so that chains with
  /// one seed draw different numbers.
  constexpr Pcg(std::uint32_t seed, std::uint32_t stream) : Pcg(start{2 * word{stream} + 1, word{seed}}) {}

  static constexpr result_type min() { return 0; }
  static constexpr result_type max() { return std::numeric_limits<result_type>::max(); }

  /// Steps the state and returns its permutation: high xor low word, rotated right by the state's top 6 bits.
  constexpr result_type operator()() {
    state = state * multiplier + increment;
    const auto high = static_cast<std::uint64_t>(state >> 64);
    const std::uint64_t x = high ^ static_cast<std::uint64_t>(state);
    const auto r = static_cast<unsigned>(high >> 58);
    return (x >> r) | (x << ((64 - r) & 63));
  }

  friend constexpr bool operator==(const Pcg&, const Pcg&) = default;

  word increment;
  word state;

 private:
  struct start {
    word increment, seed;
  };

  explicit constexpr Pcg(start s)
      : increment(s.increment), state((s.increment + s.seed) * multiplier + s.increment) {}
};

}  // namespace tovik
