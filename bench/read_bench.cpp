#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "data/read_data.hpp"

namespace {

/// A comma separated file of about 100 MB with 20 columns, some of its cells missing, that goes when the
/// program ends.
class BigFile {
 public:
  explicit BigFile(bool with_missing)
      : path_(
            (std::filesystem::temp_directory_path() / ("read_bench_" + std::to_string(with_missing) + ".csv"))
                .string()) {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    std::string line;
    for (int j = 0; j < columns; ++j) line += (j > 0 ? ",x" : "x") + std::to_string(j);
    line += '\n';
    std::uint32_t state = 1;
    while (bytes_ < target) {
      bytes_ += std::fwrite(line.data(), 1, line.size(), file);
      line.clear();
      for (int j = 0; j < columns; ++j) {
        state = state * 1664525u + 1013904223u;
        char cell[32];
        if (with_missing && state % 37 == 0)
          std::snprintf(cell, sizeof cell, "NA");
        else
          std::snprintf(cell, sizeof cell, "%.4f",
                        static_cast<double>(static_cast<std::int32_t>(state)) / 1e7);
        if (j > 0) line += ',';
        line += cell;
      }
      line += '\n';
    }
    std::fclose(file);
  }
  ~BigFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::size_t bytes() const { return bytes_; }

 private:
  static constexpr int columns = 20;
  static constexpr std::size_t target = 100'000'000;
  std::string path_;
  std::size_t bytes_ = 0;
};

void read(benchmark::State& state, const BigFile& file, const char* code) {
  for (auto _ : state) {
    std::vector<std::string> names;
    std::string delimiter;
    benchmark::DoNotOptimize(tovik::readData(file.path(), names, delimiter, code, 1000));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(file.bytes()) * state.iterations());
}

void ReadWithMissingCode(benchmark::State& state) {
  static const BigFile file(true);
  read(state, file, "NA");
}
BENCHMARK(ReadWithMissingCode)->Unit(benchmark::kMillisecond);

void ReadNumbersOnly(benchmark::State& state) {
  static const BigFile file(false);
  read(state, file, "");
}
BENCHMARK(ReadNumbersOnly)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
