#include "data/dummy.hpp"

#include <cmath>

#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::data {

std::string dummy::label(std::string const& name, double value) {
  const bool whole = std::isfinite(value) && value == std::trunc(value);
  // Adding 0.0 turns a negative zero into a plain one.
  return name + "." + (whole ? format("%.0f", value + 0.0) : format("%f", value));
}

dummy::dummy(std::shared_ptr<variable> const& of, double category, unsigned at)
    : variable(label(of->name, category), data::type::dummy, at, of->level), parent_(of), value_(category) {
  fullName = label(of->fullName, category);
  usage_ = data::usage::derived;
}

std::shared_ptr<variable> dummy::parent() const {
  auto owner = parent_.lock();
  if (!owner) throw_error();
  return owner;
}

void dummy::throw_error() const {
  throw error_debug("Improper use of dummy variable '" + name + "'.");
}

bool dummy::fixed() const {
  return parent()->fixed();
}
void dummy::fixed(bool const& value) {
  parent()->fixed(value);
}
void dummy::outcome() {
  parent()->outcome();
}
void dummy::covariate() {
  parent()->covariate();
}
data::usage dummy::usage() const {
  return parent()->usage();
}
data::center dummy::centered() const {
  return parent()->centered();
}
data::center dummy::centeredMeans() const {
  return parent()->centeredMeans();
}
void dummy::setMean(unsigned const& index) {
  parent()->setMean(index);
}
void dummy::rename(std::string const& shown) {
  name = label(shown, value_);
}

void dummy::setLatent(unsigned const&) {
  throw_error();
}
void dummy::setRstar(unsigned const&) {
  throw_error();
}
void dummy::setRandef(unsigned const&, std::string const&) {
  throw_error();
}
void dummy::setDummy(std::shared_ptr<variable> const&) {
  throw_error();
}
void dummy::setCentered(unsigned const&, data::center const&) {
  throw_error();
}
void dummy::setCentered(data::center const&) {
  throw_error();
}
void dummy::setCenteredMeans(data::center const&) {
  throw_error();
}

}  // namespace tovik::data
