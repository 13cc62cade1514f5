#include "dump.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "capture.hpp"
#include "evaluate/defines.hpp"
#include "input/input_file.hpp"
#include "model/model_list.hpp"
#include "results/report_models.hpp"
#include "support/text.hpp"

namespace tovik::tests::dump {

namespace {

using variable_ptr = std::shared_ptr<data::variable>;

std::string number(double value) {
  return format("%g", value);
}

template <class T>
std::string numbers(const std::vector<T>& values) {
  std::string out;
  for (const T& v : values) out += (out.empty() ? "" : " ") + number(static_cast<double>(v));
  return out;
}

std::string terms(const std::vector<model::anyVariable>& list) {
  std::string out;
  for (const model::anyVariable& term : list) out += " " + term.text();
  return out;
}

std::string computed(const model::combinationOfAnyVariable& term, const char* where) {
  return std::string("      ") + where + " computed: " + term.statement + term.param.text() + " with" +
         terms(term.variables) + "\n";
}

std::string quoted(const char* title, const std::vector<std::string>& labels) {
  std::string out = std::string("    ") + title + "\n";
  for (const std::string& label : labels) out += "      \"" + label + "\"\n";
  return labels.empty() ? "" : out;
}

const char* const centers[] = {"none", "grand", "cluster"};
const char* const usages[] = {"outcome", "covariate", "derived", "unset"};

std::string columns(const char* title, const std::vector<unsigned>& list) {
  return list.empty() ? "" : std::string(" | ") + title + " " + numbers(list);
}

std::string variable(const data::variable& v) {
  std::string out = v.name;
  if (v.name != v.fullName) out += " (" + v.fullName + ")";
  const bool placed = v.column != data::variable::no_column;
  out += format(" | type %d | level %u | column %s | %s", static_cast<int>(v.type), v.level,
                placed ? std::to_string(v.column).c_str() : "-", usages[static_cast<int>(v.usage())]);
  if (v.fixed()) out += " | fixed";
  if (v.centered() != data::center::none) {
    out += std::string(" | centered ") + centers[static_cast<int>(v.centered())];
  }
  if (v.centeredMeans() != data::center::none) {
    out += std::string(" | means centered ") + centers[static_cast<int>(v.centeredMeans())];
  }
  if (v.centeredLevel != data::variable::no_level) out += format(" | at level %u", v.centeredLevel);
  if (!v.values.empty()) out += " | values " + numbers(v.values);
  if (!v.dummies.empty()) {
    out += " | dummies";
    for (const variable_ptr& code : v.dummies) out += " " + code->name;
  }
  out += columns("means", v.means) + columns("latent", v.latent) + columns("rstar", v.rstar) +
         columns("effects", v.randef);
  for (const std::string& name : v.randefNames) out += " " + name;
  return out + "\n";
}

/// What each column of a prepared matrix holds; "-" where the catalogue does not say.
std::vector<std::string> column_names(std::size_t n, const VariableList& list) {
  std::vector<std::string> names(n, "-");
  const auto set = [&](unsigned column, const std::string& name) {
    if (column < n && names[column] == "-") names[column] = name;
  };
  const auto set_all = [&](const std::vector<unsigned>& places, const std::string& name) {
    for (const unsigned column : places) set(column, name);
  };
  for (const variable_ptr& v : list.variables) {
    if (v->type != data::type::random_effect) set(v->column, v->name);
  }
  for (const variable_ptr& v : list.variables) {
    set_all(v->means, v->name + ".mean");
    set_all(v->latent, v->name + ".latent");
    set_all(v->rstar, v->name + ".rstar");
    for (std::size_t k = 0; k < v->randef.size(); ++k) {
      set(v->randef[k], v->name + "[" + (k < v->randefNames.size() ? v->randefNames[k] : "") + "]");
    }
  }
  return names;
}

}  // namespace

std::string models(const ModelList& list) {
  std::string out;
  for (const Model& m : list) {
    out += (m.block.empty() ? "(no block)" : m.block) +
           format(" | kind %d | link %d | levels %d | ", static_cast<int>(m.kind()), static_cast<int>(m.link),
                  m.levels) +
           m.command() + "\n";
    if (!m.phantoms.empty()) out += "      phantoms:" + terms(m.phantoms) + "\n";
    if (!m.variance.is_free() || m.variance.has_start()) out += "      variance: " + m.variance.text() + "\n";
    for (const auto& term : m.fixed_compute) out += computed(term, "fixed");
    for (const auto& term : m.random_compute) out += computed(term, "random");
  }
  return out;
}

std::string rows(const ModelList& list) {
  std::string out;
  for (const Model& m : list) {
    out += "  " + m.name() + "\n" + quoted("parameters", m.parameters()) +
           quoted("standardized", m.standardized()) + quoted("rsquare", m.rsquare());
  }
  return out;
}

std::string report_models(const arma::Mat<double>& matrix, const VariableList& variables,
                          const ModelList& list) {
  Capture report;
  const auto incomplete = [&](const data::variable& v) {
    return v.column < matrix.n_cols && !matrix.col(v.column).is_finite();
  };
  print_roles(report.stream(), variables, incomplete);
  print_statements(report.stream(), list);
  return report.text();
}

std::string variables(const VariableList& list) {
  std::string out;
  for (const variable_ptr& v : list.variables) out += variable(*v);
  if (list.clusters.empty()) return out;
  out += "clusters:";
  for (const variable_ptr& v : list.clusters) out += " " + v->name;
  return out + "\n";
}

std::string data(const arma::Mat<double>& matrix, const std::vector<std::string>& names) {
  constexpr arma::uword shown = 12;
  std::string out = join(names, ",") + "\n";
  for (arma::uword i = 0; i < std::min(shown, matrix.n_rows); ++i) {
    for (arma::uword j = 0; j < matrix.n_cols; ++j) {
      out += (j > 0 ? "," : "") + (matrix(i, j) != matrix(i, j) ? "NA" : number(matrix(i, j)));
    }
    out += "\n";
  }
  return out + format("%u rows, %u columns\n", static_cast<unsigned>(matrix.n_rows),
                      static_cast<unsigned>(matrix.n_cols));
}

std::string data(const arma::Mat<double>& matrix, const VariableList& list) {
  return data(matrix, column_names(matrix.n_cols, list));
}

std::string parameters(const ModelList& list) {
  std::map<std::pair<unsigned, std::string>, int> by_slot;
  for (const auto& [name, info] : list.generate_map()) by_slot[{info.slot, name}] = info.tag;
  std::string out;
  for (const auto& [key, tag] : by_slot) out += format("%3u ", key.first) + key.second + "\n";
  return out;
}

std::string definitions(const ModelList& list) {
  std::string out;
  for (const auto& [name, term] : list.definitions) {
    out += name + " = " + term.statement + " with" + terms(term.variables);
    const auto* entry = list.names ? list.names->find(name) : nullptr;
    out += entry ? format(" | kind %d ", entry->kind) + entry->text + "\n" : " | not in the table\n";
  }
  return out;
}

std::string tests(const std::vector<model::waldtest>& list, const ModelList& models) {
  std::vector<std::string> rows;
  for (const Model& m : models) {
    for (unsigned code = 0; code < m.n_codes(); ++code) {
      for (const model::row& row : m.rows()) rows.push_back(m.name() + " " + row.text());
    }
  }
  std::string out;
  for (const model::waldtest& test : list) {
    out += test.name + "\n" + quoted("full", test.full()) + quoted("restricted", test.restricted());
    for (const model::contrast& one : test.contrasts()) {
      std::string text;
      for (const auto& [row, coefficient] : one.rows)
        text += format("%+g ", coefficient) + rows.at(row) + " ";
      out += "    " + text + "= " + number(one.constant) + "\n";
    }
  }
  return out;
}

}  // namespace tovik::tests::dump
