// The constant and the dummy codes of nominal variables.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "data/category.hpp"
#include "data/dummy.hpp"
#include "input/catalogue_adder.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

/// A category as users write it: whole values as integers.
std::string number_text(double value) {
  return data::dummy::label("", value).substr(1);
}

void print_references(const std::string& lines) {
  if (lines.empty()) return;
  std::fprintf(Output::fp, "%s%s%s",
               "  NOTE: The following nominal variables have automatically\n"
               "        been assigned a reference group.\n",
               lines.c_str(),
               "\n\n        To change reference group use the following command:\n"
               "          NOMINAL: variable_name(reference_value);\n");
  std::fflush(Output::fp);
}

}  // namespace

catalogue_adder::catalogue_adder(const InputFile& input, VariableList& vars, unsigned first_column)
    : input_(input), vars_(vars), first_(first_column), next_(first_column) {}

void catalogue_adder::constant() {
  vars_.variables.push_back(std::make_shared<data::variable>("1", data::type::constant, next_++, 0u));
}

void catalogue_adder::dummies(const arma::Mat<double>& data) {
  std::string note;
  for (const auto& v : vars_.subset(data::type::nominal)) {
    const arma::Col<double> column(const_cast<double*>(data.colptr(v->column)), data.n_rows, false, true);
    note += set_values(*v, column);
    add_codes(v);
  }
  print_references(note);
}

/// Returns the line of the note for a reference that nobody has chosen.
std::string catalogue_adder::set_values(data::variable& v, const arma::Col<double>& column) const {
  const bool missing = input_.missing_flags[v.column] != 0;
  v.values = dummyvalues(column, missing);
  if (v.values.empty()) {
    throw error("ERROR: Variable " + v.name +
                " has no observed category.\n"
                "       Ordinal and nominal variables need\n"
                "       a minimum of two observed categories.\n");
  }
  if (v.values.size() > max_nominal_categories) {
    throw error("ERROR: The NOMINAL variable '" + v.name + "' has " + std::to_string(v.values.size()) +
                " categories.\n       At most " + std::to_string(max_nominal_categories) +
                " categories are supported.");
  }
  const auto asked = std::find_if(input_.nominals.begin(), input_.nominals.end(),
                                  [&](const nominal_name& n) { return iequals(n.name, v.name); });
  if (asked == input_.nominals.end() || std::isnan(asked->reference)) {
    return "\n          '" + v.name + "' with reference value '" + number_text(v.values.front()) + "'";
  }
  if (!has_value(v.values, asked->reference)) {
    throw error("ERROR: Could not find specified reference group '" + number_text(asked->reference) +
                "'\n       for nominal variable " + v.name);
  }
  v.values = dummyvalues(column, missing, asked->reference);
  return "";
}

void catalogue_adder::add_codes(const VariableList::variable_ptr& v) {
  vars_.index();
  for (std::size_t k = 1; k < v->values.size(); ++k) {
    auto code = std::make_shared<data::dummy>(v, v->values[k], next_);
    if (vars_.find(code->name)) {
      throw error("ERROR: Cannot create dummy variable '" + code->name +
                  "'\n       The name is already in use.");
    }
    ++next_;
    v->setDummy(code);
    vars_.variables.push_back(code);
    vars_.index();
  }
}

}  // namespace tovik
