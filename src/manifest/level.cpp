#include "manifest/level.hpp"

namespace tovik::manifest {

namespace {

template <class Model>
void add(Data& data, unsigned level, data::type type, const std::shared_ptr<Random>& rng, const options& how,
         std::vector<std::unique_ptr<Var>>& out) {
  for (std::size_t k : data.misVarsDown(level))
    if (data.at(k).variable->type == type) out.push_back(std::make_unique<Model>(data, k, rng, how));
}

}  // namespace

Level::Level(Data& data, unsigned level, const std::shared_ptr<Random>& rng, const options& how)
    : data_(data), mice_(how.mice) {
  add<Var>(data, level, data::type::continuous, rng, how, variables_);
  add<OrdVar>(data, level, data::type::ordinal, rng, how, variables_);
  add<NomVar>(data, level, data::type::nominal, rng, how, variables_);
}

void Level::oneRep() {
  for (const auto& v : variables_) {
    v->oneRep();
    updateMeans(*v);
  }
}

void Level::tune() {
  for (const auto& v : variables_) v->tune();
}

void Level::updateMeans(const Var& v) {
  data_.updateMeans(v.index());
}

}  // namespace tovik::manifest
