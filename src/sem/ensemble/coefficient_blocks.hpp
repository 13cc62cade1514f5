#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/ensemble/label_plan.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/scan/coefficient_block.hpp"

namespace tovik {
class ModelList;
class Random;
}  // namespace tovik

namespace tovik::sem {

class NBinomial;

/// Several equations whose coefficients are drawn together, because labels stand in more than one of them:
/// before the equations themselves are drawn, with the random effects that this integrates out. One that is
/// in a block of correlated outcomes is drawn given the residuals of the other members, as in its own draw;
/// where two of one block are among the equations, both enter by the joint density of the block, given their
/// random effects. Where all are equations of counts, the parameters first move as those of one equation do
/// (see NBinomial).
class joint_coefficients {
 public:
  /// `equations`: none before one whose outcome it reads.
  joint_coefficients(std::shared_ptr<scan::coefficient_block> block, std::vector<Regression*> equations,
                     Random& rng);

  void draw(arma::Mat<double>& data);

 private:
  void move_counts(const arma::Mat<double>& data);

  std::shared_ptr<scan::coefficient_block> block_;
  struct correlated {
    Multi* block;
    std::vector<Regression*> members;
  };
  std::vector<Regression*> equations_;
  std::vector<Regression*> alone_;      ///< of these
  std::vector<correlated> correlated_;  ///< the others
  std::vector<NBinomial*> counts_;      ///< all equations, if these are of counts; else none
  std::vector<arma::uword> all_;        ///< parameters
  scan::newton_move newton_;
  scan::newton_move::terms terms_;
  std::vector<scan::newton_move::part> parts_;
  Random& rng_;
};

/// The labels whose places are coefficients of normal or working normal equations and whose prior is normal,
/// flat, or flat within bounds, and the blocks that draw them with the other coefficients of their equations
/// (see coefficient_block). Labels that stand in one equation, directly or through others, are one block. A
/// member of a block of correlated outcomes is an equation like others, given the residuals of the rest.
class coefficient_blocks {
 public:
  using models = std::vector<std::shared_ptr<estimator::Outcome>>;

  coefficient_blocks(const models& models, const std::vector<planned_label>& plan);

  /// The prior of a label that a block could draw; false for a prior of another form.
  bool prior_of(const planned_label& label, scan::parameter_prior& out) const;
  /// Whether a block will draw the label.
  bool holds(const planned_label& label) const;
  /// It will, as this parameter, whose links are all its places: its equations leave the places to the block.
  void add(const planned_label& label, const std::shared_ptr<estimator::constraint>& parameter);
  /// After all labels have taken their places. Returns the blocks that are not part of an equation's draw.
  std::vector<std::unique_ptr<joint_coefficients>> build(Random& rng);

 private:
  struct member {
    const planned_label* label;
    std::shared_ptr<estimator::constraint> parameter;
    scan::parameter_prior prior;
  };
  struct group {
    std::vector<unsigned> equations;  ///< in the order in which they are drawn
    std::vector<const planned_label*> labels;
  };

  bool suits(const planned_label& label) const;
  void join(const planned_label& label);
  bool sort_equations(group& g) const;
  std::unique_ptr<joint_coefficients> build(const group& g, Random& rng) const;
  Regression& equation(unsigned model) const;

  const models& models_;
  std::vector<group> groups_;
  std::vector<member> members_;
};

}  // namespace tovik::sem
