#include "platform/diagnostic_log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "platform/operating_system.h"

namespace {

constexpr std::string_view file_name = "OviCam-diag.log";
/// Folders from this length on, the separator counted, keep no log.
constexpr std::size_t folder_limit = 236;
static_assert(folder_limit + file_name.size() < std::tuple_size_v<platform::PathBuffer>);

enum class PathState { unset, being_written, ready };

constinit std::atomic<void*> saved_module_handle = nullptr;
constinit std::atomic<PathState> path_state = PathState::unset;
constinit platform::PathBuffer saved_path = {};

/// Returns whether there is a log path.
bool find_path(platform::PathBuffer& path) noexcept {
  void* const handle = saved_module_handle.load(std::memory_order_acquire);
  if (handle == nullptr) return false;
  const std::string_view module_file(path.data(), platform::module_file_name(handle, path));
  const std::size_t separator = module_file.rfind(platform::directory_separator);
  if (separator == std::string_view::npos) return false;
  const std::size_t folder_length = separator + 1;
  if (folder_length >= folder_limit) return false;
  *std::copy(file_name.begin(), file_name.end(), path.data() + folder_length) = '\0';
  return true;
}

/// The path, found once. While one thread is still storing it, the others go by what they found themselves.
bool log_path(platform::PathBuffer& path) noexcept {
  if (path_state.load(std::memory_order_acquire) == PathState::ready) {
    path = saved_path;
    return true;
  }
  if (!find_path(path)) return false;
  PathState expected = PathState::unset;
  if (path_state.compare_exchange_strong(expected, PathState::being_written)) {
    saved_path = path;
    path_state.store(PathState::ready, std::memory_order_release);
  }
  return true;
}

/// Puts the whole line into `line` if it fits. Returns the length it has or would have; 0 when the message has no text.
[[gnu::format(printf, 3, 0)]] std::size_t compose(std::span<char> line, unsigned long ticks, const char* format,
                                                  va_list arguments) noexcept {
  const auto prefix = static_cast<std::size_t>(std::snprintf(line.data(), line.size(), "[%lu] ", ticks));
  const int message = std::vsnprintf(line.data() + prefix, line.size() - prefix, format, arguments);
  if (message < 0) return 0;
  const std::size_t text = prefix + static_cast<std::size_t>(message);
  const std::size_t length = text + platform::line_end.size();
  if (length <= line.size()) std::copy(platform::line_end.begin(), platform::line_end.end(), line.data() + text);
  return length;
}

void report_crash(unsigned long code, const void* address) noexcept {
  diagnostic_log("!!! UNHANDLED EXCEPTION code=0x%08lx addr=%p -- process dying", code, address);
}

}  // namespace

void diagnostic_log(const char* format, ...) noexcept {  // NOLINT(cert-dcl50-cpp): the compiler checks the arguments
  platform::PathBuffer path = {};
  if (!log_path(path)) return;

  const unsigned long ticks = platform::tick_count_milliseconds();
  va_list arguments;
  va_start(arguments, format);
  va_list arguments_again;
  va_copy(arguments_again, arguments);
  // The crash line must not need the heap: it may be what broke.
  std::array<char, 1024> short_line = {};
  const std::size_t length = compose(short_line, ticks, format, arguments);
  if (length <= short_line.size()) {
    platform::append_to_file(path.data(), {short_line.data(), length});
  } else if (const std::unique_ptr<char[]> long_line(new (std::nothrow) char[length + 1]); long_line) {
    compose({long_line.get(), length + 1}, ticks, format, arguments_again);
    platform::append_to_file(path.data(), {long_line.get(), length});
  }
  va_end(arguments_again);
  va_end(arguments);
}

void start_diagnostics(void* module_handle) noexcept {
  saved_module_handle.store(module_handle, std::memory_order_release);
  platform::install_crash_filter(report_crash);
  diagnostic_log("==== OviCam 4.0.0.22 DLL_PROCESS_ATTACH ====");
}

void end_diagnostics() noexcept { platform::remove_crash_filter(); }
