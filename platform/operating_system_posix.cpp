#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/operating_system.h"

namespace platform {
namespace {

constexpr mode_t new_file_mode = 0666;
constexpr std::array crash_signals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

constinit CrashReport crash_report = nullptr;

/// Closes its file, and with it gives back the lock on it. Folders may be everybody's: neither is a link followed that someone
/// left there, nor the reader or writer of a pipe waited for.
class File {
 public:
  File(const char* path, int flags) noexcept
      : descriptor_(open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, new_file_mode)) {}
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

  [[nodiscard]] bool is_ordinary() const noexcept {
    struct stat opened = {};
    return fstat(descriptor_, &opened) == 0 && S_ISREG(opened.st_mode);
  }

  /// Not somebody else's, which may have another name besides.
  [[nodiscard]] bool is_own() const noexcept {
    struct stat opened = {};
    return fstat(descriptor_, &opened) == 0 && S_ISREG(opened.st_mode) && opened.st_uid == geteuid() && opened.st_nlink == 1;
  }

  /// The caller has it from now on.
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

  [[nodiscard]] bool write(std::string_view text) const noexcept {
    while (!text.empty()) {
      const ssize_t written = ::write(descriptor_, text.data(), text.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }

 private:
  int descriptor_;
};

/// Whether the open file is an own one, still has that name, and is locked by nobody else. A writer that ended before
/// the lock was given may have renamed the file: by then it is the published one, which nobody may write to.
bool lock(const File& file, const char* path) noexcept {
  if (flock(file.descriptor(), LOCK_EX | LOCK_NB) != 0) return false;
  struct stat opened = {};
  struct stat named = {};
  return file.is_own() && fstat(file.descriptor(), &opened) == 0 && lstat(path, &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

void report_signal(int signal, siginfo_t* information, void* /*context*/) {
  const int saved_error = errno;
  // Only a fault of the processor has an address; a signal that was sent holds the sender in the same place.
  crash_report(static_cast<unsigned long>(signal), information->si_code > 0 ? information->si_addr : nullptr);
  errno = saved_error;
  // The default action is back in place by now; it is carried out when this handler returns.
  static_cast<void>(raise(signal));
}

bool is_handled_here(const struct sigaction& action) noexcept {
  return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == report_signal;
}

}  // namespace

constinit const char directory_separator = '/';
constinit const std::string_view line_end = "\n";

std::size_t module_file_name(void* handle, PathBuffer& name) noexcept {
  Dl_info module = {};
  if (dladdr(handle, &module) == 0 || module.dli_fname == nullptr) return 0;
  std::size_t length = 0;
  // The name is the one the module was loaded by; a relative one means another place once the host changes its directory.
  if (module.dli_fname[0] != directory_separator) {
    if (getcwd(name.data(), name.size() - 1) == nullptr) return 0;
    length = std::string_view(name.data()).size();
    name[length++] = directory_separator;
  }
  const std::string_view rest = module.dli_fname;
  if (length + rest.size() >= name.size()) return 0;
  *std::copy(rest.begin(), rest.end(), name.data() + length) = '\0';
  return length + rest.size();
}

unsigned long tick_count_milliseconds() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1'000'000);
}

std::size_t temporary_directory(PathBuffer& directory) noexcept {
  const char* variable = std::getenv("TMPDIR");
  const std::string_view named = variable != nullptr && *variable != '\0' ? variable : "/tmp";
  const bool lacks_separator = named.back() != directory_separator;
  const std::size_t length = named.size() + (lacks_separator ? 1 : 0);
  if (length >= directory.size()) return length;
  char* end = std::copy(named.begin(), named.end(), directory.data());
  if (lacks_separator) *end++ = directory_separator;
  *end = '\0';
  return length;
}

void append_to_file(const char* path, std::string_view text) noexcept {
  const File file(path, O_WRONLY | O_CREAT | O_APPEND);
  if (file.descriptor() >= 0 && file.is_own()) static_cast<void>(file.write(text));
}

std::FILE* open_for_reading(const char* path) noexcept {
  File file(path, O_RDONLY);
  if (file.descriptor() < 0 || !file.is_ordinary()) return nullptr;
  std::FILE* stream = fdopen(file.descriptor(), "r");
  if (stream != nullptr) static_cast<void>(file.release());
  return stream;
}

bool replace_file_content(const char* path, const char* temporary_path, std::string_view text) noexcept {
  const File file(temporary_path, O_WRONLY | O_CREAT);
  if (file.descriptor() < 0 || !lock(file, temporary_path)) return false;
  if (ftruncate(file.descriptor(), 0) == 0 && file.write(text) && std::rename(temporary_path, path) == 0) return true;
  unlink(temporary_path);
  return false;
}

void install_crash_filter(CrashReport report) noexcept {
  crash_report = report;
  for (const int signal : crash_signals) {
    struct sigaction current = {};
    if (sigaction(signal, nullptr, &current) != 0 || (current.sa_flags & SA_SIGINFO) != 0 || current.sa_handler != SIG_DFL)
      continue;
    struct sigaction action = {};
    action.sa_sigaction = report_signal;
    action.sa_flags = SA_SIGINFO | SA_RESETHAND | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

void remove_crash_filter() noexcept {
  for (const int signal : crash_signals) {
    struct sigaction current = {};
    if (sigaction(signal, nullptr, &current) == 0 && is_handled_here(current)) static_cast<void>(std::signal(signal, SIG_DFL));
  }
}

}  // namespace platform
