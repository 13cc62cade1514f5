#include "data/variable.hpp"

namespace tovik::data {

bool isLatent(type kind) {
  return kind == type::latent || kind == type::phantom;
}

variable::variable(std::string shown, data::type kind, unsigned at, unsigned levels_above)
    : column(at), level(levels_above), name(shown), fullName(std::move(shown)), type(kind) {}

bool variable::fixed() const {
  return fixed_;
}
void variable::fixed(bool const& value) {
  fixed_ = value;
}

void variable::outcome() {
  usage_ = data::usage::outcome;
}

void variable::covariate() {
  if (usage_ == data::usage::outcome || usage_ == data::usage::derived) return;
  if (type == data::type::id || type == data::type::random_effect) return;
  usage_ = data::usage::covariate;
}

data::usage variable::usage() const {
  return usage_;
}
data::center variable::centered() const {
  return centered_;
}
data::center variable::centeredMeans() const {
  return centeredMeans_;
}

void variable::setMean(unsigned const& index) {
  means.push_back(index);
}
void variable::setLatent(unsigned const& index) {
  latent.push_back(index);
}
void variable::setRstar(unsigned const& index) {
  rstar.push_back(index);
}

void variable::setRandef(unsigned const& index, std::string const& effect) {
  randef.push_back(index);
  randefNames.push_back(effect);
}

void variable::setDummy(std::shared_ptr<variable> const& code) {
  dummies.push_back(code);
}

void variable::setCentered(unsigned const& at, data::center const& kind) {
  centeredLevel = at;
  centered_ = kind;
}

void variable::setCentered(data::center const& kind) {
  centered_ = kind;
}
void variable::setCenteredMeans(data::center const& kind) {
  centeredMeans_ = kind;
}

void variable::rename(std::string const& shown) {
  name = shown;
  for (auto const& code : dummies) code->rename(shown);
}

}  // namespace tovik::data
