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

TEST_F(CheckPaths, SeparateFilesAreListed) {
  std::filesystem::create_directory("out");
  add("NIMPS: 3; SAVE: separate = out/imp*.csv;");
  EXPECT_EQ(contents(folder_ / "out" / "implist.csv"), "imp1.csv\nimp2.csv\nimp3.csv");
  EXPECT_FALSE(std::filesystem::exists("out/imp1.csv"));
  std::filesystem::create_directory("out/b2.csv");
  EXPECT_EQ(add_fault("NIMPS: 3; SAVE: separate = out/b*.csv;"),
            "ERROR: File \"out/b2.csv\" cannot be created.\n"
            "       Please check that the file path is correct in SAVE command.");
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
  EXPECT_EQ(add_fault("SAVE: burn = folder;"), cannot_create("folder"));
  EXPECT_EQ(read_fault("DATA: folder; SEED: 1; BURN: 1; ITER: 4; MODEL: y ~ x;"),
            "ERROR: File \"folder\" cannot be found.");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  EXPECT_EQ(add_fault("SAVE: burn = pipe;"), "");  // returns although nobody reads
  EXPECT_TRUE(fs::is_fifo("pipe"));
  fs::create_symlink("later.csv", "link.csv");
  EXPECT_EQ(add_fault("SAVE: burn = link.csv;"), "");
  EXPECT_TRUE(fs::is_symlink("link.csv"));
  EXPECT_FALSE(fs::exists("later.csv"));
  EXPECT_EQ(add_fault("SAVE: burn = " + std::string(300, 'x') + ";"), cannot_create(std::string(300, 'x')));
}

TEST_F(CheckPaths, APureSimulationNeedsOnlyItsOwnFile) {
  EXPECT_EQ(read_fault("SIMULATE: n = 5; SAVE: dataset = no/a.csv;"), cannot_create("no/a.csv"));
  EXPECT_EQ(read_fault("SIMULATE: n = 5; SAVE: dataset = a.csv, burn = no/b.csv, separate = one.csv;"), "");
  EXPECT_FALSE(fs::exists("a.csv"));
}

TEST_F(CheckPaths, TheListStandsBesideItsFiles) {
  write("implist.csv", "an older and much longer list\nof\nfiles\n");
  add("NIMPS: 1; SAVE: separate = imp*.csv;");
  EXPECT_EQ(contents("implist.csv"), "imp1.csv");
  fs::create_directory("out");
  add("NIMPS: 2; SAVE: separate = out/*_*.csv;");
  EXPECT_EQ(contents("out/list_list.csv"), "1_1.csv\n2_2.csv");
  fs::create_directory("none");
  add("NIMPS: 0; SAVE: separate = none/imp*.csv;");
  EXPECT_EQ(contents("none/implist.csv"), "");
}

}  // namespace
}  // namespace tovik::tests::check_paths_test
