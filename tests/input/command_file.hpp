#pragma once

#include <gtest/gtest.h>

#include <armadillo>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "capture.hpp"
#include "data/patterns.hpp"
#include "data/variable_list.hpp"
#include "input/input_file.hpp"
#include "model/defaults.hpp"
#include "model/model.hpp"
#include "random/random.hpp"
#include "results/summary.hpp"
#include "scratch_folder.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/warning.hpp"

namespace tovik::tests {

/// Puts a process-wide value back when the test ends.
template <class T>
class Restore {
 public:
  explicit Restore(T& value) : value_(value), before_(value) {}
  Restore(const Restore&) = delete;
  Restore& operator=(const Restore&) = delete;
  ~Restore() { value_ = before_; }

 private:
  T& value_;
  T before_;
};

/// All process-wide values that a command file can change.
struct RestoreSettings {
  Restore<bool> compute_corrs{chain_info::compute_corrs};
  Restore<bool> compute_DIC{chain_info::compute_DIC};
  Restore<bool> crash{chain_info::crash_on_tune_fail};
  Restore<bool> reduce{sem::defaults::reduce_models};
  Restore<bool> optimize{sem::defaults::optimize_models};
  Restore<bool> sort{sem::defaults::sort_models};
  Restore<bool> free{sem::defaults::freeloadings};
  Restore<bool> print_all{patterns::print_all};
  Restore<std::uint64_t> max_row_print{patterns::max_row_print};
  Restore<std::uint64_t> truncate{VariableList::truncate};
  Restore<bool> suppress{Summary::supress_print};
  Restore<bool> split{Summary::splitChain};
  Restore<unsigned long long> interval{Summary::interval};
  Restore<std::vector<Summary::column>> cols{Summary::cols};
  Restore<std::uint32_t> trunc{Random::trunc_norm_max_niter};
  Restore<std::uint32_t> pg_niter{Random::pg_max_niter};
  Restore<arma::Col<double>> pg_vec{Random::pg_vec};
  Restore<bool> multivariate{Model::allow_multivariate};
  Restore<bool> ess{sem::sampler_settings::ess_sampler};
  Restore<unsigned> ess_niter{sem::sampler_settings::ess_max_niter};
  Restore<bool> autosolver{sem::sampler_settings::use_autosolver};
  Restore<bool> draws{sem::sampler_settings::optimize_draws};
  Restore<bool> debug_c{sem::sampler_settings::print_debug_constraint};
  Restore<bool> debug_t{sem::sampler_settings::print_debug_tune};
  Restore<unsigned> multi{sem::sampler_settings::multi_mh_max_iter};
  Restore<double> logvar{sem::sampler_settings::logvar_trunc_point};
  Restore<bool> print_fixed{sem::sampler_settings::print_fixed_values};
  Restore<bool> all_rcorrs{sem::sampler_settings::print_all_rcorrs};
  Restore<bool> sort_rcorrs{sem::sampler_settings::sort_rcorrs};
  Restore<std::FILE*> fp{Output::fp};
  Restore<bool> print_iterations{Output::print_iterations};
  Restore<bool> print_debug{Output::print_debug};
  Restore<std::uint32_t> seed{InputFile::globalSeed};
  Restore<std::string> data{InputFile::dataPath};
  Restore<std::string> separate{InputFile::impPathSeparate};
  Restore<std::string> stacked{InputFile::impPathStacked};
  Restore<std::string> burn{InputFile::burnPath};

  ~RestoreSettings() { sem::categorical_priors::set(5.0); }
};

/// Tests in an empty folder of their own, with the process as it was before.
class CommandFile : public ::testing::Test {
 protected:
  void SetUp() override {
    home_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
    warning::buffer.clear();
    Output::fp = report_.stream();
    write("d.csv", "y,x,z\n1,2,3\n2,3,5\n4,1,1\n");
  }

  void TearDown() override {
    warning::buffer.clear();
    std::filesystem::current_path(home_);
  }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }

  /// Reads a whole command file.
  std::unique_ptr<InputFile> read(const std::string& commands) const {
    write("c.imp", commands);
    return std::make_unique<InputFile>((folder_ / "c.imp").string());
  }

  /// Reads a command file that is complete but for `commands`.
  std::unique_ptr<InputFile> add(const std::string& commands,
                                 const std::string& model = "MODEL: y ~ x;") const {
    return read("DATA: d.csv; SEED: 1; BURN: 10; ITER: 20;\n" + commands + "\n;" + model);
  }

  /// The text of the tovik::error that `run` throws; empty if it throws none.
  template <class Run>
  static std::string fault(Run run) {
    try {
      run();
    } catch (const error& e) {
      return e.what();
    }
    return "";
  }
  std::string add_fault(const std::string& commands, const std::string& model = "MODEL: y ~ x;") const {
    return fault([&] { add(commands, model); });
  }
  std::string read_fault(const std::string& commands) const {
    return fault([&] { read(commands); });
  }

  static std::vector<std::string> warnings() {
    std::vector<std::string> out;
    for (const auto& m : warning::buffer.messages()) out.push_back(m.text);
    return out;
  }

  RestoreSettings settings_;
  Capture report_;
  std::filesystem::path home_;
  scratch_folder scratch_;
  const std::filesystem::path& folder_ = scratch_.path();
};

using Names = std::vector<std::string>;

}  // namespace tovik::tests
