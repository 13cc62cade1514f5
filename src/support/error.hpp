#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace tovik {

/// The user's mistake. The whole text, composed where the fault is found, is what() and is printed as it
/// stands.
class error : public std::exception {
 public:
  explicit error(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

/// An internal inconsistency: a fault of the program, not of its user.
class error_debug : public error {
 public:
  using error::error;
};

/// The elliptical slice sampler could not find a point on its ellipse.
class error_ess : public error {
 public:
  using error::error;
};

/// Raised and caught inside the model code: centring within clusters, its means, and a missing cluster mean.
class error_cwc : public error {
 public:
  using error::error;
};
class error_cwc_mean : public error {
 public:
  using error::error;
};
class error_no_mean : public error {
 public:
  using error::error;
};

/// Arithmetic that broke down on the values of a run: a matrix without a factor, a density without its scale.
/// The user gets the same advice for all; the linear algebra library throws std::runtime_error itself.
class numeric_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  /// A covariance matrix or a precision has no Cholesky factor.
  static numeric_error not_positive_definite() { return numeric_error("chol(): decomposition failed"); }
  /// A matrix has no inverse to working precision.
  static numeric_error singular() { return numeric_error("inv(): matrix is singular"); }
};

namespace sem {

/// Metropolis tuning failed; what() holds the acceptance diagnostics.
class error_tuning : public std::exception {
 public:
  explicit error_tuning(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

}  // namespace sem
}  // namespace tovik
