#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/phantoms/phantom_part.hpp"
#include "sem/wiring/correlated_side.hpp"

namespace tovik {
class Random;
}

namespace tovik::sem {

class Phantom;

/// The values of several equations at the units of one level that phantoms tie together, with the scores
/// integrated out. Stack the values of a unit to x, the covariance matrices S_j of the equations to a block
/// diagonal matrix, and the loadings of all phantoms to Lambda. Given the scores P, x ~ N(Lambda P, C) with C
/// block diagonal; without them
///
///   x ~ N(0, V),   V = C + Lambda Lambda',
///
/// which has the S_j on its diagonal and the covariances rho sqrt(v w) beside them. The scores given x are
/// normal with the precision H = I + Lambda' inv(C) Lambda and the mean inv(H) Lambda' inv(C) x, the same for
/// all units.
///
/// With a side whose values are normal only given weights of the units (see weighted_side) the scores stay:
/// densities are those of all values given the scores, variances are left to their equations, and the scores
/// of one phantom after the other are drawn given the rest and fresh weights.
class phantom_block {
 public:
  explicit phantom_block(arma::uword n_units) : n_units_(n_units) {}

  /// A phantom and its two sides, which must outlive the object.
  void add(const Phantom& phantom);
  /// One of its sides has values that are in the block already.
  bool touches(const Phantom& phantom) const;

  /// Takes the values at the data.
  void read(const arma::Mat<double>& data);
  /// log density of the values read last, scores integrated out; -inf where a correlation leaves no variance.
  double log_density();
  /// Two variances and their correlation together, all else in the block and the other correlations of their
  /// equations given: an independent proposal from the inverse Wishart distribution of the covariance matrix
  /// of the two sets of values, accepted by Metropolis-Hastings. It takes one normal, two gamma and one
  /// uniform number; none for a phantom whose variances or correlation are not free.
  void draw_pair(Random& rng, Phantom& phantom);
  /// The scores of all phantoms from their joint full conditional, one phantom after the other: units x
  /// phantoms normal numbers.
  void draw_scores(Random& rng, arma::Mat<double>& data);

  /// What the density stands for, of each set of values in the block.
  std::vector<const void*> sources() const;

 private:
  /// Values with one covariance matrix.
  struct member {
    correlated_side* side;
    arma::uword first;  ///< their first column among all
  };
  /// Where a phantom enters: two elements of the stacked values.
  struct entry {
    std::size_t member;
    arma::uword term;
  };

  std::size_t member_of(correlated_side& side);
  arma::uword value_of(const correlated_side& side) const;
  bool stack_loadings();
  bool prepare_scores();
  double log_density_given_scores();
  void draw_scores_in_turn(Random& rng, arma::Mat<double>& data);
  void take_slopes(Random& rng, const arma::Mat<double>& data);
  void add_information(std::size_t phantom, const entry& at);

  arma::uword n_units_;
  std::vector<member> members_;
  std::vector<const Phantom*> phantoms_;
  std::vector<std::vector<entry>> entries_;  ///< of each phantom
  arma::uword n_values_ = 0;
  arma::Mat<double> X_;        ///< units x values
  arma::Mat<double> none_;     ///< units x 0
  phantom_products products_;  ///< of X alone
  arma::Mat<double> Lambda_, V_, W_, H_, M_, noise_, Z_, scores_;

  bool given_scores_ = false;
  const arma::Mat<double>* data_ = nullptr;  ///< of the last read()
  std::vector<arma::Mat<double>> slopes_;    ///< per member, of the log density of its values at scores of 0
  std::vector<arma::Col<double>> weights_;   ///< per member; empty: one precision for all units
  arma::Col<double> information_, sum_, slope_;  ///< of one score: of each unit
};

/// All correlations of a chain that phantoms carry. They are drawn together, at the turn of the first: each
/// correlation in the order of the list, with the scores integrated out, then all scores. Correlations with
/// one label may stand in different blocks.
class phantom_group {
 public:
  /// In the order of the list, with both sides attached.
  void add(Phantom& phantom) { phantoms_.push_back(&phantom); }
  /// After the last phantom: finds the blocks, and tells every correlation which density it moves.
  void connect();
  /// A correlation moves the values themselves too: they are taken anew for every evaluation.
  void set_values_move() { values_move_ = true; }
  bool values_move() const { return values_move_; }
  /// The models take what they report from the variances after the draw: it may move these too.
  void set_before_models(bool yes) { before_models_ = yes; }

  /// Random numbers: those of each correlation and of its variances in turn, then those of the scores, block
  /// by block.
  void draw(Random& rng, arma::Mat<double>& data);
  /// Gives every correlation a first proposal from the shape of its log density at the data.
  void find_proposals(const arma::Mat<double>& data);
  bool leads(const Phantom& phantom) const { return !phantoms_.empty() && phantoms_.front() == &phantom; }
  /// The matrix of the last draw.
  const arma::Mat<double>& data() const { return *data_; }

 private:
  void read(const arma::Mat<double>& data);

  std::vector<Phantom*> phantoms_;
  std::vector<std::unique_ptr<phantom_block>> blocks_;
  bool values_move_ = false;
  bool before_models_ = false;
  const arma::Mat<double>* data_ = nullptr;
};

}  // namespace tovik::sem
