#include "data/named_effect.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::data {

random::random(random_effect what, std::shared_ptr<variable> of, std::shared_ptr<variable> across,
               std::shared_ptr<variable> slope_of)
    : variable(what.name, data::type::random_effect, no_column, across->level),
      effect_(std::move(what)),
      applies_to_(std::move(of)),
      cluster_(std::move(across)),
      term_(std::move(slope_of)) {}

void random::throw_error() const {
  throw error_debug("Improper use of random effect '" + name + "'.");
}

void random::outcome(const std::shared_ptr<variable>& model_outcome) {
  estimated_in_ = model_outcome;
  usage_ = data::usage::outcome;
}

void random::covariate() {
  usage_ = data::usage::covariate;
}

void random::fixed(const bool&) {
  throw_error();
}
void random::outcome() {
  throw_error();
}
void random::setMean(const unsigned&) {
  throw_error();
}
void random::setLatent(const unsigned&) {
  throw_error();
}
void random::setRstar(const unsigned&) {
  throw_error();
}
void random::setRandef(const unsigned&, const std::string&) {
  throw_error();
}
void random::setDummy(const std::shared_ptr<variable>&) {
  throw_error();
}
void random::setCentered(const unsigned&, const data::center&) {
  throw_error();
}
void random::setCentered(const data::center&) {
  throw_error();
}
void random::setCenteredMeans(const data::center&) {
  throw_error();
}
void random::rename(const std::string&) {
  throw_error();
}

}  // namespace tovik::data
