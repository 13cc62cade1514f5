#include "evaluate/row_program.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "evaluate/error.hpp"
#include "evaluate/logic.hpp"

namespace tovik::evaluate {

namespace {

bool is_arithmetic(operations op) {
  return op == operations::plus || op == operations::minus || op == operations::multiply ||
         op == operations::divide || op == operations::power;
}

template <class Function>
void each(arma::uword n, const double* a, const double* b, double* out, const Function& f) {
  for (arma::uword i = 0; i < n; ++i) out[i] = f(a[i], b[i]);
}

void combine(operations op, arma::uword n, const double* a, const double* b, double* out) {
  switch (op) {
    case operations::plus:
      return each(n, a, b, out, [](double x, double y) { return x + y; });
    case operations::minus:
      return each(n, a, b, out, [](double x, double y) { return x - y; });
    case operations::multiply:
      return each(n, a, b, out, [](double x, double y) { return x * y; });
    case operations::divide:
      return each(n, a, b, out, [](double x, double y) { return x / y; });
    case operations::power:
      return each(n, a, b, out, [](double x, double y) { return std::pow(x, y); });
    default:
      return visit_test(op, [&](auto test) {
        each(n, a, b, out, [&](double x, double y) {
          if (std::isnan(x) || std::isnan(y)) return std::numeric_limits<double>::quiet_NaN();
          return test(x, y) ? 1.0 : 0.0;
        });
      });
  }
}

}  // namespace

std::unique_ptr<row_program> row_program::make(const node& tree) {
  if (!tree.is_vector) return nullptr;
  // The constructor is private, out of reach of make_unique.
  std::unique_ptr<row_program> out(new row_program);
  operand result;
  if (!out->add(tree, result)) return nullptr;
  for (instruction& step : out->steps_) {
    for (operand* value : {&step.left, &step.right}) {
      if (value->scalar == nullptr) continue;
      value->step = static_cast<int>(out->steps_.size() + out->scalars_.size());
      out->scalars_.push_back(value->scalar);
    }
  }
  out->registers_.resize((out->steps_.size() + out->scalars_.size()) * block);
  return out;
}

/// Operands before their operation, the left one first.
bool row_program::add(const node& tree, operand& result) {
  if (!tree.is_vector) {
    result.scalar = &tree;
    return true;
  }
  instruction step{tree.op, 0, nullptr, {}, {}};
  if (tree.op == operations::data) {
    step.column = tree.index();
  } else if (tree.right != nullptr) {
    if (!is_arithmetic(tree.op) && !isLogic(tree.op)) return false;
    if (!tree.left->is_vector && !tree.right->is_vector) return false;
    if (tree.op == operations::power && tree.right->is_vector) return false;
    if (!add(*tree.left, step.left) || !add(*tree.right, step.right)) return false;
  } else {
    step.function = elementary(tree.op);
    if (step.function == nullptr || tree.left == nullptr || !tree.left->is_vector) return false;
    if (!add(*tree.left, step.left)) return false;
  }
  result.step = static_cast<int>(steps_.size());
  steps_.push_back(step);
  return true;
}

const double* row_program::place(const operand& value) const {
  return registers_.data() + static_cast<std::size_t>(value.step) * block;
}

void row_program::run(const instruction& step, const arma::Mat<double>& data, const arma::uword* rows,
                      arma::uword first, arma::uword n, double* out) const {
  if (step.op == operations::data) {
    const double* from = data.colptr(step.column);
    if (rows == nullptr) {
      std::copy_n(from + first, n, out);
    } else {
      for (arma::uword i = 0; i < n; ++i) out[i] = from[rows[first + i]];
    }
  } else if (step.function != nullptr) {
    const double* x = place(step.left);
    for (arma::uword i = 0; i < n; ++i) out[i] = step.function(x[i]);
  } else {
    combine(step.op, n, place(step.left), place(step.right), out);
  }
}

void row_program::eval(const arma::Mat<double>& data, const arma::uword* rows, arma::uword n,
                       double* out) const {
  for (const instruction& step : steps_) {
    if (step.op == operations::data && step.column >= data.n_cols) throw error_debug_parse();
  }
  double* at = registers_.data() + steps_.size() * block;
  for (const node* scalar : scalars_) {
    std::fill_n(at, block, scalar->eval());
    at += block;
  }
  for (arma::uword first = 0; first < n; first += block) {
    const arma::uword size = std::min(block, n - first);
    for (std::size_t k = 0; k < steps_.size(); ++k) {
      double* to = k + 1 == steps_.size() ? out + first : registers_.data() + k * block;
      run(steps_[k], data, rows, first, size, to);
    }
  }
}

}  // namespace tovik::evaluate
