#ifndef _WIN32

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <new>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/resource.h>
#include <system_error>
#include <unistd.h>

#include "standin/validate/machine.h"

namespace standin::validate {
namespace {

[[noreturn]] void fail(const std::filesystem::path& file) {
  throw std::runtime_error(file.string() + ": " + std::generic_category().message(errno));
}

std::size_t page_size() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

std::size_t entries(const char* folder) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

void redirect(const std::filesystem::path& file, int descriptor) {
  const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
  if (opened < 0 || dup2(opened, descriptor) < 0) fail(file);
  close(opened);
}

}  // namespace

MappedFile::MappedFile(const std::filesystem::path& file, std::size_t size) : size_(size) {
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor < 0) fail(file);
  if (ftruncate(descriptor, static_cast<off_t>(size)) == 0)
    address_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  else
    address_ = MAP_FAILED;
  close(descriptor);
  if (address_ == MAP_FAILED) fail(file);
}

MappedFile::~MappedFile() { munmap(address_, size_); }

FencedMemory::FencedMemory(std::size_t size, Side side) {
  const std::size_t page = page_size();
  void* pages = mmap(nullptr, 3 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  pages_ = static_cast<std::byte*>(pages);
  mprotect(pages_ + page, page, PROT_READ | PROT_WRITE);
  data_ = pages_ + page + (side == Side::ends_at_fence ? page - size : 0);
}

FencedMemory::~FencedMemory() { munmap(pages_, 3 * page_size()); }

void FencedMemory::forbid_writing() { mprotect(pages_ + page_size(), page_size(), PROT_READ); }

Footprint footprint() {
  Footprint found;
  found.threads = entries("/proc/self/task");
  found.open_files = entries("/proc/self/fd");
  // A sanitizer's allocator answers 0.
  if (const std::size_t bytes = mallinfo2().uordblks; bytes > 0) found.heap_bytes = bytes;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0) found.handlers.push_back(reinterpret_cast<std::uintptr_t>(action.sa_handler));
  }
  return found;
}

bool is_loaded(const std::filesystem::path& file) {
  std::ifstream maps("/proc/self/maps");
  const std::string name = std::filesystem::absolute(file).string();
  for (std::string line; std::getline(maps, line);)
    if (line.find(name) != std::string::npos) return true;
  return false;
}

std::optional<std::uint64_t> voluntary_waits() {
  rusage usage{};
  if (getrusage(RUSAGE_THREAD, &usage) != 0) return {};
  return static_cast<std::uint64_t>(usage.ru_nvcsw);
}

void set_temporary_folder(const std::filesystem::path& folder) { setenv("TMPDIR", folder.c_str(), 1); }

void end_quietly_on_crash() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

void end_at_once(int exit_code) { _exit(exit_code); }

void redirect_output(const std::filesystem::path& standard_output, const std::filesystem::path& standard_error) {
  redirect(standard_output, STDOUT_FILENO);
  redirect(standard_error, STDERR_FILENO);
}

}  // namespace standin::validate

#endif
