#include "app/banner.hpp"

#include <algorithm>

namespace tovik {

namespace {

constexpr std::size_t width = 75;
const std::string rule(width, '-');

}  // namespace

std::string banner_start() {
  return "\n" + rule + "\n\n" + std::string(35, ' ') + "Tovik\n";
}

std::string banner_text(const std::string& version) {
  const std::string pad((width - std::min(version.size(), width)) / 2, ' ');
  return banner_start() + pad + version + "\n" + rule + "\n\n";
}

}  // namespace tovik
