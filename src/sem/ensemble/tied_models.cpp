#include "sem/ensemble/tied_models.hpp"

#include <algorithm>
#include <map>
#include <numeric>

#include "sem/outcomes/multi.hpp"

namespace tovik::sem {

namespace {

using model_list = std::vector<std::shared_ptr<estimator::Outcome>>;

/// For each of the models the first of those to which it is tied.
class united {
 public:
  explicit united(std::size_t n) : first(n) { std::iota(first.begin(), first.end(), std::size_t{0}); }

  void tie(std::size_t i, std::size_t j) {
    std::size_t const a = first[i], b = first[j];
    if (a != b) std::replace(first.begin(), first.end(), std::max(a, b), std::min(a, b));
  }

  std::vector<std::size_t> first;
};

void tie_blocks(const model_list& models, united& to) {
  for (std::size_t b = 0; b < models.size(); ++b) {
    const auto* block = dynamic_cast<const Multi*>(models[b].get());
    if (block == nullptr) continue;
    for (std::size_t i = 0; i < models.size(); ++i)
      if (models[i]->link.get() == block) to.tie(i, b);
  }
}

void tie_phantoms(const model_list& models, united& to) {
  std::map<arma::uword, std::size_t> holder;  // of each phantom's column
  for (std::size_t i = 0; i < models.size(); ++i)
    for (const auto& place : models[i]->phantoms)
      for (arma::uword column : place) to.tie(i, holder.try_emplace(column, i).first->second);
}

bool is_normal(const estimator::Outcome& model) {
  const auto* equation = dynamic_cast<const Regression*>(&model);
  return (equation != nullptr && equation->is_normal()) || dynamic_cast<const Multi*>(&model) != nullptr;
}

}  // namespace

std::vector<std::size_t> tied_models(const model_list& models) {
  united all(models.size()), blocks(models.size());
  tie_blocks(models, blocks);
  all.first = blocks.first;
  tie_phantoms(models, all);
  std::vector<bool> normal(models.size(), true);
  for (std::size_t i = 0; i < models.size(); ++i)
    if (!is_normal(*models[i])) normal[all.first[i]] = false;
  std::vector<std::size_t> out(models.size());
  for (std::size_t i = 0; i < models.size(); ++i)
    out[i] = normal[all.first[i]] ? all.first[i] : blocks.first[i];
  // The slice of a block is that of all who are tied to it.
  for (std::size_t b = 0; b < models.size(); ++b) {
    if (dynamic_cast<const Multi*>(models[b].get()) == nullptr) continue;
    std::size_t const first = out[b];
    if (dynamic_cast<const Multi*>(models[first].get()) == nullptr)
      std::replace(out.begin(), out.end(), first, b);
  }
  return out;
}

}  // namespace tovik::sem
