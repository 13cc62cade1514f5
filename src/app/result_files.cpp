#include "app/result_files.hpp"

#include "input/input_file.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"

namespace tovik {

void write_result_files(InputFile& input, const chain_group<sem::Mcmc>& group, const VariableList& vars,
                        const ModelList& models) {
  file_set files;
  input.writeData();
  if (input.isWrite("iterations")) input.write(group.iterations(), "iterations");
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
  if (!Output::traceplotPath.empty()) group.saveTraces(Output::traceplotPath, vars, models);
  files.commit();
}

}  // namespace tovik
