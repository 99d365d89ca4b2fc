/// What the module does while the process dies of a fault, and what is left of it when it is let go.

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "standin/host/dynamic_library.h"
#include "tests/support/child_process.h"
#include "tests/support/tool_fixture.h"

extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT(*-reserved-identifier,cert-*)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(*-reserved-identifier,cert-*)
void* __libc_realloc(void* memory, std::size_t size);      // NOLINT(*-reserved-identifier,cert-*)
}

namespace {

constexpr int has_allocated = 77;
constinit std::atomic<bool> is_dying = false;

/// The heap may be what broke: whoever asks it for memory now would hang or fault again.
void refuse_while_dying() {
  if (is_dying) std::_Exit(has_allocated);
}

}  // namespace

// These stand in for those of the C library, for the module as well.
// The parameters have the names that the C library gives them.
extern "C" {
void* malloc(std::size_t size) {
  refuse_while_dying();
  return __libc_malloc(size);
}
void* calloc(std::size_t nmemb, std::size_t size) {
  refuse_while_dying();
  return __libc_calloc(nmemb, size);
}
void* realloc(void* ptr, std::size_t size) {
  refuse_while_dying();
  return __libc_realloc(ptr, size);
}
}

namespace {

namespace fs = std::filesystem;

int die_with_module(const fs::path& module_file, bool allocate) {
  const standin::DynamicLibrary library(module_file);
  if (allocate) static_cast<void>(std::signal(SIGSEGV, [](int) { std::free(std::malloc(1)); }));
  is_dying = true;
  volatile std::uintptr_t address = 0x40;
  *reinterpret_cast<volatile int*>(address) = 1;  // NOLINT(performance-no-int-to-ptr)
  return 0;
}

class CrashLineAlone : public testing::Test {
 protected:
  unsigned long exit_code(const std::string& way) {
    fs::copy_file(test_support::module_file(), module_, fs::copy_options::overwrite_existing);
    test_support::ChildProcess child({"--die", way, module_.string()});
    return child.wait();
  }

  const fs::path folder_ = test_support::scratch_folder();
  const fs::path module_ = folder_ / "OviCam.so";
};

TEST_F(CrashLineAlone, IsWrittenWithoutAskingForMemory) {
  EXPECT_EQ(exit_code("plain"), 128UL + SIGSEGV);
  EXPECT_NE(test_support::contents(folder_ / "OviCam-diag.log").find("!!! UNHANDLED EXCEPTION"), std::string::npos);
}

TEST_F(CrashLineAlone, AskingForMemoryWouldBeNoticed) {
  EXPECT_EQ(exit_code("allocating"), static_cast<unsigned long>(has_allocated));
}

TEST_F(CrashLineAlone, NothingOfItIsLeftWhenTheModuleIsLetGo) {
  constexpr std::array signals{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
  std::array<struct sigaction, signals.size()> before{};
  for (std::size_t i = 0; i < signals.size(); ++i) {
    static_cast<void>(std::signal(signals[i], SIG_DFL));
    sigaction(signals[i], nullptr, &before[i]);
  }
  fs::copy_file(test_support::module_file(), module_);
  auto library = std::make_unique<standin::DynamicLibrary>(module_);
  for (const int signal : signals) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    EXPECT_NE(now.sa_handler, SIG_DFL) << signal;
  }
  library.reset();
  for (const int signal : signals) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL) << signal;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--die") return die_with_module(argv[3], std::string(argv[2]) == "allocating");
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
