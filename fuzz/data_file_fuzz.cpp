#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "data/read_data.hpp"
#include "support/error.hpp"

namespace {

struct outcome {
  arma::Mat<double> data;
  std::vector<std::string> names;
  std::string message;
};

outcome read(std::string_view text, std::vector<std::string> names, const std::string& delimiter,
             const std::string& code, std::size_t block) {
  outcome out;
  out.names = std::move(names);
  std::string in_force = delimiter;
  try {
    out.data = tovik::readData_memory(text, "fuzz", out.names, in_force, code, 10, block);
    if (out.data.n_cols != out.names.size()) std::abort();
  } catch (const tovik::error& e) {
    out.message = e.what();
    if (out.message.rfind("ERROR: ", 0) != 0) std::abort();
  }
  return out;
}

bool same(const arma::Mat<double>& a, const arma::Mat<double>& b) {
  if (a.n_rows != b.n_rows || a.n_cols != b.n_cols) return false;
  for (arma::uword k = 0; k < a.n_elem; ++k)
    if (a(k) != b(k) && !(std::isnan(a(k)) && std::isnan(b(k)))) return false;
  return true;
}

}  // namespace

/// The first byte chooses the call, the rest is the file. What is read may not depend on where blocks end,
/// and the only failure is the reader's own error.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const unsigned choice = bytes[0];
  const std::string_view text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  std::vector<std::string> names;
  for (unsigned k = 0; k < (choice & 3u); ++k) names.push_back("v" + std::to_string(k));
  const char* const codes[] = {"NA", "", ".", "-9"};
  const char* const delimiters[] = {"", ",", " ", ";"};
  const std::string code = codes[choice >> 2 & 3u];
  const std::string delimiter = delimiters[choice >> 4 & 3u];

  const outcome whole = read(text, names, delimiter, code, std::size_t{1} << 16);
  const outcome pieces = read(text, names, delimiter, code, choice >> 6 ? 1 + (choice >> 6) : 1);
  if (whole.message != pieces.message || whole.names != pieces.names || !same(whole.data, pieces.data))
    std::abort();
  return 0;
}
