// What the run knows before it samples: the data, their missing cells and the models.

#include <cstdio>
#include <string>
#include <vector>

#include "data/levels.hpp"
#include "data/patterns.hpp"
#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "results/report_rows.hpp"
#include "sem/mcmc.hpp"
#include "sem/outcomes.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using variable_ptr = std::shared_ptr<data::variable>;

/// Names on a line before it is broken, in characters of list text.
constexpr std::size_t list_width = 50;

/// The pieces, each preceded by a blank; broken before a piece that would pass the width, continuation lines
/// indented by `indent` blanks.
std::string wrapped(const std::vector<std::string>& pieces, std::size_t indent) {
  std::string out;
  std::size_t line = 0;
  for (const std::string& piece : pieces) {
    if (line > 0 && line + 1 + piece.size() > list_width) {
      out += "\n" + std::string(indent, ' ');
      line = 0;
    }
    out += " " + piece;
    line += 1 + piece.size();
  }
  return out;
}

void print_clusters(std::FILE* stream, const VariableList& variables, const sem::Mcmc& mcmc) {
  int level = 2;
  for (const variable_ptr& id : variables.clusters) {
    std::fprintf(stream, "  Level-%i identifier:       %s\n", level++, id->name.c_str());
  }
  std::fprintf(stream, "  Sample Size:              %llu\n",
               static_cast<unsigned long long>(mcmc.n_units(0)));
  for (unsigned l = 1; l < mcmc.n_levels(); ++l) {
    std::fprintf(stream, "  Level-%i Clusters:         %i\n", static_cast<int>(l + 1),
                 static_cast<int>(mcmc.n_units(l)));
  }
}

void print_dummy_codes(std::FILE* stream, const VariableList& variables) {
  const std::vector<variable_ptr> nominals = variables.subset(data::type::nominal);
  if (nominals.empty()) return;
  std::fputs("  Nominal Dummy Codes:\n\n", stream);
  for (const variable_ptr& nominal : nominals) {
    std::vector<std::string> names;
    for (const variable_ptr& code : nominal->dummies) names.push_back(code->name);
    std::fprintf(stream, "       %18s =%s\n", nominal->name.c_str(), wrapped(names, 27).c_str());
  }
}

void print_parameter_counts(std::FILE* stream, const sem::Mcmc& mcmc) {
  std::fprintf(stream,
               "  NUMBER OF PARAMETERS\n"
               "    Outcome Models:         %i\n"
               "    Predictor Models:       %i\n\n",
               static_cast<int>(mcmc.outcomes()->n_estimated()),
               static_cast<int>(mcmc.getCovariateEstimatedNParams()));
}

std::vector<std::string> names_if(const std::vector<variable_ptr>& variables, bool fixed, data::type kind) {
  std::vector<std::string> names;
  for (const variable_ptr& v : variables) {
    if (v->type == data::type::dummy) continue;  // its nominal variable stands for it
    if (v->fixed() == fixed && (fixed || v->type == kind)) names.push_back(v->name);
  }
  return names;
}

/// Every predictor is complete: the ensemble has refused the others.
void print_predictors(std::FILE* stream, const VariableList& variables) {
  const std::vector<variable_ptr> predictors = variables.subset(data::usage::covariate);
  if (predictors.empty()) return;
  std::fputs("  PREDICTORS\n", stream);
  const auto line = [&](const char* label, const std::vector<std::string>& names) {
    if (!names.empty()) std::fprintf(stream, "%s%s\n", label, wrapped(names, 27).c_str());
  };
  line("    Fixed variables:       ", names_if(predictors, true, data::type::continuous));
  line("    Complete continous:    ", names_if(predictors, false, data::type::continuous));
  line("    Complete ordinal:      ", names_if(predictors, false, data::type::ordinal));
  line("    Complete nominal:      ", names_if(predictors, false, data::type::nominal));
  std::fputs("\n", stream);
}

void print_models(std::FILE* stream, const ModelList& models) {
  std::fputs("  MODELS\n", stream);
  const int widest = static_cast<int>(std::to_string(models.size()).size());
  std::string block;
  int number = 1;
  for (const Model& model : models) {
    if (model.block != block) {
      block = model.block;
      if (!is_reserved_block(block)) std::fprintf(stream, "\n   %s:\n", block.c_str());
    }
    const int padding = 4 + widest - static_cast<int>(std::to_string(number).size());
    std::fprintf(stream, "%*s[%i] %s\n", padding, "", number, wrapped(words(model.command()), 17).c_str());
    ++number;
  }
}

}  // namespace

void sem::Mcmc::printInfo(std::FILE* stream, const VariableList& variables, const ModelList& models) const {
  std::fputs("\nDATA INFORMATION:\n\n", stream);
  print_clusters(stream, variables, *this);
  print_dummy_codes(stream, variables);
  std::fputs("\n  Missing Data Info:\n", stream);
  missing_patterns().print(stream, pattern_names(), missing_percents());
  std::fputs("\n\nMODEL INFORMATION:\n\n", stream);
  print_parameter_counts(stream, *this);
  print_predictors(stream, variables);
  print_models(stream, models);
}

}  // namespace tovik
