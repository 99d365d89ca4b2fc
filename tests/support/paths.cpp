#include "tests/support/paths.h"

#include <chrono>
#include <string>

#ifdef _WIN32
#include <windows.h>
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
  static int count = 0;
  const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  auto folder = std::filesystem::temp_directory_path() / ("ovicam-" + std::to_string(ticks) + "-" + std::to_string(count++));
  std::filesystem::create_directories(folder);
  return folder;
}

}  // namespace test_support
