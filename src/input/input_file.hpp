#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "data/save_matrix.hpp"
#include "data/variable_list.hpp"
#include "input/chain_info.hpp"
#include "input/keyed_list.hpp"
#include "input/nominal_name.hpp"
#include "input/pending_files.hpp"
#include "model/block_map.hpp"
#include "support/block.hpp"
#include "support/file_writer.hpp"

namespace tovik {

class ModelList;
class Random;
class Summary;
class by_group;
template <typename T>
struct RunStat;
namespace model {
struct waldtest;
}
namespace sem {
class DIC;
class SimpleList;
}  // namespace sem

/// The parsed command file: everything that the user asked for, as text, name lists and numbers. The later
/// stages ask it for the data, the catalogue of variables, the list of equations and the division of work
/// among chains.
class InputFile {
 public:
  /// Marks a number that no command has set.
  static constexpr std::uint32_t not_set = 4294967295u;

  /// Process-wide values, written from the command line before a command file is read; they win over the
  /// commands.
  inline static std::uint32_t globalSeed = not_set;
  inline static std::string dataPath;
  inline static std::string impPathStacked;
  inline static std::string impPathStacked0;
  inline static std::string impPathSeparate;
  inline static std::string impPathDataSet;
  inline static std::string iterationsPath;
  inline static std::string estimatesPath;
  inline static std::string corrsPath;
  inline static std::string waldtestPath;
  inline static std::string psrPath;
  inline static std::string burnPath;

  /// Characters that no variable name may hold (the en dash stands twice).
  static const std::vector<std::string> invalid_strings;

  /// Reads and checks the command file. The working directory becomes the folder of the file and stays so,
  /// also after a failure. Throws tovik::error with the user's mistake.
  explicit InputFile(const std::string& path);

  /// True when the file of the SAVE keyword `key` is to be written. Throws tovik::error_debug for an unknown
  /// key.
  bool isWrite(const std::string& key) const;
  /// A key under which the imputed data sets of all groups are written together.
  static bool joins_groups(const std::string& key);
  /// True when imputed data sets are to be written, together or each to its own file.
  bool savesDataSets() const;
  const std::string& writePath(const std::string& key) const;
  /// The path with the label of a group in the place of "*". Throws tovik::error_debug when it has none.
  std::string writePath(const std::string& key, const std::string& group) const;

  /// The path of the command file, from the root.
  const std::string& command_file() const { return command_file_; }

  /// Prints the settings of the run to the report.
  void printOptions() const;

  /// Reads the data: rows are observations in file order, columns follow variableNames, missing cells are
  /// NaN. Names that the file gives go into variableNames.
  arma::Mat<double> data();

  /// Carries out the SIMULATE command: rows are observations. `variableNames` lists the wanted columns;
  /// empty, it takes the names of all that were made. Draws from `rng`.
  arma::Mat<double> parseSimulate();

  /// Prints where the simulated data go and the order of their variables.
  void simulateSaveInfo() const;

  /// The groups of the data by the variable of BYGROUP, in ascending order. Reads the data. Throws
  /// tovik::error for a variable that is not there or incomplete.
  std::vector<by_group> groups();

  /// Builds the catalogue from the commands and the data. Appends the column of ones, the dummy codes and one
  /// NaN column for each latent variable to `data`.
  VariableList variableList(arma::Mat<double>& data);

  /// The equations of MODEL and PARAMETERS.
  ModelList modelList(VariableList& vars);

  /// Deletes rows, settles roles, categories, centring and fixed variables, checks what only the equations
  /// can tell, and appends the columns that derive from variables: after it data, catalogue and equations
  /// stay as they are. Throws tovik::error at the first fault.
  void update(arma::Mat<double>& data, VariableList& vars, const ModelList& models);

  /// The hypotheses of the WALDTEST commands, in their order; after update(). Throws tovik::error with the
  /// user's mistake.
  std::vector<model::waldtest> waldtests(const VariableList& vars, const ModelList& models) const;

  /// The conditional effects that SIMPLE asks for, in the order of the equations; after update(). Throws
  /// tovik::error with the user's mistake; warns of focal predictors that are not centered.
  sem::SimpleList simpleSlopes(const VariableList& vars, const ModelList& models) const;

  /// The chains' shares of the run. Draws the starting offsets from `rng`.
  std::vector<chain_info> chainInfo();

  /// Takes the completed data of an imputation (numbers count from 1) from a chain, on the chain's thread.
  /// Keeps them for the layouts that need all of them together; writes a file of their own at once, which
  /// takes its place beside the others in writeData().
  void saveDataFunction(const arma::Mat<double>& data, const int& imputation);

  // Result files. A key without a path writes nothing, nor does a result without content.

  /// The imputed data sets that the chains have drawn, and the order of their columns to standard output (and
  /// to the report, when that is another stream). Call them when all chains have ended.
  void writeData();
  void printVariableOrder() const;
  /// The same files with the data sets of all groups, one group under the other. Warns of what they cannot
  /// hold. Throws tovik::error_debug for a group without data sets in a run that was not interrupted.
  void writeData(const std::vector<by_group>& groups);
  /// Mean and variance (divisor n - 1) of each cell over all iterations of all chains, under "avgimp" and
  /// "varimp"; variances of fewer than two iterations are missing.
  void writeAvgImp(const RunStat<arma::Mat<double>>& imputations_seen) const;
  void writeVarImp(const RunStat<arma::Mat<double>>& imputations_seen) const;
  /// "estimates": the table of summary() under its labels. "iterations", "burn", "simple", "correlations":
  /// the draws, one row per iteration and no header, a file for each chain when the path has "*" (the number
  /// of the chain), else all chains under each other behind a column with that number. Throws
  /// tovik::error_debug for any other key.
  void write(const Summary& summary, const std::string& key) const;
  /// The same for a group of the data, whose label replaces "*".
  void write(const std::string& group, const Summary& summary, const std::string& key) const;
  /// The results of the Wald tests, one row each (sem::WaldTest::results).
  void writeWaldTest(const arma::Mat<double>& results) const;
  /// The sums behind the information criteria, one row for each model and one for all.
  void writeLikelihoods(const sem::DIC& fit) const;

  /// Paths of result files by SAVE keyword; an empty path writes nothing.
  keyed_list<std::string> savePaths;
  std::vector<std::string> variableNames;
  std::vector<std::string> clusterIds;
  std::string starts_file;  ///< starting values of the chains; empty for those of the program
  std::string data_file;    ///< the data of this run: the command line's, else DATA
  std::string missingCode;
  std::string byGroup;
  std::string group_label;  ///< of the group that this file has been copied for; empty for all data
  std::vector<std::string> simples;
  std::vector<std::string> transforms;
  std::vector<std::string> randomEffects;
  std::vector<std::string> parameters;
  std::vector<std::string> ordinals;
  std::vector<std::string> counts;
  std::vector<nominal_name> nominals;
  std::vector<std::string> fixed;
  std::vector<std::string> centerGrand;
  std::vector<std::string> centerGroup;
  std::vector<std::string> fcs;
  std::vector<std::string> weights;
  std::vector<std::vector<std::string>> hypotheses;  ///< one list of statements for each test
  std::vector<block::one_model> simulates;
  std::vector<block::one_model> models;
  block::map blocks;
  /// Names by identifier in lower case; the empty key holds names without a level.
  keyed_list<std::vector<std::string>> latents;
  keyed_list<std::vector<std::string>> phantoms;
  std::shared_ptr<Random> rng;  ///< stream 0 of the seed; null without a seed
  std::vector<std::string> dataNames;
  bool fixed_specified = false;
  std::vector<arma::Mat<double>> imputations;  ///< by number; 0 is the incomplete data
  std::uint32_t iterations = not_set;
  std::uint32_t burn = not_set;
  std::uint32_t seed = globalSeed;
  std::uint32_t thin = not_set;
  std::uint32_t nimps = not_set;
  std::uint32_t processors = not_set;
  double missingValue = std::numeric_limits<double>::quiet_NaN();
  std::uint32_t chains = 2;
  double ICCcutoff = 0.01;
  double startsdispersion = 1.0;
  std::uint32_t tunecheck = 100;
  bool undefinedcovariance = true;  ///< refuse pairs of variables that are never observed together
  bool drop_all_missing = true;
  std::int32_t clmean_method = 2;  ///< cluster means: 0 none, 1 manifest, 2 latent
  bool hev = false;
  bool randomstarts = true;
  bool scientific = false;
  bool mice = false;
  bool covariatemodel = false;
  bool psr = true;
  bool tuneinfo = true;
  bool tune_all = true;
  bool savelatent = false;
  bool saveresid = false;
  bool savepred = false;
  bool labels = false;
  bool saveVarNames = false;
  bool listwise = false;
  bool keep_rows = false;  ///< no row leaves the data
  bool brief = false;      ///< no tables of the models of predictors
  std::int32_t prior_resvar = 2;
  std::int32_t prior_raneff = 2;
  bool prior_resvar_set = false;
  bool prior_raneff_set = false;
  std::int32_t xprior = -1;
  /// The first prior of a variance is in units of each variable: its 1 is the observed variance.
  bool scaled_priors = false;

  /// One flag for each column of the data file: 1 if it holds missing cells. Kept current by update().
  std::vector<char> missing_flags;
  /// Columns that variableList has appended to the data.
  std::uint32_t added_columns = 0;
  /// 1 for each cell that is observed, in the columns of the data file and the rows that update() has left.
  read_cells observed_cells;
  /// Rows of the data that update() has deleted, as positions in the file (from 0, ascending).
  std::vector<arma::uword> dropped_rows;
  /// Columns of the prepared data that the definitions of MODEL fill, in their order.
  std::vector<unsigned> definition_columns;

 private:
  /// Where the reader stands between two statements.
  struct reader {
    int command = 0;
    std::string word;     ///< as the command was written, its colon included
    bool opened = false;  ///< no statement with words has followed the command word yet
    std::string model_block;
    std::string simulate_block;
  };

  /// `line_of` gives the line of the file for a place in the text.
  void readStatements(const std::string& text, const std::function<std::size_t(std::size_t)>& line_of);
  void parseStatement(std::string statement, reader& at);
  void dispatch(const std::string& raw, std::vector<std::string>& words, reader& at);
  void dispatchText(const std::string& raw, std::vector<std::string>& words, reader& at);

  void parseData(const std::string& raw, const std::vector<std::string>& words, const reader& at);
  void parseMissing(const std::vector<std::string>& words);
  void parseByGroup(const std::vector<std::string>& words);
  void parseBurn(const std::string& word);
  void parseNominal(std::vector<std::string> words);
  void parseCenter(const std::string& raw);
  void parseChains(const std::vector<std::string>& words);
  void parseModel(std::vector<std::string> words, reader& at);
  void parseSimulate(std::vector<std::string> words, reader& at);
  void parseStarts(const std::vector<std::string>& words);
  void parseOptions(const std::vector<std::string>& words);
  void parseSaveLine(const std::string& text);
  void savePath(const std::string& key, const std::string& path);
  void takePath(const std::string& key, const std::string& path, bool if_empty);
  /// A path without the quotes around it.
  static std::string unquoted(const std::string& path);
  void parseDebug(const std::string& raw);

  void check();
  void checkSources() const;
  void checkRows() const;
  void checkStarts() const;
  void checkLength();
  void checkHeterogeneous();
  void checkProcessors();
  /// A file that the run writes, and the key of SAVE or the option that names it.
  struct output {
    std::string key;
    std::string path;
  };

  void checkPaths() const;
  /// One path of the SAVE keyword `key`: neither the data nor the command file, and writable.
  void checkTarget(const std::string& key, const std::string& path) const;
  void checkSource(const output& file) const;
  void checkSeparate() const;
  /// All files that SAVE names, "*" replaced.
  std::vector<output> outputs() const;
  /// The files of the groups, once their labels are known.
  void checkGroupFiles(const std::vector<by_group>& groups) const;
  /// Every output has a file of its own, the report among them.
  void checkOutputs(std::vector<output> files) const;
  void checkTraces(const std::vector<output>& files) const;
  void warnUnusedPaths() const;
  void checkGroups() const;
  void checkMethods();
  void checkModelCommands() const;
  void checkCentering() const;
  void checkScores() const;
  void checkPredictorPrior();
  std::vector<std::string> commandNames() const;
  void checkNames() const;
  void checkIdentifiers() const;
  /// Warnings of commands that change nothing.
  void warnWithoutEffect() const;

  arma::Mat<double> readFile();
  /// parseSimulate(), and a table of the columns' statistics in the report.
  arma::Mat<double> simulateData();
  /// Writes the simulated data where SAVE wants them, if it does.
  void saveSimulated(const arma::Mat<double>& data) const;

  /// True when numbered sets of imputed data are asked for under `key`.
  bool savesImputations(const std::string& key) const;
  /// True when any file of data is asked for, the averages among them.
  bool savesData() const;
  /// A file of data, in the notation that the command file wants: `names` head the columns if SAVE shall have
  /// names, missing cells as MISSING has them.
  file_writer writtenCells(const arma::Mat<double>& data, const std::string& path,
                           const std::vector<std::string>& names, const read_cells& read) const;
  /// The marks of a data set of an imputation, for the notation of its numbers: which cells stood in the
  /// file.
  read_cells readCells(const arma::Mat<double>& set) const;
  /// A file of results, by the ending of its path.
  void saveResults(const arma::Mat<double>& table, const std::string& path,
                   const std::vector<std::string>& names) const;
  /// A data set of an imputation in a file of its own.
  file_writer separateFile(const arma::Mat<double>& data, std::size_t number) const;
  void writeStacked(const std::string& key) const;
  void writeSeparate();
  void writeTo(const std::string& path, const Summary& summary, const std::string& key) const;

  void recodeMissing(arma::Mat<double>& data) const;
  void checkSize(const arma::Mat<double>& data) const;
  /// The identifiers; of those that a TRANSFORM statement makes only if `made`.
  void checkClusters(const arma::Mat<double>& data, bool made) const;
  void checkDataNames() const;
  void checkCommandNames() const;

  void appendVariables(const arma::Mat<double>& data, const std::vector<unsigned>& levels,
                       VariableList& vars) const;

  std::string command_file_;  ///< the path of this file, from the root
  /// Files of the imputed data sets by number, each written by the chain that has drawn it.
  pending_files separate_files_;
  keyed_list<std::string> saved_by_command_;  ///< paths by key, as SAVE commands gave them
  /// Words of CENTER without a keyword, allowed only while there is no CLUSTERID; the first word of each.
  std::vector<std::string> center_plain_;
};

}  // namespace tovik
