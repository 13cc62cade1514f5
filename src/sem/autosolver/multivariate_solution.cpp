#include "sem/autosolver/multivariate_solution.hpp"

#include <string>

#include "support/error.hpp"

namespace tovik::sem::autosolver {
namespace {

[[noreturn]] void has_no(const char* what) {
  throw error_debug("Multivariate solution does not have a " + std::string(what));
}

}  // namespace

arma::Col<double> _multivariate_solution::B_vec(const arma::Mat<double>&, const arma::Col<double>&) const {
  has_no("B_vec");
}

arma::Col<double> _multivariate_solution::A_vec(const arma::Mat<double>&, const arma::Col<double>&) const {
  has_no("A_vec");
}

arma::Mat<double> _multivariate_solution::B_mat(const arma::Mat<double>&, const arma::Mat<double>&) const {
  has_no("B_mat");
}

arma::Mat<double> _multivariate_solution::A_mat(const arma::Mat<double>&, const arma::Mat<double>&) const {
  has_no("A_mat");
}

_solution& _multivariate_solution::operator+=(const computation&) {
  has_no("computation");
}

arma::uword _multivariate_solution::indicator() const {
  has_no("indicator");
}

arma::Col<arma::uword> _multivariate_solution::indicators() const {
  arma::Col<arma::uword> out;
  for (const solution& part : parts) out = arma::join_cols(out, part.indicators());
  return out;
}

const solution& _multivariate_solution::elem(const unsigned& i) const {
  if (i >= parts.size()) has_no("part of this number");
  return parts[i];
}

void _multivariate_solution::A_at(const arma::Mat<double>&, const arma::Mat<double>&,
                                  const arma::Col<arma::uword>*, double*) const {
  has_no("A_vec");
}

double _multivariate_solution::value(const arma::Mat<double>&, arma::uword) const {
  has_no("indicator");
}

}  // namespace tovik::sem::autosolver
