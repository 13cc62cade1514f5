#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/predictors/component.hpp"
#include "sem/predictors/unit_chain.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::sem {

/// The state of a predictor model that its steps share.
///
/// Places: 0 is the variable's own level, 1 .. m are the levels of the chain above it, and place m + 1 is the
/// grand mean, a level with one unit. With S_q the scores at place q, e_q = S_q - S_{q+1}[parent] and
/// W_q gamma_q the regression of e_q, a mean at any place q >= 1 has its children at place q - 1.
struct predictor_state {
  /// Components are added by the kind of variable. `n_dim`: score columns.
  predictor_state(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
                  arma::uword n_dim);

  std::shared_ptr<Random> rng;
  const working_data* working;
  unsigned level;  ///< own level of the data
  unit_chain chain;
  arma::uword dim;
  std::vector<arma::Col<arma::uword>> predictors;      ///< W_q: columns of level scores
  std::vector<std::unique_ptr<Component>> components;  ///< places 0 .. m; each holds its S_q
  arma::Mat<double> grand_mean;                        ///< 1 x dim
  double mean_precision = 0;  ///< of the grand mean's normal prior about 0; 0 for a flat one
  arma::Mat<double> coding;   ///< of a categorical variable: category x value columns; else empty
  const arma::Col<arma::uword>* categories = nullptr;  ///< of every own unit, if categorical
  arma::Mat<double> coded;  ///< the values of a categorical variable, own units x dim

  bool categorical() const { return categories != nullptr; }
  /// m + 1.
  unsigned top() const { return chain.n_above() + 1; }
  arma::uword n_units(unsigned q) const { return q == top() ? 1 : chain.n_units(q); }
  arma::Mat<double>& scores(unsigned q) { return q == top() ? grand_mean : components[q]->score; }
  const arma::Mat<double>& scores(unsigned q) const { return q == top() ? grand_mean : components[q]->score; }
  /// For q <= m: the unit of place q + 1 that holds each unit of place q.
  const arma::Col<arma::uword>& parent(unsigned q) const {
    return q + 1 == top() ? in_all_ : chain.parent(q);
  }
  /// Of the own units, in the metric of the data: values, codes, or dummy codes.
  const arma::Mat<double>& values() const { return categorical() ? coded : scores(0); }
  /// Replaces own scores; of a categorical variable its categories and values follow.
  void set_own(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units);
  /// After the categories of these units moved, or of all.
  void follow_categories(const arma::Col<arma::uword>& units);
  void follow_categories();

  /// e_q, units x dim.
  arma::Mat<double> deviation(unsigned q) const;
  /// Column k of e_q, and of e_0 at these units only.
  void deviation(unsigned q, arma::uword k, double* out) const;
  void deviation(arma::uword k, const arma::Col<arma::uword>& own_units, double* out) const;
  /// S_{q+1}[parent] + W_q gamma_q, into `out`.
  void expected(unsigned q, const level_scores& at, arma::Mat<double>& out) const;

  /// For every row of the data its unit at a place; null at the grand mean, whose unit is 0.
  const arma::uword* unit_of_row(unsigned q) const;
  /// The rows of a unit: [first_row(q, unit), first_row(q, unit + 1)).
  arma::uword first_row(unsigned q, arma::uword unit) const;

 private:
  arma::Col<arma::uword> in_all_;  ///< the parents of the units at place m
};

}  // namespace tovik::sem
