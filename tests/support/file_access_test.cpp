#include "support/file_access.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "scratch_folder.hpp"
#include "support/file_writer.hpp"

namespace fs = std::filesystem;

namespace tovik::file_access_test {
namespace {

class FileAccess : public testing::Test {
 protected:
  FileAccess() { std::ofstream(at("there.csv")) << "old"; }

  std::string at(const std::string& name) const { return (scratch_.path() / name).string(); }
  std::string text(const std::string& name) const {
    std::ifstream in(at(name));
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  tests::scratch_folder scratch_;
};

/// As long as it lives, the process can open no file.
class no_descriptors {
 public:
  no_descriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const int free = ::dup(STDIN_FILENO);
    ::close(free);
    rlimit now = before_;
    now.rlim_cur = static_cast<rlim_t>(free);
    setrlimit(RLIMIT_NOFILE, &now);
  }
  no_descriptors(const no_descriptors&) = delete;
  no_descriptors& operator=(const no_descriptors&) = delete;
  ~no_descriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

/// As long as it lives, permissions bind the process: root, whom they do not bind, becomes another user.
class ordinary_user {
 public:
  ordinary_user() {
    if (before_ == 0 && ::seteuid(nobody) != 0) throw std::runtime_error("root cannot become another user");
  }
  ordinary_user(const ordinary_user&) = delete;
  ordinary_user& operator=(const ordinary_user&) = delete;
  ~ordinary_user() {
    if (::seteuid(before_) != 0) std::terminate();
  }

 private:
  static constexpr uid_t nobody = 65534;
  uid_t before_ = ::geteuid();
};

TEST_F(FileAccess, AFileThatCanBeOpenedHasNoFailure) {
  EXPECT_EQ(read_failure(at("there.csv")), 0);
  EXPECT_EQ(write_failure(at("there.csv")), 0);
  EXPECT_EQ(text("there.csv"), "old");
  EXPECT_EQ(write_failure(at("new.csv")), 0);
  EXPECT_FALSE(fs::exists(at("new.csv")));
}

TEST_F(FileAccess, APathThatLeadsToNothingIsAbsent) {
  for (const std::string& path : {at("none.csv"), at("no/such.csv"), at("there.csv/x"), std::string()}) {
    EXPECT_TRUE(is_absent(read_failure(path))) << path;
    EXPECT_EQ(system_reason(read_failure(path)), "") << path;
  }
  EXPECT_TRUE(is_absent(write_failure(at("no/such.csv"))));
  EXPECT_FALSE(is_absent(read_failure(at(""))));
}

TEST_F(FileAccess, AFolderIsNoFile) {
  EXPECT_EQ(read_failure(at("")), EISDIR);
  EXPECT_EQ(write_failure(at("")), EISDIR);
  EXPECT_EQ(system_reason(EISDIR), "\n       The system says: Is a directory.");
}

TEST_F(FileAccess, PermissionsAreTold) {
  fs::create_directory(at("locked"));
  std::ofstream(at("closed.csv")) << "secret";
  ::chmod(at("closed.csv").c_str(), 0);
  ::chmod(at("locked").c_str(), 0555);
  ::chmod(at("").c_str(), 0755);
  int read = 0, write = 0, create = 0;
  {
    const ordinary_user user;
    read = read_failure(at("closed.csv"));
    write = write_failure(at("closed.csv"));
    create = write_failure(at("locked/new.csv"));
  }
  EXPECT_EQ(read, EACCES);
  EXPECT_EQ(write, EACCES);
  EXPECT_EQ(create, EACCES);
  EXPECT_EQ(system_reason(EACCES), "\n       The system says: Permission denied.");
  EXPECT_EQ(path_advice(EACCES, "Look at the path."),
            "\n       Look at the path.\n       The system says: Permission denied.");
}

TEST_F(FileAccess, TooManyOpenFilesAreNoFaultOfThePath) {
  int read = 0, write = 0, create = 0, written = 0;
  {
    const no_descriptors none;
    read = read_failure(at("there.csv"));
    write = write_failure(at("there.csv"));
    create = write_failure(at("new.csv"));
    written = file_writer(at("new.csv")).open_failure();
  }
  EXPECT_EQ(read, EMFILE);
  EXPECT_EQ(write, EMFILE);
  EXPECT_EQ(create, EMFILE);
  EXPECT_EQ(written, EMFILE);
  EXPECT_EQ(path_advice(EMFILE, "Look at the path."),
            "\n       The system lets the program open no more files (Too many open files).");
}

TEST_F(FileAccess, PipesAreNotOpened) {
  ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
  EXPECT_EQ(read_failure(at("pipe")), 0);  // returns although nobody writes
  EXPECT_EQ(write_failure(at("pipe")), 0);
}

}  // namespace
}  // namespace tovik::file_access_test
