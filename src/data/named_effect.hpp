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

  const random_effect& effect() const { return effect_; }
  /// The outcome whose equation has the effect.
  const std::shared_ptr<variable>& applies_to() const { return applies_to_; }
  const std::shared_ptr<variable>& cluster() const { return cluster_; }
  const std::shared_ptr<variable>& term() const { return term_; }

  /// Records the variable in whose model the effect is estimated; the effect is then an outcome of that
  /// model.
  void outcome(const std::shared_ptr<variable>& model_outcome);
  /// The variable given to outcome(), or null while no model estimates the effect.
  const std::shared_ptr<variable>& estimated_in() const { return estimated_in_; }

  using variable::fixed;
  void covariate() override;

  /// Meaningless for a random effect; each throws tovik::error_debug.
  void fixed(const bool& value) override;
  void outcome() override;
  void setMean(const unsigned& index) override;
  void setLatent(const unsigned& index) override;
  void setRstar(const unsigned& index) override;
  void setRandef(const unsigned& index, const std::string& effect) override;
  void setDummy(const std::shared_ptr<variable>& code) override;
  void setCentered(const unsigned& level, const data::center& kind) override;
  void setCentered(const data::center& kind) override;
  void setCenteredMeans(const data::center& kind) override;
  void rename(const std::string& shown) override;

 private:
  [[noreturn]] void throw_error() const;

  random_effect effect_;
  std::shared_ptr<variable> applies_to_;
  std::shared_ptr<variable> cluster_;
  std::shared_ptr<variable> term_;
  std::shared_ptr<variable> estimated_in_;
};

}  // namespace tovik::data
