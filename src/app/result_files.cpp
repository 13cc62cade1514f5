#include "app/result_files.hpp"

#include <filesystem>
#include <string>
#include <system_error>

#include "app/row_names.hpp"
#include "input/input_file.hpp"
#include "results/draws_file.hpp"
#include "results/wald_test.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"

namespace tovik {

namespace {

std::string trace_folder(const InputFile& input) {
  if (input.byGroup.empty()) return Output::traceplotPath;
  const std::string folder = Output::traceplotPath + "/" + input.group_label;
  std::error_code failed;  // which the files in the folder will tell
  std::filesystem::create_directories(folder, failed);
  return folder;
}

}  // namespace

template <class T>
void write_result_files(InputFile& input, const chain_group<T>& group, const analysis& run) {
  const VariableList& vars = run.vars;
  const ModelList& models = run.models;
  file_set files;
  if (input.byGroup.empty()) input.writeData();
  if (input.isWrite("iterations")) input.write(group.iterations(), "iterations");
  if (input.isWrite("draws")) {
    save_draws(input.writePath("draws"), group.iterations(), row_names(group.front().estimator(), models));
  }
  if (input.isWrite("estimates")) input.write(group.estimates(), "estimates");
  if (input.isWrite("burn")) input.write(group.burn(), "burn");
  if (input.isWrite("simple")) input.write(group.simple(), "simple");
  if (input.isWrite("correlations")) input.write(group.resid_cor(), "correlations");
  if (input.isWrite("avgimp")) input.writeAvgImp(group.avgImp());
  if (input.isWrite("varimp")) input.writeVarImp(group.avgImp());
  if (input.isWrite("labelfile")) group.saveLabelFile(input.writePath("labelfile"), vars, models);
  if (input.isWrite("starts")) group.saveStarts(input.writePath("starts"), vars, models);
  if (input.isWrite("psr")) group.burn().savePSR(input.writePath("psr"), input.scientific);
  if (input.isWrite("likelihood")) input.writeLikelihoods(group.dic());
  if (input.isWrite("waldtest")) {
    input.writeWaldTest(sem::WaldTest::results(run.tests, group.estimates()));
  }
  if (!Output::traceplotPath.empty()) group.saveTraces(trace_folder(input), vars, models);
  files.commit();
}

template void write_result_files(InputFile&, const chain_group<sem::Mcmc>&, const analysis&);
template void write_result_files(InputFile&, const chain_group<manifest::wrapper>&, const analysis&);

}  // namespace tovik
