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

void random::outcome(std::shared_ptr<variable> const& model_outcome) {
  estimated_in_ = model_outcome;
  usage_ = data::usage::outcome;
}

void random::covariate() {
  usage_ = data::usage::covariate;
}

void random::fixed(bool const&) {
  throw_error();
}
void random::outcome() {
  throw_error();
}
void random::setMean(unsigned const&) {
  throw_error();
}
void random::setLatent(unsigned const&) {
  throw_error();
}
void random::setRstar(unsigned const&) {
  throw_error();
}
void random::setRandef(unsigned const&, std::string const&) {
  throw_error();
}
void random::setDummy(std::shared_ptr<variable> const&) {
  throw_error();
}
void random::setCentered(unsigned const&, data::center const&) {
  throw_error();
}
void random::setCentered(data::center const&) {
  throw_error();
}
void random::setCenteredMeans(data::center const&) {
  throw_error();
}
void random::rename(std::string const&) {
  throw_error();
}

}  // namespace tovik::data
