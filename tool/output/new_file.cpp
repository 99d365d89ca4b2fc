#include "tool/output/new_file.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tool {

namespace {

constexpr std::string_view mark = ".unfinished-";
/// Of the name itself: a name that is as long as names may be still has an unfinished one.
constexpr std::size_t most_letters = 64;

/// Folders of a farm are shared by machines that have processes of the same number.
std::string machine_name() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "this";
  return std::string(name.data()).substr(0, most_letters);
}

/// Whoever may write to the folder could leave a link under a name that can be guessed.
std::string random_digits() {
  std::random_device source;
  std::array<char, 17> digits{};
  static_cast<void>(std::snprintf(digits.data(), digits.size(), "%08x%08x", source(), source()));
  return digits.data();
}

std::filesystem::path unfinished_name(const std::filesystem::path& name) {
  return "." + name.stem().string().substr(0, most_letters) + std::string(mark) + machine_name() + '-' +
         std::to_string(getpid()) + '-' + random_digits() + name.extension().string();
}

/// Null, with errno, when there is a file or a link of that name already.
std::FILE* make_file(const std::filesystem::path& name) { return std::fopen(name.c_str(), "wbxe"); }

/// Whether the name is that of an unfinished file of a process of this machine that is no more.
bool is_left_behind(const std::string& name) {
  const std::size_t found = name.rfind(mark);
  if (found == std::string::npos || !name.starts_with('.')) return false;
  const std::string own = machine_name() + '-';
  const std::string rest = name.substr(found + mark.size());
  if (!rest.starts_with(own)) return false;
  pid_t process = 0;
  const auto [end, error] = std::from_chars(rest.data() + own.size(), rest.data() + rest.size(), process);
  return error == std::errc() && *end == '-' && process > 0 && kill(process, 0) != 0 && errno == ESRCH;
}

/// Once for every folder: one with many frames takes long to read.
void remove_what_was_left_behind(const std::filesystem::path& folder) {
  static std::set<std::filesystem::path> cleared;
  if (!cleared.insert(folder).second) return;
  std::error_code error;
  std::vector<std::filesystem::path> files;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    if (is_left_behind(entry->path().filename().string())) files.push_back(entry->path());
  for (const auto& file : files) std::filesystem::remove(file, error);
}

}  // namespace

NewFile::NewFile(std::filesystem::path name)
    : name_(std::move(name)), unfinished_(prepared_unfinished()), stream_(make_file(unfinished_)) {
  if (!stream_) fail_with_errno();
}

std::filesystem::path NewFile::prepared_unfinished() const {
  const auto folder = name_.has_parent_path() ? name_.parent_path() : std::filesystem::path(".");
  if (!std::filesystem::is_directory(folder)) fail("the folder does not exist");
  if (std::filesystem::is_directory(name_)) fail("it is a folder");
  remove_what_was_left_behind(folder);
  return folder / unfinished_name(name_);
}

NewFile::~NewFile() {
  stream_.reset();
  remove_unfinished();
}

void NewFile::remove_unfinished() const {
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

void check_can_be_written(const std::filesystem::path& name) { const NewFile possible(name); }

void write_text_file(const std::filesystem::path& name, const std::string& text) {
  NewFile file(name);
  file.write(std::as_bytes(std::span(text)));
  file.finish();
}

}  // namespace tool
