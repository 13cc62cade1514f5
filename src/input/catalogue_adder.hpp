#pragma once

#include <armadillo>
#include <string>

#include "data/variable_list.hpp"
#include "input/input_file.hpp"

namespace tovik {

/// Dummy codes that a nominal variable may have, plus one. More categories than this are identifiers rather
/// than groups, and their codes would fill any memory.
inline constexpr std::size_t max_nominal_categories = 1000;

/// Adds to a catalogue of data columns what stands behind them, in this order: the constant, dummy codes,
/// latent factors and phantoms, named random effects. Columns are numbered from the end of the data on; the
/// matrix itself is for the caller to enlarge.
class catalogue_adder {
 public:
  catalogue_adder(const InputFile& input, VariableList& vars, unsigned first_column);

  void constant();
  /// Gives nominal variables their `values` and codes; prints a note on references that the user has not
  /// chosen. `data` holds the data columns. Throws tovik::error, and tovik::error_debug for a variable
  /// without values.
  void dummies(const arma::Mat<double>& data);
  /// LATENT and PHANTOM. Throws tovik::error.
  void latents();
  /// RANDOMEFFECT. Throws tovik::error.
  void random_effects();

  /// How many columns have been numbered.
  unsigned columns() const { return next_ - first_; }

 private:
  std::string set_values(data::variable& v, const arma::Col<double>& column) const;
  void add_codes(const VariableList::variable_ptr& v);
  void add_latent(const std::string& name, data::type kind, unsigned level);
  void add_random_effect(const std::string& statement);

  const InputFile& input_;
  VariableList& vars_;
  unsigned first_;
  unsigned next_;
};

}  // namespace tovik
