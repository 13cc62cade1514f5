#include "input/transform.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "data/numbers.hpp"
#include "evaluate/constants.hpp"
#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/node.hpp"
#include "evaluate/operations.hpp"
#include "evaluate/parser.hpp"
#include "input/assignment_sign.hpp"
#include "input/name_index.hpp"
#include "model/tokenize.hpp"
#include "support/error.hpp"
#include "support/source.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using statement = transform_statement;

[[noreturn]] void misspecified(const std::string& text) {
  throw error(
      "ERROR: TRANSFORM command not correctly specified.\n"
      "       Command must be new variable name = statement.\n"
      "       Problem command: " +
      text);
}

void check_parentheses(const statement& one) {
  std::vector<std::string> tokens = split(one.expression, " ", true);
  const int fault = model::tokenize(tokens);
  if (fault < 0) return;
  throw error("ERROR: There are mismatched parentheses in the '" + one.name +
              "' TRANSFORM command:\n       \"" + one.text + "\"\n        " +
              std::string(one.offset + static_cast<std::size_t>(fault), ' ') + "^");
}

/// The expression cut at operators, commas and parentheses.
std::vector<std::string> pieces(std::string expression) {
  // Bytes of a dash may also be part of a letter in UTF-8, so the dashes go first, as a whole.
  for (const char* dash : {"\xE2\x80\x93", "\xE2\x88\x92"}) expression = replace_all(expression, dash, " ");
  std::string ascii;
  for (const char c : evaluate::split_string) {
    if (static_cast<unsigned char>(c) < 0x80) ascii += c;
  }
  return split(expression, ascii, true);
}

/// A word as an unsigned number begins.
bool begins_number(const std::string& piece) {
  return (piece.front() >= '0' && piece.front() <= '9') || piece.front() == '.';
}

[[noreturn]] void unknown_name(const std::string& name, const statement& one) {
  throw error("ERROR: The TRANSFORM command had an error.\n       Unable to find variable \"" + name +
              "\" in data set.\n       Problem command: " + one.text + "\n       See \"" + one.expression +
              "\"");
}

void refuse_parameters(const std::string& piece, const statement& one) {
  if (piece != evaluate::CMD::VAR && piece.find_first_of("@&") == std::string::npos) return;
  throw error("ERROR: TRANSFORM command cannot contain parameters.\n       Problem command: " + one.text);
}

/// The names of columns in the order in which they stand in the expression, with repeats.
struct occurrences {
  std::vector<std::string> names;
  std::vector<unsigned> columns;
};

occurrences find_names(const statement& one, const name_index& columns) {
  occurrences out;
  for (const std::string& piece : pieces(one.expression)) {
    if (piece.empty()) continue;
    refuse_parameters(piece, one);
    if (evaluate::op.count(piece) > 0 && piece != evaluate::CMD::DATA) continue;
    const std::size_t column = columns.find(piece);
    if (column != name_index::none && !begins_number(piece)) {
      out.names.push_back(piece);
      out.columns.push_back(static_cast<unsigned>(column));
    } else if (!isNumber(piece)) {
      unknown_name(piece, one);
    }
  }
  return out;
}

/// The new column. Infinite values are missing ones.
arma::Col<double> evaluate_statement(const statement& one, const occurrences& found,
                                     const arma::Mat<double>& data, const std::shared_ptr<Random>& rng) {
  const std::string see = "\n       See \"" + one.text + "\"";
  arma::Col<double> out;
  try {
    const std::string command =
        evaluate::generate_command(one.expression, found.names, found.columns, evaluate::CMD::DATA);
    const auto tree = evaluate::opt_ast(command);
    tree->register_rng(rng);
    out = tree->eval(data);
  } catch (const evaluate::error_debug_rng&) {
    throw;  // no statement can bring that about
  } catch (const evaluate::error_parse& e) {
    throw error(e.message() + see);
  } catch (const evaluate::error& e) {
    throw error(evaluate::user_text(e) + see);
  }
  bool any = false;
  for (double& x : out) {
    if (!std::isfinite(x)) x = std::numeric_limits<double>::quiet_NaN();
    any = any || !std::isnan(x);
  }
  if (any) return out;
  throw error(
      "ERROR: TRANSFORM command produced a variable with all\n"
      "       observations missing. This generally happens when\n"
      "       using commands like 'center', 'mean', and 'scale'.\n"
      "       Problem command: " +
      one.text);
}

/// How many columns the statements will append. Statements that cannot be read append none.
arma::uword count_new(const std::vector<std::string>& statements, name_index columns) {
  arma::uword count = 0;
  for (const std::string& name : transformed_names(statements)) {
    if (columns.has(name)) continue;
    columns.add(name, 0);
    ++count;
  }
  return count;
}

}  // namespace

transform_statement transform_statement::read(const std::string& text) {
  transform_statement out;
  out.text = mend_comparisons(trim(text));
  const std::size_t sign = assignment_sign(out.text);
  if (sign == std::string::npos) misspecified(out.text);
  out.name = trim(out.text.substr(0, sign));
  out.expression = trim(out.text.substr(sign + 1));
  if (out.name.empty() || out.expression.empty() || words(out.name).size() > 1) misspecified(out.text);
  out.offset = out.text.size() - out.expression.size();
  return out;
}

std::vector<std::string> transformed_names(const std::vector<std::string>& statements) {
  std::vector<std::string> out;
  for (const std::string& text : statements) {
    const std::string mended = mend_comparisons(text);
    out.push_back(trim(mended.substr(0, assignment_sign(mended))));
  }
  return out;
}

void apply_transforms(arma::Mat<double>& data, std::vector<std::string>& names,
                      const std::vector<std::string>& statements, const std::shared_ptr<Random>& rng) {
  if (statements.empty()) return;
  name_index columns(names);
  // The matrix grows once, not with every statement.
  data.resize(data.n_rows, data.n_cols + count_new(statements, columns));
  for (const std::string& text : statements) {
    source::enter(text);
    const statement one = statement::read(text);
    check_parentheses(one);
    const occurrences found = find_names(one, columns);
    const arma::Col<double> values = evaluate_statement(one, found, data, rng);
    std::size_t column = columns.find(one.name);
    if (column == name_index::none) {
      column = names.size();
      names.push_back(one.name);
      columns.add(one.name, column);
    }
    data.col(column) = values;
    source::leave();
  }
}

}  // namespace tovik
