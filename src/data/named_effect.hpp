#pragma once

#include "data/variable.hpp"

namespace tovik::data {

/// What a RANDOMEFFECT statement asks for: "name = outcome | term[cluster]".
struct random_effect {
  std::string name;      ///< the new name
  std::string outcome;   ///< whose equation has the effect
  std::string term;      ///< "Intercept", or the predictor whose slope varies
  std::string cluster;   ///< the identifier across whose clusters the effect varies
  std::string fullline;  ///< the whole statement, for messages and the report
};

/// A random effect with a name of its own, which other equations use as if it were a variable of its
/// identifier's level. It has a column once the data are prepared, if an equation uses it.
class random : public virtual variable {
 public:
  /// `term` is the predictor whose slope varies, null for the intercept.
  random(random_effect effect, std::shared_ptr<variable> applies_to, std::shared_ptr<variable> cluster,
         std::shared_ptr<variable> term = nullptr);

  random_effect const& effect() const { return effect_; }
  /// The outcome whose equation has the effect.
  std::shared_ptr<variable> const& applies_to() const { return applies_to_; }
  std::shared_ptr<variable> const& cluster() const { return cluster_; }
  std::shared_ptr<variable> const& term() const { return term_; }

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
  std::shared_ptr<variable> term_;
  std::shared_ptr<variable> estimated_in_;
};

}  // namespace tovik::data
