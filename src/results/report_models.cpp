// The statements of a run as the program understood them.

#include "results/report_models.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "model/model_list.hpp"
#include "results/report_lists.hpp"
#include "results/report_rows.hpp"
#include "support/block.hpp"

namespace tovik {

namespace {

bool is_hidden(const Model& model) {
  return model.block == block::predef::hidden;
}

/// Parameters with a prior of their own and computed ones stand in lists of their own.
bool is_shown_equation(const Model& model) {
  return model::is_equation(model.kind()) && !is_hidden(model);
}

std::vector<std::string> commands_of(const ModelList& models, model::kind kind) {
  std::vector<std::string> out;
  for (const Model& model : models) {
    if (model.kind() == kind && !is_hidden(model)) out.push_back(model.command());
  }
  return out;
}

void print_definitions(std::FILE* stream, const ModelList& models) {
  std::vector<std::string> rows;
  for (const auto& [name, term] : models.definitions) rows.push_back(name + " = " + term.statement);
  print_numbered_section(stream, "DEFINED VARIABLES", rows);
}

void print_equations(std::FILE* stream, const ModelList& models) {
  std::fputs("  MODELS\n", stream);
  const auto total = static_cast<std::size_t>(std::count_if(models.begin(), models.end(), is_shown_equation));
  std::string block;
  std::size_t number = 0;
  for (const Model& model : models) {
    if (!is_shown_equation(model)) continue;
    if (model.block != block) {
      block = model.block;
      if (!is_reserved_block(block)) std::fprintf(stream, "\n   %s:\n", block.c_str());
    }
    print_numbered(stream, ++number, total, model.command());
  }
}

}  // namespace

void print_statements(std::FILE* stream, const ModelList& models) {
  print_definitions(stream, models);
  print_equations(stream, models);
  const std::vector<std::string> priors = commands_of(models, model::kind::parameter);
  const std::vector<std::string> computed = commands_of(models, model::kind::computation);
  if (!priors.empty() || !computed.empty()) std::fputs("\n", stream);
  print_numbered_section(stream, "PRIORS SPECIFIED", priors);
  print_numbered_section(stream, "GENERATED PARAMETERS", computed);
}

}  // namespace tovik
