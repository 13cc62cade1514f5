// The WALDTEST command: restricted equations, and equalities of parameters.

#include "input/input_file.hpp"
#include "model/parse.hpp"
#include "model/waldtest.hpp"
#include "support/source.hpp"

namespace tovik {

namespace {

bool is_equality(const std::string& statement) {
  return statement.find('=') != std::string::npos && statement.find('~') == std::string::npos;
}

model::waldtest read_test(const std::vector<std::string>& statements, const VariableList& vars,
                          const ModelList& models) {
  std::vector<block::one_model> equations;
  for (const std::string& statement : statements) {
    if (!is_equality(statement)) equations.push_back({statement, block::predef::none});
  }
  model::waldtest test;
  if (!equations.empty()) test = sem::parse_waldtest(equations, vars, block::map(), models) - models;
  for (const std::string& statement : statements) {
    if (!is_equality(statement)) continue;
    source::enter(statement);
    test.add_constraints(statement, models);
    source::leave();
  }
  return test;
}

}  // namespace

std::vector<model::waldtest> InputFile::waldtests(const VariableList& vars, const ModelList& models) const {
  std::vector<model::waldtest> out;
  for (const std::vector<std::string>& statements : hypotheses) {
    out.push_back(read_test(statements, vars, models));
    out.back().name = "Test #" + std::to_string(out.size());
  }
  return out;
}

}  // namespace tovik
