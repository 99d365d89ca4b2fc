#include "tool/output/new_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace tool {

NewFile::NewFile(std::filesystem::path name) : name_(std::move(name)) {
  const auto folder = name_.has_parent_path() ? name_.parent_path() : std::filesystem::path(".");
  if (!std::filesystem::is_directory(folder)) fail("the folder does not exist");
  if (std::filesystem::is_directory(name_)) fail("it is a folder");
  unfinished_ = folder / ("." + name_.stem().string() + ".unfinished-" + std::to_string(getpid()) + name_.extension().string());
}

NewFile::~NewFile() {
  std::error_code ignored;
  std::filesystem::remove(unfinished_, ignored);
}

void NewFile::finish() {
  std::error_code error;
  std::filesystem::rename(unfinished_, name_, error);
  if (error) fail(error.message());
}

void NewFile::fail(const std::string& reason) const {
  throw std::runtime_error(name_.string() + ": cannot be written: " + reason.substr(0, reason.find('\n')));
}

void write_text_file(const std::filesystem::path& name, const std::string& text) {
  NewFile file(name);
  errno = 0;
  std::ofstream stream(file.unfinished(), std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) file.fail(errno != 0 ? std::strerror(errno) : "writing failed");
  file.finish();
}

}  // namespace tool
