#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "input/input_file.hpp"
#include "input/simulate.hpp"
#include "random/random.hpp"
#include "results/summary.hpp"
#include "scratch_folder.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace {

/// A folder for the command file and the data set that it may save.
const std::filesystem::path& folder() {
  static const tovik::tests::scratch_folder scratch;
  static std::FILE* const quiet = tovik::Output::fp = std::fopen("/dev/null", "w");
  if (quiet == nullptr) std::abort();
  return scratch.path();
}

/// Numbers have at most two digits: larger sizes only take longer. Paths of result files stay inside the
/// folder; everywhere else "/" divides.
std::string tame(const std::uint8_t* bytes, std::size_t size) {
  std::string text;
  int digits = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const char c = static_cast<char>(bytes[i]);
    digits = c >= '0' && c <= '9' ? digits + 1 : 0;
    if (digits <= 2) text += c == '\\' ? '_' : c;
  }
  const std::string lower = tovik::to_lower(text);
  const bool saves = lower.find("save") != std::string::npos || lower.find("outfile") != std::string::npos;
  return saves ? tovik::replace_all(text, "/", "_") : text;
}

void require(bool holds) {
  if (!holds) std::abort();
}

/// The data set is the same from the same seed, and its first identifier counts the rows.
void check(const arma::Mat<double>& data, const tovik::InputFile& in, std::vector<std::string> wanted) {
  const bool all = wanted.empty();
  const arma::Mat<double> again =
      tovik::simulate::generate(in.simulates, std::make_shared<tovik::Random>(in.seed, 0u)).data_set(wanted);
  require(wanted == in.variableNames && wanted.size() == data.n_cols);
  require(again.n_rows == data.n_rows && again.n_cols == data.n_cols);
  for (arma::uword i = 0; i < data.n_elem; ++i) {
    require(data[i] == again[i] || (std::isnan(data[i]) && std::isnan(again[i])));
  }
  for (arma::uword i = 0; all && i < data.n_rows; ++i) require(data(i, 0) == static_cast<double>(i + 1));
}

void run(const std::string& path) {
  tovik::InputFile in(path);
  if (in.simulates.empty()) return;
  const std::vector<std::string> wanted = in.variableNames;
  try {
    check(in.parseSimulate(), in, wanted);
  } catch (const tovik::error_debug&) {
    std::abort();  // no statement of a user is the program's fault
  }
}

}  // namespace

/// The statements of SIMULATE. Their failures are all of one kind: tovik::error.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const std::filesystem::path home = std::filesystem::current_path();
  const std::filesystem::path path = folder() / "c.imp";
  std::ofstream(path, std::ios::binary) << "SEED: 5; SIMULATE: " << tame(bytes, size);
  try {
    run(path.string());
  } catch (const tovik::error&) {
  }
  std::filesystem::current_path(home);  // where the fuzzer keeps its corpus
  tovik::warning::buffer.clear();
  tovik::Summary::cols.clear();
  return 0;
}
