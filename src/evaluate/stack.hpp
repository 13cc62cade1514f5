#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace tovik::evaluate {

/// A thin owner of a work stack on the heap. For stack<node*> the nodes themselves belong to their tree.
template <class T>
class stack {
 public:
  bool empty() const { return items_->empty(); }
  std::size_t size() const { return items_->size(); }
  void push(T item) { items_->push_back(std::move(item)); }
  const T& top() const { return items_->back(); }
  T pop() {
    T item = std::move(items_->back());
    items_->pop_back();
    return item;
  }

 private:
  std::unique_ptr<std::vector<T>> items_ = std::make_unique<std::vector<T>>();
};

}  // namespace tovik::evaluate
