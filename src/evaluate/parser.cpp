#include "evaluate/parser.hpp"

#include <memory>
#include <utility>

#include "evaluate/constants.hpp"
#include "evaluate/error.hpp"
#include "support/text.hpp"

namespace tovik::evaluate {

namespace {

/// What one call of ast() may spend, the definitions inside its expression included.
struct budget {
  /// The text of that call, for the message when something runs out.
  const std::string& text;
  int nodes = max_nodes;
  int definitions = 0;
};

/// A finished part of the tree.
struct operand {
  std::unique_ptr<node> tree;
  int depth = 1;
};

/// A token that waits for its operands.
struct pending {
  std::string token;
  const CMD* command;
};

/// Shunting-yard over one text: finished operands, pending operators, and whether an operand was just read.
class expression {
 public:
  expression(const std::string& text, const defines& names, budget& left)
      : text_(text), names_(names), left_(left) {}

  operand read() {
    for (const std::string& piece : parse(text_)) {
      const std::string token = trim(piece);
      if (token.empty()) continue;
      const auto row = op.find(token);
      if (row == op.end()) {
        read_operand(token);
      } else if (after_operand_) {
        read_operator(token, row->second);
      } else {
        read_prefix(token, row->second);
      }
    }
    return finish();
  }

 private:
  [[noreturn]] void fail(const std::string& message) const { throw error_parse(message, text_); }
  [[noreturn]] void fail_limit(const std::string& message) const { throw error_parse(message, left_.text); }
  [[noreturn]] void fail_statement() const { fail("ERROR: Could not parse statement."); }
  [[noreturn]] void fail_parentheses() const { fail("ERROR: The parentheses do not match."); }
  [[noreturn]] void fail_function(const std::string& token, const std::string& what) const {
    fail("ERROR: Function \"" + token + "\" " + what);
  }

  void read_operand(const std::string& token);
  void read_prefix(const std::string& token, const CMD& command);
  void read_operator(const std::string& token, const CMD& command);
  void open(const std::string& token, const CMD& command);
  void close();
  operand finish();

  operand definition(const std::string& token, const defines::def& entry);
  double number(const std::string& token) const;

  void push_literal(double value);
  void push(operand item);
  operand pop();
  void reduce();
  void reduce_operator(const std::string& token);
  void reduce_function(const std::string& token, const CMD& command);
  void check_inputs(const std::string& token, const CMD& command, const node& argument) const;

  const std::string& text_;
  const defines& names_;
  budget& left_;
  std::vector<operand> output_;
  std::vector<pending> operators_;
  bool after_operand_ = false;
  int open_ = 0;
};

void expression::read_operand(const std::string& token) {
  if (after_operand_) fail("ERROR: Was expecting an operator or function but recieved a variable or number.");
  if (const auto constant = co.find(token); constant != co.end()) {
    push_literal(constant->second);
  } else if (const defines::def* entry = names_.find(token)) {
    push(definition(token, *entry));
  } else {
    push_literal(number(token));
  }
  after_operand_ = true;
}

operand expression::definition(const std::string& token, const defines::def& entry) {
  if (entry.kind == 0) throw error_undefined_var(token, text_);
  if (left_.definitions >= max_definitions) fail_limit("ERROR: The definitions are nested too deeply.");
  ++left_.definitions;
  operand item = expression(entry.text, *entry.owner, left_).read();
  --left_.definitions;
  item.tree->optimize();
  return item;
}

/// std::stod takes a prefix of the token, and the words for infinity and NaN, which serve as open bounds.
double expression::number(const std::string& token) const {
  try {
    return std::stod(token);
  } catch (const std::exception&) {
    throw error_non_numeric(text_);
  }
}

void expression::read_prefix(const std::string& token, const CMD& command) {
  if (command.operation == operations::minus) {
    // -x is -1 * x; nothing is reduced, so that -x^2 is -(x^2) and 2^-x is 2^(-x).
    push_literal(-1.0);
    const auto times = op.find("*");
    operators_.push_back({times->first, &times->second});
  } else if (command.operation == operations::plus) {
    return;
  } else if (command.is_function() || token == "(") {
    open(token, command);
  } else {
    fail_statement();
  }
}

void expression::read_operator(const std::string& token, const CMD& command) {
  if (command.is_function() || token == "(") fail_statement();
  if (token == ")") {
    close();
    return;
  }
  while (!operators_.empty() && operators_.back().token != "(") {
    const CMD& top = *operators_.back().command;
    const bool binds_first = top.is_function() || top.precedence > command.precedence ||
                             (top.precedence == command.precedence && command.associativity == 1);
    if (!binds_first) break;
    reduce();
  }
  operators_.push_back({token, &command});
  after_operand_ = false;
}

void expression::open(const std::string& token, const CMD& command) {
  if (token == "(" && ++open_ > max_depth) fail_limit("ERROR: The expression is nested too deeply.");
  operators_.push_back({token, &command});
}

void expression::close() {
  while (!operators_.empty() && operators_.back().token != "(") reduce();
  if (operators_.empty()) fail_parentheses();
  operators_.pop_back();
  --open_;
}

operand expression::finish() {
  if (!after_operand_) fail_statement();
  while (!operators_.empty()) {
    if (operators_.back().token == "(") fail_parentheses();
    reduce();
  }
  if (output_.size() != 1) fail_statement();
  return pop();
}

void expression::push_literal(double value) {
  if (--left_.nodes < 0) fail_limit("ERROR: The expression is too long.");
  push({node::literal(value), 1});
}

void expression::push(operand item) {
  if (item.depth > max_depth) fail_limit("ERROR: The expression is nested too deeply.");
  output_.push_back(std::move(item));
}

operand expression::pop() {
  if (output_.empty()) fail_statement();
  operand item = std::move(output_.back());
  output_.pop_back();
  return item;
}

void expression::reduce() {
  if (--left_.nodes < 0) fail_limit("ERROR: The expression is too long.");
  const pending top = std::move(operators_.back());
  operators_.pop_back();
  if (top.command->is_function()) {
    reduce_function(top.token, *top.command);
  } else {
    reduce_operator(top.token);
  }
}

void expression::reduce_operator(const std::string& token) {
  operand second = pop();
  operand first = pop();
  const int depth = 1 + std::max(first.depth, second.depth);
  push({std::make_unique<node>(token, std::move(first.tree), std::move(second.tree)), depth});
}

void expression::reduce_function(const std::string& token, const CMD& command) {
  operand argument = pop();
  check_inputs(token, command, *argument.tree);
  push({std::make_unique<node>(token, std::move(argument.tree)), 1 + argument.depth});
}

void expression::check_inputs(const std::string& token, const CMD& command, const node& argument) const {
  if (argument.op == operations::comma && command.comma_class == 0) {
    fail_function(token, "does not match the inputs given.");
  }
  const unsigned commas = argument.n_commas();
  switch (command.operation) {
    case operations::clmn:
    case operations::clsd:
    case operations::missing:
    case operations::uniform:
    case operations::normal:
    case operations::iyjt:
      if (commas != 1) fail_function(token, "requires two inputs.");
      break;
    case operations::ifelse:
      if (commas != 2) fail_function(token, "requires three inputs.");
      break;
    case operations::lag1:
      if (commas != 1 && commas != 2) fail_function(token, "requires two or three inputs.");
      break;
    case operations::switch_list:
      if (commas == 0 || commas % 2 == 1) {
        fail_function(token,
                      "requires the following form:\n"
                      "       switch(logical 1, value 1, logical 2, value 2, ..., default value)");
      }
      break;
    case operations::var:
    case operations::data:
      if (!node::is_index(argument)) fail_statement();
      break;
    default:
      break;
  }
}

}  // namespace

std::unique_ptr<node> ast(const std::string& text, const defines& names) {
  budget whole{text};
  return expression(text, names, whole).read().tree;
}

std::unique_ptr<node> opt_ast(const std::string& text, const defines& names) {
  auto tree = ast(text, names);
  tree->optimize();
  return tree;
}

std::unique_ptr<node> opt_ast(const std::string& text) {
  static const defines none;
  return opt_ast(text, none);
}

}  // namespace tovik::evaluate
