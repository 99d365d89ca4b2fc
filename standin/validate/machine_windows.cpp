#ifdef _WIN32

#include <windows.h>
//
#include <fcntl.h>
#include <io.h>
#include <new>
#include <stdexcept>
#include <sys/stat.h>
#include <tlhelp32.h>

#include "standin/validate/machine.h"

namespace standin::validate {
namespace {

[[noreturn]] void fail(const std::filesystem::path& file) {
  throw std::runtime_error(file.string() + ": the system's error " + std::to_string(GetLastError()));
}

std::size_t page_size() {
  SYSTEM_INFO info{};
  GetSystemInfo(&info);
  return info.dwPageSize;
}

void redirect(const std::filesystem::path& file, int descriptor) {
  const int opened = _wopen(file.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_APPEND | _O_BINARY, _S_IREAD | _S_IWRITE);
  if (opened < 0 || _dup2(opened, descriptor) < 0) fail(file);
  _close(opened);
  // What asks Windows itself for the standard handles gets the same.
  SetStdHandle(descriptor == 1 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)));
}

std::size_t thread_count() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  std::size_t count = 0;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot, &entry); more != 0; more = Thread32Next(snapshot, &entry))
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  CloseHandle(snapshot);
  return count;
}

std::size_t heap_bytes() {
  const HANDLE heap = GetProcessHeap();
  HeapLock(heap);
  std::size_t bytes = 0;
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry) != 0)
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  HeapUnlock(heap);
  return bytes;
}

std::uintptr_t exception_filter() {
  const LPTOP_LEVEL_EXCEPTION_FILTER present = SetUnhandledExceptionFilter(nullptr);
  SetUnhandledExceptionFilter(present);
  return reinterpret_cast<std::uintptr_t>(present);
}

}  // namespace

MappedFile::MappedFile(const std::filesystem::path& file, std::size_t size) : size_(size) {
  file_ = CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file_ == INVALID_HANDLE_VALUE) fail(file);
  mapping_ = CreateFileMappingW(file_, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(size), nullptr);
  if (mapping_ != nullptr) address_ = MapViewOfFile(mapping_, FILE_MAP_ALL_ACCESS, 0, 0, size);
  if (address_ == nullptr) fail(file);
}

MappedFile::~MappedFile() {
  UnmapViewOfFile(address_);
  CloseHandle(mapping_);
  CloseHandle(file_);
}

FencedMemory::FencedMemory(std::size_t size, Side side) {
  const std::size_t page = page_size();
  pages_ = static_cast<std::byte*>(VirtualAlloc(nullptr, 3 * page, MEM_RESERVE, PAGE_NOACCESS));
  if (pages_ == nullptr || VirtualAlloc(pages_ + page, page, MEM_COMMIT, PAGE_READWRITE) == nullptr) throw std::bad_alloc();
  data_ = pages_ + page + (side == Side::ends_at_fence ? page - size : 0);
}

FencedMemory::~FencedMemory() { VirtualFree(pages_, 0, MEM_RELEASE); }

void FencedMemory::forbid_writing() {
  DWORD before = 0;
  VirtualProtect(pages_ + page_size(), page_size(), PAGE_READONLY, &before);
}

Footprint footprint() {
  Footprint found;
  found.threads = thread_count();
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  found.open_files = handles;
  found.heap_bytes = heap_bytes();
  found.handlers.push_back(exception_filter());
  return found;
}

bool is_loaded(const std::filesystem::path& file) {
  return GetModuleHandleW(std::filesystem::absolute(file).c_str()) != nullptr;
}

std::optional<std::uint64_t> voluntary_waits() { return {}; }

void set_temporary_folder(const std::filesystem::path& folder) {
  _wputenv_s(L"TMP", folder.c_str());
  SetEnvironmentVariableW(L"TMP", folder.c_str());
}

void end_quietly_on_crash() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); }

void end_at_once(int exit_code) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exit_code));
  std::abort();
}

void redirect_output(const std::filesystem::path& standard_output, const std::filesystem::path& standard_error) {
  redirect(standard_output, 1);
  redirect(standard_error, 2);
}

}  // namespace standin::validate

#endif
