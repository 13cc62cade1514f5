// The data of a run, from the table in memory to the matrix that the sampler gets: TRANSFORM, catalogue,
// equations, preparation, missing data patterns. 50 columns, of which 46 miss 20% of their cells.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "data/patterns.hpp"
#include "input/input_file.hpp"
#include "input/transform.hpp"
#include "model/model_list.hpp"
#include "random/random.hpp"
#include "support/output.hpp"
#include "support/warning.hpp"

namespace tovik {
namespace {

constexpr int n_columns = 50;
constexpr arma::uword rows_per_cluster = 20;

/// Ten statements, two of them by cluster.
const std::vector<std::string> statements = {
    "t1 = x1 + x2",        "t2 = x3 * x4 - x5", "t3 = ifelse(x6 > 0, 1, 0)",    "t4 = mean(x7, id)",
    "t5 = center(x8, id)", "t6 = log(abs(x9))", "t7 = (x10 > 0) and (x11 > 0)", "t8 = exp(x12 / 10)",
    "t9 = ismissing(x13)", "x14 = x14 * 2"};

/// Columns id, y, o (ordinal), g (nominal), x1 ... x46.
struct table {
  arma::Mat<double> cells;
  std::vector<std::string> names = {"id", "y", "o", "g"};

  explicit table(arma::uword rows) : cells(rows, n_columns) {
    Random rng(11u, 0u);
    for (int k = 1; k <= n_columns - 4; ++k) names.push_back("x" + std::to_string(k));
    for (arma::uword i = 0; i < rows; ++i) cells(i, 0) = static_cast<double>(i / rows_per_cluster + 1);
    for (int j = 1; j < n_columns; ++j) {
      rng.fill_randn(cells.colptr(j), rows);
      if (j == 2 || j == 3) {
        for (arma::uword i = 0; i < rows; ++i) cells(i, j) = std::floor(4 * arma::normcdf(cells(i, j)));
      }
      if (j < 4) continue;
      for (arma::uword i = 0; i < rows; ++i) {
        if (rng.runif() < 0.2) cells(i, j) = arma::datum::nan;
      }
    }
  }
};

/// A command file beside a small data file with the same names.
std::unique_ptr<InputFile> commands(const table& t) {
  const auto folder = std::filesystem::temp_directory_path() / "tovik-prepare-bench";
  std::filesystem::create_directories(folder);
  std::string model = "y ~ o g";
  for (std::size_t k = 4; k < t.names.size(); ++k) model += " " + t.names[k];
  for (int k = 1; k <= 9; ++k) model += k == 9 ? "" : " t" + std::to_string(k);
  std::ofstream(folder / "c.tovik") << "DATA: d.csv; SEED: 1; BURN: 10; ITER: 10; CLUSTERID: id; ORDINAL: o; "
                                       "NOMINAL: g; MODEL: "
                                    << model << " | x1;";
  std::ofstream(folder / "d.csv") << "a\n1\n";
  return std::make_unique<InputFile>((folder / "c.tovik").string());
}

std::FILE* nowhere() {
  static std::FILE* const stream = std::fopen("/dev/null", "w");
  return stream;
}

void transform(benchmark::State& state) {
  const table t(static_cast<arma::uword>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    arma::Mat<double> data = t.cells;
    std::vector<std::string> names = t.names;
    state.ResumeTiming();
    apply_transforms(data, names, statements, nullptr);
    benchmark::DoNotOptimize(data.memptr());
  }
  state.SetComplexityN(state.range(0));
}

/// Everything behind TRANSFORM.
void catalogue_and_update(benchmark::State& state) {
  const table t(static_cast<arma::uword>(state.range(0)));
  arma::Mat<double> transformed = t.cells;
  std::vector<std::string> names = t.names;
  apply_transforms(transformed, names, statements, nullptr);
  const auto input = commands(t);
  Output::fp = nowhere();
  for (auto _ : state) {
    state.PauseTiming();
    arma::Mat<double> data = transformed;
    input->variableNames = names;
    state.ResumeTiming();
    VariableList vars = input->variableList(data);
    vars.truncateNames();
    const ModelList models = input->modelList(vars);
    input->update(data, vars, models);
    benchmark::DoNotOptimize(data.memptr());
    warning::buffer.clear();
  }
  state.SetComplexityN(state.range(0));
}

void missing_patterns(benchmark::State& state) {
  const table t(static_cast<arma::uword>(state.range(0)));
  for (auto _ : state) {
    const patterns found(t.cells);
    found.print(nowhere(), t.names);
  }
  state.SetComplexityN(state.range(0));
}

BENCHMARK(transform)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(catalogue_and_update)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();
BENCHMARK(missing_patterns)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

}  // namespace
}  // namespace tovik

BENCHMARK_MAIN();
