// The variables of a run by their roles.

#include <memory>
#include <string>
#include <vector>

#include "data/named_effect.hpp"
#include "data/variable_list.hpp"
#include "results/report_lists.hpp"
#include "results/report_models.hpp"
#include "support/wrapped.hpp"

namespace tovik {

namespace {

using variable_ptr = VariableList::variable_ptr;

/// Collects labelled lists of names and prints them as one section: only the lists that hold a name, and
/// nothing when none does.
class name_section {
 public:
  name_section(std::FILE* stream, const char* title) : stream_(stream), title_(title) {}
  name_section(const name_section&) = delete;
  name_section& operator=(const name_section&) = delete;
  ~name_section() {
    if (open_) std::fputs("\n", stream_);
  }

  void line(const std::string& label, const std::vector<std::string>& names) {
    if (names.empty()) return;
    if (!open_) std::fprintf(stream_, "  %s\n", title_);
    open_ = true;
    std::fprintf(stream_, "    %-23s%s\n", label.c_str(), wrapped(names, 27, list_width).c_str());
  }

 private:
  std::FILE* stream_;
  const char* title_;
  bool open_ = false;
};

/// The shown names of the variables that pass the test, in catalogue order. A nominal variable stands for its
/// dummy codes.
template <class Test>
std::vector<std::string> names_of(const VariableList& variables, Test test) {
  std::vector<std::string> names;
  for (const variable_ptr& v : variables.variables) {
    if (v->type != data::type::dummy && test(*v)) names.push_back(v->name);
  }
  return names;
}

/// The printed number of a catalogue level, 1 for the lowest.
int printed_level(const VariableList& variables, unsigned level) {
  return static_cast<int>(variables.clusters.size()) - static_cast<int>(level) + 1;
}

std::string level_label(int level) {
  return "Level-" + std::to_string(level) + ":";
}

void print_weights(std::FILE* stream, const VariableList& variables) {
  name_section section(stream, "SAMPLING WEIGHTS");
  for (const variable_ptr& v : variables.weights()) {
    section.line(level_label(printed_level(variables, v->level)), {v->name});
  }
}

struct name_list {
  std::string label;
  std::vector<std::string> names;
};

/// The predictors by what is known of them. The label of complete continuous ones is the caller's. Counts are
/// among the continuous ones: as predictors they have the same model.
std::vector<name_list> predictor_lists(const VariableList& variables, const is_incomplete& incomplete,
                                       const char* complete_continuous) {
  const auto is_predictor = [](const data::variable& v) { return v.usage() == data::usage::covariate; };
  const auto modelled = [&](bool missing, data::type kind) {
    return names_of(variables, [&](const data::variable& v) {
      const data::type of = v.type == data::type::count ? data::type::continuous : v.type;
      return is_predictor(v) && !v.fixed() && of == kind && incomplete(v) == missing;
    });
  };
  return {
      {"Fixed variables:",
       names_of(variables, [&](const data::variable& v) { return is_predictor(v) && v.fixed(); })},
      {complete_continuous, modelled(false, data::type::continuous)},
      {"Complete ordinal:", modelled(false, data::type::ordinal)},
      {"Complete nominal:", modelled(false, data::type::nominal)},
      {"Incomplete continuous:", modelled(true, data::type::continuous)},
      {"Incomplete ordinal:", modelled(true, data::type::ordinal)},
      {"Incomplete nominal:", modelled(true, data::type::nominal)},
  };
}

void print_predictors(std::FILE* stream, const VariableList& variables, const is_incomplete& incomplete) {
  name_section section(stream, "PREDICTORS");
  for (const name_list& list : predictor_lists(variables, incomplete, "Complete continous:"))
    section.line(list.label, list.names);
}

void print_factors(std::FILE* stream, const VariableList& variables) {
  name_section section(stream, "FACTORS");
  const int highest = printed_level(variables, 0);
  for (int level = 1; level <= highest; ++level) {
    section.line(level_label(level), names_of(variables, [&](const data::variable& v) {
                   return v.type == data::type::latent && printed_level(variables, v.level) == level;
                 }));
  }
}

void print_centering(std::FILE* stream, const VariableList& variables) {
  name_section section(stream, "CENTERED PREDICTORS");
  const auto line = [&](const char* label, data::center kind) {
    section.line(label, names_of(variables, [&](const data::variable& v) { return v.centered() == kind; }));
  };
  line("Grand Mean Centered:", data::center::grand);
  line("Group Mean Centered:", data::center::cluster);
}

void print_means(std::FILE* stream, const VariableList& variables) {
  name_section section(stream, "LATENT CLUSTER MEANS");
  const auto line = [&](const char* label, data::center kind) {
    section.line(label, names_of(variables, [&](const data::variable& v) {
                   return !v.means.empty() && v.centeredMeans() == kind;
                 }));
  };
  line("Grand Mean Centered:", data::center::grand);
  line("Group Mean Centered:", data::center::cluster);
  line("Uncentered:", data::center::none);
}

void print_random_effects(std::FILE* stream, const VariableList& variables) {
  std::vector<std::string> rows;
  for (const variable_ptr& v : variables.subset(data::type::random_effect)) {
    const auto* effect = dynamic_cast<const data::random*>(v.get());
    if (effect != nullptr) rows.push_back(effect->effect().fullline);
  }
  print_numbered_section(stream, "NAMED RANDOM EFFECTS", rows);
}

}  // namespace

void print_imputation_variables(std::FILE* stream, const VariableList& variables,
                                const is_incomplete& incomplete) {
  for (const name_list& list : predictor_lists(variables, incomplete, "Complete continuous:")) {
    if (list.names.empty()) continue;
    std::fprintf(stream, "  %-23s%s\n", list.label.c_str(), wrapped(list.names, 25, list_width).c_str());
  }
}

void print_roles(std::FILE* stream, const VariableList& variables, const is_incomplete& incomplete) {
  print_weights(stream, variables);
  print_predictors(stream, variables, incomplete);
  print_factors(stream, variables);
  print_centering(stream, variables);
  print_means(stream, variables);
  print_random_effects(stream, variables);
}

}  // namespace tovik
