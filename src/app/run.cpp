#include "app/run.hpp"

#include <cstdint>
#include <cstdio>
#include <string>

#include "app/convergence_warnings.hpp"
#include "app/estimates_file.hpp"
#include "app/progress.hpp"
#include "app/result_files.hpp"
#include "input/input_file.hpp"
#include "support/output.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

/// The equations as the program understood them, in the order in which they are sampled.
void print_model_list(const ModelList& models) {
  for (const Model& model : models) std::printf("%s\n", model.command().c_str());
  std::printf("\n");
}

/// The dimensions of a chain's sampler.
template <class T>
void print_sampler(const T& sampler) {
  std::printf("%u levels:", sampler.n_levels());
  for (unsigned l = 0; l < sampler.n_levels(); ++l) {
    std::printf(" %llu units", static_cast<unsigned long long>(sampler.n_units(l)));
  }
  std::printf("; %llu parameters\n\n", static_cast<unsigned long long>(sampler.getTotalParams()));
}

/// Runs the chains. When tuning fails, the acceptance rates are still shown before the error is reported.
template <class T>
void run_chains(chain_group<T>& group, const VariableList& vars, const ModelList& models) {
  try {
    group.exec();
  } catch (const sem::error_tuning&) {
    if (!Output::print_iterations) group.printInfo(vars, models);
    group.printLabels(vars, models);
    group.printTune(Output::fp, vars, models, false);
    group.warnTune();
    throw;
  } catch (...) {
    if (!Output::print_iterations) group.printInfo(vars, models);
    throw;
  }
}

/// How far an interrupted run came.
std::string interruption(const progress_count& done) {
  std::string text = format("WARNING: The run was interrupted after %llu of %llu iterations.",
                            done.iterations, done.planned_iterations);
  if (done.iterations == 0) text += "\n         There are no draws to estimate from.";
  if (done.imputations < done.planned_imputations) {
    text += format("\n         Of %llu imputed data sets %llu were drawn.", done.planned_imputations,
                   done.imputations);
  }
  return text;
}

template <class T>
bool run_group(InputFile& input, const analysis& prepared, chain_group<T> group) {
  const bool grouped = !input.byGroup.empty();
  std::FILE* fp = Output::fp;
  const VariableList& vars = prepared.vars;
  const ModelList& models = prepared.models;
  if (Output::print_debug) print_sampler(group.front().estimator());
  input.dataNames =
      group.front().estimator().dataNames(vars, models, input.savelatent, input.saveresid, input.savepred);

  if (Output::print_iterations) group.printInfo(vars, models);
  run_chains(group, vars, models);
  // First of all: no reader of the report who goes away early may take the files with him.
  progress::enter(run_phase::writing);
  write_result_files(input, group, prepared);
  progress::enter(run_phase::summarising);
  if (group.interrupted()) warning::buffer.push_front(interruption(group.done()));
  if (input.psr) group.burn().printPSR(fp);
  if (input.labels) group.printLabels(vars, models);
  if (input.tuneinfo) group.printTune(fp, vars, models, input.tune_all);
  group.warnTune();
  const Summary draws = group.estimates();
  warn_of_convergence(input, group, models, draws);
  if (!Output::print_iterations) group.printInfo(vars, models);
  write_estimates_table(input, group, prepared, draws);  // with all warnings
  if (!grouped) warning::buffer.flush(fp, true, true);
  group.print(vars, models, prepared.tests, draws, input.brief);
  if (!grouped) input.printVariableOrder();
  return group.interrupted();
}

}  // namespace

bool run_analysis(InputFile& input, const analysis& prepared) {
  constexpr std::int32_t latent_means = 2;
  if (Output::print_debug) print_model_list(prepared.models);
  if (input.clmean_method == latent_means) return run_group(input, prepared, build_chains(input, prepared));
  return run_group(input, prepared, build_manifest_chains(input, prepared));
}

}  // namespace tovik
