// Files of draws and of estimates, for other programs: `parameters` x `draws`, over two chains.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <armadillo>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "results/draws_file.hpp"
#include "results/tidy_table.hpp"

namespace {

using tovik::parameter_name;
using tovik::Summary;

std::string scratch(const char* name) {
  return (std::filesystem::temp_directory_path() / name).string();
}

std::vector<parameter_name> names(arma::uword n) {
  std::vector<parameter_name> out(n);
  for (arma::uword k = 0; k < n; ++k) out[k].column = "y ~ x" + std::to_string(k);
  return out;
}

std::vector<arma::Mat<double>> chains(benchmark::State& state) {
  std::vector<arma::Mat<double>> out;
  out.reserve(2);  // a copy on the way would raise the peak
  for (int j = 0; j < 2; ++j) out.emplace_back(state.range(0), state.range(1) / 2);
  std::mt19937_64 engine(20240);
  std::normal_distribution<double> normal;
  for (arma::Mat<double>& chain : out) chain.imbue([&] { return normal(engine); });
  return out;
}

Summary borrowed(const std::vector<arma::Mat<double>>& stores) {
  std::vector<tovik::chain_draws> windows;
  for (const arma::Mat<double>& one : stores) windows.push_back(tovik::chain_draws::borrow(one, one.n_cols));
  return Summary(std::move(windows), stores.front().n_cols);
}

double peak_megabytes() {
  rusage use{};
  getrusage(RUSAGE_SELF, &use);
  return static_cast<double>(use.ru_maxrss) / 1024.0;
}

/// `more_MB`: how far the peak of the process has risen above the draws.
template <class Write>
void run(benchmark::State& state, const char* name, const Write& write) {
  const std::vector<arma::Mat<double>> stores = chains(state);
  const Summary draws = borrowed(stores);
  const std::string path = scratch(name);
  const double before = peak_megabytes();
  for (auto _ : state) write(path, draws);
  state.counters["more_MB"] = peak_megabytes() - before;
  state.counters["file_MB"] = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
  std::filesystem::remove(path);
}

void BM_Draws(benchmark::State& state) {
  run(state, "tovik-draws.csv", [&](const std::string& path, const Summary& draws) {
    tovik::save_draws(path, draws, names(draws.n_rows()));
  });
}

void BM_Table(benchmark::State& state) {
  Summary::cols.clear();
  run(state, "tovik-table.csv", [&](const std::string& path, const Summary& draws) {
    tovik::save_tidy_table(path, tovik::make_tidy_table(draws, names(draws.n_rows())));
  });
}

BENCHMARK(BM_Draws)->Args({1000, 1000})->Args({1000, 100000})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Table)->Args({1000, 1000})->Args({1000, 100000})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
