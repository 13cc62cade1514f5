#pragma once

#include "evaluate/node.hpp"

namespace tovik::model {

/// Evaluates a tree on columns and parameters without a single value, so that every fault that shows is one
/// of its form: a list where one value is wanted, a condition that is none, a function of columns on
/// parameters alone. Throws evaluate::error. The tree is spoilt: its columns are numbered anew and its
/// parameters bound to nothing that lasts.
void try_out(evaluate::node& tree);

/// The same for an expression of parameters that gives one number. Nothing is tried where it holds a
/// statistic of columns.
void try_out_scalar(evaluate::node& tree);

}  // namespace tovik::model
