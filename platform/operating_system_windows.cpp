#include <cstdio>
#include <share.h>
#include <windows.h>

#include "platform/operating_system.h"

namespace platform {
namespace {

constinit CrashReport crash_report = nullptr;

LONG WINAPI filter_exception(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD* record = exception != nullptr ? exception->ExceptionRecord : nullptr;
  crash_report(record != nullptr ? record->ExceptionCode : 0, record != nullptr ? record->ExceptionAddress : nullptr);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

constinit const char directory_separator = '\\';
constinit const std::string_view line_end = "\r\n";

std::size_t module_file_name(void* handle, PathBuffer& name) noexcept {
  const std::size_t length = GetModuleFileNameA(static_cast<HMODULE>(handle), name.data(), name.size());
  // Older systems leave a name that was cut without its closing NUL.
  name.back() = '\0';
  return length < name.size() ? length : name.size() - 1;
}

unsigned long tick_count_milliseconds() noexcept { return GetTickCount(); }

std::size_t temporary_directory(PathBuffer& directory) noexcept { return GetTempPathA(directory.size(), directory.data()); }

void append_to_file(const char* path, std::string_view text) noexcept {
  // Writers take turns, as not every system that runs Windows programs appends in one step. Nobody holds the file for long,
  // and a dying process waits for nobody for ever.
  constexpr int attempts = 100;
  HANDLE file = INVALID_HANDLE_VALUE;
  for (int attempt = 0; attempt < attempts && file == INVALID_HANDLE_VALUE; ++attempt) {
    if (attempt > 0 && GetLastError() != ERROR_SHARING_VIOLATION) return;
    if (attempt > 0) Sleep(1);
    file = CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
  }
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
  DeleteFileA(temporary_path);
  return false;
}

void install_crash_filter(CrashReport report) noexcept {
  crash_report = report;
  SetUnhandledExceptionFilter(filter_exception);
}

}  // namespace platform
