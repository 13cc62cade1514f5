#include "evaluate/operations.hpp"

#include <algorithm>
#include <array>

namespace tovik::evaluate {

const std::string CMD::VAR = "#VAR";
const std::string CMD::DATA = "#DATA";

const std::string& CMD::get_name(operations operation) {
  static const std::array<std::string, 51> names = {
      "+",      "-",      "*",         "/",       "^",       ",",      "==",     "!=",   "<",
      ">",      ">=",     "<=",        "and",     "or",      "log",    "logit",  "sigm", "exp",
      "log1p",  "expm1",  "sin",       "cos",     "tan",     "asin",   "acos",   "atan", "abs",
      "sqrt",   "phi",    "iphi",      "mean",    "sd",      "stand",  "center", "clmn", "clsd",
      "max",    "min",    "ismissing", "missing", "uniform", "normal", "lag1",   "yjt",  "iyjt",
      "ifelse", "switch", "scalar",    "#VAR",    "#DATA",   "vec"};
  static const std::string undefined = "undefined";
  const auto number = static_cast<std::int32_t>(operation);
  return number >= 0 && number < static_cast<std::int32_t>(names.size()) ? names[number] : undefined;
}

namespace {

constexpr CMD binary(operations operation, int precedence, int associativity) {
  return {precedence, operation, associativity, 0};
}

constexpr CMD function(operations operation, int comma_class) {
  return {-1, operation, 0, comma_class};
}

std::unordered_map<std::string, CMD> make_table() {
  using o = operations;
  constexpr int none = 0, left = 1, right = 2;
  return {
      {"^", binary(o::power, 6, right)},
      {"**", binary(o::power, 6, right)},
      {"*", binary(o::multiply, 5, left)},
      {"/", binary(o::divide, 5, left)},
      {"+", binary(o::plus, 4, left)},
      {"-", binary(o::minus, 4, left)},
      {"\xE2\x80\x93", binary(o::minus, 4, left)},  // en dash
      {"\xE2\x88\x92", binary(o::minus, 4, left)},  // minus sign
      {"==", binary(o::equal, 3, left)},
      {"!=", binary(o::not_equal, 3, left)},
      {"<", binary(o::less, 3, left)},
      {">", binary(o::greater, 3, left)},
      {"<=", binary(o::less_equal, 3, left)},
      {">=", binary(o::greater_equal, 3, left)},
      {"and", binary(o::logical_and, 2, left)},
      {"or", binary(o::logical_or, 2, left)},
      {",", binary(o::comma, 1, none)},
      {"(", binary(o::parenthesis, -2, none)},
      {")", binary(o::parenthesis, -3, none)},
      {"abs", function(o::abs, 0)},
      {"sqrt", function(o::sqrt, 0)},
      {"exp", function(o::exp, 0)},
      {"log", function(o::log, 0)},
      {"ln", function(o::log, 0)},
      {"logit", function(o::logit, 0)},
      {"sigm", function(o::sigm, 0)},
      {"log1p", function(o::log1p, 0)},
      {"expm1", function(o::expm1, 0)},
      {"sin", function(o::sin, 0)},
      {"cos", function(o::cos, 0)},
      {"tan", function(o::tan, 0)},
      {"asin", function(o::asin, 0)},
      {"acos", function(o::acos, 0)},
      {"atan", function(o::atan, 0)},
      {"phi", function(o::phi, 0)},
      {"iphi", function(o::iphi, 0)},
      {"probit", function(o::iphi, 0)},
      {"ismissing", function(o::ismissing, 0)},
      {"missing", function(o::missing, 1)},
      {"uniform", function(o::uniform, 1)},
      {"normal", function(o::normal, 1)},
      {"yjt", function(o::yjt, 1)},
      {"iyjt", function(o::iyjt, 1)},
      {"mean", function(o::mean, 1)},
      {"sd", function(o::sd, 1)},
      {"scale", function(o::stand, 1)},
      {"stand", function(o::stand, 1)},
      {"center", function(o::center, 1)},
      {"clmn", function(o::clmn, 1)},
      {"clsd", function(o::clsd, 1)},
      {"max", function(o::max, 1)},
      {"min", function(o::min, 1)},
      {"lag1", function(o::lag1, 2)},
      {"ifelse", function(o::ifelse, 2)},
      {"switch", function(o::switch_list, 2)},
      {"vec", function(o::vec, 0)},
      {CMD::VAR, function(o::var, 0)},
      {CMD::DATA, function(o::data, 0)},
  };
}

}  // namespace

const std::unordered_map<std::string, CMD> op = make_table();

std::vector<std::string> function_words() {
  std::vector<std::string> out;
  for (const auto& [word, entry] : op)
    if (entry.is_function() && word != CMD::VAR && word != CMD::DATA) out.push_back(word);
  std::sort(out.begin(), out.end());
  return out;
}

bool isLogic(operations operation) {
  return operation >= operations::equal && operation <= operations::logical_or;
}

bool isReturnVector(operations operation) {
  return operation == operations::uniform || operation == operations::normal ||
         operation == operations::data || operation == operations::vec;
}

bool isColumnFunction(operations operation) {
  return (operation >= operations::mean && operation <= operations::min) || operation == operations::lag1;
}

bool isTransformOnly(operations operation) {
  return operation == operations::ismissing || operation == operations::missing ||
         operation == operations::uniform || operation == operations::normal || operation == operations::lag1;
}

}  // namespace tovik::evaluate
