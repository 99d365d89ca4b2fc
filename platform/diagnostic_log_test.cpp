#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "interop/message_files.h"
#include "sdk/loading.h"
#include "standin/host/dynamic_library.h"
#include "tests/support/child_process.h"
#include "tests/support/paths.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

namespace fs = std::filesystem;
using test_support::ChildProcess;

#ifdef _WIN32
constexpr std::string_view line_end = "\r\n";
constexpr unsigned long access_violation = 0xc0000005UL;
constexpr std::string_view access_violation_line = "!!! UNHANDLED EXCEPTION code=0xc0000005 addr=";
#else
constexpr std::string_view line_end = "\n";
constexpr unsigned long access_violation = 128 + SIGSEGV;
constexpr std::string_view access_violation_line = "!!! UNHANDLED EXCEPTION code=0x0000000b addr=";
#endif
constexpr std::string_view banner = "==== OviCam 4.0.0.22 DLL_PROCESS_ATTACH ====";
constexpr std::uintptr_t bad_address = 0x40;

std::string content(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The messages of the log beside the module file, without their tick counts.
std::vector<std::string> log_messages(const fs::path& module_file) {
  const std::string text = content(module_file.parent_path() / "OviCam-diag.log");
  static const std::regex whole_line(R"(\[[0-9]+\] (.*))");
  std::vector<std::string> messages;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find(line_end, start);
    const std::string line = text.substr(start, end - start);
    std::smatch match;
    EXPECT_TRUE(end != std::string::npos && std::regex_match(line, match, whole_line)) << "not a whole line: " << line;
    if (match.empty()) break;
    messages.push_back(match[1]);
    start = end + line_end.size();
  }
  return messages;
}

/// A copy of the module in a folder of its own, and so with a log of its own.
fs::path copy_of_module(const fs::path& folder) {
  fs::create_directories(folder);
  fs::path copy = folder / test_support::module_file().filename();
  fs::copy_file(test_support::module_file(), copy);
  return copy;
}

/// A folder whose name, the separator at its end counted, has this many characters.
fs::path folder_of_length(std::size_t length) {
  std::string name = test_support::scratch_folder().string();
  const std::size_t missing = length - 1 - name.size();
  // No part of a path may be longer than a file system allows.
  const std::size_t first = (missing - 2) / 2;
  const char separator = static_cast<char>(fs::path::preferred_separator);
  name += separator + std::string(first, 'a') + separator + std::string(missing - 2 - first, 'b');
  return name;
}

struct LoadedModule {
  fs::path file = copy_of_module(test_support::scratch_folder());
  standin::DynamicLibrary library{file};
  const ModuleDescriptor* descriptor = library.find_as<const ModuleDescriptor>("_mod_descrip");
};

/// What the program does when it is run as a child: loads the module and dies.
int die_with_module(std::string_view way, const fs::path& module_file) {
  if (way == "handled") static_cast<void>(std::signal(SIGSEGV, [](int) { std::_Exit(42); }));
  const standin::DynamicLibrary library(module_file);
  if (way == "abort") std::abort();
  volatile std::uintptr_t address = bad_address;
  *reinterpret_cast<volatile int*>(address) = 1;  // NOLINT(performance-no-int-to-ptr)
  return 0;
}

struct Death {
  unsigned long exit_code;
  std::vector<std::string> messages;
};

Death die(const std::string& way) {
  // A sanitizer's own handler would come first.
  for (const char* options : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"})
    test_support::set_environment(options, "handle_segv=0:handle_abort=0");
  const fs::path file = copy_of_module(test_support::scratch_folder());
  ChildProcess child({"--die", way, file.string()});
  const unsigned long exit_code = child.wait();
  return {exit_code, log_messages(file)};
}

TEST(DiagnosticLog, LoadingWritesTheBanner) {
  const LoadedModule module;
  EXPECT_EQ(log_messages(module.file), std::vector<std::string>{std::string(banner)});
}

TEST(DiagnosticLog, EveryCallAppendsALineOfItsOwn) {
  const LoadedModule module;
  ASSERT_NE(module.descriptor, nullptr);
  void* const block = module.descriptor->startup();
  ASSERT_NE(block, nullptr);
  module.descriptor->shutdown(block);
  module.descriptor->shutdown(nullptr);
  EXPECT_EQ(log_messages(module.file),
            (std::vector<std::string>{std::string(banner), "Module Startup", "Module Shutdown", "Module Shutdown"}));
}

TEST(DiagnosticLog, LoadingTwiceKeepsTheEarlierLines) {
  const fs::path file = copy_of_module(test_support::scratch_folder());
  std::ofstream(file.parent_path() / "OviCam-diag.log", std::ios::binary) << "[1] earlier" << line_end;
  const standin::DynamicLibrary library(file);
  EXPECT_EQ(log_messages(file), (std::vector<std::string>{"earlier", std::string(banner)}));
}

TEST(DiagnosticLog, TicksNeverGoBack) {
  const LoadedModule module;
  ASSERT_NE(module.descriptor, nullptr);
  for (int call = 0; call < 20; ++call) module.descriptor->shutdown(nullptr);
  const std::string text = content(module.file.parent_path() / "OviCam-diag.log");
  std::uint32_t previous = 0;
  bool first = true;
  for (std::size_t start = text.find('['); start != std::string::npos; start = text.find('[', start + 1)) {
    const auto ticks = static_cast<std::uint32_t>(std::stoul(text.substr(start + 1)));
    // The count starts again at 0 after 2^32 milliseconds.
    EXPECT_TRUE(first || ticks - previous < 0x8000'0000U) << previous << " then " << ticks;
    previous = ticks;
    first = false;
  }
  EXPECT_FALSE(first);
}

TEST(DiagnosticLog, FolderOf235CharactersLogs) {
  const fs::path file = copy_of_module(folder_of_length(235));
  const standin::DynamicLibrary library(file);
  EXPECT_EQ(log_messages(file).size(), 1U);
}

TEST(DiagnosticLog, FolderOf236CharactersDoesNotLog) {
  const fs::path file = copy_of_module(folder_of_length(236));
  const standin::DynamicLibrary library(file);
  EXPECT_FALSE(fs::exists(file.parent_path() / "OviCam-diag.log"));
  const auto* descriptor = library.find_as<const ModuleDescriptor>("_mod_descrip");
  ASSERT_NE(descriptor, nullptr);
  descriptor->shutdown(nullptr);
  EXPECT_FALSE(fs::exists(file.parent_path() / "OviCam-diag.log"));
}

/// A copy of the module whose whole file name has this many characters, in a folder that could keep a log.
fs::path copy_with_name_of_length(std::size_t length) {
  const fs::path copy = copy_of_module(folder_of_length(200));
  const std::string ending = copy.extension().string();
  const fs::path renamed = copy.parent_path() / (std::string(length - 200 - ending.size(), 'c') + ending);
  fs::rename(copy, renamed);
  return renamed;
}

TEST(DiagnosticLog, ModuleNameOf259CharactersLogs) {
  const fs::path file = copy_with_name_of_length(259);
  const standin::DynamicLibrary library(file);
  EXPECT_EQ(log_messages(file), std::vector<std::string>{std::string(banner)});
}

TEST(DiagnosticLog, ModuleNameWithoutRoomForItsClosingZeroDoesNotLog) {
  for (const std::size_t length : {std::size_t{260}, std::size_t{261}, std::size_t{300}}) {
    const fs::path file = copy_with_name_of_length(length);
    const standin::DynamicLibrary library(file);
    const auto* descriptor = library.find_as<const ModuleDescriptor>("_mod_descrip");
    ASSERT_NE(descriptor, nullptr);
    descriptor->shutdown(nullptr);
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()), 1) << length;
  }
}

TEST(DiagnosticLog, LinesJoinThoseOfAProgramThatHasTheLogOpen) {
  const LoadedModule module;
  ASSERT_NE(module.descriptor, nullptr);
  std::ofstream other(module.file.parent_path() / "OviCam-diag.log", std::ios::binary | std::ios::app);
  other << "[1] of another program" << line_end << std::flush;
  module.descriptor->shutdown(nullptr);
  other << "[2] of another program" << line_end << std::flush;
  std::ifstream reader(module.file.parent_path() / "OviCam-diag.log", std::ios::binary);
  module.descriptor->shutdown(nullptr);
  EXPECT_EQ(log_messages(module.file), (std::vector<std::string>{std::string(banner), "of another program", "Module Shutdown",
                                                                 "of another program", "Module Shutdown"}));
}

#ifdef _WIN32
/// Milliseconds, of this thread alone: it neither works nor sleeps longer than that.
double milliseconds_of(const std::function<void()>& calls) {
  const auto start = std::chrono::steady_clock::now();
  calls();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

TEST(DiagnosticLog, RefusedOpenIsGivenUpAtOnce) {
  const LoadedModule module;
  ASSERT_NE(module.descriptor, nullptr);
  const auto log = [&] {
    for (int call = 0; call < 10; ++call) module.descriptor->shutdown(nullptr);
  };
  const double granted = milliseconds_of(log);
  const fs::path file = module.file.parent_path() / "OviCam-diag.log";
  const HANDLE exclusive = CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(exclusive, INVALID_HANDLE_VALUE);
  const double refused = milliseconds_of(log);
  CloseHandle(exclusive);
  EXPECT_EQ(log_messages(module.file).size(), 11U);
  // Opening, writing and closing take longer than being refused; a wait for another program to finish would be a hundred
  // times as long.
  EXPECT_LT(refused, 20.0 * granted);
}
#endif

TEST(DiagnosticLog, LogThatCannotBeOpenedDisturbsNothing) {
  const fs::path file = copy_of_module(test_support::scratch_folder());
  fs::create_directory(file.parent_path() / "OviCam-diag.log");
  const standin::DynamicLibrary library(file);
  const auto* descriptor = library.find_as<const ModuleDescriptor>("_mod_descrip");
  ASSERT_NE(descriptor, nullptr);
  descriptor->shutdown(nullptr);
  EXPECT_TRUE(fs::is_empty(file.parent_path() / "OviCam-diag.log"));
}

TEST(DiagnosticLog, LinesOfSeveralThreadsStayWhole) {
  const LoadedModule module;
  ASSERT_NE(module.descriptor, nullptr);
  constexpr int thread_count = 4;
  constexpr int calls = 100;
  std::vector<std::thread> threads;
  threads.reserve(thread_count);
  for (int thread = 0; thread < thread_count; ++thread) {
    threads.emplace_back([&] {
      for (int call = 0; call < calls; ++call) module.descriptor->shutdown(nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> messages = log_messages(module.file);
  ASSERT_EQ(messages.size(), 1U + thread_count * calls);
  for (std::size_t line = 1; line < messages.size(); ++line) EXPECT_EQ(messages[line], "Module Shutdown");
}

TEST(CrashLine, NamesCodeAndAddress) {
  const Death death = die("fault");
  EXPECT_EQ(death.exit_code, access_violation);
  ASSERT_EQ(death.messages.size(), 2U);
  const std::string& line = death.messages[1];
  ASSERT_TRUE(line.starts_with(access_violation_line)) << line;
  constexpr std::string_view ending = " -- process dying";
  ASSERT_TRUE(line.ends_with(ending)) << line;
  std::size_t digits = 0;
  const std::string address =
      line.substr(access_violation_line.size(), line.size() - access_violation_line.size() - ending.size());
  const unsigned long long value = std::stoull(address, &digits, 16);
  EXPECT_EQ(digits, address.size());
#ifdef _WIN32
  // Windows reports where the program was, not what it reached for.
  EXPECT_NE(value, 0U);
#else
  EXPECT_EQ(value, bad_address);
#endif
}

#ifndef _WIN32
TEST(CrashLine, AbortIsReportedWithoutAnAddress) {
  const Death death = die("abort");
  EXPECT_EQ(death.exit_code, 128UL + SIGABRT);
  ASSERT_EQ(death.messages.size(), 2U);
  EXPECT_EQ(death.messages[1], "!!! UNHANDLED EXCEPTION code=0x00000006 addr=(nil) -- process dying");
}

TEST(CrashLine, HandlerOfTheHostStaysInPlace) {
  const Death death = die("handled");
  EXPECT_EQ(death.exit_code, 42UL);
  EXPECT_EQ(death.messages.size(), 1U);
}
#endif

#ifdef _WIN32
using Filter = LPTOP_LEVEL_EXCEPTION_FILTER;
LONG WINAPI filter_of_the_host(EXCEPTION_POINTERS* /*exception*/) { return EXCEPTION_CONTINUE_SEARCH; }
LONG WINAPI later_filter(EXCEPTION_POINTERS* /*exception*/) { return EXCEPTION_CONTINUE_SEARCH; }
Filter put_filter(Filter filter) { return SetUnhandledExceptionFilter(filter); }
#else
using Filter = void (*)(int);
void filter_of_the_host(int /*signal*/) {}
void later_filter(int /*signal*/) {}
Filter put_filter(Filter filter) { return std::signal(SIGSEGV, filter); }
#endif

/// Puts back what was there, however a test ends.
struct FilterOfTheHost {
  Filter usual = put_filter(filter_of_the_host);
  FilterOfTheHost() = default;
  ~FilterOfTheHost() { put_filter(usual); }
  FilterOfTheHost(const FilterOfTheHost&) = delete;
  FilterOfTheHost& operator=(const FilterOfTheHost&) = delete;
};

TEST(CrashFilter, OneBeforeTheModuleIsPutBackWhenItIsLetGo) {
  const FilterOfTheHost host;
  { const LoadedModule module; }
  EXPECT_EQ(put_filter(filter_of_the_host), &filter_of_the_host);
}

TEST(CrashFilter, OneAfterTheModuleStaysWhenItIsLetGo) {
  const FilterOfTheHost host;
  {
    const LoadedModule module;
    put_filter(later_filter);
  }
  EXPECT_EQ(put_filter(filter_of_the_host), &later_filter);
}

#ifdef _WIN32
TEST(CrashFilter, IsTheModulesOwnWhileItIsLoaded) {
  const FilterOfTheHost host;
  const LoadedModule module;
  const Filter found = put_filter(filter_of_the_host);
  HMODULE owner = nullptr;
  ASSERT_NE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                               reinterpret_cast<const wchar_t*>(found), &owner),
            0);
  std::array<wchar_t, 1024> name = {};
  GetModuleFileNameW(owner, name.data(), name.size());
  EXPECT_TRUE(fs::equivalent(name.data(), module.file));
  put_filter(found);
}
#endif

class MessageFiles : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(append, nullptr);
    ASSERT_NE(write, nullptr);
    ASSERT_NE(read, nullptr);
  }

  [[nodiscard]] std::string word_in_file() const {
    std::array<char, 64> word = {};
    word.fill('x');
    read(path.c_str(), word.data());
    return word.data();
  }

  standin::DynamicLibrary library{test_support::module_file()};
  decltype(appendMessageToFile)* append = library.find_as<decltype(appendMessageToFile)>("appendMessageToFile");
  decltype(writeMessageToFile)* write = library.find_as<decltype(writeMessageToFile)>("writeMessageToFile");
  decltype(readMessageFromFile)* read = library.find_as<decltype(readMessageFromFile)>("readMessageFromFile");
  std::string path = (test_support::scratch_folder() / "message.txt").string();
};

TEST_F(MessageFiles, AppendingAddsNoLineEnd) {
  append(path.c_str(), "100%s ");
  append(path.c_str(), "two");
  EXPECT_EQ(content(path), "100%s two");
}

TEST_F(MessageFiles, WritingReplacesAndEndsTheLine) {
  write(path.c_str(), "a longer first message");
  write(path.c_str(), "second");
  EXPECT_EQ(content(path), "second" + std::string(line_end));
}

TEST_F(MessageFiles, ReadingTakesTheFirstWord) {
  std::ofstream(path, std::ios::binary) << " \t\r\n first second";
  EXPECT_EQ(word_in_file(), "first");
  write(path.c_str(), "whole");
  EXPECT_EQ(word_in_file(), "whole");
}

TEST_F(MessageFiles, MissingFileReadsAsDashes) { EXPECT_EQ(word_in_file(), "---"); }

TEST_F(MessageFiles, FileWithoutAWordLeavesTheTextAsItWas) {
  std::array<char, 4> untouched = {'a', 'b', 'c', '\0'};
  append(path.c_str(), "");
  ASSERT_TRUE(fs::exists(path));
  read(path.c_str(), untouched.data());
  EXPECT_STREQ(untouched.data(), "abc");
  append(path.c_str(), " \n ");
  read(path.c_str(), untouched.data());
  EXPECT_STREQ(untouched.data(), "abc");
}

TEST_F(MessageFiles, FolderThatIsMissingChangesNothing) {
  const std::string elsewhere = path + "-folder/message.txt";
  append(elsewhere.c_str(), "text");
  write(elsewhere.c_str(), "text");
  EXPECT_FALSE(fs::exists(elsewhere));
}

TEST_F(MessageFiles, NullPointersDoNothing) {
  append(nullptr, "text");
  append(path.c_str(), nullptr);
  write(nullptr, "text");
  write(path.c_str(), nullptr);
  EXPECT_FALSE(fs::exists(path));
  read(path.c_str(), nullptr);
}

TEST_F(MessageFiles, NullPathReadsAsAFileThatCannotBeOpened) {
  std::array<char, 4> text = {'a', 'b', 'c', '\0'};
  read(nullptr, text.data());
  EXPECT_STREQ(text.data(), "---");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string_view(argv[1]) == "--die") return die_with_module(argv[2], argv[3]);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
