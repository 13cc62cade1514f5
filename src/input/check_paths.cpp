#include <filesystem>
#include <unordered_map>

#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/file_access.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void cannot_read(const std::string& path, int failure) {
  const std::string done = is_absent(failure) ? "found" : "opened";
  throw error("ERROR: File \"" + path + "\" cannot be " + done + "." + system_reason(failure));
}

[[noreturn]] void cannot_create(const std::string& path, int failure) {
  throw error("ERROR: File \"" + path + "\" cannot be created." +
              path_advice(failure, "Please check that the file path is correct in SAVE command."));
}

[[noreturn]] void cannot_create_folder(const std::string& folder, int failure) {
  throw error("ERROR: Folder \"" + folder + "\" cannot be created." +
              path_advice(failure, "Please check that the path is correct in --traceplot."));
}

/// A key of SAVE or an option of the command line, as messages call it.
std::string called(const std::string& key) {
  return key.rfind("--", 0) == 0 ? "option " + key : "SAVE command (" + key + ")";
}

[[noreturn]] void matches(const std::string& key, const std::string& what) {
  throw error("ERROR: The " + called(key) + " matches the " + what + ".");
}

[[noreturn]] void matches(const std::string& key, const std::string& other, const std::string& path) {
  throw error("ERROR: The " + called(key) + " matches the " + called(other) +
              ".\n       Both would be written to \"" + path + "\".");
}

bool same_file(const std::string& a, const std::string& b) {
  std::error_code none;
  return fs::equivalent(a, b, none);
}

std::string numbered(const std::string& path, const std::string& number) {
  return replace_all(path, "*", number);
}

bool has_asterisk(const std::string& path) {
  return path.find('*') != std::string::npos;
}

/// The files that --traceplot leaves in its folder.
bool is_trace_name(const std::string& name) {
  if (name == "labels.dat") return true;
  if (name.size() < 9 || name.rfind("burn", 0) != 0 || name.substr(name.size() - 4) != ".csv") return false;
  return name.find_first_not_of("0123456789", 4) == name.size() - 4;
}

bool has_file_per_chain(const std::string& key) {
  return key == "burn" || key == "iterations" || key == "simple" || key == "correlations" || key == "draws";
}

}  // namespace

void InputFile::checkPaths() const {
  if (!data_file.empty()) {
    for (const auto& [key, path] : savePaths) {
      if (!path.empty() && iequals(path, data_file)) matches(key, "DATA command");
    }
    if (const int failure = read_failure(data_file)) cannot_read(data_file, failure);
  }
  for (const auto& [key, path] : savePaths) {
    if (path.empty()) continue;
    if (key == "separate" && !has_asterisk(path)) {
      throw error("ERROR: Please place an asterisk (*) when saving separate files.");
    }
    if (!byGroup.empty() && key != "stacked" && key != "stacked0" && !has_asterisk(path)) {
      throw error("ERROR: Please place an asterisk (*) in filepath when\n       saving " + key +
                  " with BYGROUP command.");
    }
    checkTarget(key, numbered(path, key == "separate" ? "list" : "1"));
  }
  if (nimps != not_set && isWrite("separate")) checkSeparate();
  const std::vector<output> files = outputs();
  checkOutputs(files);
  checkTraces(files);
}

void InputFile::checkSource(const output& file) const {
  if (!data_file.empty() && same_file(file.path, data_file)) matches(file.key, "DATA command");
  if (same_file(file.path, command_file_)) matches(file.key, "command file");
}

void InputFile::checkTarget(const std::string& key, const std::string& path) const {
  checkSource({key, path});
  if (const int failure = write_failure(path)) cannot_create(path, failure);
}

void InputFile::checkSeparate() const {
  for (std::uint32_t i = 1; i <= nimps; ++i) {
    checkTarget("separate", numbered(writePath("separate"), std::to_string(i)));
  }
}

std::vector<InputFile::output> InputFile::outputs() const {
  std::vector<output> files;
  for (const auto& [key, path] : savePaths) {
    if (path.empty()) continue;
    const bool sets = key == "separate";
    // The label of a group stands for "*" before chains could have files of their own.
    const bool per_chain = has_file_per_chain(key) && byGroup.empty();
    if (!(sets || per_chain) || !has_asterisk(path)) {
      files.push_back({key, path});
      continue;
    }
    const std::uint32_t number = sets ? (nimps == not_set ? 0 : nimps) : chains;
    if (sets && nimps != not_set) files.push_back({key, numbered(path, "list")});
    for (std::uint32_t i = 1; i <= number; ++i) files.push_back({key, numbered(path, std::to_string(i))});
  }
  return files;
}

void InputFile::checkOutputs(std::vector<output> files) const {
  if (!Output::report_path.empty()) {
    files.push_back({"--output", Output::report_path});
    checkSource(files.back());
  }
  std::unordered_map<std::string, const output*> seen;
  for (const output& file : files) {
    if (file.path.empty() || is_device(file.path)) continue;
    const auto [at, is_new] = seen.emplace(end_of_links(file.path), &file);
    if (!is_new) matches(file.key, at->second->key, file.path);
  }
  Output::report_checked = true;
}

void InputFile::checkTraces(const std::vector<output>& files) const {
  const std::string& folder = Output::traceplotPath;
  if (folder.empty()) return;
  std::error_code failed, none;
  fs::create_directories(folder, failed);
  if (!fs::is_directory(folder, none)) cannot_create_folder(folder, failed.value());
  for (const char* name : {"/labels.dat", "/burn1.csv"}) {
    if (const int failure = write_failure(folder + name)) cannot_create_folder(folder, failure);
  }
  const std::string option = "--traceplot";
  const fs::path place = fs::canonical(folder, none);
  const auto is_trace = [&](const std::string& path) {
    const fs::path end = end_of_links(path);
    return end.parent_path() == place && is_trace_name(end.filename().string());
  };
  if (!data_file.empty() && is_trace(data_file)) matches(option, "DATA command");
  if (is_trace(command_file_)) matches(option, "command file");
  if (!Output::report_path.empty() && is_trace(Output::report_path)) {
    matches(option, "--output", Output::report_path);
  }
  for (const output& file : files) {
    if (is_trace(file.path)) matches(option, file.key, file.path);
  }
}

}  // namespace tovik
