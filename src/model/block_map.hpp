#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "support/block.hpp"

namespace tovik::block {

/// The numbers of the blocks of a run, which order the models: the smaller comes first. The reserved names of
/// block::predef begin, in the order none, hidden, parameter, computation, imputation (all negative), model
/// (0); the user's blocks count from 1 in order of first appearance. Copies share one table.
class map {
 public:
  map();

  /// Adds a block behind those of the user so far; a name already there, or the empty name, is left alone.
  void insert(const std::string& name);

  bool contains(const std::string& name) const;

  /// The number of the block. Throws tovik::error_debug "Block doesn't exist!" for an unknown name.
  int number(const std::string& name) const;

 private:
  std::shared_ptr<std::unordered_map<std::string, int>> numbers_;
};

/// True for the names that the program itself uses for blocks.
bool is_reserved(const std::string& name);

}  // namespace tovik::block
