#include "standin/ray_service.h"

#include <array>
#include <fstream>
#ifdef _WIN32
#include <stdexcept>
#endif

namespace standin {

bool is_windows_binary(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::array<char, 2> first{};
  return in.read(first.data(), first.size()) && first[0] == 'M' && first[1] == 'Z';
}

#ifdef _WIN32

std::unique_ptr<Session> open_remote_session(const SessionOptions&) {
  throw std::runtime_error("On Windows the module is loaded by this program itself; no ray service is needed");
}

std::unique_ptr<Session> open_session_for(const SessionOptions& options) { return open_session(options); }

#else

std::unique_ptr<Session> open_session_for(const SessionOptions& options) {
  return is_windows_binary(options.module_file) ? open_remote_session(options) : open_session(options);
}

#endif

}  // namespace standin
