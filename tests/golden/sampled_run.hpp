#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "app/analysis.hpp"
#include "input/input_file.hpp"
#include "support/blas_threads.hpp"
#include "support/warning.hpp"

namespace tovik::tests {

/// A command file, carried through to its draws without a report.
struct sampled_run {
  std::unique_ptr<InputFile> input;
  std::unique_ptr<analysis> prepared;
  std::unique_ptr<chain_group<sem::Mcmc>> group;                   ///< of a run with latent means
  std::unique_ptr<chain_group<manifest::wrapper>> manifest_group;  ///< of one with observed means, or none

  void exec() { group != nullptr ? group->exec() : manifest_group->exec(); }
  Summary iterations() const { return group != nullptr ? group->iterations() : manifest_group->iterations(); }
};

/// Reads the command file and builds its chains; `processors` of 0 leaves the file's own number. Nothing runs
/// yet.
inline sampled_run build_run(const std::filesystem::path& command_file, std::size_t processors = 0) {
  use_one_blas_thread();
  const std::filesystem::path before = std::filesystem::current_path();
  sampled_run run;
  run.input = std::make_unique<InputFile>(command_file.string());
  if (processors > 0) run.input->processors = static_cast<std::uint32_t>(processors);
  run.prepared = std::make_unique<analysis>(prepare(*run.input));
  constexpr std::int32_t latent_means = 2;
  if (run.input->clmean_method == latent_means)
    run.group = std::make_unique<chain_group<sem::Mcmc>>(build_chains(*run.input, *run.prepared));
  else
    run.manifest_group =
        std::make_unique<chain_group<manifest::wrapper>>(build_manifest_chains(*run.input, *run.prepared));
  std::filesystem::current_path(before);
  warning::buffer.clear();
  return run;
}

/// Builds the chains and runs them.
inline sampled_run sample(const std::filesystem::path& command_file, std::size_t processors = 0) {
  sampled_run run = build_run(command_file, processors);
  testing::internal::CaptureStdout();
  run.exec();
  testing::internal::GetCapturedStdout();
  return run;
}

}  // namespace tovik::tests
