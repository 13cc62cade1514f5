#include "evaluate/conditional.hpp"

#include "evaluate/error.hpp"

namespace tovik::evaluate {

ifelse_inputs unpack_ifelse(const node& function) {
  const node* list = function.left.get();
  if (list->op != operations::comma || !isLogic(list->left->op) || list->right->op != operations::comma) {
    throw error_ifelse();
  }
  return {list->left.get(), list->right->left.get(), list->right->right.get()};
}

switch_inputs unpack_switch(const node& function) {
  // The list nests to the right: (logical 1, (value 1, (logical 2, (value 2, default)))).
  switch_inputs out;
  node* rest = function.left.get();
  while (rest->op == operations::comma) {
    const node* pair = rest->right.get();
    if (!isLogic(rest->left->op) || pair->op != operations::comma) throw error_switch();
    out.pairs.push(rest);
    rest = pair->right.get();
  }
  if (out.pairs.empty()) throw error_switch();
  out.otherwise = rest;
  return out;
}

}  // namespace tovik::evaluate
