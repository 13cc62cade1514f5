// What the members of a block say together of an unknown that stands in some of them.
//
// With e = (e_1, ..., e_p) ~ N(0, Sigma) the residuals of a unit, each e_j = b_j - a_j x in the unknown x
// (b_j without it, a_j = 0 for a member that does not hold it, a_j = -1 and b_j = -eta_j for the member whose
// own outcome it is), the density of the unit in x is a normal factor of precision a'Omega a and linear term
// a'Omega b, Omega = inv(Sigma). Members one by one, each given the others, would count it more than once:
// the residuals that one conditions on hold x, too.

#include <algorithm>
#include <memory>
#include <utility>

#include "sem/autosolver/normal.hpp"
#include "sem/autosolver/normal_1D.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/solved_units.hpp"
#include "sem/scan/blas.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

/// The members with their parts in an unknown, and work space.
class Multi::solved_members {
 public:
  solved_members(const Multi& block, const std::vector<solved_role>& roles, std::shared_ptr<solved_units> at)
      : block_(block), at_(std::move(at)), roles_(roles), of_member_(block.size(), nullptr) {
    if (roles_.empty()) throw error_debug("No member of the block holds the unknown.");
    for (const solved_role& role : roles_) {
      const solved_role*& place = of_member_[block.position_of(*role.member)];
      if (place != nullptr) throw error_debug("A member of the block holds the unknown twice.");
      place = &role;
    }
    arma::uword const n = at_->units.n_elem;
    for (arma::Mat<double>* m : {&slope_, &without_}) m->zeros(n, block.size());
    q_.resize(n);
    d_.resize(n);
    weighted_.resize(n);
  }
  solved_members(const solved_members&) = delete;
  solved_members& operator=(const solved_members&) = delete;

  /// q and d of each unit of the unknown, in at(); their sums over all units.
  void read(const arma::Mat<double>& data) {
    read_units(data);
    const bool of_clusters = !at_->counts.empty() && block_.sampling() != nullptr;
    if (of_clusters) weigh(block_.sampling()->within);
    at_->sum([this](arma::uword k, double& q, double& d) {
      q += q_[k];
      d += d_[k];
    });
  }
  std::pair<double, double> total(const arma::Mat<double>& data) {
    read_units(data);
    if (block_.sampling() != nullptr) weigh(block_.sampling()->rows);
    double q = 0.0, d = 0.0;
    for (std::size_t k = 0; k < q_.size(); ++k) {
      q += q_[k];
      d += d_[k];
    }
    return {q, d};
  }
  const solved_units& at() const { return *at_; }

 private:
  void weigh(const arma::Col<double>& w) {
    for (std::size_t k = 0; k < q_.size(); ++k) {
      q_[k] *= w(at_->units(k));
      d_[k] *= w(at_->units(k));
    }
  }

  /// a and b of one member.
  void read_member(const arma::Mat<double>& data, arma::uword j) {
    const Regression& member = *block_.members_[j];
    arma::uword const n = q_.size();
    double *a = slope_.colptr(j), *b = without_.colptr(j);
    if (of_member_[j] == nullptr) {
      member.residual_at(data, at_->units, b);
    } else if (of_member_[j]->how.is_empty()) {
      member.predict_solved(data, *at_);
      for (arma::uword k = 0; k < n; ++k) b[k] = -at_->mu(k);
      std::fill_n(a, n, -1.0);
    } else {
      member.read_solved(data, of_member_[j]->how, *at_);
      std::copy_n(at_->A.data(), n, a);
      std::copy_n(at_->e.data(), n, b);
    }
    block_.standardize(data, j, at_->units.memptr(), n, b);
    if (of_member_[j] != nullptr) block_.standardize(data, j, at_->units.memptr(), n, a);
  }

  void read_units(const arma::Mat<double>& data) {
    arma::uword const p = block_.size();
    for (arma::uword j = 0; j < p; ++j) read_member(data, j);
    std::fill(q_.begin(), q_.end(), 0.0);
    std::fill(d_.begin(), d_.end(), 0.0);
    for (arma::uword j = 0; j < p; ++j) {
      if (of_member_[j] == nullptr) continue;
      add_weighted(j, slope_, q_);
      add_weighted(j, without_, d_);
    }
  }

  /// out += a_j times the j-th row of Omega of the columns of `of`.
  void add_weighted(arma::uword j, const arma::Mat<double>& of, std::vector<double>& out) {
    arma::uword const n = out.size();
    std::fill(weighted_.begin(), weighted_.end(), 0.0);
    for (arma::uword k = 0; k < block_.size(); ++k)
      if (block_.Omega_(j, k) != 0.0)
        scan::add_scaled(n, block_.Omega_(j, k), of.colptr(k), weighted_.data());
    const double* a = slope_.colptr(j);
    for (arma::uword i = 0; i < n; ++i) out[i] += a[i] * weighted_[i];
  }

  const Multi& block_;
  std::shared_ptr<solved_units> at_;
  std::vector<solved_role> roles_;
  std::vector<const solved_role*> of_member_;  ///< null: the member does not hold the unknown
  arma::Mat<double> slope_, without_;          ///< units x p
  std::vector<double> q_, d_, weighted_;
};

autosolver::contribution<autosolver::normal> Multi::distributionFunc(
    const std::vector<solved_role>& roles, const int& at, const arma::Col<arma::uword>& units) const {
  auto members = std::make_shared<solved_members>(*this, roles, members_.front()->units_within(at, units));
  return [members](const arma::Mat<double>& data, autosolver::normal previous) {
    members->read(data);
    const solved_units& found = members->at();
    previous.multiply(found.q.data(), found.d.data(), found.n());
    return previous;
  };
}

autosolver::contribution<autosolver::normal_1D> Multi::distributionFunc(
    const std::vector<solved_role>& roles) const {
  auto members = std::make_shared<solved_members>(*this, roles, members_.front()->every_unit());
  return [members](const arma::Mat<double>& data, autosolver::normal_1D previous) {
    const auto [q, d] = members->total(data);
    return previous.multiply(q, d);
  };
}

}  // namespace tovik::sem
