// Runs of the program as a whole, on files that it generates itself from fixed seeds: reading, burn-in,
// sampling, fit statistics and report. Prints effective draws of the slowest parameter for each second of
// processor time, and for each scan; parameters that follow from others do not count. Two programs run by
// turns on the same files, so that their ratios hold on a machine that does other work as well.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "child_run.hpp"
#include "effective_draws.hpp"
#include "whole_designs.hpp"

namespace {

namespace fs = std::filesystem;
using tovik::bench::whole_design;

constexpr const char* usage =
    "usage: whole_runs [--slow] [--rounds n] [--only text] program [other]\n"
    "  --slow      designs that mix slowly, in place of the workloads\n"
    "  --rounds n  runs of each program on each design, with seeds 1 to n (default 3)\n"
    "  --only text designs whose name has the text\n"
    "  other       a second program: runs by turns with the first; ratios are first / other\n";

struct request {
  bool slow = false;
  unsigned rounds = 3;
  std::string only;
  std::vector<fs::path> programs;
};

request read_request(int argc, char** argv) {
  request out;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--slow")
      out.slow = true;
    else if (word == "--rounds" && i + 1 < argc)
      out.rounds = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
    else if (word == "--only" && i + 1 < argc)
      out.only = argv[++i];
    else if (word.rfind("--", 0) == 0)
      throw std::invalid_argument(usage);
    else
      out.programs.push_back(fs::absolute(word));
  }
  if (out.programs.empty() || out.programs.size() > 2 || out.rounds == 0) throw std::invalid_argument(usage);
  return out;
}

/// A folder for the files of one design, which leaves with its owner.
class scratch {
 public:
  scratch() {
    std::string name = (fs::temp_directory_path() / "whole_runs.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("No folder for the files of a run.");
    path_ = name;
  }
  ~scratch() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  scratch(const scratch&) = delete;
  scratch& operator=(const scratch&) = delete;
  const fs::path& path() const { return path_; }
  void write(const std::string& name, const std::string& text) const { std::ofstream(path_ / name) << text; }

 private:
  fs::path path_;
};

/// The rounds of one program on one design, added up.
class tally {
 public:
  void add(double cpu_seconds, const std::vector<tovik::bench::parameter_draws>& parameters) {
    cpu_ += cpu_seconds;
    for (const auto& p : parameters) effective_[p.name] += p.effective;
  }
  double cpu() const { return cpu_; }
  std::pair<std::string, double> slowest() const {
    return *std::min_element(effective_.begin(), effective_.end(),
                             [](const auto& a, const auto& b) { return a.second < b.second; });
  }
  double per_second() const { return slowest().second / cpu_; }

 private:
  double cpu_ = 0.0;
  std::map<std::string, double> effective_;
};

void check(const tovik::bench::child_run& run, const fs::path& output) {
  if (run.status == 0) return;
  std::ifstream file(output);
  std::string line, last;
  while (std::getline(file, line))
    if (line.find("ERROR") != std::string::npos) last = line;
  throw std::runtime_error("exit status " + std::to_string(run.status) + (last.empty() ? "" : ": " + last));
}

void make_data(const whole_design& design, const fs::path& program, const scratch& files) {
  files.write("make.tovik", "SIMULATE:\n" + design.data + "VARIABLES: " + design.kept +
                                ";\nSEED: 71828;\nSAVE: dataset = data.csv;\nOPTIONS: savevarnames;\n");
  check(tovik::bench::run_child(program, "make.tovik", files.path(), "make.txt"), files.path() / "make.txt");
}

void run_once(const whole_design& design, const fs::path& program, unsigned seed, const scratch& files,
              tally& sums) {
  files.write("run.tovik", "DATA: data.csv;\n" + design.analysis + "SEED: " + std::to_string(seed) +
                               ";\nBURN: " + std::to_string(design.burn) +
                               ";\nITERATIONS: " + std::to_string(design.iterations) +
                               ";\nCHAINS: 1;\nOUTPUT: n_eff;\n"
                               "SAVE: estimates = n_eff.csv, labelfile = labels.txt;\n");
  const auto run = tovik::bench::run_child(program, "run.tovik", files.path(), "run.txt");
  check(run, files.path() / "run.txt");
  auto parameters =
      tovik::bench::read_effective_draws(files.path() / "labels.txt", files.path() / "n_eff.csv");
  std::erase_if(parameters, [&](const auto& p) {
    return !design.excluded.empty() && p.name.find(design.excluded) != std::string::npos;
  });
  if (parameters.empty()) throw std::runtime_error("No parameter is left that counts.");
  sums.add(run.cpu_seconds, parameters);
}

void print(const whole_design& design, const std::vector<tally>& tallies, unsigned rounds) {
  const double scans = static_cast<double>(rounds) * design.iterations;
  std::printf("%s\n", design.name.c_str());
  for (const tally& one : tallies) {
    const auto [parameter, effective] = one.slowest();
    std::printf("  %10.2f per CPU second  %8.5f per scan  %8.2f s a run  %s\n", one.per_second(),
                effective / scans, one.cpu() / rounds, parameter.c_str());
  }
  if (tallies.size() == 2)
    std::printf("  %10.2f times            %8.2f times     %8.2f times\n",
                tallies[0].per_second() / tallies[1].per_second(),
                tallies[0].slowest().second / tallies[1].slowest().second,
                tallies[0].cpu() / tallies[1].cpu());
  std::fflush(stdout);
}

/// False when a run failed, which is told.
bool compare(const whole_design& design, const request& asked) {
  try {
    const scratch files;
    make_data(design, asked.programs.front(), files);
    std::vector<tally> tallies(asked.programs.size());
    for (unsigned seed = 1; seed <= asked.rounds; ++seed)
      for (std::size_t p = 0; p < tallies.size(); ++p)
        run_once(design, asked.programs[p], seed, files, tallies[p]);
    print(design, tallies, asked.rounds);
    return true;
  } catch (const std::exception& e) {
    std::printf("%s\n  failed: %s\n", design.name.c_str(), e.what());
    std::fflush(stdout);
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const request asked = read_request(argc, argv);
    bool good = true;
    unsigned found = 0;
    for (const whole_design& design :
         asked.slow ? tovik::bench::slow_designs() : tovik::bench::whole_workloads()) {
      if (design.name.find(asked.only) == std::string::npos) continue;
      ++found;
      good = compare(design, asked) && good;
    }
    if (found == 0) throw std::invalid_argument("No design has this text in its name.\n");
    return good ? 0 : 1;
  } catch (const std::exception& e) {
    std::fputs(e.what(), stderr);
    return 2;
  }
}
