#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/predictors/category_link.hpp"
#include "sem/predictors/predictor_state.hpp"

namespace tovik::data {
class variable;
}

namespace tovik::sem {

/// The columns of the working matrix by which outcome models read a predictor.
///
/// Values stand less their centre: nothing, the grand mean, or the latent mean of the unit's group. So do the
/// latent means: nothing, the grand mean, or the mean of the level above (at the highest level nothing). For
/// categorical variables a centre is on the scale of the codes, by category_link; the latent means of a
/// nominal variable are published as proportions, those of an ordinal one on the scale of its scores.
class published_columns {
 public:
  /// Throws error_debug when group centring is asked for and the variable varies at its own level only, or
  /// when the columns of its means are not one set for each level above.
  published_columns(const predictor_setup& setup, const predictor_state& state);

  int mode() const { return mode_; }
  int mean_mode() const { return mean_mode_; }
  const arma::Col<arma::uword>& value_columns() const { return value_columns_; }
  arma::Col<arma::uword> mean_columns(unsigned d) const;

  /// Whether a column follows from the scores at place q >= 1 by way of a category_link: the link then
  /// depends on all parameters below, which must be known.
  bool has_links() const { return !links_.empty(); }
  /// Takes the links anew: `omega[q]` is the covariance of the scores around the mean at place q >= 1.
  void set_links(const std::vector<arma::Mat<double>>& omega);
  /// Refreshes what the links give at place q after its scores moved.
  void refresh(unsigned q);
  void refresh(unsigned q, const arma::Col<arma::uword>& units);
  /// Remembers what the links give at place q; gives it back to units whose scores are what they were then.
  void keep(unsigned q);
  void take_back(unsigned q, const arma::Col<arma::uword>& units);

  /// Writes the columns over all rows.
  void write(arma::Mat<double>& data) const;
  /// Writes what depends on the scores at place q, over the rows of these units of the place.
  void write(arma::Mat<double>& data, unsigned q, const arma::Col<arma::uword>& units) const;

  /// The columns that stand less the grand mean, or less what a link makes of it, and these centres.
  arma::Col<arma::uword> grand_centred_columns() const;
  void grand_centres(arma::Col<double>& out) const;

  /// What the values of own units are less of, own units x dim; zeros without centring.
  arma::Mat<double> centre() const;
  /// The means at a place as they are published, before centring.
  const arma::Mat<double>& shown_means(unsigned q) const;

 private:
  struct block {
    arma::Col<arma::uword> columns;
    bool values = false;  ///< values; else means
    unsigned place = 0;   ///< of what stands in the columns
    unsigned centre = 0;  ///< the place whose scores are the centre; 0 for none
  };

  void add_values(const predictor_setup& setup);
  void add_means(const data::variable& v);
  void add_links(const data::variable& v);
  bool depends(const block& b, unsigned q) const;
  bool at_grand_mean(const block& b) const;
  const arma::Mat<double>& centres_of(const block& b) const;
  const arma::Mat<double>& expected(unsigned q) const;
  template <typename Rows>
  void write_rows(arma::Mat<double>& data, const block& b, Rows each_row) const;
  template <typename Rows>
  void write_code(arma::Mat<double>& data, Rows each_row) const;
  template <typename Rows>
  void write_moved(arma::Mat<double>& data, unsigned q, Rows each_row) const;

  const predictor_state& state_;
  bool nominal_ = false;
  int mode_ = 2, mean_mode_ = 0;
  arma::Col<arma::uword> value_columns_;
  std::vector<std::vector<unsigned>> mean_columns_;  ///< by distance above the own level, from 1
  std::vector<block> blocks_;
  bool has_code_ = false;  ///< a nominal variable's own column, beside its dummy codes
  arma::uword code_column_ = 0;
  std::vector<double> codes_;
  std::vector<std::unique_ptr<category_link>> links_;  ///< by place, null where none is needed
  std::vector<arma::Mat<double>> linked_;              ///< what they give at the current scores
  arma::Mat<double> kept_;
};

}  // namespace tovik::sem
