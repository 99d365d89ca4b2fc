#include "tests/support/paths.h"

#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <system_error>
#include <vector>

#ifdef _WIN32
#include <process.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace test_support {
namespace {

std::filesystem::path program_folder() {
#ifdef _WIN32
  char name[1024] = {};
  GetModuleFileNameA(nullptr, name, sizeof name - 1);
  return std::filesystem::path(name).parent_path();
#else
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
#endif
}

int process_id() {
#ifdef _WIN32
  return _getpid();
#else
  return getpid();
#endif
}

/// The folders that this process has made. They go with it, but for those of tests that failed, which are worth a look.
class ScratchFolders {
 public:
  ScratchFolders() = default;
  ScratchFolders(const ScratchFolders&) = delete;
  ScratchFolders& operator=(const ScratchFolders&) = delete;
  ~ScratchFolders() {
    // A forked process that ends has them from its parent, which still needs them.
    if (process_id() != owner_ || testing::UnitTest::GetInstance()->Failed()) return;
    std::error_code still_in_use;
    for (const std::filesystem::path& folder : folders_) std::filesystem::remove_all(folder, still_in_use);
  }

  std::filesystem::path add() {
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    folders_.push_back(std::filesystem::temp_directory_path() /
                       ("ovicam-" + std::to_string(ticks) + "-" + std::to_string(folders_.size())));
    std::filesystem::create_directories(folders_.back());
    return folders_.back();
  }

 private:
  int owner_ = process_id();
  std::vector<std::filesystem::path> folders_;
};

}  // namespace

std::filesystem::path module_file() {
#ifdef _WIN32
  return program_folder() / "OviCam.p";
#else
  return program_folder() / "OviCam.so";
#endif
}

std::filesystem::path source_folder() { return OVICAM_SOURCE_DIR; }

std::filesystem::path host_scene_folder() {
  const auto folder = source_folder() / ".." / "shared" / "scenes";
  return std::filesystem::is_directory(folder) ? folder : std::filesystem::path();
}

std::filesystem::path scratch_folder() {
  // Made before anything in it and after what tells of failures, it is gone after the one and before the other.
  testing::UnitTest::GetInstance();
  static ScratchFolders folders;
  return folders.add();
}

}  // namespace test_support
