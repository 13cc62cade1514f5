#pragma once

#include <string>
#include <vector>

#include "model/model_list.hpp"

namespace tovik {
class VariableList;
}

namespace tovik::sem {

/// What a MODEL statement is, by its first sign outside parentheses.
enum class statement_kind {
  empty,
  correlation,  ///< "<->" or "~~"
  loading,      ///< "=~" or "->"
  regression,   ///< "~" or "<-"
  definition,   ///< a lone "=" behind one name
};

/// Throws tovik::error "ERROR: Unable to parse line in MODEL command." for a text of no kind.
statement_kind classify(const std::string& statement);

/// The models of MODEL statements with those that they imply, merged and sorted. Definitions are announced
/// and not yet given. Adds the phantoms of correlations to the catalogue. With `for_wald` the statements are
/// a change of a model: correlations are refused, and factors need no equation. Throws tovik::error with the
/// text for the user.
ModelList _parse(std::vector<block::one_model> statements, VariableList& variables, const block::map& blocks,
                 bool for_wald = false);

/// What a run says of its equations outside of MODEL.
struct list_settings {
  std::vector<std::string> parameters;  ///< PARAMETERS statements
  bool heterogeneous = false;           ///< a residual variance per cluster where nothing else is said
  bool weighted = false;                ///< there are sampling weights
};

/// Everything else that the list of a run needs: PARAMETERS, links that the settings imply, warnings of
/// duplicates, names of parameters, definitions, roles of the variables. `statements` are those of _parse.
/// Throws tovik::error.
void complete(ModelList& models, const std::vector<block::one_model>& statements,
              const VariableList& variables, const list_settings& settings);

/// _parse, then complete.
ModelList parse(const std::vector<block::one_model>& statements, VariableList& variables,
                const block::map& blocks, const list_settings& settings = {});

/// _parse for the statements of a Wald test.
ModelList parse_waldtest(const std::vector<block::one_model>& statements, VariableList& variables,
                         const block::map& blocks);

}  // namespace tovik::sem
