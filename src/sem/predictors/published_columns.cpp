#include "sem/predictors/published_columns.hpp"

#include "data/variable.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

int mode_of(data::center c) {
  if (c == data::center::grand) return 0;
  return c == data::center::cluster ? 1 : 2;
}

}  // namespace

published_columns::published_columns(const predictor_setup& setup, const predictor_state& state)
    : state_(state), nominal_(setup.variable->type == data::type::nominal) {
  const data::variable& v = *setup.variable;
  mode_ = mode_of(v.centered());
  if (mode_ == 1 && state.top() < 2) {
    if (!setup.means_only || !setup.centred_columns.is_empty())
      throw error_debug("A group mean needs a level above.");
    mode_ = 2;  // nothing is centred
  }
  mean_mode_ = mode_ == 1 ? 3 : mode_ == 0 ? 2 : v.means.empty() ? 0 : 1;
  add_values(setup);
  add_means(v);
  add_links(v);
}

void published_columns::add_values(const predictor_setup& setup) {
  const data::variable& v = *setup.variable;
  if (setup.means_only) {
    value_columns_ = setup.centred_columns;
  } else if (nominal_) {
    value_columns_.set_size(v.dummies.size());
    for (arma::uword k = 0; k < value_columns_.n_elem; ++k) value_columns_(k) = v.dummies[k]->column;
    has_code_ = v.column != data::variable::no_column;
    code_column_ = v.column;
    codes_ = v.values;
  } else {
    value_columns_ = arma::Col<arma::uword>{v.column};
  }
  if (value_columns_.is_empty()) return;
  block b;
  b.columns = value_columns_;
  b.values = true;
  b.centre = mode_ == 0 ? state_.top() : mode_ == 1 ? 1 : 0;
  blocks_.push_back(b);
}

void published_columns::add_means(const data::variable& v) {
  if (v.means.empty()) return;
  arma::uword const levels_above = state_.working->n_levels() - 1 - state_.level;
  if (v.means.size() != levels_above * state_.dim)
    throw error_debug("Latent means need a column for each level above.");
  mean_columns_.assign(levels_above + 1, {});
  for (std::size_t k = 0; k < v.means.size(); ++k) mean_columns_[1 + k / state_.dim].push_back(v.means[k]);
  for (unsigned q = 1; q < state_.top(); ++q) {
    block b;
    b.columns = mean_columns(state_.chain.level(q) - state_.level);
    b.place = q;
    if (v.centeredMeans() == data::center::grand) b.centre = state_.top();
    if (v.centeredMeans() == data::center::cluster && q + 1 < state_.top()) b.centre = q + 1;
    blocks_.push_back(b);
  }
}

void published_columns::add_links(const data::variable& v) {
  if (!nominal_ && v.type != data::type::ordinal) return;
  for (unsigned q = 1; q <= state_.top(); ++q) {
    bool needed = false;
    for (const block& b : blocks_)
      needed = needed || (nominal_ && b.place == q) || ((nominal_ || b.values) && b.centre == q);
    if (!needed) continue;
    links_.resize(state_.top() + 1);
    if (nominal_)
      links_[q] = std::make_unique<category_proportions>();
    else
      links_[q] = std::make_unique<expected_code>(v.values);
  }
  linked_.resize(links_.size());
}

arma::Col<arma::uword> published_columns::mean_columns(unsigned d) const {
  if (d == 0 || d >= mean_columns_.size()) return {};
  arma::Col<arma::uword> out(mean_columns_[d].size());
  for (arma::uword k = 0; k < out.n_elem; ++k) out(k) = mean_columns_[d][k];
  return out;
}

void published_columns::set_links(const std::vector<arma::Mat<double>>& omega) {
  for (unsigned q = 1; q < links_.size(); ++q) {
    if (links_[q] == nullptr) continue;
    links_[q]->set(omega[q], nominal_ ? arma::Col<double>() : state_.components[0]->thresholds());
    refresh(q);
  }
}

void published_columns::refresh(unsigned q) {
  if (q < links_.size() && links_[q] != nullptr) links_[q]->map(state_.scores(q), linked_[q]);
}

void published_columns::refresh(unsigned q, const arma::Col<arma::uword>& units) {
  if (q < links_.size() && links_[q] != nullptr) links_[q]->map(state_.scores(q), units, linked_[q]);
}

void published_columns::keep(unsigned q) {
  if (q < links_.size() && links_[q] != nullptr) kept_ = linked_[q];
}

void published_columns::take_back(unsigned q, const arma::Col<arma::uword>& units) {
  if (q >= links_.size() || links_[q] == nullptr) return;
  for (arma::uword k = 0; k < kept_.n_cols; ++k)
    for (arma::uword u : units) linked_[q](u, k) = kept_(u, k);
}

const arma::Mat<double>& published_columns::expected(unsigned q) const {
  return state_.categorical() ? linked_[q] : state_.scores(q);
}

const arma::Mat<double>& published_columns::shown_means(unsigned q) const {
  return nominal_ ? linked_[q] : state_.scores(q);
}

bool published_columns::depends(const block& b, unsigned q) const {
  return b.place == q || (b.centre == q && q > 0);
}

bool published_columns::at_grand_mean(const block& b) const {
  return b.centre > 0 && b.centre == state_.top();
}

const arma::Mat<double>& published_columns::centres_of(const block& b) const {
  return b.values ? expected(b.centre) : shown_means(b.centre);
}

arma::Col<arma::uword> published_columns::grand_centred_columns() const {
  arma::Col<arma::uword> out;
  for (const block& b : blocks_)
    if (at_grand_mean(b)) out = arma::join_cols(out, b.columns);
  return out;
}

void published_columns::grand_centres(arma::Col<double>& out) const {
  arma::uword n = 0;
  for (const block& b : blocks_) n += at_grand_mean(b) ? b.columns.n_elem : 0;
  out.set_size(n);
  n = 0;
  for (const block& b : blocks_)
    for (arma::uword k = 0; at_grand_mean(b) && k < b.columns.n_elem; ++k) out(n++) = centres_of(b)(0, k);
}

// A row has the values of its unit, wherever the variable's own level is. `each_row` calls its argument with
// every row to be written.
template <typename Rows>
void published_columns::write_rows(arma::Mat<double>& data, const block& b, Rows each_row) const {
  const arma::Mat<double>& from = b.values ? state_.values() : shown_means(b.place);
  const arma::uword* const unit = state_.unit_of_row(b.place);
  for (arma::uword k = 0; k < b.columns.n_elem; ++k) {
    const double* const value = from.colptr(k);
    double* const to = data.colptr(b.columns(k));
    if (b.centre == 0) {
      each_row([=](arma::uword i) { to[i] = value[unit[i]]; });
      continue;
    }
    const double* const centre = centres_of(b).colptr(k);
    const arma::uword* const group = state_.unit_of_row(b.centre);
    if (group == nullptr)
      each_row([=, c = centre[0]](arma::uword i) { to[i] = value[unit[i]] - c; });
    else
      each_row([=](arma::uword i) { to[i] = value[unit[i]] - centre[group[i]]; });
  }
}

template <typename Rows>
void published_columns::write_code(arma::Mat<double>& data, Rows each_row) const {
  const arma::uword* const unit = state_.unit_of_row(0);
  const arma::uword* const category = state_.categories->memptr();
  const double* const code = codes_.data();
  double* const to = data.colptr(code_column_);
  each_row([=](arma::uword i) { to[i] = code[category[unit[i]]]; });
}

template <typename Rows>
void published_columns::write_moved(arma::Mat<double>& data, unsigned q, Rows each_row) const {
  for (const block& b : blocks_)
    if (depends(b, q)) write_rows(data, b, each_row);
  if (q == 0 && has_code_) write_code(data, each_row);
}

void published_columns::write(arma::Mat<double>& data) const {
  auto all = [n = data.n_rows](auto&& row) {
    for (arma::uword i = 0; i < n; ++i) row(i);
  };
  for (const block& b : blocks_) write_rows(data, b, all);
  if (has_code_) write_code(data, all);
}

void published_columns::write(arma::Mat<double>& data, unsigned q,
                              const arma::Col<arma::uword>& units) const {
  if (units.n_elem == state_.n_units(q)) {
    write_moved(data, q, [n = data.n_rows](auto&& row) {
      for (arma::uword i = 0; i < n; ++i) row(i);
    });
  } else if (state_.chain.level(q) == 0) {
    write_moved(data, q, [&units](auto&& row) {
      for (arma::uword i : units) row(i);
    });
  } else {
    write_moved(data, q, [this, &units, q](auto&& row) {
      for (arma::uword u : units) {
        arma::uword const end = state_.first_row(q, u + 1);
        for (arma::uword i = state_.first_row(q, u); i < end; ++i) row(i);
      }
    });
  }
}

arma::Mat<double> published_columns::centre() const {
  arma::Mat<double> out(state_.n_units(0), state_.dim, arma::fill::zeros);
  for (const block& b : blocks_) {
    if (!b.values || b.centre == 0) continue;
    const arma::Mat<double>& from = expected(b.centre);
    const arma::uword* group = state_.unit_of_row(b.centre);
    for (arma::uword i = 0; i < out.n_rows; ++i)
      out.row(i) = from.row(group == nullptr ? 0 : group[state_.first_row(0, i)]);
  }
  return out;
}

}  // namespace tovik::sem
