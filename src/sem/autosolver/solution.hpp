#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "evaluate/node.hpp"
#include "sem/autosolver/computation.hpp"

namespace tovik::sem::autosolver {

class solution;

/// How the linear predictor of one equation depends on an unknown: in each row it is A times the unknown,
/// plus what does not involve it. B is the first part at the unknown's current value, so that the residual of
/// the equation without the unknown is y - predictor + B.
///
/// `data` is the working matrix (rows are observations), `coefficients` a column of all coefficients of the
/// equation, or a matrix with a column for each equation of several with one design.
class _solution {
 public:
  virtual ~_solution() = default;

  /// B and A of every row.
  virtual arma::Col<double> B_vec(const arma::Mat<double>& data, const arma::Col<double>& coefficients) const;
  virtual arma::Col<double> A_vec(const arma::Mat<double>& data, const arma::Col<double>& coefficients) const;
  /// A column for each column of the coefficients.
  virtual arma::Mat<double> B_mat(const arma::Mat<double>& data, const arma::Mat<double>& coefficients) const;
  virtual arma::Mat<double> A_mat(const arma::Mat<double>& data, const arma::Mat<double>& coefficients) const;
  /// Adds a computed term that holds the unknown.
  virtual _solution& operator+=(const computation& term) = 0;
  /// The column of the data that holds the unknown. Throws error_debug when there is none.
  virtual arma::uword indicator() const = 0;
  /// The positions of the coefficients that multiply the unknown.
  virtual arma::Col<arma::uword> indicators() const = 0;
  /// Unknowns, and the solution of each: 1 but for several columns of one variable.
  virtual arma::uword size() const { return 1; }
  /// Throws error_debug where the solution is that of one unknown.
  virtual const solution& elem(const unsigned& i) const;

  /// A at some rows (null: at every row) into `out`; touches no others and allocates nothing once the number
  /// of rows is known.
  virtual void A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
                    const arma::Col<arma::uword>* rows, double* out) const = 0;
  /// The current value of the unknown in a row; in some rows (null: in every row) into `out`.
  virtual double value(const arma::Mat<double>& data, arma::uword row) const;
  virtual void values_at(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                         double* out) const;
  /// The position of the coefficient that is A in every row, where the unknown stands in one plain term
  /// alone; else -1.
  virtual int only_position() const { return -1; }
};

/// A handle on a solution; copies share it.
class solution {
 public:
  solution() = default;
  explicit solution(std::shared_ptr<_solution> of) : of_(std::move(of)) {}

  /// The unknown stands alone: coefficient `position`, data column `column`.
  static solution constant(unsigned position, unsigned column);
  /// It stands alone at these positions, and in the products that are added.
  static solution product(const arma::Col<arma::uword>& positions, unsigned column);
  /// It is a labelled parameter: `target` is a "#VAR" bound to its cell, which is the coefficient at each of
  /// `positions`, whose data columns are `columns`. Throws error_debug for another node and for different
  /// lengths.
  static solution parameter(std::shared_ptr<evaluate::node> target, const arma::Col<arma::uword>& positions,
                            const arma::Col<arma::uword>& columns);
  /// It has several columns, each with a solution of its own.
  static solution multivariate(const std::vector<solution>& parts, const std::vector<unsigned>& columns);

  bool is_empty() const { return of_ == nullptr; }
  arma::Col<double> B_vec(const arma::Mat<double>& data, const arma::Col<double>& coefficients) const {
    return of_->B_vec(data, coefficients);
  }
  arma::Col<double> A_vec(const arma::Mat<double>& data, const arma::Col<double>& coefficients) const {
    return of_->A_vec(data, coefficients);
  }
  arma::Mat<double> B_mat(const arma::Mat<double>& data, const arma::Mat<double>& coefficients) const {
    return of_->B_mat(data, coefficients);
  }
  arma::Mat<double> A_mat(const arma::Mat<double>& data, const arma::Mat<double>& coefficients) const {
    return of_->A_mat(data, coefficients);
  }
  solution& operator+=(const computation& term) {
    *of_ += term;
    return *this;
  }
  arma::uword indicator() const { return of_->indicator(); }
  arma::Col<arma::uword> indicators() const { return of_->indicators(); }
  arma::uword size() const { return of_->size(); }
  const solution& elem(const unsigned& i) const { return of_->elem(i); }
  void A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
            const arma::Col<arma::uword>* rows, double* out) const {
    of_->A_at(data, coefficients, rows, out);
  }
  double value(const arma::Mat<double>& data, arma::uword row) const { return of_->value(data, row); }
  void values_at(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows, double* out) const {
    of_->values_at(data, rows, out);
  }
  int only_position() const { return of_->only_position(); }

 private:
  std::shared_ptr<_solution> of_;
};

}  // namespace tovik::sem::autosolver
