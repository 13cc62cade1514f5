#pragma once

#include <cstddef>
#include <vector>

namespace tovik {

/// Draws from a distribution over K categories by one column of K and one uniform: Vose's form of Walker's
/// alias method (Vose, 1991, IEEE Trans. Softw. Eng. 17). Nothing is allocated while K stays.
class alias_table {
 public:
  /// `p`: K probabilities, K > 0.
  void build(const double* p, std::size_t K);
  /// The category of a column, one of K, and a uniform on [0, 1).
  std::size_t pick(std::size_t column, double u) const {
    return share_[column] > u ? column : alias_[column];
  }

 private:
  /// First in, first out.
  class index_queue {
   public:
    void reset(std::size_t capacity);
    bool empty() const { return size_ == 0; }
    void push_back(std::size_t i) { ring_[(front_ + size_++) % ring_.size()] = i; }
    std::size_t pop_front();

   private:
    std::vector<std::size_t> ring_;
    std::size_t front_ = 0, size_ = 0;
  };

  std::vector<double> p_, share_;  ///< of a column that belongs to its own category
  std::vector<std::size_t> alias_;
  index_queue small_, large_;
};

}  // namespace tovik
