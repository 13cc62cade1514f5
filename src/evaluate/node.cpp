#include "evaluate/node.hpp"

#include <limits>
#include <utility>

#include "evaluate/error.hpp"
#include "evaluate/grouping.hpp"
#include "evaluate/value.hpp"
#include "support/text.hpp"

namespace tovik::evaluate {

namespace {

/// The row of the table for a token that must be an operator, or must be a function.
const CMD& lookup(const std::string& token, bool function) {
  const auto row = evaluate::op.find(token);
  if (row == evaluate::op.end() || !(function ? row->second.is_function() : row->second.is_operator())) {
    throw error_debug_parse();
  }
  return row->second;
}

}  // namespace

bool node::is_index(const node& n) {
  return n.is_literal() && n.number >= 0.0 && n.number <= std::numeric_limits<unsigned>::max() &&
         n.number == static_cast<double>(static_cast<unsigned>(n.number));
}

node::node(const std::string& token, std::unique_ptr<node> first, std::unique_ptr<node> second)
    : left(std::move(first)), right(std::move(second)), op(lookup(token, false).operation) {
  if (op == operations::power && right->is_vector) {
    throw error("ERROR: Cannot exponentiate variables with '^'");
  }
  set_shape();
}

node::node(const std::string& token, std::unique_ptr<node> argument)
    : left(std::move(argument)), op(lookup(token, true).operation) {
  if (is_reference() && !is_index(*left)) throw error_debug_parse();
  set_shape();
}

node::node(const node& other)
    : left(other.left ? other.left->copy() : nullptr),
      right(other.right ? other.right->copy() : nullptr),
      cell(other.cell),  // the copy reads the same one until it is bound anew
      number(other.number),
      shape(other.shape),
      is_vector(other.is_vector),
      op(other.op) {}

node::~node() = default;

std::unique_ptr<node> node::literal(double value) {
  auto leaf = std::make_unique<node>();
  leaf->number = value;
  return leaf;
}

void node::set_shape() {
  if (right) {
    is_vector = left->is_vector || right->is_vector;
    shape = (left->is_vector ? 0 : 1) + (right->is_vector ? 0 : 2);
    return;
  }
  is_vector = left->is_vector || isReturnVector(op);
  shape = op == operations::data || left->is_vector ? 2 : 3;
}

double* node::get() {
  throw error_debug("Cannot get a value.");
}

void node::set(double*) {
  throw error_debug("Cannot set a value.");
}

unsigned node::index() const {
  if (!is_reference() || !left || !is_index(*left)) throw error_debug_parse();
  return static_cast<unsigned>(left->number);
}

void node::become_literal(double value) {
  become(literal(value));
}

void node::become(std::unique_ptr<node> other) {
  swap_content(*other);
}

void node::swap_content(node& other) {
  std::swap(left, other.left);
  std::swap(right, other.right);
  std::swap(cell, other.cell);
  std::swap(number, other.number);
  std::swap(rng, other.rng);
  std::swap(shape, other.shape);
  std::swap(is_vector, other.is_vector);
  std::swap(op, other.op);
  std::swap(clusters_, other.clusters_);
}

bool node::register_var(const node* place, const unsigned& k) {
  if (op == operations::var) {
    if (index() != k) return false;
    cell = place;
    return true;
  }
  const bool in_left = left && left->register_var(place, k);
  const bool in_right = right && right->register_var(place, k);
  return in_left || in_right;
}

void node::register_rng(const std::shared_ptr<Random>& stream) {
  if (op == operations::uniform || op == operations::normal) rng = stream;
  if (left) left->register_rng(stream);
  if (right) right->register_rng(stream);
}

std::string node::name() const {
  std::string out;
  print(out);
  return out;
}

namespace {

/// Integral values within 32 bits keep one decimal, so that a label shows "2.0" and not "2.000000".
std::string literal_name(double number) {
  constexpr double low = std::numeric_limits<std::int32_t>::min();
  constexpr double high = std::numeric_limits<std::int32_t>::max();
  if (number >= low && number <= high) {
    const auto whole = static_cast<std::int32_t>(number);
    if (static_cast<double>(whole) == number) return std::to_string(whole) + ".0";
  }
  return format("%f", number);
}

}  // namespace

void node::print(std::string& out) const {
  if (is_literal()) {
    out += literal_name(number);
  } else if (is_reference()) {
    out += CMD::get_name(op) + "(" + std::to_string(index()) + ")";
  } else if (op == operations::comma) {
    left->print(out);
    out += ", ";
    right->print(out);
  } else if (left && right) {
    out += '(';
    left->print(out);
    out += CMD::get_name(op);
    right->print(out);
    out += ')';
  } else if (left) {
    out += CMD::get_name(op) + "(";
    left->print(out);
    out += ')';
  } else {
    out += "undefined";
  }
}

std::string value::name() const {
  return literal_name(eval());
}

}  // namespace tovik::evaluate
