// Parsing and assembling MODEL statements: 2,000 statements over 5,000 variables, and smaller lists that show
// the growth.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "data/variable_list.hpp"
#include "model/parse.hpp"
#include "support/warning.hpp"

namespace {

using namespace tovik;

/// 2.5 variables and a tenth of a factor for each statement.
VariableList catalogue(unsigned n) {
  VariableList list;
  const auto add = [&](const std::string& name, data::type kind, unsigned column) {
    list.variables.push_back(std::make_shared<data::variable>(name, kind, column, 0u));
  };
  for (unsigned k = 0; k < 5 * n / 2; ++k) add("item" + std::to_string(k), data::type::continuous, k);
  add("1", data::type::constant, 5 * n / 2);
  for (unsigned k = 0; k < n / 10; ++k)
    add("factor" + std::to_string(k), data::type::latent, 5 * n / 2 + 1 + k);
  return list;
}

std::string item(unsigned k, unsigned n) {
  return "item" + std::to_string(k % (5 * n / 2));
}

/// One equation per statement, with a label.
std::vector<block::one_model> regressions(unsigned n) {
  std::vector<block::one_model> out;
  for (unsigned i = 0; i < n; ++i)
    out.push_back(
        {item(i, n) + " ~ " + item(i + n, n) + "@b" + std::to_string(i) + " " + item(i + n + 1, n), ""});
  return out;
}

/// Of ten statements seven are equations, each second of an outcome that has one, with computed terms; the
/// others are a loading, a correlation and a definition.
std::vector<block::one_model> mixture(unsigned n) {
  std::vector<block::one_model> out;
  for (unsigned i = 0; i < n; ++i) {
    const std::string number = std::to_string(i);
    if (i % 10 == 0) {
      out.push_back({"factor" + std::to_string(i / 10) + " -> " + item(i, n) + " " + item(i + 1, n) + " " +
                         item(i + 2, n),
                     ""});
    } else if (i % 10 == 5) {
      out.push_back({item(i, n) + " <-> " + item(i + 1, n) + "@r" + number, ""});
    } else if (i % 10 == 7) {
      out.push_back({"d" + number + " = " + item(i + n, n) + " * " + item(i + n + 1, n), ""});
    } else {
      out.push_back({item(i % (n / 2), n) + " ~ " + item(i + n, n) + " (" + item(i + n + 1, n) + "*" +
                         item(i + n + 2, n) + ")@b" + number,
                     ""});
    }
  }
  return out;
}

/// All statements speak of one outcome.
std::vector<block::one_model> one_outcome(unsigned n) {
  std::vector<block::one_model> out;
  for (unsigned i = 0; i < n; ++i) out.push_back({item(0, n) + " ~ " + item(i + 1, n), ""});
  return out;
}

/// Pairs of correlated outcomes.
std::vector<block::one_model> correlations(unsigned n) {
  std::vector<block::one_model> out;
  for (unsigned i = 0; i < n; ++i) out.push_back({item(2 * i, n) + " <-> " + item(2 * i + 1, n), ""});
  return out;
}

template <std::vector<block::one_model> (*Statements)(unsigned)>
void BM_Parse(benchmark::State& state) {
  const auto n = static_cast<unsigned>(state.range(0));
  const std::vector<block::one_model> statements = Statements(n);
  for (auto _ : state) {
    state.PauseTiming();
    VariableList list = catalogue(n);
    warning::buffer.clear();
    state.ResumeTiming();
    const ModelList models = sem::parse(statements, list, block::map());
    benchmark::DoNotOptimize(models.size());
  }
  state.SetComplexityN(n);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * n);
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(500)->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oNLogN);
}

BENCHMARK_TEMPLATE(BM_Parse, regressions)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Parse, mixture)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Parse, one_outcome)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Parse, correlations)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
