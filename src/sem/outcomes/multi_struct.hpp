#pragma once

#include <vector>

#include "sem/outcomes/multi.hpp"
#include "sem/scan/covariance_walk.hpp"

namespace tovik::sem {

/// A block of whose covariance matrix something is known: correlations that are 0 or another value, variances
/// that have a value or are the unit of a propensity, correlations that a label drives. The free elements
/// move one by one (see scan::covariance_walk): first variances, then covariances by the columns of the lower
/// triangle.
///
/// A correlation that is known and not 0, or has a label, stays where it is while a variance moves; in such a
/// block all correlations do. A label is drawn where its covariance stands, as rho = Sigma_ij / sqrt(Sigma_ii
/// Sigma_jj), under its own prior and that of the block.
class MultiStruct : public Multi {
 public:
  MultiStruct(const Estimator* estimator, const block_setup& setup);

  void tune() override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  arma::uword n_estimated() const override;

  /// The label of a correlation (see Multi::constraint for the index) is drawn here: `others` has its prior
  /// and what else it moves. `moves_residuals`: the residuals of the block depend on it. Returns a handle.
  std::shared_ptr<estimator::constraint> drive_correlation(unsigned index,
                                                           const estimator::constraint& others,
                                                           bool has_prior, bool moves_residuals);
  /// The label starts at x. False, with nothing done, where no covariance matrix has it.
  bool start_correlation(unsigned index, double x);
  bool variance_moves(unsigned position) const override { return known_variances_(position) == 0; }

 protected:
  /// Sigma has the prior that is flat in the variances and the correlations.
  void keep_correlations() { keeps_correlations_ = flat_correlations_ = true; }
  arma::uword n_free(arma::uword j) override;
  void draw_matrix(const arma::Mat<double>& data) override;
  void prepare() override;

 private:
  struct label {
    arma::uword i, j;
    bool has_prior, moves_residuals;
    std::shared_ptr<estimator::constraint> rho;
  };

  bool is_free(arma::uword i, arma::uword j) const { return elements_(i, j) == block_setup::drawn; }
  void read_products(const arma::Mat<double>& data);
  label* label_of(arma::uword i, arma::uword j);
  void draw_label(label& which, estimator::tune_obj& tune, const arma::Mat<double>& data);
  double density_of_matrix() const;
  void settle_correlations();

  arma::Col<unsigned char> known_variances_;
  bool keeps_correlations_ = false, flat_correlations_ = false;
  scan::covariance_walk walk_;
  arma::Mat<double> S_;
  std::vector<label> labels_;
  std::vector<estimator::tune_obj> tune_;  ///< in the order of the draws
};

}  // namespace tovik::sem
