#include "app/group_labels.hpp"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "support/text.hpp"

namespace tovik {

namespace {

std::vector<std::string> with_digits(const std::vector<double>& values, int digits) {
  std::vector<std::string> out;
  for (const double value : values) out.push_back(format("%.*g", digits, value));
  return out;
}

bool read_back(const std::vector<std::string>& texts, const std::vector<double>& values) {
  return std::equal(texts.begin(), texts.end(), values.begin(), [](const std::string& text, double value) {
    return std::strtod(text.c_str(), nullptr) == value;
  });
}

}  // namespace

std::vector<std::string> group_labels(const std::vector<double>& values) {
  constexpr int most = 17;  // with which every double reads back
  std::vector<std::string> texts = with_digits(values, 2);
  if (std::set<std::string>(texts.begin(), texts.end()).size() == values.size()) return texts;
  for (int digits = 3; digits <= most; ++digits) {
    texts = with_digits(values, digits);
    if (read_back(texts, values)) break;
  }
  return texts;
}

}  // namespace tovik
