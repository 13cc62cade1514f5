#include <cmath>
#include <limits>

#include "evaluate/conditional.hpp"
#include "evaluate/error.hpp"
#include "evaluate/functions.hpp"
#include "evaluate/logic.hpp"
#include "evaluate/node.hpp"
#include "support/not_available.hpp"

/// The value of a tree over a data matrix: one entry per row.
namespace tovik::evaluate {

namespace {

using column = arma::Col<double>;
using matrix = arma::Mat<double>;

column constant(const matrix& data, double number) {
  column out(data.n_rows);
  out.fill(number);
  return out;
}

const double* data_column(const node& reference, const matrix& data) {
  const unsigned k = reference.index();
  if (k >= data.n_cols) throw error_debug_parse();
  return data.colptr(k);
}

/// An operand as a column. A data column is a view of `data`, not a copy; callers read it only.
column operand(const node& n, const matrix& data) {
  if (n.op == operations::data) {
    return column(const_cast<double*>(data_column(n, data)), data.n_rows, false, true);
  }
  return n.eval(data);
}

double at(const column& x, arma::uword i) {
  return x[i];
}
double at(double x, arma::uword) {
  return x;
}

template <class A, class B>
column logic(operations op, arma::uword n, const A& a, const B& b) {
  arma::Col<arma::uword> result(n);
  visit_test(op, [&](auto test) {
    for (arma::uword i = 0; i < n; ++i) result[i] = test(at(a, i), at(b, i)) ? 1 : 0;
  });
  return nanMask(result, a, b);
}

/// Operators with at least one column; the exponent of a power is always a scalar.
template <class A, class B>
column combine(operations op, arma::uword n, const A& a, const B& b) {
  switch (op) {
    case operations::plus:
      return a + b;
    case operations::minus:
      return a - b;
    case operations::multiply:
      if constexpr (std::is_same_v<A, B>) {
        return a % b;
      } else {
        return a * b;
      }
    case operations::divide:
      return a / b;
    case operations::power:
      if constexpr (std::is_same_v<B, double>) {
        column out(n);
        for (arma::uword i = 0; i < n; ++i) out[i] = std::pow(a[i], b);
        return out;
      } else {
        throw error_debug_parse();
      }
    default:
      return logic(op, n, a, b);
  }
}

column eval_operator(const node& n, const matrix& data) {
  if (n.shape == 1) return combine(n.op, data.n_rows, n.left->eval(), operand(*n.right, data));
  if (n.shape == 2) return combine(n.op, data.n_rows, operand(*n.left, data), n.right->eval());
  const column a = operand(*n.left, data);
  const column b = operand(*n.right, data);
  return combine(n.op, data.n_rows, a, b);
}

column eval_ifelse(const node& function, const matrix& data) {
  const ifelse_inputs inputs = unpack_ifelse(function);
  const column logical = inputs.logical->eval(data);
  const bool yes_varies = inputs.yes->is_vector;
  const bool no_varies = inputs.no->is_vector;
  if (yes_varies && no_varies) return ifelse(logical, operand(*inputs.yes, data), operand(*inputs.no, data));
  if (yes_varies) return ifelse(logical, operand(*inputs.yes, data), inputs.no->eval());
  if (no_varies) return ifelse(logical, inputs.yes->eval(), operand(*inputs.no, data));
  return ifelse(logical, inputs.yes->eval(), inputs.no->eval());
}

column eval_missing(const node& function, const matrix& data) {
  const node* list = function.left;
  if (!isLogic(list->left->op)) throw error_missing();
  return ifelse(list->left->eval(data), std::numeric_limits<double>::quiet_NaN(),
                operand(*list->right, data));
}

column eval_switch(const node& function, const matrix& data) {
  switch_inputs inputs = unpack_switch(function);
  column result = inputs.otherwise->eval(data);
  while (!inputs.pairs.empty()) {
    const node* pair = inputs.pairs.pop();
    const column logical = pair->left->eval(data);
    const node* value = pair->right->left;
    result = value->is_vector ? ifelse(logical, operand(*value, data), result)
                              : ifelse(logical, value->eval(), result);
  }
  return result;
}

column eval_power_transform(const node& function, const matrix& data) {
  const node* list = function.left;
  if (list->op != operations::comma) throw error_debug_parse();
  const auto transform = function.op == operations::yjt ? yjt : iyjt;
  column out = list->left->eval(data);
  const column lambda = operand(*list->right, data);
  for (arma::uword i = 0; i < out.n_elem; ++i) out[i] = transform(out[i], lambda[i]);
  return out;
}

column eval_extreme(const node& function, const matrix& data) {
  const node* list = function.left;
  if (list->op != operations::comma) {
    not_available::refuse("Function \"" + CMD::get_name(function.op) + "\" with one input");
  }
  const column a = operand(*list->left, data);
  const column b = operand(*list->right, data);
  return function.op == operations::max ? compute_max(a, b) : compute_min(a, b);
}

column eval_elementary(const node& function, const matrix& data) {
  const elementary_function f = elementary(function.op);
  column out = function.left->eval(data);
  for (double& x : out) x = f(x);
  return out;
}

column eval_ismissing(const node& function, const matrix& data) {
  column out = function.left->eval(data);
  for (double& x : out) x = std::isnan(x) ? 1.0 : 0.0;
  return out;
}

/// Column statistics and lags look at whole columns and clusters, random functions draw.
[[noreturn]] void refuse(operations op) {
  not_available::refuse("Function \"" + CMD::get_name(op) + "\"");
}

column eval_function(const node& n, const matrix& data) {
  if (elementary(n.op)) return eval_elementary(n, data);
  switch (n.op) {
    case operations::ismissing:
      return eval_ismissing(n, data);
    case operations::missing:
      return eval_missing(n, data);
    case operations::ifelse:
      return eval_ifelse(n, data);
    case operations::switch_list:
      return eval_switch(n, data);
    case operations::yjt:
    case operations::iyjt:
      return eval_power_transform(n, data);
    case operations::max:
    case operations::min:
      return eval_extreme(n, data);
    case operations::mean:
    case operations::sd:
    case operations::stand:
    case operations::center:
    case operations::clmn:
    case operations::clsd:
    case operations::lag1:
      refuse(n.op);
    default:
      throw error_debug_parse();
  }
}

}  // namespace

arma::Col<double> node::eval(const arma::Mat<double>& data) const {
  // These are columns whatever their arguments are, so the operation decides before the layout does.
  switch (op) {
    case operations::data:
      return column(data_column(*this, data), data.n_rows);
    case operations::vec:
      return constant(data, left->eval());
    case operations::comma:
      throw error_comma();
    case operations::uniform:
    case operations::normal:
      if (!rng) throw error_debug_rng();
      refuse(op);
    default:
      break;
  }
  if (!is_vector) return constant(data, eval());
  return right ? eval_operator(*this, data) : eval_function(*this, data);
}

}  // namespace tovik::evaluate
