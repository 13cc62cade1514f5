#include "manifest/data.hpp"

#include <algorithm>
#include <cmath>

#include "data/levels.hpp"
#include "sem/predictors/predictor_starts.hpp"
#include "sem/predictors/varies.hpp"
#include "support/error.hpp"

namespace tovik::manifest {

namespace {

bool can_be_imputed(const data::variable& v) {
  return v.type == data::type::continuous || v.type == data::type::ordinal || v.type == data::type::nominal;
}

std::vector<const data::variable*> value_columns(const data::variable& v) {
  std::vector<const data::variable*> out;
  for (const auto& code : v.dummies) out.push_back(code.get());
  if (out.empty()) out.push_back(&v);
  return out;
}

double observed_mean(const arma::Col<double>& values) {
  double sum = 0.0, n = 0.0;
  for (double x : values) {
    if (std::isnan(x)) continue;
    sum += x;
    n += 1.0;
  }
  return n > 0.0 ? sum / n : 0.0;
}

}  // namespace

Data::Data(const VariableList& variables, const sem::working_data& working, method how, double icc_cutoff)
    : working_(working), how_(how) {
  for (const auto& id : variables.clusters) cluster_names_.push_back(id->fullName);
  for (unsigned low = 0; low < n_levels(); ++low) {
    above_.emplace_back();
    for (unsigned high = low; high < n_levels(); ++high)
      above_.back().push_back(working_.units(high).elem(working_.first_rows(low)));
  }
  for (const auto& v : variables.covarAndOutMeans()) add_member(v, icc_cutoff);
  mis_up_.resize(n_levels());
  mis_down_.resize(n_levels());
  for (unsigned level = 0; level < n_levels(); ++level) {
    add_predictors(level);
    for (std::size_t k = 0; k < members_.size(); ++k) {
      if (!members_[k].incomplete) continue;
      if (members_[k].level < level) mis_up_[level].push_back(k);
      if (members_[k].level == level) mis_down_[level].push_back(k);
    }
  }
  list_excluded();
}

void Data::add_member(const VariableList::variable_ptr& v, double icc_cutoff) {
  if (!can_be_imputed(*v)) throw error("ERROR: Outcome type not supported in manifests.");
  member m;
  m.variable = v;
  m.level = sampler_level(working_.n_levels() - 1, v->level);
  m.columns = value_columns(*v);
  m.chain = std::make_unique<sem::unit_chain>(working_, m.level,
                                              sem::varies(working_, working_.data, *v, m.level, icc_cutoff));
  m.missing = working_.missing_units(working_.data, v->column, m.level);
  m.incomplete = !m.missing.is_empty();
  arma::uword const dim = m.columns.size();
  for (unsigned q = 0; q <= m.chain->n_above(); ++q) {
    m.values.emplace_back(m.chain->n_units(q), dim, arma::fill::zeros);
    m.is_constant.emplace_back(dim, false);
  }
  m.origin.set_size(dim);
  for (arma::uword k = 0; k < dim; ++k) {
    const arma::Col<double> seen = sem::unit_values(working_, working_.data, m.columns[k]->column, m.level);
    const sem::manifest_scores scores(*m.chain, seen);
    m.values[0].col(k) = seen;
    m.origin[k] = observed_mean(seen);
    for (unsigned q = 0; q < m.is_constant.size(); ++q) m.is_constant[q][k] = scores.is_constant(q);
  }
  members_.push_back(std::move(m));
}

/// Where the chain of a member reaches a level: its own place or the first mean that is not below.
unsigned Data::first_place(const member& m, unsigned level) const {
  unsigned q = 0;
  while (q <= m.chain->n_above() && m.chain->level(q) < level) ++q;
  return q;
}

void Data::add_predictors(unsigned level) {
  std::vector<predictor> out = {{none, 0, 0, false, n_levels()}};
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const member& m = members_[i];
    const unsigned first = first_place(m, level), top = m.chain->n_above();
    for (unsigned q = first; q <= top; ++q) {
      for (arma::uword k = 0; k < m.columns.size(); ++k) {
        const bool apart = how_ == method::means;
        bool varies = false;
        for (unsigned r = q; r <= (apart ? q : top); ++r) varies = varies || !m.is_constant[r][k];
        if (varies) out.push_back({i, k, q, apart && q < top, m.chain->level(q)});
      }
      if (how_ == method::no_means) break;
    }
  }
  arma::Col<arma::uword> used(out.size());
  for (arma::uword j = 0; j < used.n_elem; ++j) used[j] = j;
  levels_.push_back(std::make_unique<sem::level_scores>(row(level), out.size(), used));
  double* ones = levels_.back()->rewrite(0);
  std::fill(ones, ones + row(level), 1.0);
  predictors_.push_back(std::move(out));
}

void Data::list_excluded() {
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const member& m = members_[i];
    for (unsigned level = m.level; level < n_levels(); ++level) {
      const bool regressions = std::any_of(members_.begin(), members_.end(), [&](const member& other) {
        return &other != &m && other.incomplete && (how_ == method::means || other.level == level) &&
               other.level <= level;
      });
      if (!regressions) continue;
      for (arma::uword k = 0; k < m.columns.size(); ++k) {
        const unsigned lowest = how_ == method::means ? m.level : level;
        const bool there =
            std::any_of(predictors_[lowest].begin(), predictors_[lowest].end(), [&](const predictor& one) {
              return one.owner == i && one.column == k &&
                     (how_ == method::no_means || m.chain->level(one.place) == level);
            });
        if (!there) excluded_.push_back({m.columns[k]->name, level + 1});
      }
    }
  }
}

std::string Data::name(const predictor& one) const {
  if (one.owner == none) return "1";
  const member& m = members_[one.owner];
  const std::string& name = m.columns[one.column]->name;
  if (one.place == 0) return name;
  return name + ".mean[" + cluster_names_.at(m.chain->level(one.place) - 1) + "]";
}

arma::Col<arma::uword> Data::predictors_of(std::size_t k) const {
  const std::vector<predictor>& all = predictors_[members_.at(k).level];
  std::vector<arma::uword> out;
  for (arma::uword j = 0; j < all.size(); ++j)
    if (all[j].owner != k) out.push_back(j);
  return arma::Col<arma::uword>(out);
}

const arma::Col<arma::uword>& Data::above(unsigned level, unsigned higher) const {
  return above_.at(level).at(higher - level);
}

void Data::set(std::size_t k, const arma::Col<arma::uword>& units, const arma::Mat<double>& values) {
  arma::Mat<double>& own = members_.at(k).values[0];
  if (values.n_rows != units.n_elem || values.n_cols != own.n_cols)
    throw error_debug("Values do not have the shape of their variable.");
  for (arma::uword c = 0; c < own.n_cols; ++c)
    for (arma::uword i = 0; i < units.n_elem; ++i) own(units[i], c) = values(i, c);
}

void Data::updateMeans(std::size_t k) {
  member& m = members_.at(k);
  for (unsigned q = 1; q <= m.chain->n_above(); ++q) {
    const arma::Col<arma::uword>& parent = m.chain->parent(q - 1);
    const arma::Col<arma::uword>& n = m.chain->n_children(q);
    const arma::Mat<double>& below = m.values[q - 1];
    arma::Mat<double>& mean = m.values[q];
    mean.zeros();
    for (arma::uword c = 0; c < mean.n_cols; ++c) {
      for (arma::uword i = 0; i < below.n_rows; ++i) mean(parent[i], c) += below(i, c);
      for (arma::uword j = 0; j < mean.n_rows; ++j) mean(j, c) /= static_cast<double>(n[j]);
    }
  }
  write(k, m.level);
}

void Data::write(std::size_t k, unsigned level) {
  const member& m = members_[k];
  const std::vector<predictor>& all = predictors_[level];
  for (arma::uword j = 0; j < all.size(); ++j) {
    const predictor& one = all[j];
    if (one.owner != k) continue;
    double* out = levels_[level]->rewrite(j);
    const double* x = m.values[one.place].colptr(one.column);
    const arma::Col<arma::uword>& of = above(level, m.chain->level(one.place));
    if (!one.deviation) {
      for (arma::uword i = 0; i < of.n_elem; ++i) out[i] = x[of[i]] - m.origin[one.column];
      continue;
    }
    const double* mean = m.values[one.place + 1].colptr(one.column);
    const arma::Col<arma::uword>& next = above(level, m.chain->level(one.place + 1));
    for (arma::uword i = 0; i < of.n_elem; ++i) out[i] = x[of[i]] - mean[next[i]];
  }
}

void Data::convUpLvlCol(unsigned level) {
  for (std::size_t k : misVarsUp(level)) write(k, level);
}

void Data::convDownLvlCol(unsigned level) {
  for (std::size_t k : misVarsDown(level))
    for (unsigned low = 0; low < level; ++low) write(k, low);
}

void Data::refresh() {
  for (std::size_t k = 0; k < members_.size(); ++k) updateMeans(k);
  for (std::size_t k = 0; k < members_.size(); ++k)
    for (unsigned level = 0; level < n_levels(); ++level) write(k, level);
}

}  // namespace tovik::manifest
