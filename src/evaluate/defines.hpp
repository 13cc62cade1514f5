#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "evaluate/node.hpp"

namespace tovik::evaluate {

/// The name table of a run: what a name in an expression stands for. Names match without regard to letter
/// case; the first spelling is kept for print. Complete before chains start, then only read.
class defines {
 public:
  struct def {
    /// The table in which `text` is to be parsed.
    const defines* owner = nullptr;
    /// 0 declared and undefined, 2 data column, 3 parameter cell, 4 expression.
    int kind = 0;
    /// "#DATA(k)", "#VAR(k)", or the expression as written.
    std::string text;
    /// The first spelling of the name.
    std::string name;
    /// Of an announced definition: its expression as written, before and after it is given.
    std::string announced;
    /// The names in `announced` that are neither functions nor numbers, each once, in order.
    std::vector<std::string> reads;

    /// `text` parsed under `owner` and optimized; null when `text` is empty.
    std::unique_ptr<node> get_node() const;
  };

  defines() = default;
  defines(const defines&) = delete;  // entries point back at their table
  defines& operator=(const defines&) = delete;

  /// Declares a name that is not yet in the table.
  void define(const std::string& name);
  /// Declares a name together with the expression that a statement further down will give it, so that terms
  /// which use the name know what it reads before it is given. Of several announcements the first counts.
  void announce(const std::string& name, const std::string& expression);
  /// Gives a name an expression; false when the name already stands for something. Throws what parsing and
  /// optimizing the expression throw, and leaves the table as it was.
  bool define(const std::string& name, const std::string& expression);
  /// Parameter cell k; false when the name already stands for something.
  bool define_var(const std::string& name, const unsigned& k);
  /// Data column k, unless the name already stands for something.
  void define_data(const std::string& name, const unsigned& k);
  /// Points a data column that is in the table at column k; leaves any other name alone.
  void move_data(const std::string& name, const unsigned& k);

  /// A table with the same entries, which goes its own way from here on.
  std::shared_ptr<defines> copy() const;

  /// The entry, or null.
  const def* find(const std::string& name) const;
  /// The name is in the table and is no data column.
  bool is_def(const std::string& name) const;

  /// Tokens of `expression` that are declared names or parameters, in order, duplicates included; a defined
  /// expression counts with the names inside it. Throws error_parse when definitions inside definitions make
  /// the list too long.
  std::vector<std::string> get_var(const std::string& expression) const;
  /// The same for declared names and data columns.
  std::vector<std::string> get_data(const std::string& expression) const;

  bool empty() const { return map_.empty(); }
  std::size_t size() const { return map_.size(); }

 private:
  def& entry(const std::string& name);
  template <class Test>
  void collect(const std::string& expression, const Test& wanted, int& budget,
               std::vector<std::string>& out) const;

  std::unordered_map<std::string, def> map_;
};

}  // namespace tovik::evaluate
