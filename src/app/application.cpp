#include "app/application.hpp"

#include <cstdio>
#include <string>

#include "app/analysis.hpp"
#include "app/banner.hpp"
#include "app/convergence_warnings.hpp"
#include "app/handlers.hpp"
#include "app/report_file.hpp"
#include "app/result_files.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/interrupt.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

int Application::exec(const std::string& path) const {
  if (!report_file::open()) return 1;
  bool interrupted = false;
  int status = report_errors([&] {
    std::fputs(banner_text(version).c_str(), fp);
    std::fflush(fp);
    interrupted = run_stages(path);
  });
  if (!report_file::close()) status = 1;
  // As shells tell it of a process that a signal has ended.
  return status == 0 && interrupted ? 128 + interrupt::requested() : status;
}

bool Application::run_stages(const std::string& path) const {
  InputFile input(path);
  if (!input.simulates.empty() && input.models.empty() && input.fcs.empty()) {
    input.data();  // generates the data and saves them; nothing is estimated
    return false;
  }
  input.printOptions();
  if (input.byGroup.empty()) return run(input);
  runGroup(input);
  return false;
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

/// How far an interrupted run came.
std::string interruption(const chain_group<sem::Mcmc>& group) {
  const progress_count done = group.done();
  std::string text = format("WARNING: The run was interrupted after %llu of %llu iterations.",
                            done.iterations, done.planned_iterations);
  if (done.iterations == 0) text += "\n         There are no draws to estimate from.";
  if (done.imputations < done.planned_imputations) {
    text += format("\n         Of %llu imputed data sets %llu were drawn.", done.planned_imputations,
                   done.imputations);
  }
  return text;
}

}  // namespace

bool Application::run(InputFile& input) const {
  const analysis prepared = prepare(input);
  const VariableList& vars = prepared.vars;
  const ModelList& models = prepared.models;
  if (print_debug) print_model_list(models);
  chain_group<sem::Mcmc> group = build_chains(input, prepared);
  if (print_debug) print_sampler(group.front().estimator());
  input.dataNames =
      group.front().estimator().dataNames(vars, models, input.savelatent, input.saveresid, input.savepred);

  if (print_iterations) group.printInfo(vars, models);
  run_chains(group, vars, models);
  // First of all: no reader of the report who goes away early may take the files with him.
  write_result_files(input, group, vars, models);
  if (group.interrupted()) warning::buffer.push_front(interruption(group));
  if (input.psr) group.burn().printPSR(fp);
  if (input.labels) group.printLabels(vars, models);
  if (input.tuneinfo) group.printTune(fp, vars, models, input.tune_all);
  group.warnTune();
  const Summary draws = group.estimates();
  warn_of_convergence(input, group, models, draws);
  if (!print_iterations) group.printInfo(vars, models);
  warning::buffer.flush(fp, true, true);
  group.print(vars, models, draws);
  input.printVariableOrder();
  return group.interrupted();
}

}  // namespace tovik
