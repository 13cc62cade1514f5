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

class grouping;

/// One node of an expression tree. Trees are evaluated over a data matrix (one value per row), evaluated as a
/// scalar, printed, and rewritten. Leaves are literals, "#DATA(k)" (column k) and "#VAR(k)" (parameter cell
/// k).
///
/// A node owns its operands; the one exception is the cell that "#VAR" reads, which belongs to whoever bound
/// it (register_var). Trees are not shared between chains: a chain copies or parses its own and binds it.
/// Copies, and parts that rewriting has copied, are without the streams of random functions. The parser
/// limits the depth of its trees (parser.hpp) and one rewriting about doubles it at most, which bounds every
/// recursion below, that of destruction included.
class node {
 public:
  /// First operand, or the argument of a function; under "#VAR" and "#DATA" the literal index.
  std::unique_ptr<node> left;
  /// Second operand; null for functions.
  std::unique_ptr<node> right;
  /// The cell that "#VAR" reads; null until it is bound, and for every other node. Not owned, unlike the
  /// operands: all trees that read a parameter share its cell, and so do their copies.
  const node* cell = nullptr;
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
  /// A binary node. Throws error "ERROR: Cannot exponentiate variables with '^'" for a column as exponent and
  /// error_debug_parse for a token that is no operator; the operands are gone then.
  node(const std::string& token, std::unique_ptr<node> first, std::unique_ptr<node> second);
  /// A function node. Throws error_debug_parse for a token that is no function and for "#VAR" or "#DATA" over
  /// anything but a literal index; the argument is gone then.
  node(const std::string& token, std::unique_ptr<node> argument);
  /// A deep copy, without the stream; the cell under "#VAR" is shared.
  node(const node& other);
  node& operator=(const node&) = delete;
  virtual ~node();

  /// A leaf that holds a number.
  static std::unique_ptr<node> literal(double value);

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
  /// error_debug_parse for a column that `data` does not have. Identifiers of clusters are columns of `data`.
  /// Random functions draw from their stream, one draw per row, operands from the left to the right.
  arma::Col<double> eval(const arma::Mat<double>& data) const;

  /// A deep copy.
  std::unique_ptr<node> copy() const { return std::make_unique<node>(*this); }
  /// Simplifies in place and returns this node: identities, powers of repeated leaves, folding of constants.
  /// Throws error_debug_parse for one leaf on both sides of an operation that has no simple form ("x == x").
  node* optimize();
  /// Replaces "#VAR" by 0 everywhere, simplifies what changed, and returns this node.
  node* zero_all_vars();
  /// Rewrites each a - b as a + (-1.0 * b), and returns this node.
  node* convert_minus();

  /// A new tree g with g(f(x)) = x, where f is this tree in its one data column. In g, f(x) is #DATA(0).
  /// Throws error when f has no column, several, or an operation that cannot be undone.
  std::unique_ptr<node> inverse() const { return inverse(nullptr); }
  /// The same for the "#VAR" or "#DATA" that is `target`: y = f(target, others) solved for the target, with y
  /// as #DATA(0) and all others as they are. Throws error also unless the target occurs exactly once on the
  /// way, and error_debug for a target of another kind.
  std::unique_ptr<node> inverse(const node* target) const;

  /// Multiplies out the products with a sum that holds the target, so that the target stands in the addends
  /// of one sum with nothing but products between; a quotient n / d by a tree without the target becomes (1 /
  /// d) * n on the way. Differences stay differences (convert_minus first). A tree whose expansion would pass
  /// the limits of size or depth (parser.hpp) stays as it is. Returns this node. Throws error_debug unless
  /// the target is "#VAR" or "#DATA".
  node* expand_multi(const node* target);
  /// The target occurs once, below sums and then below products only: distribute_plus() can work.
  bool check_distribute_plus(const node* target) const;
  /// Brings the tree into the form (product with the target) + (rest) and returns this node; a product alone
  /// stays as it is. Null, with nothing changed, when the tree is not linear in the target.
  node* distribute_plus(const node* target);
  /// Detaches the product with the target and leaves literal 0 in its place: this tree becomes the rest of
  /// the sum. Null, with nothing changed, when the tree is not linear in the target. Throws error_debug
  /// unless the target is "#VAR" or "#DATA".
  std::unique_ptr<node> factor_out(const node* target);
  /// The cofactor of a product: the target becomes 1 when the tree is a product that holds it once, literal 1
  /// when it is the whole tree. A tree without the target becomes literal 0; in any other tree the target
  /// becomes 0, which leaves the rest of a sum. Simplifies and returns this node. Throws error_debug unless
  /// the target is "#VAR" or "#DATA".
  node* remove(const node& target);
  /// Puts a copy of `with` in place of every operand (not of this node itself) that equals `old`; copies are
  /// not searched again. Returns this node. Throws error "ERROR: Cannot exponentiate variables with '^'",
  /// with the tree half replaced, when a column comes to stand in an exponent.
  node* replace(const node& old, const node& with);

  /// Binds every "#VAR(k)" to the cell `place` (not owned; must outlive the tree's use). True when one was
  /// found.
  bool register_var(const node* place, const unsigned& k);
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
  /// Depth of the tree: 1 for a leaf.
  unsigned depth() const;
  /// The value of a row depends on other rows: a statistic of a column or of its clusters, a lag.
  bool has_column_statistic() const;
  /// The k of every "#DATA(k)" in the tree, in ascending order, each once.
  std::vector<unsigned> data_columns() const;
  /// The k of every "#VAR(k)" in the tree, in ascending order, each once.
  std::vector<unsigned> parameter_cells() const;

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
  /// Takes the content of `other`, a child detached from this node or a fresh tree, and drops its own.
  void become(std::unique_ptr<node> other);

 private:
  const node* invert(std::unique_ptr<node>& result, const node* target) const;
  const node* compute_inverse(const std::string& token, std::unique_ptr<node>& result,
                              const node* target) const;
  struct expansion;
  bool expand(expansion& state);
  bool expand_product(expansion& state);
  void turn_quotient(const expansion& state);
  std::unique_ptr<node> _distribute_plus(const node* target);
  void replace_target(const node& target, double value);
  void replace_operands(const node& old, const node& with);
  void update_layout();
  void swap_content(node& other);
  arma::Col<double> eval_function(const arma::Mat<double>& data) const;
  arma::Col<double> eval_by_cluster(const arma::Col<double>& x, const arma::Col<double>& id) const;

  node* simplify();
  void simplify_identity();
  void simplify_repeated();
  bool zero_vars();
  void set_shape();
  void print(std::string& out) const;

  /// Clusters of the identifier column that a cluster function saw last: identifiers do not change while
  /// chains run, so they are sorted once. Checked against the column at each use; never copied. A tree
  /// belongs to one chain, hence to one thread.
  mutable std::shared_ptr<const grouping> clusters_;
};

/// Both are "#VAR" or both are "#DATA", with the same index. False when one is null.
bool compare(const node* a, const node* b);

}  // namespace tovik::evaluate
