#include "input/input_file.hpp"
#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

/// Offsets of the chains' starting values: zero for the first chain, for the others normal draws with every
/// second sign changed. Draws come in pairs.
std::vector<double> starting_offsets(std::uint32_t chains, double dispersion, Random& rng) {
  std::vector<double> offsets;
  offsets.reserve(std::size_t{chains} + 1);
  while (offsets.size() < chains) {
    offsets.push_back(rng.rnorm() * dispersion);
    offsets.push_back(-(rng.rnorm() * dispersion));
  }
  offsets.resize(chains);
  offsets.front() = 0.0;
  return offsets;
}

/// The part of `total` that chain i of `parts` takes: the first ones take the remainder.
std::uint32_t share(std::uint32_t total, std::uint32_t parts, std::uint32_t i) {
  return total / parts + (i < total % parts ? 1 : 0);
}

}  // namespace

std::vector<chain_info> InputFile::chainInfo() {
  if (iterations < chains) throw error("ERROR: More chains than iterations requested.");
  const std::uint32_t images = nimps == not_set ? 0 : nimps;
  imputations.resize(nimps == not_set ? 0 : std::size_t{images} + 1);
  separate_files_.reset(imputations.size());
  const bool disperse = randomstarts && rng != nullptr;
  const std::vector<double> offsets =
      disperse ? starting_offsets(chains, startsdispersion, *rng) : std::vector<double>(chains, 0.0);
  std::vector<chain_info> infos(chains);
  for (std::uint32_t i = 0; i < chains; ++i) {
    chain_info& info = infos[i];
    info.tunecheck = tunecheck;
    info.savelatent = savelatent;
    info.savepred = savepred;
    info.saveresid = saveresid;
    info.averaging = isWrite("avgimp") || isWrite("varimp");
    info.likelihoods = isWrite("likelihood");
    info.burn = burn;
    info.iterations = share(iterations, chains, i);
    info.id = i + 1;
    info.dispersion = offsets[i];
    const std::uint32_t n = share(images, chains, i);
    for (std::uint32_t k = 0; k < n; ++k) {
      const std::uint32_t number = chains * k + info.id;
      info.imputations.push_back(number);
      info.saves.emplace_back([this, number](const arma::Mat<double>& data) {
        saveDataFunction(data, static_cast<int>(number));
      });
    }
  }
  return infos;
}

}  // namespace tovik
