#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "evaluate/operations.hpp"

namespace tovik {
class Random;
}

namespace tovik::evaluate {

/// One node of an expression tree. Trees are evaluated over a data matrix (one value per row), evaluated as a
/// scalar, printed, and rewritten. Leaves are literals, "#DATA(k)" (column k) and "#VAR(k)" (parameter cell
/// k).
///
/// A node owns its operands by raw pointer; the one exception is the cell under "#VAR", which belongs to
/// whoever bound it (register_var). Trees are not shared between chains: a chain copies or parses its own and
/// binds it. The parser limits the depth of its trees (parser.hpp), which bounds every recursion below.
class node {
 public:
  /// First operand, or the argument of a function; under "#VAR" and "#DATA" the literal index. Owned.
  node* left = nullptr;
  /// Second operand; null for functions. Owned, except under "#VAR": there it is the cell, not owned.
  node* right = nullptr;
  /// Value of a literal.
  double number = 0.0;
  /// Stream of "uniform" and "normal"; never copied.
  std::shared_ptr<Random> rng;
  /// Operand layout. Binary: 0 both columns, 1 scalar and column, 2 column and scalar, 3 both scalar.
  /// Function: 2 when it is "#DATA" or its argument is a column, else 3. Literal: 4.
  std::int32_t shape = 4;
  /// The value differs by row.
  bool is_vector = false;
  operations op = operations::scalar;

  /// The literal 0.
  node() = default;
  /// A binary node, which takes ownership of both operands. Throws error "ERROR: Cannot exponentiate
  /// variables with '^'" for a column as exponent and error_debug_parse for a token that is no operator;
  /// after a throw the operands still belong to the caller.
  node(const std::string& token, node* left, node* right);
  /// A function node, which takes ownership of its argument. Throws error_debug_parse for a token that is no
  /// function and for "#VAR" or "#DATA" over anything but a literal index; the argument then stays the
  /// caller's.
  node(const std::string& token, node* argument);
  /// A deep copy, without the stream; the cell under "#VAR" is shared.
  explicit node(const node* other);
  node(const node& other) : node(&other) {}
  node& operator=(const node&) = delete;
  virtual ~node();

  /// A new literal, owned by the caller.
  static node* literal(double value);

  /// Value of a scalar tree. Throws error_debug_parse when the tree has no scalar form, error_debug_var for
  /// an unbound "#VAR", and the user errors of the functions.
  virtual double eval() const;
  /// The printed form: labels of output rows and names of saved variables.
  virtual std::string name() const;
  /// Address of the value; only a cell has one. Throws error_debug.
  virtual double* get();
  /// Binds the value to live storage; only for cells. Throws error_debug.
  virtual void set(double* address);

  /// One value per row of `data` (rows are observations). Throws as the scalar form does, and
  /// error_debug_parse for a column that `data` does not have.
  arma::Col<double> eval(const arma::Mat<double>& data) const;

  /// A deep copy, owned by the caller.
  node* copy() const { return new node(this); }
  /// Simplifies in place and returns this node: identities, powers of repeated leaves, folding of constants.
  /// Throws error_debug_parse for one leaf on both sides of an operation that has no simple form ("x == x").
  node* optimize();
  /// Replaces "#VAR" by 0 everywhere, simplifies what changed, and returns this node.
  node* zero_all_vars();
  /// Rewrites each a - b as a + (-1.0 * b), and returns this node.
  node* convert_minus();

  /// Binds every "#VAR(k)" to `cell` (not owned; must outlive the tree's use). True when one was found.
  bool register_var(node* cell, const unsigned& k);
  /// Gives the stream to every "uniform" and "normal".
  void register_rng(const std::shared_ptr<Random>& stream);

  /// True when a "#VAR" in the tree has no cell.
  bool has_unbound_var() const;
  /// The tree holds the same "#VAR" or "#DATA" as `target`.
  bool has(const node* target) const;
  bool has(const operations& operation) const;
  /// Occurrences of the "#VAR" or "#DATA" that is `target`.
  unsigned count(const node* target) const;
  /// Commas in the list at the top: inputs of the list less one; 0 when this is no list.
  unsigned n_commas() const;
  /// Every operation on every path is in `list`; leaves always count as allowed.
  bool all(const std::vector<operations>& list) const;
  /// The same along the one path to `target`. Throws error_debug unless `target` is a "#VAR" or "#DATA" that
  /// occurs exactly once.
  bool all(const std::vector<operations>& list, const node* target) const;

  /// Structural equality; a NaN equals nothing, "+" and "*" also match with their operands swapped.
  bool operator==(const node& other) const;

  bool is_literal() const { return op == operations::scalar; }
  /// "#VAR" or "#DATA".
  bool is_reference() const { return op == operations::var || op == operations::data; }
  /// A literal that can be the k of "#VAR(k)" and "#DATA(k)": integral, from 0 to 2^32 - 1.
  static bool is_index(const node& n);
  /// k of "#VAR(k)" or "#DATA(k)". Throws error_debug_parse for another node.
  unsigned index() const;
  /// Turns this node into a literal in place.
  void become_literal(double value);
  /// Takes the content of `other`, a child detached from this node or a fresh tree, and destroys the old
  /// operands and `other`.
  void become(node* other);

 private:
  node* simplify();
  void simplify_identity();
  void simplify_repeated();
  bool zero_vars();
  void set_shape();
  void print(std::string& out) const;
};

/// Both are "#VAR" or both are "#DATA", with the same index. False when one is null.
bool compare(const node* a, const node* b);

}  // namespace tovik::evaluate
