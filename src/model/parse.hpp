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
/// and not yet given. Adds the phantoms of correlations to the catalogue. Throws tovik::error with the text
/// for the user.
ModelList _parse(std::vector<block::one_model> statements, VariableList& variables, const block::map& blocks);

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

/// The equations of a Wald test, which restrict some of those of the run, `full`. They know the names of the
/// run; what the run has settled for an identified model holds for them too; nothing is implied, added or
/// warned of. Correlations are refused. Throws tovik::error with the text for the user.
ModelList parse_waldtest(const std::vector<block::one_model>& statements, const VariableList& variables,
                         const block::map& blocks, const ModelList& full);

}  // namespace tovik::sem
