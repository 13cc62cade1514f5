#pragma once

#include "data/variable.hpp"

namespace tovik::data {

/// The indicator of one category of a nominal variable. It has the role, the centring and the level of its
/// parent, whose name it carries in front of ".value".
class dummy : public virtual variable {
 public:
  /// `parent` owns its codes (variable::setDummy), so the code only watches its parent.
  dummy(std::shared_ptr<variable> const& parent, double value, unsigned column);

  std::shared_ptr<variable> parent() const;
  double value() const { return value_; }

  /// "name.value": whole values are written as integers, others in the "%f" format.
  static std::string label(std::string const& name, double value);

  using variable::fixed;
  bool fixed() const override;
  void fixed(bool const& value) override;
  void outcome() override;
  void covariate() override;
  data::usage usage() const override;
  data::center centered() const override;
  data::center centeredMeans() const override;
  void setMean(unsigned const& index) override;
  void rename(std::string const& shown) override;

  /// Meaningless for a code; each throws tovik::error_debug.
  void setLatent(unsigned const& index) override;
  void setRstar(unsigned const& index) override;
  void setRandef(unsigned const& index, std::string const& effect) override;
  void setDummy(std::shared_ptr<variable> const& code) override;
  void setCentered(unsigned const& level, data::center const& kind) override;
  void setCentered(data::center const& kind) override;
  void setCenteredMeans(data::center const& kind) override;

 private:
  [[noreturn]] void throw_error() const;

  std::weak_ptr<variable> parent_;
  double value_ = 0;
};

}  // namespace tovik::data
