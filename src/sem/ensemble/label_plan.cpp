#include "sem/ensemble/label_plan.hpp"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

using place = model::constraint_info::place;

bool of_parameters_command(const model::constraint_info& info) {
  return info.kind == place::parameter || info.kind == place::computation;
}

bool has_place(const planned_label& label, place kind) {
  return std::any_of(label.places.begin(), label.places.end(),
                     [&](const model::constraint_info& info) { return info.kind == kind; });
}

/// The computed parameters: what each reads, directly and through others.
class computations {
 public:
  explicit computations(const ModelList& list) {
    for (unsigned i = 0; i < list.size(); ++i) {
      if (list[i].kind() != model::kind::computation) continue;
      std::unordered_set<std::string> reads;
      for (const std::string& name : model::expression_names(list[i].computation)) {
        const std::string key = to_lower(name);
        reads.insert(key);
        // What a computed parameter reads stands before it.
        const auto inner = index_.find(key);
        if (inner != index_.end()) reads.insert(reads_[inner->second].begin(), reads_[inner->second].end());
      }
      index_.emplace(to_lower(list[i].name()), reads_.size());
      reads_.push_back(std::move(reads));
      models_.push_back(i);
    }
  }

  int model_of(const std::string& key) const {
    const auto found = index_.find(key);
    return found == index_.end() ? -1 : static_cast<int>(models_[found->second]);
  }

  bool reads(const std::string& computed, const std::string& key) const {
    return reads_[index_.at(computed)].count(key) > 0;
  }
  const std::unordered_set<std::string>& all_reads(const std::string& computed) const {
    return reads_[index_.at(computed)];
  }

  /// The names in the order of their statements.
  std::vector<std::string> names() const {
    std::vector<std::string> out(reads_.size());
    for (const auto& [name, position] : index_) out[position] = name;
    return out;
  }

 private:
  std::unordered_map<std::string, std::size_t> index_;
  std::vector<std::unordered_set<std::string>> reads_;
  std::vector<unsigned> models_;
};

std::string statement_of(const Model& model) {
  return model.name() + " = " + model.computation;
}

void check_variance(const ModelList& list, const model::constraint_info& info) {
  if (list.has_multi(list[info.model]) < 0) return;
  throw error(
      "ERROR: Cannot set variances to a computed parameter with multivariate models.\n"
      "       Phantom variable correlations are required.\n"
      "       Set 'OPTIONS: use_phantom;' and rerun the model.");
}

/// Where the label of a computed parameter may stand.
void check_derived_places(const ModelList& list, const planned_label& label) {
  for (const model::constraint_info& info : label.places) {
    switch (info.kind) {
      case place::correlation:
      case place::phantom:
        throw error("ERORR: Cannot fix a correlation to a computed value.\n       Problem specification: '" +
                    statement_of(list[static_cast<std::size_t>(label.computation)]) + "'");
      case place::random:
        throw error("ERROR: Cannot specify random effect variance constraints.\n" +
                    ("       the parameter labeled '" + label.name) + "' was used\n       more than once.");
      case place::variance:
        check_variance(list, info);
        break;
      default:
        break;
    }
  }
}

/// The covariance matrix of a block is drawn as a whole.
void check_block_variances(const ModelList& list, const planned_label& label) {
  for (const model::constraint_info& info : label.places) {
    if (info.kind != place::variance || list.has_multi(list[info.model]) < 0) continue;
    throw error(
        "ERROR: Cannot specify priors or constraints for variances in multivariate models.\n"
        "       Phantom variable correlations are required.\n"
        "       Set 'OPTIONS: use_phantom;' and rerun the model.");
  }
}

class planner {
 public:
  explicit planner(const ModelList& list) : list_(list), computed_(list) {}

  std::vector<planned_label> plan() {
    const auto table = list_.label_table();
    for (const model::parameter& p : list_.constraints()) add(p.label(), table);
    for (unsigned i = 0; i < list_.size(); ++i) {
      if (list_[i].kind() == model::kind::parameter) add_prior(i, table);
    }
    for (const std::string& name : computed_.names()) add_unlabelled(name, table);
    for (planned_label& label : out_) assign_role(label);
    for (planned_label& label : out_) find_followers(label);
    for (const planned_label& label : out_) check(label);
    return std::move(out_);
  }

 private:
  using label_map = std::unordered_map<std::string, model::label_uses>;

  void add(const std::string& name, const label_map& table) {
    planned_label label;
    label.name = name;
    label.key = to_lower(name);
    const auto uses = table.find(label.key);
    if (uses != table.end()) {
      label.appearances = uses->second.appearances;
      for (const model::constraint_info& info : uses->second.places) {
        if (!of_parameters_command(info)) label.places.push_back(info);
      }
    }
    label.computation = computed_.model_of(label.key);
    position_.emplace(label.key, out_.size());
    out_.push_back(std::move(label));
  }

  void add_prior(unsigned model, const label_map& table) {
    const std::string key = to_lower(list_[model].name());
    if (position_.count(key) == 0) add(list_[model].name(), table);
    out_[position_.at(key)].prior = static_cast<int>(model);
  }

  /// A computed parameter that stands inside a term alone carries no "@".
  void add_unlabelled(const std::string& key, const label_map& table) {
    if (position_.count(key) > 0) return;
    const int model = computed_.model_of(key);
    add(list_[static_cast<std::size_t>(model)].name(), table);
    if (out_.back().places.empty()) {
      position_.erase(key);
      out_.pop_back();
    }
  }

  void assign_role(planned_label& label) const {
    const bool correlated = has_place(label, place::correlation) || has_place(label, place::phantom);
    if (label.computation >= 0) {
      label.role = label_role::derived;
    } else if (correlated) {
      label.role = label_role::correlation;
    } else if (label.prior >= 0 || (label.appearances > 1 && !has_place(label, place::random))) {
      label.role = label_role::drawn;
    }
  }

  void find_followers(planned_label& label) const {
    if (label.role != label_role::drawn && label.role != label_role::correlation) return;
    for (const std::string& name : computed_.names()) {
      if (!computed_.reads(name, label.key) || !moves_an_equation(name)) continue;
      label.followers.push_back(static_cast<unsigned>(computed_.model_of(name)));
    }
  }

  /// The computed parameter stands in an equation, or one that does depends on it.
  bool moves_an_equation(const std::string& name) const {
    return std::any_of(out_.begin(), out_.end(), [&](const planned_label& other) {
      return other.role == label_role::derived && (other.key == name || computed_.reads(other.key, name));
    });
  }

  void check(const planned_label& label) const {
    if (label.prior >= 0 && has_place(label, place::random))
      throw error("ERROR: Cannot specify random effect variance constraints.\n" +
                  ("       the parameter labeled '" + label.name) + "' was used\n       more than once.");
    if (label.role != label_role::derived) {
      check_block_variances(list_, label);
      return;
    }
    check_derived_places(list_, label);
    for (const std::string& name : computed_.all_reads(label.key)) check_read(label, name);
  }

  /// What a computed label reads must be drawn with the likelihood of the computed label's places.
  void check_read(const planned_label& label, const std::string& name) const {
    if (computed_.model_of(name) >= 0) return;
    const auto found = position_.find(name);
    if (found != position_.end()) {
      const planned_label& read = out_[found->second];
      if (read.role == label_role::drawn) return;
      if (read.role == label_role::correlation) return;
    }
    throw error("ERROR: Could not find parameter name in map.\n       The computed parameter '" + label.name +
                "' is used in an equation and cannot depend on '" + name +
                "'.\n       Problem specification: '" +
                statement_of(list_[static_cast<std::size_t>(label.computation)]) + "'");
  }

  const ModelList& list_;
  computations computed_;
  std::unordered_map<std::string, std::size_t> position_;
  std::vector<planned_label> out_;
};

}  // namespace

bool is_driven_correlation(const planned_label& label) {
  if (label.role != label_role::correlation) return false;
  return label.prior >= 0 || !label.followers.empty() || label.places.size() > 1;
}

std::vector<planned_label> plan_labels(const ModelList& list) {
  return planner(list).plan();
}

}  // namespace tovik::sem
