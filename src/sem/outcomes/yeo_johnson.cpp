#include "sem/outcomes/yeo_johnson.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "evaluate/functions.hpp"
#include "evaluate/parser.hpp"

namespace tovik::sem {

namespace {

std::unique_ptr<evaluate::node> reading(const char* text, const evaluate::value& lambda) {
  auto tree = evaluate::opt_ast(text);
  tree->register_var(&lambda, 0);
  return tree;
}

}  // namespace

yeo_johnson::yeo_johnson(arma::uword column, const arma::Col<arma::uword>* rows, double lambda)
    : column_(column), rows_(rows), lambda_(lambda) {
  cell_.set(&lambda_);
}

evaluate::pair yeo_johnson::pair() const {
  return {reading("yjt ( #DATA(0) , #VAR(0) )", cell_), reading("iyjt ( #DATA(0) , #VAR(0) )", cell_), true};
}

value_range yeo_johnson::range() const {
  value_range out;
  if (lambda_ > 2.0) out.lower = -1.0 / (lambda_ - 2.0);
  if (lambda_ < 0.0) out.upper = -1.0 / lambda_;
  return out;
}

double yeo_johnson::log_slope(double y) {
  return std::copysign(std::log1p(std::fabs(y)), y);
}

void yeo_johnson::read(const arma::Mat<double>& data, arma::uword n) {
  if (y_.size() != n) {
    y_.assign(n, std::numeric_limits<double>::quiet_NaN());
    slopes_.assign(n, 0.0);
  }
  const double* column = data.colptr(column_);
  sum_ = 0.0;
  for (arma::uword i = 0; i < n; ++i) {
    const double y = column[rows_ == nullptr ? i : (*rows_)(i)];
    if (y != y_[i]) {
      y_[i] = y;
      slopes_[i] = log_slope(y);
    }
    sum_ += slopes_[i];
  }
}

double yeo_johnson::growth(double from, double to) const {
  return std::exp((to - from) * sum_ / static_cast<double>(y_.size()));
}

void yeo_johnson::values(double lambda, arma::Col<double>& out) const {
  out.set_size(y_.size());
  for (std::size_t i = 0; i < y_.size(); ++i) out(i) = evaluate::yjt(y_[i], lambda);
}

std::shared_ptr<Parameter> default_lambda_prior(const Estimator* estimator) {
  return std::make_shared<Parameter>(estimator, estimator::cluster(), distribution::uniform, 0.0, 3.0);
}

double inside(const Parameter& prior, double x) {
  if (prior.dist != distribution::uniform && prior.dist != distribution::truncate) {
    const double density = prior.prior(x, {});
    return std::isfinite(density) ? x : Parameter::default_start(prior.dist, prior.a, prior.b);
  }
  constexpr double share = 0.05;
  const double width = prior.b - prior.a, margin = share * (std::isfinite(width) ? width : 1.0);
  if (x <= prior.a) return prior.a + margin;
  return x >= prior.b ? prior.b - margin : x;
}

}  // namespace tovik::sem
