#pragma once

#include <exception>
#include <string>
#include <utility>

/// Failures of expressions: a family of its own beside tovik::error, so that a caller can catch a fault of an
/// expression and report it with the statement in which the expression stands.
namespace tovik::evaluate {

class error : public std::exception {
 public:
  explicit error(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

/// A list where one value is wanted.
class error_comma : public error {
 public:
  error_comma() : error("ERROR: Function has too many inputs.") {}
};

class error_ifelse : public error {
 public:
  error_ifelse() : error("ERROR: The \"ifelse\" function requires logical statement as first input.") {}
};

class error_missing : public error {
 public:
  error_missing() : error("ERROR: The \"missing\" function requires logical statement as first input.") {}
};

class error_switch : public error {
 public:
  error_switch()
      : error(
            "ERROR: Function \"switch\" requires the following form:\n"
            "       switch(logical 1, value 1, logical 2, value 2, ..., default value)") {}
};

/// A text that does not parse. what() is the message, a line feed and the expression.
class error_parse : public error {
 public:
  error_parse(const std::string& message, const std::string& expression)
      : error(message + "\n" + expression), message_(message), expression_(expression) {}

  const std::string& message() const { return message_; }
  const std::string& expression() const { return expression_; }

 private:
  std::string message_;
  std::string expression_;
};

class error_non_numeric : public error_parse {
 public:
  explicit error_non_numeric(const std::string& expression)
      : error_parse("ERROR: Non-numeric value was supplied.", expression) {}
};

class error_undefined_var : public error_parse {
 public:
  error_undefined_var(const std::string& name, const std::string& expression)
      : error_parse("ERROR: The variable '" + name + "' is not defined but used.", expression) {}
};

/// A fault of the program, not of its user.
class error_debug : public error {
 public:
  using error::error;
};

/// What to tell the user: the text of a mistake; for a fault of the program, which met an expression that it
/// does not know how to evaluate, that this is so.
inline std::string user_text(const error& fault) {
  return dynamic_cast<const error_debug*>(&fault) ? "ERROR: The expression could not be evaluated."
                                                  : fault.what();
}

class error_debug_parse : public error_debug {
 public:
  error_debug_parse() : error_debug("Evaluator failed to properly parse computation.") {}
};

class error_debug_rng : public error_debug {
 public:
  error_debug_rng() : error_debug("RNG not set.") {}
};

/// A "#VAR(k)" without its cell.
class error_debug_var : public error_debug {
 public:
  explicit error_debug_var(std::string name) : error_debug("Variable not set."), name_(std::move(name)) {}
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace tovik::evaluate
