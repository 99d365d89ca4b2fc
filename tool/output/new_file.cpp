#include "tool/output/new_file.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace tool {

NewFile::NewFile(std::filesystem::path name) : name_(std::move(name)) {
  const auto folder = name_.has_parent_path() ? name_.parent_path() : std::filesystem::path(".");
  if (!std::filesystem::is_directory(folder)) fail("the folder does not exist");
  if (std::filesystem::is_directory(name_)) fail("it is a folder");
  unfinished_ = folder / ("." + name_.stem().string() + ".unfinished-" + std::to_string(getpid()) + name_.extension().string());
  stream_.reset(std::fopen(unfinished_.c_str(), "wbe"));
  if (!stream_) fail_with_errno();
}

NewFile::~NewFile() {
  stream_.reset();
  std::error_code ignored;
  std::filesystem::remove(unfinished_, ignored);
}

void NewFile::write(std::span<const std::byte> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_.get()) != bytes.size()) fail_with_errno();
}

std::uint64_t NewFile::position() {
  const off_t position = ftello(stream_.get());
  if (position < 0) fail_with_errno();
  return static_cast<std::uint64_t>(position);
}

void NewFile::move_to(std::uint64_t position) {
  if (fseeko(stream_.get(), static_cast<off_t>(position), SEEK_SET) != 0) fail_with_errno();
}

void NewFile::complete() {
  if (std::fflush(stream_.get()) != 0) fail_with_errno();
  // Some file systems tell only now, or when the file is closed, that there was no room. Some cannot be asked.
  if (fsync(fileno(stream_.get())) != 0 && errno != EINVAL && errno != ENOTSUP) fail_with_errno();
  if (std::fclose(stream_.release()) != 0) fail_with_errno();
}

void NewFile::finish() {
  if (stream_) complete();
  std::error_code error;
  std::filesystem::rename(unfinished_, name_, error);
  if (error) fail(error.message());
}

void NewFile::fail(const std::string& reason) const {
  throw std::runtime_error(name_.string() + ": cannot be written: " + reason.substr(0, reason.find('\n')));
}

void NewFile::fail_with_errno() const {
  const int error = errno;
  std::string reason = std::strerror(error);
  if (error == ENOSPC || error == EDQUOT) reason += "; make room on the disk and try again";
  fail(reason);
}

void write_text_file(const std::filesystem::path& name, const std::string& text) {
  NewFile file(name);
  file.write(std::as_bytes(std::span(text)));
  file.finish();
}

}  // namespace tool
