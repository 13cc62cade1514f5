#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tovik::data {

/// What a variable of the catalogue is.
enum class type : int {
  continuous = 0,
  ordinal = 1,
  count = 3,
  nominal = 4,
  constant = 5,  ///< the column of ones, named "1"
  latent = 7,
  phantom = 8,
  multi = 9,          ///< the block of correlated outcomes; stands in no catalogue
  parameter = 10,     ///< a parameter with a prior of its own; stands in no catalogue
  computation = 11,   ///< a computed parameter; stands in no catalogue
  log_variance = 12,  ///< of a variance model; stands in no catalogue
  random_effect = 13,
  dummy = 14,
  weight = 15,
  id = 16,
};

/// True for latent factors and phantoms, whose whole column is drawn.
bool isLatent(type kind);

/// The role of a variable in the models.
enum class usage : int {
  outcome = 0,
  covariate = 1,
  derived = 2,  ///< a dummy code before its parent has a role
  unset = 3,
};

/// How a variable is centred.
enum class center : int { none = 0, grand, cluster };

/// One entry of the catalogue: everything that can stand in a model refers to data through such an object.
class variable {
 public:
  variable() = default;
  variable(std::string name, data::type kind, unsigned column, unsigned level);
  virtual ~variable() = default;

  /// Treated as fixed: not modelled, even when it is a predictor.
  virtual bool fixed() const;
  virtual void fixed(const bool& value);

  /// Gives the variable the role of an outcome.
  virtual void outcome();
  /// Gives it the role of a predictor, unless it is an outcome or derived already, or is an identifier or a
  /// named random effect.
  virtual void covariate();
  virtual data::usage usage() const;

  virtual data::center centered() const;
  virtual data::center centeredMeans() const;

  /// Each appends one column of the sampler's data to the list of that kind.
  virtual void setMean(const unsigned& index);
  virtual void setLatent(const unsigned& index);
  virtual void setRstar(const unsigned& index);
  /// `effect` names the random effect that the column holds; see randefNames.
  virtual void setRandef(const unsigned& index, const std::string& effect);
  virtual void setDummy(const std::shared_ptr<variable>& code);

  /// `level` is the catalogue level of the identifier at which the variable is centred.
  virtual void setCentered(const unsigned& level, const data::center& kind);
  virtual void setCentered(const data::center& kind);
  virtual void setCenteredMeans(const data::center& kind);

  /// Changes the shown name, and with it the names of the dummy codes; fullName stays.
  virtual void rename(const std::string& shown);

  std::vector<std::shared_ptr<variable>>
      dummies;  ///< dummy codes of a nominal variable, in order of `values`
  // Columns of the prepared data that derive from this variable; empty until the data are prepared, and for
  // what no equation uses.
  std::vector<unsigned> means;  ///< latent means, by level from the nearest; at each level one column, or one
                                ///< for each dummy code
  std::vector<unsigned> centered_columns;  ///< of an outcome that is centred: its values as other equations
                                           ///< read them, one column, or one for each dummy code
  std::vector<unsigned> latent;            ///< latent propensity: one column, or one for each dummy code
  std::vector<unsigned> rstar;             ///< missing data indicator (1 missing, 0 observed): one column
  std::vector<unsigned> randef;            ///< named random effects of this variable's equation
  std::vector<std::string> randefNames;    ///< what each entry of randef holds

  /// The column before means were taken off it in the prepared data themselves, one value for each row; empty
  /// when the prepared data hold it in its raw metric. A nominal variable is centred by its dummy codes, each
  /// of which has its own.
  std::vector<double> uncentered;

  unsigned column = 0;  ///< column in the data matrix, or no_column
  /// The number of clustering levels above the variable: 0 for a variable of the highest level and for the
  /// constant. The sampler counts the other way; data/levels.hpp converts.
  unsigned level = 0;
  unsigned centeredLevel = no_level;  ///< catalogue level of centring, where one was given

  std::string name;      ///< as the program shows it
  std::string fullName;  ///< as read
  data::type type = data::type::continuous;
  /// Category values of an ordinal or nominal variable, ascending; a nominal variable's reference comes
  /// first.
  std::vector<double> values;

  static constexpr unsigned no_level = 0xFFFFFFFFu;
  static constexpr unsigned no_column = 0xFFFFFFFFu;

 protected:
  data::usage usage_ = data::usage::unset;
  data::center centered_ = data::center::none;
  data::center centeredMeans_ = data::center::none;
  bool fixed_ = false;
};

}  // namespace tovik::data
