#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "data/dummy.hpp"
#include "data/variable_list.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace {

/// Three-level data with one variable of each kind.
tovik::VariableList catalogue() {
  using tovik::data::type;
  tovik::VariableList list;
  unsigned column = 0;
  const auto add = [&](const char* name, type kind, unsigned level) {
    list.variables.push_back(std::make_shared<tovik::data::variable>(name, kind, column++, level));
    return list.variables.back();
  };
  for (const char* name : {"y", "z", "x"}) add(name, type::continuous, 2);
  add("w", type::continuous, 1);
  add("v", type::continuous, 0);
  add("o", type::ordinal, 2)->values = {0, 1};
  add("c", type::count, 2);
  const auto nominal = add("g", type::nominal, 2);
  add("s", type::id, 1);
  add("d", type::id, 0);
  add("1", type::constant, 0);
  nominal->values = {1, 2, 3};
  for (double value : {2.0, 3.0}) {
    nominal->setDummy(std::make_shared<tovik::data::dummy>(nominal, value, column++));
    list.variables.push_back(nominal->dummies.back());
  }
  add("f", type::latent, 2);
  add("p", type::phantom, 2);
  list.order_clusters();
  return list;
}

void require(bool holds) {
  if (!holds) std::abort();
}

/// Names and columns of a model agree in number.
void check(const tovik::Model& model) {
  std::size_t covariances = 0;
  std::size_t effects = 0;
  for (const auto& z : model.zind()) {
    covariances += z.size() * (z.size() + 1) / 2;
    effects += z.size();
  }
  require(model.n_re() == effects);
  require(model.fixedParameters().size() == model.xind().size());
  require(model.parameters().size() == covariances + 1 + model.xind().size());
}

}  // namespace

/// MODEL statements between semicolons. Whatever the text, the end is a list of models or the user's error:
/// an internal error, or an exception of another family, is a finding.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  tovik::VariableList list = catalogue();
  std::vector<tovik::block::one_model> statements;
  for (const std::string& one : tovik::split(text, ";", false)) statements.push_back({one, ""});
  try {
    const tovik::ModelList models = tovik::sem::parse(statements, list, tovik::block::map());
    for (const tovik::Model& model : models) {
      check(model);
      models.estimates_span(model);
    }
  } catch (const tovik::error_debug&) {
    std::abort();
  } catch (const tovik::error&) {
    // The text is wrong, and its user was told.
  }
  tovik::warning::buffer.clear();
  return 0;
}
