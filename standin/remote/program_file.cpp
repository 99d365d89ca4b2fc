#ifndef _WIN32

#include "standin/remote/program_file.h"

namespace standin {

std::filesystem::path program_file(const std::string& name) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const auto installed = folder.parent_path() / "lib" / "ovicam" / name;
  const auto beside = folder / name;
  return !std::filesystem::exists(beside) && std::filesystem::exists(installed) ? installed : beside;
}

}  // namespace standin

#endif
