#pragma once

#include <armadillo>
#include <functional>

/// Conditional distributions that are derived from the equations themselves.
namespace tovik::sem::autosolver {

class normal;     ///< one normal distribution per unit
class normal_1D;  ///< the normal distribution of one parameter
class inv_gamma;  ///< the inverse gamma distribution of one variance
class solution;   ///< how an equation depends on the unknown
template <class T>
class solver;

/// The contribution of one model: takes what the models before it gave, by value so that its room goes from
/// one to the next, and adds its own.
template <class T>
using contribution = std::function<T(const arma::Mat<double>&, T)>;

}  // namespace tovik::sem::autosolver
