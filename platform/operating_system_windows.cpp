#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <share.h>
#include <string_view>
#include <windows.h>

#include "platform/operating_system.h"

namespace platform {
namespace {

constinit CrashReport crash_report = nullptr;
constinit LPTOP_LEVEL_EXCEPTION_FILTER previous_filter = nullptr;

LONG WINAPI filter_exception(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD* record = exception != nullptr ? exception->ExceptionRecord : nullptr;
  crash_report(record != nullptr ? record->ExceptionCode : 0, record != nullptr ? record->ExceptionAddress : nullptr);
  return EXCEPTION_EXECUTE_HANDLER;
}

/// One thread of this process appends at a time. A thread that dies of an exception while it has its turn goes on without
/// waiting for itself.
class AppendTurn {
 public:
  AppendTurn() noexcept : nested_(owner.load(std::memory_order_relaxed) == GetCurrentThreadId()) {
    if (nested_) return;
    AcquireSRWLockExclusive(&lock);
    owner.store(GetCurrentThreadId(), std::memory_order_relaxed);
  }
  ~AppendTurn() {
    if (nested_) return;
    owner.store(0, std::memory_order_relaxed);
    ReleaseSRWLockExclusive(&lock);
  }
  AppendTurn(const AppendTurn&) = delete;
  AppendTurn& operator=(const AppendTurn&) = delete;

 private:
  static inline SRWLOCK lock = SRWLOCK_INIT;
  static inline std::atomic<DWORD> owner = 0;
  bool nested_;
};

/// Also where the name is longer than the system's plain functions take: opening a file accepts a few characters more.
void delete_file(const char* path) noexcept {
  if (DeleteFileA(path) != 0) return;
  constexpr std::wstring_view long_name_prefix = L"\\\\?\\";
  std::array<wchar_t, 2 * std::tuple_size_v<PathBuffer>> name{};
  wchar_t* const plain = std::ranges::copy(long_name_prefix, name.begin()).out;
  const auto room = static_cast<int>(name.end() - plain);
  if (MultiByteToWideChar(CP_ACP, 0, path, -1, plain, room) != 0) DeleteFileW(name.data());
}

}  // namespace

constinit const char directory_separator = '\\';
constinit const std::string_view line_end = "\r\n";

std::size_t module_file_name(void* handle, PathBuffer& name) noexcept {
  // A name that was cut has the length of the buffer.
  const std::size_t length = GetModuleFileNameA(static_cast<HMODULE>(handle), name.data(), name.size());
  return length < name.size() ? length : 0;
}

unsigned long tick_count_milliseconds() noexcept { return GetTickCount(); }

std::size_t temporary_directory(PathBuffer& directory) noexcept { return GetTempPathA(directory.size(), directory.data()); }

void append_to_file(const char* path, std::string_view text) noexcept {
  // Not every system that runs Windows programs appends in one step.
  const AppendTurn turn;
  const HANDLE file = CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  CloseHandle(file);
}

bool replace_file_content(const char* path, const char* temporary_path, std::string_view text) noexcept {
  // While another writer has the file open, neither opening nor renaming nor deleting it succeeds here.
  std::FILE* file = _fsopen(temporary_path, "w", _SH_DENYRW);
  if (file == nullptr) return false;
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool closed = std::fclose(file) == 0;
  if (written && closed && MoveFileExA(temporary_path, path, MOVEFILE_REPLACE_EXISTING) != 0) return true;
  delete_file(temporary_path);
  return false;
}

void install_crash_filter(CrashReport report) noexcept {
  crash_report = report;
  previous_filter = SetUnhandledExceptionFilter(filter_exception);
}

void remove_crash_filter() noexcept {
  const LPTOP_LEVEL_EXCEPTION_FILTER current = SetUnhandledExceptionFilter(previous_filter);
  if (current != filter_exception) SetUnhandledExceptionFilter(current);
}

}  // namespace platform
