#pragma once

#include <exception>
#include <string>
#include <utility>

namespace tovik {

/// The user's mistake. The whole text, composed where the fault is found, is what() and is printed as it stands.
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
