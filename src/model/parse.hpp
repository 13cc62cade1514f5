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

/// The models of MODEL statements, merged and sorted. Throws tovik::error with the text for the user.
ModelList _parse(std::vector<block::one_model> statements, VariableList& variables, const block::map& blocks);

/// _parse, then everything that the list of a run needs: duplicate warnings, roles of the variables, parameter names.
ModelList parse(const std::vector<block::one_model>& statements, VariableList& variables,
                const block::map& blocks);

}  // namespace tovik::sem
