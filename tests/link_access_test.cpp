/// The camera link file among other programs: those that read it all the time, and those that leave something in its place.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "interop/camera_link.h"
#include "standin/host/dynamic_library.h"
#include "tests/support/child_process.h"
#include "tests/support/link_folder.h"
#include "tests/support/paths.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;
using test_support::ChildProcess;

struct Library {
  standin::DynamicLibrary file{test_support::module_file()};
  decltype(QrmLink_Write)* write = file.find_as<decltype(QrmLink_Write)>("QrmLink_Write");
  decltype(QrmLink_WriteEx2)* write_all = file.find_as<decltype(QrmLink_WriteEx2)>("QrmLink_WriteEx2");
  decltype(QrmLink_Read)* read = file.find_as<decltype(QrmLink_Read)>("QrmLink_Read");

  [[nodiscard]] int publish(double value) const { return write("p", "v", "b", value, value, value, value); }
};

std::string content(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class LinkAccess : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(library_.write, nullptr);
    ASSERT_NE(library_.write_all, nullptr);
    ASSERT_NE(library_.read, nullptr);
  }

  fs::path temporary_file() const { return folder_.file().string() + ".tmp"; }

  test_support::LinkFolder folder_;
  Library library_;
};

/// What the program does when it is run as a child: reads in a loop until a file tells it to end. Returns how often there was
/// nothing to read, up to 100, or 200 when it never read at all.
int read_until(const fs::path& end, const fs::path& ready) {
  const Library library;
  QrmLinkRecord record = {};
  int failures = 0;
  std::ofstream(ready) << "ready";
  long long readings = 0;
  for (; !fs::exists(end); ++readings)
    for (int i = 0; i < 20; ++i)
      if (library.read(&record) != 1 || record.iso != record.iris) ++failures;
  return readings == 0 ? 200 : std::min(failures, 100);
}

TEST_F(LinkAccess, AReaderInALoopAndAWriterDoNotStandInEachOthersWay) {
  ASSERT_EQ(library_.publish(1.0), 1);
  const fs::path end = folder_.folder() / "end";
  const fs::path ready = folder_.folder() / "ready";
  ChildProcess reader({"--read", folder_.folder().string(), end.string(), ready.string()});
  while (!fs::exists(ready) && reader.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  // On an idle machine not one of a hundred writes fails, and half of them where a write tries once. Where other programs have
  // all processors, the reader can be made to wait with the file open, longer than a write tries: the best of a number of
  // rounds counts, and one of twenty may fail.
  constexpr int writes = 200;
  constexpr int most_failed = writes / 20;
  int fewest_failed = writes;
  for (int round = 0; round < 20 && fewest_failed > most_failed; ++round) {
    int failed = 0;
    for (int i = 0; i < writes; ++i) {
      failed += 1 - library_.publish(i);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    fewest_failed = std::min(fewest_failed, failed);
  }
  std::ofstream(end) << "end";
  EXPECT_EQ(reader.wait(), 0UL) << "times that there was nothing to read";
  EXPECT_LE(fewest_failed, most_failed);
}

/// Of several blocks of the disk, so that a reader can meet a part; not too long, so that writers meet often.
constexpr std::size_t text_length = 10'000;
#ifdef _WIN32
constexpr int writes_of_each = 500;
constexpr int least_kills = 15;
constexpr unsigned longest_life_microseconds = 200'000;
#else
constexpr int writes_of_each = 20'000;
constexpr int least_kills = 100;
constexpr unsigned longest_life_microseconds = 10'000;
#endif
/// Of all those that are killed, together.
constexpr int least_writes = 1'500;

/// What the program does as another child: writes one of as many contents as there are writers, again and again.
int write_often(const std::string& number) {
  const Library library;
  const double value = std::stod(number);
  const std::string text(text_length, static_cast<char>('a' + static_cast<int>(value)));
  int written = 0;
  for (int i = 0; i < writes_of_each; ++i) written += library.write(text.c_str(), "v", "b", value, value, value, value);
  return written > 0 ? 0 : 1;
}

TEST_F(LinkAccess, WhatThreeProcessesWriteIsNeverTorn) {
  std::vector<std::unique_ptr<ChildProcess>> writers;
  for (const char* number : {"1", "2", "3"})
    writers.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{"--write", folder_.folder().string(), number}));
  const auto any_runs = [&] { return std::ranges::any_of(writers, [](const auto& writer) { return writer->is_running(); }); };
  int readings = 0;
  int torn = 0;
  std::size_t whole_size = 0;
  while (any_runs()) {
    std::ifstream stream(folder_.file(), std::ios::binary);
    if (!stream) continue;
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    if (whole_size == 0) whole_size = text.size();
    const std::size_t plugin = text.find("plugin=");
    const char letter = plugin != std::string::npos && plugin + 7 < text.size() ? text[plugin + 7] : '?';
    const std::string expected = std::string(text_length, letter);
    const bool whole = text.size() == whole_size && text.starts_with("[CameraLink]") &&
                       text.compare(plugin + 7, expected.size(), expected) == 0 &&
                       text.find("iso=" + std::to_string(letter - 'a') + ".000000") != std::string::npos &&
                       text.find("dynamic_range=0.000000") != std::string::npos;
    torn += whole ? 0 : 1;
    ++readings;
  }
  for (const auto& writer : writers) EXPECT_EQ(writer->wait(), 0UL);
  EXPECT_EQ(torn, 0) << "of " << readings;
  EXPECT_GT(readings, 0);
  EXPECT_FALSE(fs::exists(temporary_file()));
}

/// What the program does as a third child: writes numbers that grow by one, in every field, until it is killed. Ends by itself
/// when writing always fails.
int write_growing(const std::string& first) {
  const Library library;
  const std::string text(text_length, 'k');
  double next = std::stod(first);
  for (int failures = 0; failures < 1000; ++failures) {
    if (library.write_all(text.c_str(), "v", "b", next, next, next, next, "s", next, next) != 1) continue;
    ++next;
    failures = 0;
  }
  return 1;
}

/// The number in a record, or 0 if it is not in every field: the last of them ends the file.
double number_in(const QrmLinkRecord& record) {
  for (const double field : {record.iris, record.shutter_angle, record.frame_time, record.native_iso, record.dynamic_range})
    if (field != record.iso) return 0.0;
  return record.iso;
}

TEST_F(LinkAccess, AReaderNeverMissesTheFileWhileWritersAreKilled) {
  ASSERT_EQ(library_.write_all("p", "v", "b", 1.0, 1.0, 1.0, 1.0, "s", 1.0, 1.0), 1);
  std::atomic<bool> stop = false;
  std::atomic<int> failures = 0;
  std::atomic<int> readings = 0;
  std::atomic<double> newest = 1.0;
  std::thread reader([&] {
    QrmLinkRecord record = {};
    for (; !stop; ++readings) {
      const bool found = library_.read(&record) == 1;
      // A number below the last one would be a file of an earlier writer, come back.
      if (!found || number_in(record) < newest)
        ++failures;
      else
        newest = number_in(record);
    }
  });
  std::mt19937 random(5);
  int killed = 0;
  int left_a_part = 0;
  while (failures == 0 && (killed < least_kills || newest < least_writes)) {
    const double before = newest;
    ChildProcess writer({"--grow", folder_.folder().string(), std::to_string(before + 1.0)});
    while (newest == before && failures == 0 && writer.is_running()) std::this_thread::yield();
    if (!writer.is_running()) {
      ADD_FAILURE() << "the writer has ended by itself";
      break;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % longest_life_microseconds));
    writer.kill();
    writer.wait();
    ++killed;
    left_a_part += fs::exists(temporary_file()) ? 1 : 0;
    // The reader comes to what was written last.
    const int seen = readings;
    while (readings < seen + 2) std::this_thread::yield();
  }
  stop = true;
  reader.join();
  EXPECT_EQ(failures, 0) << "of " << readings;
  EXPECT_GE(newest, least_writes);
  EXPECT_GT(readings, killed);
  RecordProperty("killed", killed);
  RecordProperty("killed_while_writing", left_a_part);
  EXPECT_EQ(library_.publish(3.0), 1) << "whatever the last one left";
  EXPECT_FALSE(fs::exists(temporary_file()));
}

TEST_F(LinkAccess, NothingThatAKilledWriterLeftComesIntoTheFile) {
  ASSERT_EQ(library_.publish(1.0), 1);
  const std::string expected = content(folder_.file());
  std::ofstream(temporary_file()) << std::string(text_length, 'k') << "\niso=7.000000\n";
  ASSERT_EQ(library_.publish(1.0), 1);
  EXPECT_EQ(content(folder_.file()), expected);
  EXPECT_FALSE(fs::exists(temporary_file()));
}

TEST_F(LinkAccess, ATemporaryDirectoryThatDisappearsIsNotMadeAgain) {
  const fs::path session = folder_.folder() / "session";
  fs::create_directory(session);
  test_support::LinkFolder::point_to(session);
  QrmLinkRecord record = {};
  for (int turn = 1; turn <= 3; ++turn) {
    EXPECT_EQ(library_.publish(turn), 1);
    EXPECT_EQ(library_.read(&record), 1);
    EXPECT_EQ(record.iso, turn);
    fs::remove_all(session);
    EXPECT_EQ(library_.read(&record), 0);
    EXPECT_EQ(record.version, -1);
    EXPECT_EQ(library_.publish(100.0), 0);
    EXPECT_FALSE(fs::exists(session));
    EXPECT_TRUE(fs::is_empty(folder_.folder()));
    fs::create_directory(session);
    EXPECT_EQ(library_.read(&record), 0);
  }
  folder_.point_back();
}

TEST_F(LinkAccess, AFileThatAReaderHoldsOpenIsWhole) {
  ASSERT_EQ(library_.publish(1.0), 1);
  const std::string before = content(folder_.file());
  std::ifstream held(folder_.file(), std::ios::binary);
  ASSERT_TRUE(held);
  static_cast<void>(library_.publish(2.0));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(held), {}), before);
  held.close();
  EXPECT_EQ(library_.publish(3.0), 1);
  EXPECT_NE(content(folder_.file()), before);
  EXPECT_FALSE(fs::exists(temporary_file()));
}

TEST_F(LinkAccess, AFolderInItsPlaceIsNoFile) {
  fs::create_directory(folder_.file());
  QrmLinkRecord record = {};
  EXPECT_EQ(library_.read(&record), 0);
  EXPECT_EQ(record.version, -1);
  EXPECT_EQ(library_.publish(1.0), 0);
}

TEST_F(LinkAccess, TextsWithLineEndsInThemAreWrittenWhole) {
  const std::string text = std::string(3000, 'a') + '\n' + std::string(3000, 'b') + "\n\n" + std::string(5000, '\n');
  ASSERT_EQ(library_.write(text.c_str(), "v", "b", 1.0, 2.0, 3.0, 4.0), 1);
  std::string written = content(folder_.file());
  std::erase(written, '\r');
  EXPECT_NE(written.find("plugin=" + text + "\nplugin_version=v\n"), std::string::npos);
}

TEST_F(LinkAccess, SecondNameOfAnotherFileIsNotWritten) {
  const fs::path victim = folder_.folder() / "victim";
  std::ofstream(victim) << "precious";
  std::error_code error;
  fs::create_hard_link(victim, temporary_file(), error);
  if (error) GTEST_SKIP() << "this file system has no second names: " << error.message();
  EXPECT_EQ(library_.publish(1.0), 0);
  EXPECT_EQ(content(victim), "precious");
}

TEST_F(LinkAccess, LinkThatLeadsNowhereMakesNoFile) {
  const fs::path target = folder_.folder() / "target";
  std::error_code error;
  fs::create_symlink(target, temporary_file(), error);
  if (error) GTEST_SKIP() << "links cannot be made here: " << error.message();
  EXPECT_EQ(library_.publish(1.0), 0);
  EXPECT_FALSE(fs::exists(target));
}

#ifndef _WIN32
TEST_F(LinkAccess, APipeInItsPlaceIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(folder_.file().c_str(), 0600), 0);
  QrmLinkRecord record = {};
  EXPECT_EQ(library_.read(&record), 0);
  // With somebody at its other end it could be opened, and would be read for ever.
  const int other_end = open(folder_.file().c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(other_end, 0);
  EXPECT_EQ(library_.read(&record), 0);
  close(other_end);
  EXPECT_EQ(library_.publish(1.0), 1) << "it is replaced like any file";
  EXPECT_EQ(library_.read(&record), 1);
}

TEST_F(LinkAccess, ALinkInItsPlaceIsNotFollowed) {
  ASSERT_EQ(library_.publish(1.0), 1);
  const fs::path moved = folder_.folder() / "moved";
  fs::rename(folder_.file(), moved);
  fs::create_symlink(moved, folder_.file());
  QrmLinkRecord record = {};
  EXPECT_EQ(library_.read(&record), 0);
  EXPECT_EQ(library_.publish(2.0), 1);
  EXPECT_EQ(library_.read(&record), 1);
  EXPECT_NE(content(moved), content(folder_.file()));
}
#endif

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::string_view(argv[1]) == "--read") {
    test_support::LinkFolder::point_to(argv[2]);
    return read_until(argv[3], argv[4]);
  }
  if (argc == 4 && std::string_view(argv[1]) == "--write") {
    test_support::LinkFolder::point_to(argv[2]);
    return write_often(argv[3]);
  }
  if (argc == 4 && std::string_view(argv[1]) == "--grow") {
    test_support::LinkFolder::point_to(argv[2]);
    return write_growing(argv[3]);
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
