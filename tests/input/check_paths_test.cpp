#include <sys/stat.h>

#include <fstream>

#include "command_file.hpp"

namespace tovik::tests::check_paths_test {
namespace {

namespace fs = std::filesystem;

using CheckPaths = CommandFile;

std::string contents(const std::filesystem::path& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::string cannot_create(const std::string& path) {
  return "ERROR: File \"" + path +
         "\" cannot be created.\n       Please check that the file path is correct in SAVE command.";
}

TEST_F(CheckPaths, DataAreNotOverwrittenAndMustExist) {
  write("DATA.CSV", "y,x\n1,2\n2,3\n");
  EXPECT_EQ(add_fault("SAVE: stacked = D.CSV;"),
            "ERROR: The SAVE command (stacked) matches the DATA command.");
  EXPECT_EQ(read_fault("DATA: none.csv; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;"),
            "ERROR: File \"none.csv\" cannot be found.");
}

TEST_F(CheckPaths, SavePathsMustBeWritable) {
  EXPECT_EQ(add_fault("SAVE: burn = no/such/folder.csv;"),
            "ERROR: File \"no/such/folder.csv\" cannot be created.\n"
            "       Please check that the file path is correct in SAVE command.");
  EXPECT_EQ(add_fault("SAVE: burn = b.csv, starts = s*.csv;"), "");
  for (const char* name : {"b.csv", "s*.csv", "s1.csv"}) EXPECT_FALSE(std::filesystem::exists(name));
  EXPECT_EQ(add_fault("SAVE: burn = /dev/null;"), "");
  EXPECT_TRUE(std::filesystem::exists("/dev/null"));
}

TEST_F(CheckPaths, AsterisksStandWhereFilesAreMany) {
  EXPECT_EQ(add_fault("SAVE: separate = imp.csv;"),
            "ERROR: Please place an asterisk (*) when saving separate files.");
  EXPECT_EQ(add_fault("BYGROUP: g; SAVE: burn = b.csv;"),
            "ERROR: Please place an asterisk (*) in filepath when\n"
            "       saving burn with BYGROUP command.");
  EXPECT_EQ(add_fault("BYGROUP: g; SAVE: burn = b*.csv, stacked = s.csv, stacked0 = t.csv;"), "");
}

TEST_F(CheckPaths, EverySeparateFileIsTried) {
  std::filesystem::create_directory("out");
  EXPECT_EQ(add_fault("NIMPS: 3; SAVE: separate = out/imp*.csv;"), "");
  EXPECT_FALSE(std::filesystem::exists("out/implist.csv")) << "the list appears with the files that it names";
  EXPECT_FALSE(std::filesystem::exists("out/imp1.csv"));
  std::filesystem::create_directory("out/b2.csv");
  EXPECT_EQ(add_fault("NIMPS: 3; SAVE: separate = out/b*.csv;"),
            cannot_create("out/b2.csv") + "\n       The system says: Is a directory.");
}

TEST_F(CheckPaths, WhatStandsThereStays) {
  write("old.csv", "yesterday\n");
  write("s1.csv", "first\n");
  write("implist.csv", "list\n");
  EXPECT_EQ(add_fault("SAVE: burn = old.csv, starts = s*.csv, separate = imp*.csv;"), "");
  EXPECT_EQ(contents("old.csv"), "yesterday\n");
  EXPECT_EQ(contents("s1.csv"), "first\n");
  EXPECT_EQ(contents("implist.csv"), "list\n");
  EXPECT_FALSE(fs::exists("imp1.csv"));
}

TEST_F(CheckPaths, TheDataFileIsKnownUnderEveryName) {
  const std::string text = contents("d.csv");
  fs::create_hard_link("d.csv", "hard.csv");
  fs::create_symlink("d.csv", "soft.csv");
  fs::create_directory("sub");
  write("d1.csv", text);
  write("dlist.csv", text);
  const auto at = [&](const std::string& data, const std::string& save) {
    return read_fault("DATA: " + data + "; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x; SAVE: " + save);
  };
  const std::string burn = "ERROR: The SAVE command (burn) matches the DATA command.";
  for (const char* path : {"d.csv", "D.csv", "./d.csv", "sub/../d.csv", "hard.csv", "soft.csv"}) {
    EXPECT_EQ(at("d.csv", "burn = " + std::string(path)), burn) << path;
  }
  EXPECT_EQ(at("d.csv", "burn = " + (folder_ / "d.csv").string()), burn);
  EXPECT_EQ(at("d1.csv", "burn = d*.csv"), burn);
  EXPECT_EQ(at("dlist.csv", "separate = d*.csv"),
            "ERROR: The SAVE command (separate) matches the DATA command.");
  EXPECT_EQ(at("d1.csv", "separate = d*.csv; OPTIONS: psr"), "");
  EXPECT_EQ(at("d1.csv", "separate = d*.csv; NIMPS: 2"),
            "ERROR: The SAVE command (separate) matches the DATA command.");
  EXPECT_EQ(contents("d.csv"), text);
  EXPECT_EQ(contents("d1.csv"), text);
}

TEST_F(CheckPaths, TheCommandFileIsNoResultFile) {
  const std::string text = "ERROR: The SAVE command (psr) matches the command file.";
  EXPECT_EQ(add_fault("SAVE: psr = c.imp;"), text);
  EXPECT_EQ(add_fault("SAVE: psr = ./c.imp;"), text);
  EXPECT_EQ(read_fault("SIMULATE: n = 5; SAVE: dataset = c.imp;"),
            "ERROR: The SAVE command (dataset) matches the command file.");
  fs::create_directory("sub");
  write("sub/c.imp", "DATA: ../d.csv; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x; SAVE: psr = ../sub/c.imp;");
  EXPECT_EQ(fault([] { InputFile in("sub/c.imp"); }), text);
}

TEST_F(CheckPaths, KeysAreWalkedInTheirOwnOrder) {
  EXPECT_EQ(add_fault("SAVE: correlations = no/1, stacked = no/2, psr = no/3;"), cannot_create("no/3"));
  EXPECT_EQ(add_fault("SAVE: dataset = no/1, likelihood = no/2, stacked = no/3;"), cannot_create("no/2"));
}

TEST_F(CheckPaths, TheProbeHasTheNameOfARealFile) {
  EXPECT_EQ(add_fault("SAVE: separate = no/imp*.csv;"), cannot_create("no/implist.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = no/b*.csv;"), cannot_create("no/b1.csv"));
}

TEST_F(CheckPaths, FoldersPipesAndLinks) {
  fs::create_directory("folder");
  EXPECT_EQ(add_fault("SAVE: burn = folder;"),
            cannot_create("folder") + "\n       The system says: Is a directory.");
  EXPECT_EQ(read_fault("DATA: folder; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;"),
            "ERROR: File \"folder\" cannot be opened.\n       The system says: Is a directory.");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  EXPECT_EQ(add_fault("SAVE: burn = pipe;"), "");  // returns although nobody reads
  EXPECT_TRUE(fs::is_fifo("pipe"));
  fs::create_symlink("later.csv", "link.csv");
  EXPECT_EQ(add_fault("SAVE: burn = link.csv;"), "");
  EXPECT_TRUE(fs::is_symlink("link.csv"));
  EXPECT_FALSE(fs::exists("later.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = " + std::string(300, 'x') + ";"),
            cannot_create(std::string(300, 'x')) + "\n       The system says: File name too long.");
}

TEST_F(CheckPaths, APureSimulationNeedsOnlyItsOwnFile) {
  EXPECT_EQ(read_fault("SIMULATE: n = 5; SAVE: dataset = no/a.csv;"), cannot_create("no/a.csv"));
  EXPECT_EQ(read_fault("SIMULATE: n = 5; SAVE: dataset = a.csv, burn = no/b.csv, separate = one.csv;"), "");
  EXPECT_FALSE(fs::exists("a.csv"));
}

TEST_F(CheckPaths, TheListStandsBesideItsFiles) {
  const auto list_of = [&](const std::string& nimps, const std::string& path) {
    const auto in = add("NIMPS: " + nimps + "; SAVE: separate = " + path + ";");
    in->dataNames = {"y"};
    for (const auto& share : in->chainInfo()) {
      for (const auto& save : share.saves) save(arma::Mat<double>(1, 1));
    }
    in->writeData();
  };
  write("implist.csv", "an older and much longer list\nof\nfiles\n");
  list_of("1", "imp*.csv");
  EXPECT_EQ(contents("implist.csv"), "imp1.csv");
  fs::create_directory("out");
  list_of("2", "out/*_*.csv");
  EXPECT_EQ(contents("out/list_list.csv"), "1_1.csv\n2_2.csv");
  fs::create_directory("none");
  list_of("0", "none/imp*.csv");
  EXPECT_EQ(contents("none/implist.csv"), "");
}

TEST_F(CheckPaths, TwoOutputsAreNotOneFile) {
  fs::create_directory("sub");
  fs::create_symlink("a.csv", "link.csv");
  fs::create_symlink("sub", "other");
  const auto both = [](const std::string& key, const std::string& other, const std::string& path) {
    return "ERROR: The SAVE command (" + key + ") matches the SAVE command (" + other +
           ").\n       Both would be written to \"" + path + "\".";
  };
  EXPECT_EQ(add_fault("SAVE: burn = a.csv, estimates = a.csv;"), both("estimates", "burn", "a.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = a.csv, estimates = ./a.csv;"), both("estimates", "burn", "./a.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = a.csv, estimates = link.csv;"), both("estimates", "burn", "link.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = sub/a, estimates = other/a;"), both("estimates", "burn", "other/a"));
  EXPECT_EQ(add_fault("SAVE: burn = a*.csv, iterations = a*.csv;"), both("iterations", "burn", "a1.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = a*.csv, iterations = a2.csv;"), both("iterations", "burn", "a2.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = a*.csv, iterations = a3.csv;"), "") << "there are two chains";
  EXPECT_EQ(add_fault("NIMPS: 3; SAVE: stacked = a3.csv, separate = a*.csv;"),
            both("separate", "stacked", "a3.csv"));
  EXPECT_EQ(add_fault("NIMPS: 3; SAVE: burn = alist.csv, separate = a*.csv;"),
            both("separate", "burn", "alist.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = /dev/null, estimates = /dev/null;"), "");
}

TEST_F(CheckPaths, AKeyHasOnePath) {
  EXPECT_EQ(add_fault("SAVE: burn = a; SAVE: burn = b;"),
            "ERROR: The SAVE command (burn) matches the SAVE command (burn).\n"
            "       It cannot be written to both 'a' and 'b'.");
  EXPECT_EQ(add_fault("SAVE: imp = a; SAVE: stacked = b;").substr(0, 32), "ERROR: The SAVE command (stacked");
  EXPECT_EQ(add_fault("SAVE: burn = a; SAVE: burn = a;"), "");
  InputFile::burnPath = "line.csv";
  EXPECT_EQ(add("SAVE: burn = a;")->writePath("burn"), "line.csv");
}

TEST_F(CheckPaths, TheReportIsNoOtherFile) {
  const Restore<std::string> path(Output::report_path);
  const Restore<bool> checked(Output::report_checked);
  const auto at = [&](const std::string& report, const std::string& commands) {
    Output::report_checked = false;
    Output::report_path = (folder_ / report).string();
    return add_fault(commands);
  };
  EXPECT_EQ(at("d.csv", ""), "ERROR: The option --output matches the DATA command.");
  EXPECT_FALSE(Output::report_checked);
  EXPECT_EQ(at("c.imp", ""), "ERROR: The option --output matches the command file.");
  EXPECT_EQ(
      at("a.csv", "SAVE: burn = a.csv;"),
      "ERROR: The option --output matches the SAVE command (burn).\n       Both would be written to \"" +
          (folder_ / "a.csv").string() + "\".");
  EXPECT_EQ(at("r.txt", "SAVE: burn = a.csv;"), "");
  EXPECT_TRUE(Output::report_checked);
}

TEST_F(CheckPaths, TracesReplaceNoOtherFile) {
  const Restore<std::string> folder(Output::traceplotPath);
  Output::traceplotPath = "traces";
  EXPECT_EQ(add_fault("SAVE: burn = traces.csv;"), "");
  EXPECT_TRUE(fs::is_directory("traces")) << "a missing folder is made";
  EXPECT_TRUE(fs::is_empty("traces"));
  EXPECT_EQ(add_fault("SAVE: burn = traces/burn3.csv;"),
            "ERROR: The option --traceplot matches the SAVE command (burn).\n"
            "       Both would be written to \"traces/burn3.csv\".");
  EXPECT_EQ(add_fault("SAVE: labelfile = ./traces/labels.dat;").substr(0, 62),
            "ERROR: The option --traceplot matches the SAVE command (labelf");
  EXPECT_EQ(add_fault("SAVE: burn = traces/burnt.csv, psr = traces/burn.csv;"), "");
  Output::traceplotPath = ".";
  write("burn12.csv", contents("d.csv"));
  EXPECT_EQ(read_fault("DATA: burn12.csv; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;"),
            "ERROR: The option --traceplot matches the DATA command.");
  Output::traceplotPath = "d.csv/traces";
  EXPECT_EQ(add_fault(""),
            "ERROR: Folder \"d.csv/traces\" cannot be created.\n"
            "       Please check that the path is correct in --traceplot.");
}

TEST_F(CheckPaths, AForgottenCommaIsNoPartOfAPath) {
  EXPECT_EQ(add_fault("SAVE: estimates = e.csv iterations = i.csv;"),
            "ERROR: The path 'e.csv iterations = i.csv' of the SAVE command (estimates) holds \"=\".\n"
            "       Please separate the files of the SAVE command by commas.");
  EXPECT_EQ(add_fault("SAVE: estimates = a=b.csv;").substr(0, 22), "ERROR: The path 'a=b.c");
}

TEST_F(CheckPaths, QuotesAroundAPathAreNoPartOfIt) {
  write("my data.csv", contents("d.csv"));
  const auto in = read(
      "DATA: \"my data.csv\"; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x; NIMPS: 1;"
      "SAVE: burn = 'my draws.csv', psr=\"p.csv\", starts = 'odd; OUTFILE: \"o.csv\";");
  EXPECT_EQ(in->data_file, "my data.csv");
  EXPECT_EQ(in->writePath("burn"), "my draws.csv");
  EXPECT_EQ(in->writePath("psr"), "p.csv");
  EXPECT_EQ(in->writePath("starts"), "'odd");
  EXPECT_EQ(in->writePath("stacked"), "o.csv");
}

TEST_F(CheckPaths, KeysThatSaveNothingAreNamedOnce) {
  add("SAVE: stacked, burn =;");
  const auto no_path = [](const std::string& key) {
    return "WARNING: The keyword '" + key +
           "' of the SAVE command has no path.\n         Nothing is saved under it.";
  };
  EXPECT_EQ(warnings(), (Names{no_path("stacked"), no_path("burn")}));
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"SAVE: stacked = a.csv", "'stacked'"},
      {"SAVE: stacked0 = a.csv", "'stacked0'"},
      {"SAVE: separate = a*.csv", "'separate'"},
      {"OPTIONS: disable_dic; SAVE: likelihood = a.csv", "'likelihood'"},
      {"OPTIONS: disable_corrs; SAVE: correlations = a.csv", "'correlations'"},
      {"SAVE: simple = a.csv", "'simple'"},
      {"SAVE: accepts = a.csv", "'accepts'"},
  };
  for (const auto& [commands, key] : cases) {
    warning::buffer.clear();
    const RestoreSettings settings;
    add(commands + ";");
    ASSERT_EQ(warnings().size(), 1u) << commands;
    EXPECT_EQ(warnings()[0].rfind("WARNING: Nothing is saved under " + key + " of the SAVE command:", 0), 0u);
  }
}

}  // namespace
}  // namespace tovik::tests::check_paths_test
