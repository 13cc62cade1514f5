#include "app/application.hpp"

#include <algorithm>
#include <cstdio>
#include <string>

#include "app/analysis.hpp"
#include "app/handlers.hpp"
#include "app/result_files.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/warning.hpp"

namespace tovik {

int Application::exec(const std::string& path) const {
  return report_errors([&] {
    banner();
    run_stages(path);
  });
}

void Application::banner() const {
  const std::string rule(75, '-');
  const std::string pad((75 - std::min<std::size_t>(version.size(), 75)) / 2, ' ');
  std::fprintf(fp, "\n%s\n\n%35sTovik\n%s%s\n%s\n\n", rule.c_str(), "", pad.c_str(), version.c_str(),
               rule.c_str());
  std::fflush(fp);
}

void Application::run_stages(const std::string& path) const {
  InputFile input(path);
  if (!input.simulates.empty() && input.models.empty() && input.fcs.empty()) {
    input.data();  // generates the data and saves them; nothing is estimated
    return;
  }
  input.printOptions();
  if (!input.byGroup.empty()) {
    runGroup(input);
  } else {
    run(input);
  }
}

/// The language of the command file is checked against all groups together.
void Application::runGroup(InputFile& input) const {
  prepare(input);
  not_available::refuse("The BYGROUP command");
}

namespace {

/// The equations as the program understood them, in the order in which they are sampled.
void print_model_list(const ModelList& models) {
  for (const Model& model : models) std::printf("%s\n", model.command().c_str());
  std::printf("\n");
}

/// The dimensions of a chain's sampler.
void print_sampler(const sem::Mcmc& mcmc) {
  std::printf("%u levels:", mcmc.n_levels());
  for (unsigned l = 0; l < mcmc.n_levels(); ++l) {
    std::printf(" %llu units", static_cast<unsigned long long>(mcmc.n_units(l)));
  }
  std::printf("; %llu parameters\n\n", static_cast<unsigned long long>(mcmc.getTotalParams()));
}

/// Runs the chains. When tuning fails, the acceptance rates are still shown before the error is reported.
void run_chains(chain_group<sem::Mcmc>& group, const VariableList& vars, const ModelList& models) {
  try {
    group.exec();
  } catch (const sem::error_tuning&) {
    if (!Application::print_iterations) group.printInfo(vars, models);
    group.printLabels(vars, models);
    group.printTune(Application::fp, vars, models, false);
    group.warnTune();
    throw;
  } catch (...) {
    if (!Application::print_iterations) group.printInfo(vars, models);
    throw;
  }
}

}  // namespace

void Application::run(InputFile& input) const {
  const analysis prepared = prepare(input);
  const VariableList& vars = prepared.vars;
  const ModelList& models = prepared.models;
  if (print_debug) print_model_list(models);
  chain_group<sem::Mcmc> group = build_chains(input, prepared);
  if (print_debug) print_sampler(group.front().estimator());
  input.dataNames = group.front().estimator().dataNames(vars, models, input.savelatent, input.saveresid,
                                                        input.savepred);

  if (print_iterations) group.printInfo(vars, models);
  run_chains(group, vars, models);
  if (input.psr) group.burn().printPSR(fp);
  if (input.labels) group.printLabels(vars, models);
  if (input.tuneinfo) group.printTune(fp, vars, models, input.tune_all);
  group.warnTune();
  if (!print_iterations) group.printInfo(vars, models);
  warning::buffer.flush(fp, true, true);
  group.print(vars, models);
  write_result_files(input, group, vars, models);
}

}  // namespace tovik
