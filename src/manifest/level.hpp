#pragma once

#include <memory>
#include <vector>

#include "manifest/data.hpp"
#include "manifest/nom_var.hpp"
#include "manifest/ord_var.hpp"
#include "manifest/var.hpp"

namespace tovik::manifest {

/// The models of the incomplete variables of one level of the data.
class Level {
 public:
  /// Takes the variables of `level` and fills their missing cells.
  Level(Data& data, unsigned level, const std::shared_ptr<Random>& rng, const options& how);

  /// One scan: continuous variables, then ordinal, then nominal ones, each in the order of the catalogue.
  /// Each is drawn given the latest values and means of all others.
  void oneRep();
  void tune();

  /// True when parameters are drawn from the observed values alone, as in chained equations; otherwise from
  /// the completed data, as in a Gibbs sampler.
  bool checkMICE() const { return mice_; }
  /// In the order of the scan.
  const std::vector<std::unique_ptr<Var>>& variables() const { return variables_; }

 private:
  void updateMeans(const Var& v);

  Data& data_;
  bool mice_;
  std::vector<std::unique_ptr<Var>> variables_;
};

}  // namespace tovik::manifest
