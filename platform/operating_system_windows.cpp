#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <string_view>
#include <utility>
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

constexpr DWORD no_ordinary_file = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;

/// For a program that reads in a loop, which leaves only moments between; some 20 milliseconds.
constexpr int many_attempts = 160;
/// For one that has held the file all the time before.
constexpr int few_attempts = 10;

/// Tries again while another program stands in the way.
template <class Attempt>
bool succeeds_soon(int most_attempts, Attempt attempt) noexcept {
  for (int i = 0; i < most_attempts; ++i) {
    if (attempt()) return true;
    const DWORD error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED && error != ERROR_DELETE_PENDING) return false;
    Sleep(0);
  }
  return false;
}

constinit std::atomic<bool> last_write_succeeded = true;

/// A file that nobody else can open meanwhile, emptied. A link in its place is opened itself, and not followed; making the file
/// first, and opening what is left of an ended process only then, keeps to that where the system knows links of another kind.
class TemporaryFile {
 public:
  explicit TemporaryFile(const char* path) noexcept : file_(opened(path, CREATE_NEW)) {
    if (file_ == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS) file_ = opened(path, OPEN_EXISTING);
    BY_HANDLE_FILE_INFORMATION information = {};
    own_ = file_ != INVALID_HANDLE_VALUE && GetFileInformationByHandle(file_, &information) != 0 &&
           (information.dwFileAttributes & no_ordinary_file) == 0 && information.nNumberOfLinks == 1 &&
           SetEndOfFile(file_) != 0;
  }
  ~TemporaryFile() {
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// It could be opened, is an ordinary file, and has no other name.
  [[nodiscard]] bool is_own() const noexcept { return own_; }

  [[nodiscard]] bool write(std::string_view text) const noexcept {
    std::array<char, 4096> part{};
    std::size_t used = 0;
    for (const char character : text) {
      if (used + 2 > part.size() && !write_part(part.data(), std::exchange(used, 0))) return false;
      if (character == '\n') part[used++] = '\r';
      part[used++] = character;
    }
    return write_part(part.data(), used);
  }

  void remove_when_closed() const noexcept {
    FILE_DISPOSITION_INFO removal = {};
    removal.DeleteFile = TRUE;
    SetFileInformationByHandle(file_, FileDispositionInfo, &removal, sizeof removal);
  }

 private:
  static HANDLE opened(const char* path, DWORD how) noexcept {
    return CreateFileA(path, GENERIC_WRITE | DELETE, 0, nullptr, how, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  }

  [[nodiscard]] bool write_part(const char* text, std::size_t size) const noexcept {
    DWORD written = 0;
    return WriteFile(file_, text, static_cast<DWORD>(size), &written, nullptr) != 0 && written == size;
  }

  HANDLE file_;
  bool own_ = false;
};

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

std::FILE* open_for_reading(const char* path) noexcept {
  constexpr DWORD every_sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE file = INVALID_HANDLE_VALUE;
  static_cast<void>(succeeds_soon(many_attempts, [&] {
    file = CreateFileA(path, GENERIC_READ, every_sharing, nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return file != INVALID_HANDLE_VALUE;
  }));
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  BY_HANDLE_FILE_INFORMATION information = {};
  const bool ordinary = GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) != 0 &&
                        (information.dwFileAttributes & no_ordinary_file) == 0;
  const int descriptor = ordinary ? _open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_RDONLY | _O_TEXT) : -1;
  if (descriptor < 0) {
    CloseHandle(file);
    return nullptr;
  }
  std::FILE* stream = _fdopen(descriptor, "r");
  if (stream == nullptr) _close(descriptor);
  return stream;
}

bool replace_file_content(const char* path, const char* temporary_path, std::string_view text) noexcept {
  {
    // While another writer has the file open, neither opening nor renaming nor deleting it succeeds here.
    const TemporaryFile file(temporary_path);
    if (!file.is_own()) return false;
    if (!file.write(text)) {
      file.remove_when_closed();
      return false;
    }
  }
  const int attempts = last_write_succeeded.load(std::memory_order_relaxed) ? many_attempts : few_attempts;
  const bool replaced =
      succeeds_soon(attempts, [&] { return MoveFileExA(temporary_path, path, MOVEFILE_REPLACE_EXISTING) != 0; });
  last_write_succeeded.store(replaced, std::memory_order_relaxed);
  if (replaced) return true;
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
