#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "evaluate/column_functions.hpp"
#include "evaluate/conditional.hpp"
#include "evaluate/error.hpp"
#include "evaluate/functions.hpp"
#include "evaluate/logic.hpp"
#include "evaluate/node.hpp"
#include "evaluate/random_functions.hpp"
#include "evaluate/rows.hpp"

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
const column operand_column(const node& n, const matrix& data) {
  if (n.op == operations::data) {
    return column(const_cast<double*>(data_column(n, data)), data.n_rows, false, true);
  }
  return n.eval(data);
}

/// Calls `use` with the values of two operands, each a column or one number for all rows. The first is
/// evaluated first, which fixes the order of random draws.
template <class Use>
column with_operands(const node& a, const node& b, const matrix& data, const Use& use) {
  if (a.is_vector) {
    const column first = operand_column(a, data);
    if (b.is_vector) return use(first, operand_column(b, data));
    return use(first, b.eval());
  }
  const double first = a.eval();
  if (b.is_vector) return use(first, operand_column(b, data));
  return use(first, b.eval());
}

/// Operators; the exponent of a power is always a scalar. Two scalars meet where simplifying has made a
/// number of a column.
template <class A, class B>
column combine(operations op, arma::uword n, const A& a, const B& b) {
  constexpr bool scalars = std::is_same_v<A, double> && std::is_same_v<B, double>;
  constexpr bool columns = std::is_same_v<A, column> && std::is_same_v<B, column>;
  if constexpr (scalars) {
    column out(n);
    out.fill(binary(op, a, b));
    return out;
  } else {
    switch (op) {
      case operations::plus:
        return a + b;
      case operations::minus:
        return a - b;
      case operations::multiply:
        if constexpr (columns) {
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
        return visit_test(op, [&](auto test) {
          return masked_rows(n, a, b, [&](arma::uword i) { return test(at(a, i), at(b, i)); });
        });
    }
  }
}

column eval_operator(const node& n, const matrix& data) {
  return with_operands(*n.left, *n.right, data,
                       [&](const auto& a, const auto& b) { return combine(n.op, data.n_rows, a, b); });
}

column eval_ifelse(const node& function, const matrix& data) {
  const ifelse_inputs inputs = unpack_ifelse(function);
  const column logical = inputs.logical->eval(data);
  return with_operands(*inputs.yes, *inputs.no, data,
                       [&](const auto& yes, const auto& no) { return ifelse(logical, yes, no); });
}

column eval_missing(const node& function, const matrix& data) {
  const node* list = function.left.get();
  if (!isLogic(list->left->op)) throw error_missing();
  const column logical = list->left->eval(data);
  return ifelse(logical, std::numeric_limits<double>::quiet_NaN(), operand_column(*list->right, data));
}

column eval_switch(const node& function, const matrix& data) {
  switch_inputs inputs = unpack_switch(function);
  column result = inputs.otherwise->eval(data);
  while (!inputs.pairs.empty()) {
    const node* pair = inputs.pairs.pop();
    const column logical = pair->left->eval(data);
    const node* value = pair->right->left.get();
    result = value->is_vector ? ifelse(logical, operand_column(*value, data), result)
                              : ifelse(logical, value->eval(), result);
  }
  return result;
}

column eval_power_transform(const node& function, const matrix& data) {
  const node* list = function.left.get();
  if (list->op != operations::comma) throw error_debug_parse();
  const auto transform = function.op == operations::yjt ? static_cast<double (*)(double, double)>(yjt)
                                                        : static_cast<double (*)(double, double)>(iyjt);
  return with_operands(*list->left, *list->right, data, [&](const auto& x, const auto& lambda) {
    column out(data.n_rows);
    for (arma::uword i = 0; i < out.n_elem; ++i) out[i] = transform(at(x, i), at(lambda, i));
    return out;
  });
}

column eval_extreme(const node& function, const matrix& data) {
  const node* list = function.left.get();
  const bool largest = function.op == operations::max;
  if (list->op != operations::comma) {
    const column x = operand_column(*list, data);
    return largest ? compute_max(x) : compute_min(x);
  }
  const column a = operand_column(*list->left, data);
  const column b = operand_column(*list->right, data);
  return largest ? compute_max(a, b) : compute_min(a, b);
}

template <class Function>
column eval_each(const node& argument, const matrix& data, const Function& f) {
  const column x = operand_column(argument, data);
  column out(data.n_rows);
  for (arma::uword i = 0; i < out.n_elem; ++i) out[i] = f(x[i]);
  return out;
}

column eval_column_statistic(operations op, const column& x) {
  switch (op) {
    case operations::mean:
      return mean(x);
    case operations::sd:
      return sd(x);
    case operations::stand:
      return scale(x);
    case operations::center:
      return center(x);
    default:
      throw error_debug_parse();
  }
}

column eval_lag(const node& function, const matrix& data) {
  const node* list = function.left.get();
  if (list->op != operations::comma) throw error_debug_parse();
  const column x = operand_column(*list->left, data);
  const node* rest = list->right.get();
  if (rest->op != operations::comma) return compute_lag1(x, operand_column(*rest, data));
  const column time = operand_column(*rest->left, data);
  return aggregate_lag1(x, time, operand_column(*rest->right, data));
}

/// "uniform" and "normal": columns even when both parameters are numbers.
column eval_random(const node& function, const matrix& data) {
  if (!function.rng) throw error_debug_rng();
  const node* list = function.left.get();
  if (list->op != operations::comma) throw error_debug_parse();
  const auto n = static_cast<unsigned>(data.n_rows);
  Random* stream = function.rng.get();
  return with_operands(*list->left, *list->right, data, [&](const auto& a, const auto& b) {
    return function.op == operations::uniform ? uniform(stream, n, a, b) : normal(stream, n, a, b);
  });
}

}  // namespace

arma::Col<double> node::eval_by_cluster(const arma::Col<double>& x, const arma::Col<double>& id) const {
  if (!clusters_ || !clusters_->is_of(id)) clusters_ = std::make_shared<const grouping>(id);
  switch (op) {
    case operations::mean:
    case operations::clmn:
      return aggregate_mn(x, *clusters_);
    case operations::sd:
    case operations::clsd:
      return aggregate_sd(x, *clusters_);
    case operations::stand:
      return scale(x, *clusters_);
    case operations::center:
      return center(x, *clusters_);
    default:
      throw error_debug_parse();
  }
}

arma::Col<double> node::eval_function(const arma::Mat<double>& data) const {
  if (const elementary_function f = elementary(op)) return eval_each(*left, data, f);
  switch (op) {
    case operations::ismissing:
      return eval_each(*left, data, [](double x) { return std::isnan(x) ? 1.0 : 0.0; });
    case operations::missing:
      return eval_missing(*this, data);
    case operations::ifelse:
      return eval_ifelse(*this, data);
    case operations::switch_list:
      return eval_switch(*this, data);
    case operations::yjt:
    case operations::iyjt:
      return eval_power_transform(*this, data);
    case operations::max:
    case operations::min:
      return eval_extreme(*this, data);
    case operations::lag1:
      return eval_lag(*this, data);
    default:
      break;
  }
  if (!isColumnFunction(op)) throw error_debug_parse();
  if (left->op != operations::comma) return eval_column_statistic(op, operand_column(*left, data));
  const column x = operand_column(*left->left, data);
  return eval_by_cluster(x, operand_column(*left->right, data));
}

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
      return eval_random(*this, data);
    default:
      break;
  }
  if (!is_vector) return constant(data, eval());
  return right ? eval_operator(*this, data) : eval_function(data);
}

}  // namespace tovik::evaluate
