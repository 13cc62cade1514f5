#pragma once

#include "data/variable.hpp"

namespace tovik::data {

/// The indicator of one category of a nominal variable. It has the role, the centring and the level of its
/// parent, whose name it carries in front of ".value".
class dummy : public virtual variable {
 public:
  /// `parent` owns its codes (variable::setDummy), so the code only watches its parent.
  dummy(const std::shared_ptr<variable>& parent, double value, unsigned column);

  std::shared_ptr<variable> parent() const;
  double value() const { return value_; }

  /// "name.value": whole values are written as integers, others in the "%f" format.
  static std::string label(const std::string& name, double value);

  using variable::fixed;
  bool fixed() const override;
  void fixed(const bool& value) override;
  void outcome() override;
  void covariate() override;
  data::usage usage() const override;
  data::center centered() const override;
  data::center centeredMeans() const override;
  void setMean(const unsigned& index) override;
  void rename(const std::string& shown) override;

  /// Meaningless for a code; each throws tovik::error_debug.
  void setLatent(const unsigned& index) override;
  void setRstar(const unsigned& index) override;
  void setRandef(const unsigned& index, const std::string& effect) override;
  void setDummy(const std::shared_ptr<variable>& code) override;
  void setCentered(const unsigned& level, const data::center& kind) override;
  void setCentered(const data::center& kind) override;
  void setCenteredMeans(const data::center& kind) override;

 private:
  [[noreturn]] void throw_error() const;

  std::weak_ptr<variable> parent_;
  double value_ = 0;
};

}  // namespace tovik::data
