#ifndef _WIN32

#include "standin/remote/program_file.h"

#include <algorithm>
#include <cstdlib>

#include "standin/remote/ray_service.h"

namespace standin {

std::filesystem::path program_file(const std::string& name) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const auto installed = folder.parent_path() / "lib" / "ovicam" / name;
  const auto beside = folder / name;
  return !std::filesystem::exists(beside) && std::filesystem::exists(installed) ? installed : beside;
}

std::filesystem::path program_for_module(const char* environment_variable, const std::string& name,
                                         const std::filesystem::path& module_file) {
  if (const char* program = std::getenv(environment_variable); program != nullptr && *program != '\0') return program;
  const std::string file = is_windows_binary(module_file) ? name + ".exe" : name;
  if (auto own = program_file(file); std::filesystem::is_regular_file(own)) return own;
  return std::filesystem::absolute(module_file).parent_path() / file;
}

std::vector<std::string> running_command(const std::filesystem::path& program) {
  std::vector<std::string> words{"setpriv", "--pdeathsig", "KILL"};
  if (is_windows_binary(program)) words.push_back(program_file("run-wine.sh").string());
  words.push_back(program.string());
  return words;
}

std::filesystem::path windows_path(const std::filesystem::path& file) {
  if (file.empty()) return {};
  std::string text = "Z:" + std::filesystem::absolute(file).lexically_normal().string();
  std::ranges::replace(text, '/', '\\');
  return text;
}

}  // namespace standin

#endif
