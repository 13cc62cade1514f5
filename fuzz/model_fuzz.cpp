#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "data/dummy.hpp"
#include "data/named_effect.hpp"
#include "data/variable_list.hpp"
#include "model/defaults.hpp"
#include "model/parse.hpp"
#include "model/random_effect.hpp"
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
  add("h", type::latent, 1);
  add("p", type::phantom, 2);
  list.order_clusters();
  const tovik::data::random_effect effect{"r", "y", "x", "s", "r = y | x[s]"};
  list.variables.push_back(
      std::make_shared<tovik::data::random>(effect, list.find("y"), list.find("s"), list.find("x")));
  return list;
}

void require(bool holds) {
  if (!holds) std::abort();
}

/// Names, columns and trees of a model agree in number.
void check(const tovik::Model& model) {
  if (model.is_multi()) return;
  std::size_t effects = 0;
  for (const auto& z : model.zind()) effects += z.size();
  std::size_t columns = model.xind().size();
  for (const auto& term : model.xindInter()) columns += term.size();
  for (const auto& term : model.zindInter()) effects += term.size();
  require(model.n_re() >= effects || !model.random_compute.empty());
  require(model.fixedParameters().size() == columns);
  const auto trees = model.xindCompute();
  require(trees.size() == model.fixed_compute.size());
  for (std::size_t k = 0; k < trees.size(); ++k) {
    require(trees[k].size() == model.fixed_compute[k].names().size());
    require(trees[k].size() == model.fixed_compute[k].indicators().size());
  }
  require(model.parameters().size() + model.standardized().size() + model.rsquare().size() > 0 ||
          model.kind() == tovik::model::kind::log_variance || model.fixed.empty());
}

/// Each equation that a statement gives by itself can be written down and read again.
void check_text(const std::string& statement, const tovik::VariableList& list, tovik::ModelList& equations) {
  equations.clear();
  try {
    if (tovik::sem::classify(statement) != tovik::sem::statement_kind::regression) return;
    equations.add_seq({statement, ""}, list);
  } catch (const tovik::error_debug&) {
    std::abort();
  } catch (const tovik::error&) {
    return;
  }
  for (const tovik::Model& model : equations) {
    const tovik::Model again(model.command(), list, equations.names.get());
    require(again.command() == model.command());
    require(again.fixed.size() == model.fixed.size() && again.random.size() == model.random.size());
    require(again.link == model.link && again.levels == model.levels);
  }
}

/// Settings of a run, taken from the text itself so that a finding repeats.
void choose_settings(std::size_t bits) {
  tovik::sem::defaults::reduce_models = bits % 8 != 1;
  tovik::sem::defaults::optimize_models = bits % 8 != 2;
  tovik::sem::defaults::sort_models = bits % 8 != 3;
  tovik::sem::defaults::freeloadings = bits % 8 == 4;
  tovik::Model::allow_multivariate = bits % 8 == 5;
}

/// A text that is wrong was told to its user; a fault of the program is a finding. A phantom of the user's
/// that stands in one equation only is the one mistake that comes with an internal text.
void pass_over(const tovik::error_debug& fault) {
  if (fault.what() != std::string("Phantom variable not in two models.")) std::abort();
}

}  // namespace

/// MODEL statements between semicolons. Whatever the text, the end is a list of models or the user's error:
/// an internal error, or an exception of another family, is a finding.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  choose_settings(size);
  tovik::VariableList list = catalogue();
  std::vector<tovik::block::one_model> statements;
  for (const std::string& one : tovik::split(text, ";", false)) statements.push_back({one, ""});
  try {
    tovik::ModelList equations{tovik::block::map()};
    for (const auto& one : statements) check_text(tovik::trim(one.statement), list, equations);
    const tovik::ModelList models = tovik::sem::parse(statements, list, tovik::block::map());
    for (const tovik::Model& model : models) {
      check(model);
      models.estimates_span(model);
    }
    models.get_evaluates();
    models.generate_map();
  } catch (const tovik::error_debug& fault) {
    pass_over(fault);
  } catch (const tovik::error&) {
  }
  try {
    tovik::model::parse_random_effect(text, list);
  } catch (const tovik::error&) {
  }
  tovik::warning::buffer.clear();
  return 0;
}
