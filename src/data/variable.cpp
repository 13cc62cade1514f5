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
void variable::fixed(const bool& value) {
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

void variable::setMean(const unsigned& index) {
  means.push_back(index);
}
void variable::setLatent(const unsigned& index) {
  latent.push_back(index);
}
void variable::setRstar(const unsigned& index) {
  rstar.push_back(index);
}

void variable::setRandef(const unsigned& index, const std::string& effect) {
  randef.push_back(index);
  randefNames.push_back(effect);
}

void variable::setDummy(const std::shared_ptr<variable>& code) {
  dummies.push_back(code);
}

void variable::setCentered(const unsigned& at, const data::center& kind) {
  centeredLevel = at;
  centered_ = kind;
}

void variable::setCentered(const data::center& kind) {
  centered_ = kind;
}
void variable::setCenteredMeans(const data::center& kind) {
  centeredMeans_ = kind;
}

void variable::rename(const std::string& shown) {
  name = shown;
  for (const auto& code : dummies) code->rename(shown);
}

}  // namespace tovik::data
