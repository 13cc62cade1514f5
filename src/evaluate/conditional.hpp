#pragma once

#include "evaluate/node.hpp"
#include "evaluate/stack.hpp"

namespace tovik::evaluate {

/// The inputs of "ifelse" in its tree, not owned.
struct ifelse_inputs {
  const node* logical;
  const node* yes;
  const node* no;
};

/// Takes the inputs of an "ifelse" node apart. Throws error_ifelse unless the first is a logic node and two
/// more stand behind it.
ifelse_inputs unpack_ifelse(const node& function);

/// The inputs of "switch" in its tree, not owned. On the stack stand the "," nodes (logical, (value, ...)),
/// the last pair on top: going down the stack from the default lets the earliest true condition win.
struct switch_inputs {
  stack<node*> pairs;
  const node* otherwise;
};

/// Takes the inputs of a "switch" node apart. Throws error_switch unless they are pairs of a logic node and a
/// value, and a default.
switch_inputs unpack_switch(const node& function);

}  // namespace tovik::evaluate
