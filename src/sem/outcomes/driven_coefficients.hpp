#pragma once

#include <algorithm>
#include <armadillo>
#include <vector>

namespace tovik::sem {

/// The coefficients of an equation that are driven from outside, and how the drawn ones go along with them.
///
/// A predictor and the constant, or two predictors, are seldom orthogonal: a driven coefficient alone would
/// move across a narrow ridge of the posterior. When it moves by d, the drawn coefficients b_F therefore move
/// by -A d, with A = inv(X_F'X_F) X_F'x the regression of its column x on theirs, so that the fit changes
/// only by the part of x that the others do not explain. The map (driven, b_F) -> (driven + d, b_F - A d) is
/// a shear: it preserves volume and -d undoes it, and b_F has a flat prior, so that a random walk of the
/// driven coefficient is accepted by the likelihood as before (Liu & Sabatti, 2000, Biometrika 87, 353-369,
/// on moves along a group). Any A serves that is the same before and after a move. Where the columns
/// change from scan to scan it is that of one state of the data, made anew while proposals are adapted.
class driven_coefficients {
 public:
  /// Coefficient j is driven.
  void add(arma::uword j) { driven_.push_back(j); }
  bool empty() const { return driven_.empty(); }
  bool holds(arma::uword j) const { return std::find(driven_.begin(), driven_.end(), j) != driven_.end(); }

  /// `X`: units x coefficients, of which driven and drawn columns are read; `free`: the drawn ones; `b`:
  /// where they stand. A design of dependent columns has no A: the drawn coefficients then stay.
  void connect(const arma::Mat<double>& X, const arma::Col<arma::uword>& free, const arma::Mat<double>& b);
  /// Drawn coefficients go along.
  bool connected() const { return !A_.is_empty(); }
  /// What the drawn columns leave of the products of the columns of two driven coefficients; 0 for others.
  double left(arma::uword j, arma::uword k) const;
  /// The coefficients were drawn or set: what follows moves from here.
  void anchor(const arma::Mat<double>& b);
  /// Driven coefficients were written in `b`: moves the drawn ones along. The result depends on the driven
  /// values alone, so that writing an old value again restores everything.
  void follow(arma::Mat<double>& b) const;

 private:
  std::vector<arma::uword> driven_;
  arma::Col<arma::uword> free_;
  arma::Mat<double> A_;     ///< free x driven; empty: nothing goes along
  arma::Mat<double> left_;  ///< driven x driven
  arma::Col<double> anchor_;
};

}  // namespace tovik::sem
