#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "data/variable_list.hpp"
#include "model/distribution.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace {

/// Two-level data with a latent variable.
tovik::VariableList catalogue() {
  using tovik::data::type;
  tovik::VariableList list;
  unsigned column = 0;
  const auto add = [&](const char* name, type kind, unsigned level) {
    list.variables.push_back(std::make_shared<tovik::data::variable>(name, kind, column++, level));
  };
  for (const char* name : {"y", "z", "x"}) add(name, type::continuous, 1);
  add("s", type::id, 0);
  add("1", type::constant, 0);
  add("f", type::latent, 1);
  list.order_clusters();
  return list;
}

void require(bool holds) {
  if (!holds) std::abort();
}

/// A parameter that was accepted can be written down and read again.
void check(const tovik::Model& model) {
  if (model.kind() != tovik::model::kind::parameter && model.kind() != tovik::model::kind::computation) return;
  const tovik::Model again(model.command());
  require(again.kind() == model.kind() && again.name() == model.name());
  require(again.command() == model.command());
  require(model.parameters().size() == 1 && model.standardized().empty() && model.rsquare().empty());
  if (model.kind() == tovik::model::kind::computation) return;
  require(!model.prior.name.empty() && !std::isnan(model.prior.first) && !std::isnan(model.prior.second));
}

}  // namespace

/// PARAMETERS statements between semicolons beside equations with labels. Whatever the text, the end is a
/// list of models or the user's error: an internal error, or an exception of another family, is a finding.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  tovik::VariableList list = catalogue();
  const std::vector<tovik::block::one_model> equations = {{"y ~ Intercept@b0 x@a | Intercept@v", ""},
                                                          {"f -> z@c x", ""},
                                                          {"y ~~ y@r", ""},
                                                          {"y ~ (x^2*q)@p", ""}};
  tovik::sem::list_settings settings;
  settings.parameters = tovik::split(text, ";", false);
  settings.parameters.push_back("q ~ normal(0, 1)");
  try {
    const tovik::ModelList models = tovik::sem::parse(equations, list, tovik::block::map(), settings);
    for (const tovik::Model& model : models) {
      check(model);
      models.estimates_span(model);
    }
    for (const tovik::model::parameter& p : models.constraints()) models.appearances(p);
  } catch (const tovik::error_debug&) {
    std::abort();
  } catch (const tovik::error&) {
    // The text is wrong, and its user was told.
  }
  tovik::warning::buffer.clear();
  return 0;
}
