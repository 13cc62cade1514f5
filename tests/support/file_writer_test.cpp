#include "support/file_writer.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>

#include "scratch_folder.hpp"

namespace fs = std::filesystem;

namespace tovik {
namespace {

class FileWriter : public testing::Test {
 protected:
  void TearDown() override { file_set::failures().clear(); }

  std::string at(const std::string& name) const { return (scratch_.path() / name).string(); }
  std::string text(const std::string& name) const {
    std::ifstream in(scratch_.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void put(const std::string& name, const std::string& content) const {
    std::ofstream(scratch_.path() / name, std::ios::binary) << content;
  }
  std::size_t files() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(scratch_.path()), {}));
  }

  tests::scratch_folder scratch_;
};

/// As long as it lives, files end after `bytes`: the write that would pass them fails as on a full disk.
class short_files {
 public:
  explicit short_files(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit now = before_;
    now.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  short_files(const short_files&) = delete;
  short_files& operator=(const short_files&) = delete;
  ~short_files() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(FileWriter, TheTargetAppearsWithItsWholeText) {
  file_writer file(at("a.csv"));
  file.write("one\n");
  std::fprintf(file.stream(), "%i\n", 2);
  EXPECT_FALSE(fs::exists(at("a.csv")));
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(text("a.csv"), "one\n2\n");
  EXPECT_EQ(files(), 1u);
}

TEST_F(FileWriter, WhatWasNotCommittedLeavesNoTrace) {
  put("a.csv", "old");
  {
    file_writer file(at("a.csv"));
    file.write("new");
    file.finish();
    EXPECT_EQ(file.stream(), nullptr);
  }
  EXPECT_EQ(text("a.csv"), "old");
  EXPECT_EQ(files(), 1u);
}

TEST_F(FileWriter, AWriterThatFailsAfterKBytesKeepsTheOldFile) {
  const std::string content(200000, 'x');
  for (const rlim_t k : {0ul, 1ul, 4095ul, 65536ul, 65537ul, 199999ul}) {
    put("a.csv", "old");
    bool good = true;
    {
      const short_files limit(k);
      file_writer file(at("a.csv"));
      for (std::size_t from = 0; from < content.size(); from += 1000) file.write(content.substr(from, 1000));
      good = file.commit();
    }
    EXPECT_FALSE(good) << k;
    EXPECT_EQ(text("a.csv"), "old") << k;
    EXPECT_EQ(files(), 1u) << k;
  }
  const short_files enough(200000);
  file_writer file(at("a.csv"));
  file.write(content);
  EXPECT_TRUE(file.commit());
}

TEST_F(FileWriter, AFullDeviceIsAFailure) {
  file_writer file("/dev/full");
  file.write("text");
  EXPECT_FALSE(file.commit());
  EXPECT_FALSE(file.good());
}

TEST_F(FileWriter, AFolderThatIsMissingOrHasGoneIsAFailure) {
  file_writer none(at("no/a.csv"));
  EXPECT_EQ(none.stream(), nullptr);
  none.write("text");
  EXPECT_FALSE(none.commit());
  fs::create_directory(at("gone"));
  file_writer file(at("gone/a.csv"));
  file.write("text");
  fs::remove_all(at("gone"));
  EXPECT_FALSE(file.commit());
  EXPECT_FALSE(fs::exists(at("gone")));
  fs::create_directory(at("folder"));
  EXPECT_FALSE(file_writer(at("folder")).commit());
  EXPECT_TRUE(fs::is_directory(at("folder")));
}

TEST_F(FileWriter, LinksStayLinks) {
  fs::create_directory(at("sub"));
  put("sub/real.csv", "old");
  fs::create_symlink("sub/real.csv", at("link.csv"));
  fs::create_symlink("later.csv", at("dangling.csv"));
  for (const char* name : {"link.csv", "dangling.csv"}) {
    file_writer file(at(name));
    file.write("new");
    EXPECT_TRUE(file.commit());
    EXPECT_TRUE(fs::is_symlink(at(name)));
  }
  EXPECT_EQ(text("sub/real.csv"), "new");
  EXPECT_EQ(text("later.csv"), "new");
}

TEST_F(FileWriter, PermissionsStay) {
  put("a.csv", "old");
  ASSERT_EQ(::chmod(at("a.csv").c_str(), 0640), 0);
  file_writer file(at("a.csv"));
  file.write("new");
  EXPECT_TRUE(file.commit());
  struct stat now {};
  ASSERT_EQ(::stat(at("a.csv").c_str(), &now), 0);
  EXPECT_EQ(now.st_mode & 0777, 0640u);
}

TEST_F(FileWriter, LongNamesFit) {
  const std::string name(255, 'n');
  file_writer file(at(name));
  file.write("text");
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(text(name), "text");
}

TEST_F(FileWriter, ADescriptorIsWrittenWhereItStands) {
  put("out.txt", "");
  std::fflush(stdout);
  const int before = ::dup(STDOUT_FILENO);
  std::FILE* out = std::fopen(at("out.txt").c_str(), "w");
  ::dup2(::fileno(out), STDOUT_FILENO);
  std::fputs("before\n", stdout);
  file_writer file("/dev/stdout");
  file.write("cells\n");
  const bool good = file.commit();
  std::fputs("behind\n", stdout);
  std::fflush(stdout);
  ::dup2(before, STDOUT_FILENO);
  ::close(before);
  std::fclose(out);
  EXPECT_TRUE(good);
  EXPECT_EQ(text("out.txt"), "before\ncells\nbehind\n");
}

TEST_F(FileWriter, PipesAreWrittenDirectly) {
  ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
  std::FILE* reader = std::fopen(at("pipe").c_str(), "r+");  // both ends, so that nobody waits
  file_writer file(at("pipe"));
  file.write("text\n");
  EXPECT_TRUE(file.commit());
  char line[16] = "";
  EXPECT_NE(std::fgets(line, sizeof line, reader), nullptr);
  std::fclose(reader);
  EXPECT_STREQ(line, "text\n");
  EXPECT_TRUE(fs::is_fifo(at("pipe")));
}

TEST_F(FileWriter, FilesOfASetAppearTogether) {
  put("a.csv", "old");
  {
    file_set set;
    for (const char* name : {"a.csv", "b.csv"}) {
      file_writer file(at(name));
      file.write("new");
      file_set::store(std::move(file));
    }
    EXPECT_EQ(text("a.csv"), "old");
    EXPECT_FALSE(fs::exists(at("b.csv")));
    set.commit();
    EXPECT_EQ(text("a.csv") + text("b.csv"), "newnew");
  }
  file_writer alone(at("c.csv"));
  file_set::store(std::move(alone));
  EXPECT_TRUE(fs::exists(at("c.csv")));
  EXPECT_TRUE(file_set::failures().empty());
}

TEST_F(FileWriter, ASetThatIsGivenUpLeavesTheOldFiles) {
  put("a.csv", "old");
  {
    file_set set;
    file_writer file(at("a.csv"));
    file.write("new");
    file_set::store(std::move(file));
  }
  EXPECT_EQ(text("a.csv"), "old");
  EXPECT_EQ(files(), 1u);
}

TEST_F(FileWriter, AFailureDoesNotHoldUpTheOthers) {
  file_set set;
  for (const std::string& name : {at("no/a.csv"), at("b.csv"), at("no/a.csv")}) {
    file_writer file(name);
    file.write("new");
    file_set::store(std::move(file));
  }
  set.commit();
  EXPECT_EQ(text("b.csv"), "new");
  EXPECT_EQ(file_set::failures(), (std::vector{unwritten_file{at("no/a.csv"), ENOENT}}));
}

TEST_F(FileWriter, PathsToOneFileHaveOneEnd) {
  put("a.csv", "");
  fs::create_directory(at("sub"));
  fs::create_symlink("../a.csv", at("sub/link.csv"));
  fs::create_symlink("sub", at("other"));
  for (const char* name : {"./a.csv", "sub/../a.csv", "sub/link.csv", "other/link.csv"}) {
    EXPECT_EQ(end_of_links(at(name)), end_of_links(at("a.csv"))) << name;
  }
  EXPECT_EQ(end_of_links(at("other/new.csv")), end_of_links(at("sub/new.csv")));
  EXPECT_NE(end_of_links(at("b.csv")), end_of_links(at("a.csv")));
  EXPECT_TRUE(is_device("/dev/null"));
  EXPECT_TRUE(is_device("/dev/stdout"));
  EXPECT_FALSE(is_device(at("a.csv")));
  EXPECT_FALSE(is_device(at("new.csv")));
}

}  // namespace
}  // namespace tovik
