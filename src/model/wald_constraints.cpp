// "a = 0.5" and "a1 a2 = b1 b2": equalities of labelled parameters and numbers.

#include <algorithm>
#include <cmath>
#include <optional>

#include "data/numbers.hpp"
#include "model/row_table.hpp"
#include "model/waldtest.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

std::string wrong_equality(const std::string& statement) {
  return "ERROR: The WALDTEST command \"" + statement + "\" is not correctly specified.\n       ";
}

/// A number, or else a label.
parameter read_side(const std::string& word) {
  double value = 0.0;
  const bool number = parse_real(word.data(), word.data() + word.size(), value) && std::isfinite(value);
  return number ? parameter::fixed_at(value) : parameter::labelled(word);
}

/// Where a label stands: the equation, and the row among those of the equation.
struct label_row {
  std::size_t model;
  unsigned row;
};

/// The correlation with this label among the rows of a block: behind the covariance matrix, by the columns of
/// the lower triangle with the standard deviations on the diagonal.
std::optional<unsigned> correlation_row(const Model& block, const parameter& label) {
  const int place = block.find_correlation(label);
  if (place < 0) return std::nullopt;
  const auto p = static_cast<unsigned>(block.fixed.size());
  const unsigned j = static_cast<unsigned>(place) % p, i = static_cast<unsigned>(place) / p;
  return p * (p + 1) / 2 + static_cast<unsigned>(lower_triangle_place(j, i, p));
}

std::optional<unsigned> row_in(const Model& model, const parameter& label) {
  switch (model.kind()) {
    case kind::phantom:
      return model.variance.has_label() && model.variance == label ? std::optional(0u) : std::nullopt;
    case kind::block:
      return correlation_row(model, label);
    default:
      break;
  }
  if (model.outcomes.size() > 1) return std::nullopt;
  const int position = (model - model).find(label);
  return position < 0 ? std::nullopt : std::optional(static_cast<unsigned>(position));
}

/// The first equation of the list that has the label.
std::optional<label_row> find_label(const ModelList& models, const parameter& label) {
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (const auto row = row_in(models[i], label)) return label_row{i, *row};
  }
  return std::nullopt;
}

bool has_no_difference(const Model& model) {
  return model.kind() == kind::phantom || model.kind() == kind::block;
}

}  // namespace

void waldtest::error(const std::string& statement) {
  throw tovik::error(wrong_equality(statement) +
                     "Each equation must be separated by semicolon and take one of the following forms:\n"
                     "           outcome ~ predictor1 predictor2;\n"
                     "           parameter1 = parameter2 parameter3;\n"
                     "           parameter1 = value;");
}

void waldtest::join(std::size_t position, const ModelList& models) {
  const Model& model = models[position];
  if (has_no_difference(model)) {
    const std::string text = model.command();
    if (std::find(other_statements.begin(), other_statements.end(), text) == other_statements.end())
      other_statements.push_back(text);
    return;
  }
  const auto is_there = [&] {
    return std::any_of(differences.begin(), differences.end(),
                       [&](const difference& one) { return one.position == position; });
  };
  if (is_there()) return;
  differences.push_back(model - model);
  differences.back().position = position;
  if (!is_there()) throw error_debug("Cannot find model despite adding.");
}

int waldtest::row_of(const parameter& label, const std::string& statement, const ModelList& models) {
  const auto found = find_label(models, label);
  if (!found)
    throw tovik::error(wrong_equality(statement) + "Cannot find a model with parameter name '" +
                       label.label() + "'");
  join(found->model, models);
  return static_cast<int>(row_table(models).first(found->model) + found->row);
}

void waldtest::add_constraints(const std::string& statement, const ModelList& models) {
  const std::vector<std::string> sides = split(statement, "=", false);
  if (sides.size() != 2) error(statement);
  const std::vector<std::string> left = words(sides[0]);
  const std::vector<std::string> right = words(sides[1]);
  if (left.empty() || right.empty()) error(statement);
  for (const std::string& a : left) {
    for (const std::string& b : right) {
      constraint one{read_side(a), read_side(b), -1, -1, statement};
      if (one.left.is_fixed() && one.right.is_fixed())
        throw tovik::error(wrong_equality(statement) +
                           "Cannot set two values equal. Problem Specification:\n           '" +
                           one.string() + "'");
      if (one.left.has_label()) one.left_row = row_of(one.left, statement, models);
      if (one.right.has_label()) one.right_row = row_of(one.right, statement, models);
      constraints.push_back(std::move(one));
    }
  }
  set_spans(models);
}

}  // namespace tovik::model
