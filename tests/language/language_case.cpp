#include "language_case.hpp"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>

#include "app/analysis.hpp"
#include "app/by_group.hpp"
#include "capture.hpp"
#include "dump.hpp"
#include "evaluate/error.hpp"
#include "input/input_file.hpp"
#include "settings.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik::tests {

namespace fs = std::filesystem;

namespace {

std::string read_file(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("There is no file " + path.string());
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::set<std::string> file_names(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
  return names;
}

/// One run of the stages before sampling, and the views of what they leave.
class stages {
 public:
  explicit stages(const fs::path& folder) : folder_(folder), before_(file_names(folder)) {
    Output::fp = report_.stream();
  }

  void run() {
    InputFile input((folder_ / "command.tovik").string());
    input_ = dump::input(input);
    options_ = printed([&] { input.printOptions(); });
    if (!input.simulates.empty() && input.models.empty() && input.fcs.empty()) {
      report_text_ = printed([&] { generated_ = input.data(); });
      names_ = input.variableNames;
      return;
    }
    report_text_ = printed([&] { prepare_all(input); });
  }

  /// Throws std::runtime_error for a word that names no view.
  std::string view(const std::string& word) const {
    const bool simulated = !names_.empty();
    const std::map<std::string, std::function<std::string()>> views = {
        {"input", [&] { return input_; }},
        {"options", [&] { return options_; }},
        {"report", [&] { return report_text_; }},
        {"files", [&] { return files(); }},
        {"models", [&] { return dump::models(run_.models); }},
        {"report_models", [&] { return dump::report_models(run_.data, run_.vars, run_.models); }},
        {"rows", [&] { return dump::rows(run_.models); }},
        {"variables", [&] { return dump::variables(run_.vars); }},
        {"data",
         [&] { return simulated ? dump::data(generated_, names_) : dump::data(run_.data, run_.vars); }},
        {"parameters", [&] { return dump::parameters(run_.models); }},
        {"tests", [&] { return dump::tests(run_.tests, run_.models); }},
        {"groups", [&] { return group_text_; }},
        {"definitions", [&] { return dump::definitions(run_.models); }},
    };
    const auto at = views.find(word);
    if (at == views.end()) throw std::runtime_error("There is no view '" + word + "'");
    return at->second();
  }

 private:
  /// Of a run by groups the views show the first group.
  void prepare_all(InputFile& input) {
    if (input.byGroup.empty()) {
      run_ = prepare(input);
      return;
    }
    groups_ = input.groups();
    for (auto group = groups_.rbegin(); group != groups_.rend(); ++group)
      run_ = prepare(group->input, group->data);
    for (const by_group& group : groups_) group_text_ += group_line(group);
  }

  static std::string group_line(const by_group& group) {
    std::string out = group.name + format(": %u rows", static_cast<unsigned>(group.data.n_rows));
    for (const auto& [key, path] : group.input.savePaths) {
      if (!path.empty()) out += ", " + key + " = " + path;
    }
    return out + "\n";
  }

  /// What `work` prints to the report. The stream keeps growing; only its end is new.
  template <class Work>
  std::string printed(Work work) {
    const std::size_t before = report_.text().size();
    work();
    return report_.text().substr(before);
  }

  /// Every file that the run has left in its folder, with its first lines.
  std::string files() const {
    std::string out;
    for (const std::string& name : file_names(folder_)) {
      if (before_.count(name) > 0) continue;
      out += name + ":\n";
      std::vector<std::string> lines = split(read_file(folder_ / name), "\n", false);
      constexpr std::size_t shown = 6;
      for (std::size_t i = 0; i < std::min(shown, lines.size()); ++i) out += "  " + lines[i] + "\n";
      if (!lines.empty() && lines.back().empty()) lines.pop_back();
      out += format("  (%u lines)\n", static_cast<unsigned>(lines.size()));
    }
    return out;
  }

  fs::path folder_;
  std::set<std::string> before_;
  Capture report_;
  std::string input_;
  std::string options_;
  std::string report_text_;
  std::vector<by_group> groups_;
  std::string group_text_;
  analysis run_;
  arma::Mat<double> generated_;
  std::vector<std::string> names_;
};

/// The words for the exception in flight: as reported to a user, under a headline for its class.
std::string words_of_exception() {
  try {
    throw;
  } catch (const error_debug& e) {
    return std::string("debug error:\n") + e.what() + "\n";
  } catch (const evaluate::error_debug& e) {
    return std::string("debug error:\n") + e.what() + "\n";
  } catch (const error& e) {
    return std::string("error:\n") + e.what() + "\n";
  } catch (const std::exception& e) {
    return std::string("unexpected exception:\n") + e.what() + "\n";
  }
}

std::string warnings() {
  std::string out;
  for (const auto& message : warning::buffer.messages()) out += message.text + "\n";
  return out.empty() ? "" : "warnings:\n" + out;
}

std::string outcome(const std::vector<std::string>& show, const fs::path& folder) {
  stages one(folder);
  try {
    one.run();
  } catch (...) {
    return words_of_exception();
  }
  std::string out;
  for (const std::string& word : show) out += word + ":\n" + one.view(word);
  return out;
}

}  // namespace

std::string front_half(const std::string& commands, const std::vector<std::string>& show,
                       const fs::path& folder) {
  reset_settings();
  write_file(folder / "command.tovik", commands);
  std::string text = outcome(show, folder);
  text += warnings();  // after the run that pushes them
  reset_settings();
  return replace_all(text, folder.string(), "<folder>");
}

scratch_case::scratch_case(const fs::path& shared_data) : home_(fs::current_path()) {
  folder_ = root_.path() / "area" / "case";
  fs::create_directories(folder_);
  fs::create_directory_symlink(shared_data, root_.path() / "data");
}

scratch_case::~scratch_case() {
  std::error_code ignored;
  fs::current_path(home_, ignored);
}

std::string language_case::expected() const {
  const std::vector<case_text> all = read_cases(read_file(file), file.string());
  const auto at =
      std::find_if(all.begin(), all.end(), [&](const case_text& c) { return c.name == text.name; });
  if (at == all.end()) throw std::runtime_error("There is no case " + text.name + " in " + file.string());
  return at->expected;
}

void language_case::accept(const std::string& outcome) const {
  write_file(file, with_expected(read_file(file), file.string(), text.name, outcome));
}

std::string language_case::run() const {
  const scratch_case scratch(fs::canonical(file.parent_path() / ".." / "data"));
  for (const auto& [name, content] : text.files) write_file(scratch.folder() / name, content);
  return front_half(text.commands, text.views, scratch.folder());
}

namespace {

void add_cases(const fs::path& file, const std::string& area, std::vector<language_case>& cases) {
  for (const case_text& one : read_cases(read_file(file), file.string())) cases.push_back({file, area, one});
}

bool is_hidden(const fs::path& path) {
  return path.filename().string().front() == '.';
}

}  // namespace

std::vector<language_case> find_cases(const fs::path& root) {
  std::vector<language_case> cases;
  for (const auto& area : fs::directory_iterator(root)) {
    if (!area.is_directory() || area.path().filename() == "data") continue;
    for (const auto& one : fs::directory_iterator(area.path())) {
      if (is_hidden(one.path())) continue;  // an editor's
      if (one.path().extension() != ".cases") {
        throw std::runtime_error(one.path().string() + " is no file of cases");
      }
      add_cases(one.path(), area.path().filename().string(), cases);
    }
  }
  const auto key = [](const language_case& one) { return std::tie(one.area, one.text.name); };
  std::sort(cases.begin(), cases.end(), [&](const auto& a, const auto& b) { return key(a) < key(b); });
  const auto twice = std::adjacent_find(cases.begin(), cases.end(),
                                        [&](const auto& a, const auto& b) { return key(a) == key(b); });
  if (twice != cases.end()) {
    throw std::runtime_error("There are two cases " + twice->area + "/" + twice->text.name);
  }
  return cases;
}

}  // namespace tovik::tests
