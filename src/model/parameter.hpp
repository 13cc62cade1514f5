#pragma once

#include <string>

#include "support/error.hpp"

namespace tovik::model {

/// What a term says about the coefficient that goes with it: nothing (free), a label, a fixed value, and for
/// the first two a starting value beside it.
class parameter {
 public:
  /// What cannot be asked of a parameter: a value, a label that other parameters share, or both.
  class error_fixed;
  class error_constraint;
  class error_constraint_fixed;

  parameter() = default;

  static parameter fixed_at(double value);
  static parameter labelled(const std::string& label);

  const std::string& label() const { return label_; }
  bool has_label() const { return has_label_; }
  /// Neither labelled nor fixed.
  bool is_free() const { return is_free_; }
  /// Drawn, with or without a label.
  bool is_unfixed() const { return is_unfixed_; }
  bool is_fixed() const { return !is_unfixed_; }
  bool has_start() const { return has_start_; }

  /// The fixed value. Throws tovik::error "Value was never fixed." if there is none.
  double value() const;
  /// The fixed value as text: integral values as integers, others in "%f" form. Throws as value() does.
  std::string valueStr() const;
  /// The starting value; of a fixed parameter its value, and 0 where none was given (see has_start).
  double start() const { return start_; }

  /// Gives a parameter that is not fixed its starting value; a fixed one keeps its value.
  void set_start(double start);

  /// "" if free, "@label" if labelled, "@value" if fixed.
  std::string name() const;
  /// name() and the starting value behind "%", as it would be written in a statement.
  std::string text() const;

 private:
  std::string label_;
  double value_ = 0;
  double start_ = 0;
  bool has_start_ = false;
  bool is_free_ = true;
  bool is_unfixed_ = true;
  bool has_label_ = false;
};

class parameter::error_fixed : public error {
 public:
  using error::error;
};
class parameter::error_constraint : public error {
 public:
  using error::error;
};
class parameter::error_constraint_fixed : public error {
 public:
  using error::error;
};

/// Both fixed at equal values, or the left one labelled and the labels equal without regard to letter case.
bool operator==(const parameter& a, const parameter& b);
/// Natural order of the lower-cased labels, so that equal labels stand side by side.
bool operator<(const parameter& a, const parameter& b);

/// The shortest usual text of a number in a statement: integral values as integers, others in "%f" form.
std::string number_text(double value);
/// The same where it reads back as this number, else as few digits as it takes.
std::string exact_text(double value);

}  // namespace tovik::model
