#pragma once

#include "data/variable.hpp"

namespace tovik::data {

/// What a RANDOMEFFECT statement asks for.
struct random_effect {
  std::string name;      ///< the new name
  std::string variable;  ///< the outcome, or the outcome and its slope, as written
  std::string cluster;   ///< the identifier across whose clusters the effect varies
  std::string fullline;  ///< the whole statement, for the report
};

/// A random effect with a name of its own, which other equations use as if it were a variable of its
/// identifier's level.
class random : public virtual variable {
 public:
  random(random_effect effect, std::shared_ptr<variable> applies_to, std::shared_ptr<variable> cluster);

  random_effect const& effect() const { return effect_; }
  std::shared_ptr<variable> const& applies_to() const { return applies_to_; }
  std::shared_ptr<variable> const& cluster() const { return cluster_; }

  /// A plain variable with this name, level and role that reads column `index` of the sampler's data.
  std::shared_ptr<variable> convert(unsigned index) const;

  /// Records the variable in whose model the effect is estimated; the effect is then an outcome of that
  /// model.
  void outcome(std::shared_ptr<variable> const& model_outcome);
  /// The variable given to outcome(), or null while no model estimates the effect.
  std::shared_ptr<variable> const& estimated_in() const { return estimated_in_; }

  using variable::fixed;
  void covariate() override;

  /// Meaningless for a random effect; each throws tovik::error_debug.
  void fixed(bool const& value) override;
  void outcome() override;
  void setMean(unsigned const& index) override;
  void setLatent(unsigned const& index) override;
  void setRstar(unsigned const& index) override;
  void setRandef(unsigned const& index, std::string const& effect) override;
  void setDummy(std::shared_ptr<variable> const& code) override;
  void setCentered(unsigned const& level, data::center const& kind) override;
  void setCentered(data::center const& kind) override;
  void setCenteredMeans(data::center const& kind) override;
  void rename(std::string const& shown) override;

 private:
  [[noreturn]] void throw_error() const;

  random_effect effect_;
  std::shared_ptr<variable> applies_to_;
  std::shared_ptr<variable> cluster_;
  std::shared_ptr<variable> estimated_in_;
};

}  // namespace tovik::data
