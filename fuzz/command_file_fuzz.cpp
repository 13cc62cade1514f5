#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/analysis.hpp"
#include "app/by_group.hpp"
#include "evaluate/error.hpp"
#include "input/input_file.hpp"
#include "model/model_list.hpp"
#include "results/summary.hpp"
#include "scratch_folder.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/warning.hpp"

namespace {

/// A folder for the command file and everything that it names.
const std::filesystem::path& folder() {
  static const tovik::tests::scratch_folder scratch;
  static std::FILE* const quiet = tovik::Output::fp = std::fopen("/dev/null", "w");
  if (quiet == nullptr) std::abort();
  return scratch.path();
}

/// Paths stay inside the folder, the many files of "*" are not written, and a range has fewer than 1000
/// names.
std::string tame(const std::uint8_t* bytes, std::size_t size) {
  std::string text;
  int digits = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const char c = static_cast<char>(bytes[i]);
    digits = c >= '0' && c <= '9' ? digits + 1 : 0;
    if (digits > 3) continue;
    text += c == '/' || c == '\\' ? '_' : (c == '*' ? '+' : c);
  }
  return text;
}

void check(tovik::InputFile& in, arma::Mat<double> data) {
  const tovik::analysis run = tovik::prepare(in, std::move(data));
  for (const tovik::model::waldtest& test : run.tests) {
    for (const tovik::model::contrast& one : test.contrasts()) {
      for (const auto& [row, coefficient] : one.rows) {
        if (row >= test.n_params) std::abort();
      }
    }
    if (test.full().size() != test.restricted().size()) std::abort();
  }
  if (in.chainInfo().size() != in.chains) std::abort();
}

void prepare(const std::string& path) {
  tovik::InputFile in(path);
  in.printOptions();
  if (in.byGroup.empty()) return check(in, in.data());
  for (tovik::by_group& group : in.groups()) check(group.input, group.data);
}

}  // namespace

/// A command file, taken as far as the preparation of data, equations and hypotheses; of each group, where it
/// has groups.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const std::filesystem::path home = std::filesystem::current_path();
  const std::filesystem::path path = folder() / "c.imp";
  std::ofstream(path, std::ios::binary) << tame(bytes, size);
  std::ofstream(folder() / "d.csv") << "id,g,y,x,z,w\n1,1,1,2,3,1\n1,1,2,NA,5,2\n2,1,4,1,1,1\n2,1,NA,3,2,2\n"
                                       "3,2,3,1,4,1\n3,2,5,2,2,2\n4,2,1,3,3,1\n4,2,2,1,NA,2\n";
  try {
    prepare(path.string());
  } catch (const tovik::error&) {
  } catch (const tovik::evaluate::error&) {
  }
  std::filesystem::current_path(home);  // where the fuzzer keeps its corpus
  tovik::warning::buffer.clear();
  tovik::Summary::cols.clear();
  tovik::VariableList::truncate = 9;
  return 0;
}
