#include "random/alias_table.hpp"

namespace tovik {

void alias_table::index_queue::reset(std::size_t capacity) {
  ring_.resize(capacity);
  front_ = size_ = 0;
}

std::size_t alias_table::index_queue::pop_front() {
  const std::size_t i = ring_[front_];
  front_ = (front_ + 1) % ring_.size();
  --size_;
  return i;
}

// A column that its own category does not fill is filled by one that has more than its column.
void alias_table::build(const double* p, std::size_t K) {
  p_.resize(K);
  share_.assign(K, 0.0);
  alias_.assign(K, 0);
  small_.reset(K);
  large_.reset(K);
  for (std::size_t i = 0; i < K; ++i) {
    p_[i] = p[i] * static_cast<double>(K);
    (p_[i] < 1 ? small_ : large_).push_back(i);
  }
  while (!small_.empty() && !large_.empty()) {
    const std::size_t s = small_.pop_front(), l = large_.pop_front();
    share_[s] = p_[s];
    alias_[s] = l;
    p_[l] = (p_[s] - 1) + p_[l];
    (p_[l] < 1 ? small_ : large_).push_back(l);
  }
  while (!large_.empty()) share_[large_.pop_front()] = 1;
  while (!small_.empty()) share_[small_.pop_front()] = 1;
}

}  // namespace tovik
