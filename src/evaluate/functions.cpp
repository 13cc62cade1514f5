#include "evaluate/functions.hpp"

#include "evaluate/logic.hpp"
#include "evaluate/rows.hpp"
#include "random/densities.hpp"

namespace tovik::evaluate {

namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// Largest argument of exp() that does not overflow.
constexpr double max_exponent = 709.782712893384;

/// Logits are kept within this distance of 0 (probabilities of about 0.0001 and 0.9999).
constexpr double logit_bound = 9.21;

template <class A, class B>
arma::Col<double> mask_rows(const arma::Col<arma::uword>& result, const A& a, const B& b) {
  if (!fits(a, result.n_elem) || !fits(b, result.n_elem)) throw error_debug("Elements do not match.");
  return masked_rows(result.n_elem, a, b, [&](arma::uword i) { return result[i]; });
}

template <class Yes, class No>
arma::Col<double> choose_rows(const arma::Col<double>& logical, const Yes& yes, const No& no) {
  if (!fits(yes, logical.n_elem) || !fits(no, logical.n_elem)) throw error_debug("Elements do not match.");
  arma::Col<double> out(logical.n_elem);
  for (arma::uword i = 0; i < out.n_elem; ++i) {
    const double test = logical[i];
    if (std::isnan(test)) {
      out[i] = missing;
    } else if (test == 1.0) {
      out[i] = at(yes, i);
    } else if (test == 0.0) {
      out[i] = at(no, i);
    } else {
      throw error_debug("Not a logical vec.");
    }
  }
  return out;
}

}  // namespace

double clamp(double x, double low, double high) {
  return x < low ? low : x > high ? high : x;
}

double unclamp(double x, double low, double high) {
  return x < low ? 0.0 : x > high ? 1.0 : x;
}

arma::Col<double> unclamp(arma::Col<double> x) {
  x.transform([](double p) { return unclamp(p, 0.00011, 0.9998); });
  return x;
}

double logit(double x) {
  if (std::isnan(x)) return missing;
  const double odds = x / (1.0 - x);
  if (odds == infinity) return logit_bound;
  if (!(odds > 0.0)) return -logit_bound;
  return clamp(std::log(odds), -logit_bound, logit_bound);
}

double sigm(double x) {
  if (x >= max_exponent) return 1.0;
  const double odds = std::exp(x);
  return unclamp(odds / (1.0 + odds), 0.00011, 0.9998);
}

double iphi(double x) {
  if (std::isnan(x)) return missing;
  if (x == 0.0) return -infinity;
  if (x == 1.0) return infinity;
  if (x < 0.0 || x > 1.0) throw error("ERROR: 'iphi' inputs must be between 0 and 1.");
  return tovik::iPhi(x);
}

double yjt_helper(double x, double lambda) {
  return (std::pow(x, lambda) - 1.0) / lambda;
}

double iyjt_helper(double y, double lambda) {
  return std::pow(y * lambda + 1.0, 1.0 / lambda);
}

double yjt(double x, double lambda) {
  if (x >= 0.0) {
    return std::abs(lambda) <= 0.0001 ? std::log1p(x) : yjt_helper(x + 1.0, lambda);
  }
  if (lambda >= 1.9999 && lambda <= 2.0001) return -std::log1p(-x);
  return -yjt_helper(1.0 - x, 2.0 - lambda);
}

double iyjt(double y, double lambda) {
  if (y >= 0.0) {
    return std::abs(lambda) <= 0.0001 ? std::expm1(y) : iyjt_helper(y, lambda) - 1.0;
  }
  if (lambda >= 1.9999 && lambda <= 2.0001) return -std::expm1(-y);
  return 1.0 - iyjt_helper(-y, 2.0 - lambda);
}

namespace {

template <class Function>
arma::Col<double> each_row(const arma::Col<double>& x, const Function& function) {
  arma::Col<double> out(x.n_elem);
  for (arma::uword i = 0; i < x.n_elem; ++i) out[i] = function(x[i]);
  return out;
}

}  // namespace

arma::Col<double> logit(const arma::Col<double>& x) {
  return each_row(x, [](double value) { return logit(value); });
}

arma::Col<double> sigm(const arma::Col<double>& x) {
  return each_row(x, [](double value) { return sigm(value); });
}

arma::Col<double> iphi(const arma::Col<double>& x) {
  return each_row(x, [](double value) { return iphi(value); });
}

arma::Col<double> yjt(const arma::Col<double>& x, double lambda) {
  return each_row(x, [lambda](double value) { return yjt(value, lambda); });
}

arma::Col<double> iyjt(const arma::Col<double>& y, double lambda) {
  return each_row(y, [lambda](double value) { return iyjt(value, lambda); });
}

elementary_function elementary(operations operation) {
  switch (operation) {
    case operations::log:
      return [](double x) { return std::log(x); };
    case operations::logit:
      return logit;
    case operations::sigm:
      return sigm;
    case operations::exp:
      return [](double x) { return std::exp(x); };
    case operations::log1p:
      return [](double x) { return std::log1p(x); };
    case operations::expm1:
      return [](double x) { return std::expm1(x); };
    case operations::sin:
      return [](double x) { return std::sin(x); };
    case operations::cos:
      return [](double x) { return std::cos(x); };
    case operations::tan:
      return [](double x) { return std::tan(x); };
    case operations::asin:
      return [](double x) { return std::asin(x); };
    case operations::acos:
      return [](double x) { return std::acos(x); };
    case operations::atan:
      return [](double x) { return std::atan(x); };
    case operations::abs:
      return [](double x) { return std::abs(x); };
    case operations::sqrt:
      return [](double x) { return std::sqrt(x); };
    case operations::phi:
      return [](double x) { return tovik::phi(x); };
    case operations::iphi:
      return iphi;
    default:
      return nullptr;
  }
}

double binary(operations operation, double a, double b) {
  switch (operation) {
    case operations::plus:
      return a + b;
    case operations::minus:
      return a - b;
    case operations::multiply:
      return a * b;
    case operations::divide:
      return a / b;
    case operations::power:
      return std::pow(a, b);
    default:
      break;
  }
  if (!isLogic(operation)) throw error_debug_parse();
  if (std::isnan(a) || std::isnan(b)) return missing;
  return visit_test(operation, [&](auto test) { return test(a, b) ? 1.0 : 0.0; });
}

arma::Col<double> nanMask(const arma::Col<arma::uword>& result, const arma::Col<double>& a,
                          const arma::Col<double>& b) {
  return mask_rows(result, a, b);
}

arma::Col<double> nanMask(const arma::Col<arma::uword>& result, double a, const arma::Col<double>& b) {
  return mask_rows(result, a, b);
}

arma::Col<double> nanMask(const arma::Col<arma::uword>& result, const arma::Col<double>& a, double b) {
  return mask_rows(result, a, b);
}

arma::Col<double> ifelse(const arma::Col<double>& logical, const arma::Col<double>& yes,
                         const arma::Col<double>& no) {
  return choose_rows(logical, yes, no);
}

arma::Col<double> ifelse(const arma::Col<double>& logical, double yes, const arma::Col<double>& no) {
  return choose_rows(logical, yes, no);
}

arma::Col<double> ifelse(const arma::Col<double>& logical, const arma::Col<double>& yes, double no) {
  return choose_rows(logical, yes, no);
}

arma::Col<double> ifelse(const arma::Col<double>& logical, double yes, double no) {
  return choose_rows(logical, yes, no);
}

arma::Col<double> compute_max(const arma::Col<double>& a, const arma::Col<double>& b) {
  if (a.n_elem != b.n_elem) throw error_debug("Elements do not match.");
  arma::Col<double> out(a.n_elem);
  for (arma::uword i = 0; i < out.n_elem; ++i) out[i] = a[i] > b[i] ? a[i] : b[i];
  return out;
}

arma::Col<double> compute_min(const arma::Col<double>& a, const arma::Col<double>& b) {
  if (a.n_elem != b.n_elem) throw error_debug("Elements do not match.");
  arma::Col<double> out(a.n_elem);
  for (arma::uword i = 0; i < out.n_elem; ++i) out[i] = a[i] < b[i] ? a[i] : b[i];
  return out;
}

}  // namespace tovik::evaluate
