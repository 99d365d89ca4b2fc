#include "standin/remote/ray_service.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <system_error>
#include <thread>
#ifdef _WIN32
#include <stdexcept>
#endif

namespace standin {

bool is_windows_binary(const std::filesystem::path& file) {
  std::error_code ignored;
  // Opening a pipe would wait for somebody to write into it.
  if (!std::filesystem::is_regular_file(file, ignored)) return false;
  std::ifstream in(file, std::ios::binary);
  std::array<char, 2> first{};
  return in.read(first.data(), first.size()) && first[0] == 'M' && first[1] == 'Z';
}

#ifdef _WIN32

namespace {
constexpr const char* not_needed = "On Windows the module is loaded by this program itself; no ray service is needed";
}

std::unique_ptr<Session> open_remote_session(const SessionOptions&) { throw std::runtime_error(not_needed); }

std::unique_ptr<Session> open_session_for(const SessionOptions& options) { return open_session(options); }

unsigned threads_that_ask(const std::filesystem::path& /*module_file*/) {
  return std::max(1U, std::thread::hardware_concurrency());
}

ModuleDescription describe_remote_module(const std::filesystem::path&) { throw std::runtime_error(not_needed); }

ModuleDescription describe_module_for(const std::filesystem::path& module_file) { return describe_module(module_file); }

void end_ray_services() {}

#else

unsigned threads_that_ask(const std::filesystem::path& module_file) {
  const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
  return is_windows_binary(module_file) ? 2 * processors : processors;
}

std::unique_ptr<Session> open_session_for(const SessionOptions& options) {
  return is_windows_binary(options.module_file) ? open_remote_session(options) : open_session(options);
}

ModuleDescription describe_module_for(const std::filesystem::path& module_file) {
  return is_windows_binary(module_file) ? describe_remote_module(module_file) : describe_module(module_file);
}

#endif

}  // namespace standin
