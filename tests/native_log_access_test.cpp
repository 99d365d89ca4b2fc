/// What others may leave in the place of the diagnostic log and of the tool's unfinished files.

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "standin/host/dynamic_library.h"
#include "standin/scene/file_bytes.h"
#include "standin/scene/file_error.h"
#include "tests/support/tool_fixture.h"
#include "tool/output/new_file.h"

namespace native_log_access_test {

namespace fs = std::filesystem;
using namespace test_support;

class NativeLogAccess : public testing::Test {
 protected:
  void SetUp() override { fs::copy_file(module_file(), module_); }
  void load() const { const standin::DynamicLibrary library(module_); }

  const fs::path folder_ = scratch_folder();
  const fs::path module_ = folder_ / "OviCam.so";
  const fs::path log_ = folder_ / "OviCam-diag.log";
  const fs::path victim_ = folder_ / "victim";
};

TEST_F(NativeLogAccess, AnOrdinaryLogIsWritten) {
  load();
  load();
  const std::string log = contents(log_);
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
}

TEST_F(NativeLogAccess, ALinkIsNotFollowed) {
  std::ofstream(victim_) << "precious";
  fs::create_symlink(victim_, log_);
  load();
  EXPECT_EQ(contents(victim_), "precious");
  fs::remove(victim_);
  load();
  EXPECT_FALSE(fs::exists(victim_)) << "nor does a link that leads nowhere make a file";
}

TEST_F(NativeLogAccess, ASecondNameOfAnotherFileIsNotWritten) {
  std::ofstream(victim_) << "precious";
  fs::create_hard_link(victim_, log_);
  load();
  EXPECT_EQ(contents(victim_), "precious");
}

TEST_F(NativeLogAccess, AFileOfSomebodyElseIsNotWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can give files away";
  std::ofstream(log_) << "theirs";
  ASSERT_EQ(chown(log_.c_str(), 65534, 65534), 0);
  load();
  EXPECT_EQ(contents(log_), "theirs");
}

TEST_F(NativeLogAccess, APipeIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(log_.c_str(), 0600), 0);
  load();
  const int reader = open(log_.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  load();
  char letter = 0;
  EXPECT_EQ(read(reader, &letter, 1), 0) << "nothing was put into it";
  close(reader);
}

TEST(NativeUnfinishedFiles, HaveNamesThatNobodyCanGuess) {
  const fs::path folder = scratch_folder();
  std::set<std::string> numbers;
  for (int i = 0; i < 50; ++i) {
    const tool::NewFile file(folder / "picture.png");
    const auto names = names_in(folder);
    ASSERT_EQ(names.size(), 1U);
    std::smatch match;
    ASSERT_TRUE(std::regex_match(names[0], match, std::regex(R"(\.picture\.unfinished-.*-[0-9]+-([0-9a-f]{16})\.png)")))
        << names[0];
    EXPECT_TRUE(numbers.insert(match[1]).second);
  }
  EXPECT_TRUE(names_in(folder).empty());
}

TEST(NativeUnfinishedFiles, AreReplacedByWholeFilesInTheStandInToo) {
  const fs::path folder = scratch_folder();
  const fs::path file = folder / "scene.lws";
  standin::replace_file(file, "one");
  standin::replace_file(file, std::string("two\n\0three", 10));
  EXPECT_EQ(contents(file), std::string("two\n\0three", 10));
  EXPECT_EQ(names_in(folder).size(), 1U);
  EXPECT_THROW(standin::replace_file(folder / "missing" / "scene.lws", "x"), standin::FileError);
  fs::create_directory(folder / "folder");
  EXPECT_THROW(standin::replace_file(folder / "folder", "x"), standin::FileError);
  EXPECT_EQ(names_in(folder).size(), 2U);
}

}  // namespace native_log_access_test
