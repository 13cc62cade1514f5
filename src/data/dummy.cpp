#include "data/dummy.hpp"

#include <cmath>

#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::data {

std::string dummy::label(const std::string& name, double value) {
  const bool whole = std::isfinite(value) && value == std::trunc(value);
  // Adding 0.0 turns a negative zero into a plain one.
  return name + "." + (whole ? format("%.0f", value + 0.0) : format("%f", value));
}

dummy::dummy(const std::shared_ptr<variable>& of, double category, unsigned at)
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
void dummy::fixed(const bool& value) {
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
void dummy::setMean(const unsigned& index) {
  parent()->setMean(index);
}
void dummy::rename(const std::string& shown) {
  name = label(shown, value_);
}

void dummy::setLatent(const unsigned&) {
  throw_error();
}
void dummy::setRstar(const unsigned&) {
  throw_error();
}
void dummy::setRandef(const unsigned&, const std::string&) {
  throw_error();
}
void dummy::setDummy(const std::shared_ptr<variable>&) {
  throw_error();
}
void dummy::setCentered(const unsigned&, const data::center&) {
  throw_error();
}
void dummy::setCentered(const data::center&) {
  throw_error();
}
void dummy::setCenteredMeans(const data::center&) {
  throw_error();
}

}  // namespace tovik::data
