#include <string>
#include <vector>

#include "dump.hpp"
#include "input/input_file.hpp"
#include "support/text.hpp"

namespace tovik::tests::dump {

namespace {

void line(std::string& out, const char* title, const std::string& text) {
  if (!text.empty()) out += std::string(title) + ": " + text + "\n";
}

/// Elements in quotes, because they may hold blanks.
void list(std::string& out, const char* title, const std::vector<std::string>& items) {
  if (!items.empty()) out += std::string(title) + ": \"" + join(items, "\" \"") + "\"\n";
}

void count(std::string& out, const char* title, std::uint32_t value) {
  if (value != InputFile::not_set) line(out, title, std::to_string(value));
}

void blocks(std::string& out, const char* title, const std::vector<block::one_model>& statements) {
  for (const block::one_model& s : statements) {
    out += std::string(title) + " [" + s.block + "]: \"" + s.statement + "\"\n";
  }
}

void keyed(std::string& out, const char* title, const keyed_list<std::vector<std::string>>& lists) {
  for (const auto& [key, names] : lists) list(out, (std::string(title) + " [" + key + "]").c_str(), names);
}

void numbers(std::string& out, const InputFile& in) {
  count(out, "seed", in.seed);
  count(out, "burn", in.burn);
  count(out, "iterations", in.iterations);
  count(out, "thin", in.thin);
  count(out, "imputations", in.nimps);
  count(out, "chains", in.chains);
}

}  // namespace

std::string input(const InputFile& in) {
  std::string out;
  line(out, "data", in.data_file);
  list(out, "variables", in.variableNames);
  list(out, "clusterid", in.clusterIds);
  line(out, "missing", in.missingCode);
  line(out, "bygroup", in.byGroup);
  list(out, "transform", in.transforms);
  list(out, "ordinal", in.ordinals);
  list(out, "count", in.counts);
  for (const nominal_name& n : in.nominals) {
    line(out, "nominal", "\"" + n.name + "\" " + format("%g", n.reference));
  }
  list(out, "fixed", in.fixed);
  list(out, "center grandmean", in.centerGrand);
  list(out, "center groupmean", in.centerGroup);
  list(out, "fcs", in.fcs);
  list(out, "weights", in.weights);
  keyed(out, "latent", in.latents);
  keyed(out, "phantom", in.phantoms);
  list(out, "randomeffect", in.randomEffects);
  blocks(out, "model", in.models);
  blocks(out, "simulate", in.simulates);
  list(out, "parameters", in.parameters);
  for (const std::vector<std::string>& test : in.hypotheses) list(out, "waldtest", test);
  list(out, "simple", in.simples);
  for (const auto& [key, path] : in.savePaths) line(out, ("save " + key).c_str(), path);
  numbers(out, in);
  return out;
}

}  // namespace tovik::tests::dump
