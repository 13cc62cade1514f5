#pragma once

#include <armadillo>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "golden/sampled_run.hpp"
#include "input/chain_info.hpp"
#include "model/defaults.hpp"
#include "sample_tests.hpp"
#include "scratch_folder.hpp"
#include "sem/wiring/settings.hpp"
#include "support/text.hpp"

namespace tovik::tests::calibration {

/// One simulated study: what the data file holds (missing cells NaN) and the true values of what is studied.
struct study {
  arma::Mat<double> data;
  arma::Col<double> truth;
};

/// The generator of one replication: the same for any number of threads and in any order.
inline std::mt19937_64 engine_of(std::uint64_t seed, std::uint64_t replication) {
  std::seed_seq words{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                      static_cast<std::uint32_t>(replication)};
  return std::mt19937_64(words);
}

/// Writes a data file with a first line of names; NA for a missing cell.
inline void write_data(const std::filesystem::path& path, const std::vector<std::string>& names,
                       const arma::Mat<double>& data) {
  std::ofstream out(path);
  for (std::size_t j = 0; j < names.size(); ++j) out << (j > 0 ? "," : "") << names[j];
  out << "\n";
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    for (arma::uword j = 0; j < data.n_cols; ++j) {
      if (j > 0) out << ",";
      out << (std::isnan(data(i, j)) ? std::string("NA") : format("%.17g", data(i, j)));
    }
    out << "\n";
  }
}

/// A command file run again and again on simulated data.
struct experiment {
  std::vector<std::string> names;  ///< of the columns of the data file
  std::string commands;            ///< everything but DATA and SEED
  std::function<study(std::mt19937_64&)> simulate;
  std::uint64_t seed = 1;
};

/// An option of a command file holds for the process. Within this scope the options that studies use start as
/// the program has them, and the studies that follow find them so again: no study depends on those before it.
class program_options {
  const Setting<bool> reduce_{sem::defaults::reduce_models, true};
  const Setting<bool> blocks_{sem::defaults::optimize_models, true};
  const Setting<bool> sort_{sem::defaults::sort_models, true};
  const Setting<bool> loadings_{sem::defaults::freeloadings, false};
  const Setting<bool> draws_{sem::sampler_settings::optimize_draws, true};
  const Setting<bool> solver_{sem::sampler_settings::use_autosolver, true};
  const Setting<bool> criteria_{chain_info::compute_DIC, true};
  const Setting<bool> correlations_{chain_info::compute_corrs, true};
  const Setting<bool> tuning_{chain_info::crash_on_tune_fail, true};
  const Setting<arma::Col<double>> series_{Random::pg_vec, Random::pg_vec};
};

/// Runs `replications` studies and hands each, with its draws, to `collect`, in order. Whole runs: the data
/// go through a file and the commands through the reader. Chains of two replications run at a time; what is
/// drawn depends on the seed and the number of the replication alone.
inline void replicate(const experiment& what, std::size_t replications,
                      const std::function<void(std::size_t, const study&, const sampled_run&)>& collect) {
  struct quiet {
    quiet() { testing::internal::CaptureStdout(); }
    quiet(const quiet&) = delete;
    quiet& operator=(const quiet&) = delete;
    ~quiet() { testing::internal::GetCapturedStdout(); }
  };
  const program_options own;
  constexpr std::size_t batch = 16;
  constexpr std::size_t threads = 2;
  const scratch_folder folder;
  const std::filesystem::path commands = folder.path() / "run.tovik";
  for (std::size_t first = 0; first < replications; first += batch) {
    std::vector<study> studies;
    std::vector<sampled_run> runs;
    auto silence = std::make_unique<quiet>();
    for (std::size_t i = first; i < std::min(first + batch, replications); ++i) {
      std::mt19937_64 engine = engine_of(what.seed, i);
      studies.push_back(what.simulate(engine));
      write_data(folder.path() / "data.csv", what.names, studies.back().data);
      std::ofstream(commands) << "DATA: data.csv; SEED: " << i + 1 << ";\n" << what.commands;
      runs.push_back(build_run(commands, 1));
    }
    std::vector<std::exception_ptr> errors(runs.size());
    std::vector<std::thread> workers;
    for (std::size_t w = 0; w < threads; ++w) {
      workers.emplace_back([&, w] {
        for (std::size_t k = w; k < runs.size(); k += threads) {
          try {
            runs[k].exec();
          } catch (...) {
            errors[k] = std::current_exception();
          }
        }
      });
    }
    for (std::thread& worker : workers) worker.join();
    silence.reset();
    for (const std::exception_ptr& error : errors) {
      if (error) std::rethrow_exception(error);
    }
    for (std::size_t k = 0; k < runs.size(); ++k) collect(first + k, studies[k], runs[k]);
  }
}

}  // namespace tovik::tests::calibration
