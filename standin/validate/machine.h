#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What the tests ask of the operating system.
namespace standin::validate {

/// A file in memory. What was written to it stays when the process dies. Throws std::runtime_error with the file's name.
/// Threads: one.
class MappedFile {
 public:
  MappedFile(const std::filesystem::path& file, std::size_t size);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  std::byte* data() const noexcept { return static_cast<std::byte*>(address_); }

 private:
  void* address_ = nullptr;
  std::size_t size_ = 0;
#ifdef _WIN32
  void* file_ = nullptr;
  void* mapping_ = nullptr;
#endif
};

/// Memory with a page before and behind it that nobody may touch: a write past it ends the process at once. Threads: one.
class FencedMemory {
 public:
  enum class Side { begins_at_fence, ends_at_fence };

  /// Throws std::bad_alloc. `size`: at most a page; a multiple of 8 keeps what ends at the fence aligned.
  FencedMemory(std::size_t size, Side side);
  ~FencedMemory();
  FencedMemory(const FencedMemory&) = delete;
  FencedMemory& operator=(const FencedMemory&) = delete;

  std::byte* data() const noexcept { return data_; }
  /// From here on, a write to it ends the process as well.
  void forbid_writing();

 private:
  std::byte* pages_ = nullptr;
  std::byte* data_ = nullptr;
};

/// What this process holds of the system.
struct Footprint {
  std::size_t threads = 0;
  std::size_t open_files = 0;
  /// Allocated from the heap; none where this process cannot tell, with an address sanitizer for example.
  std::optional<std::size_t> heap_bytes;
  /// What is called on a signal or an exception that nobody handles, as numbers to compare.
  std::vector<std::uintptr_t> handlers;
};
Footprint footprint();

/// Whether this file, which need not exist any more, is still mapped as a library.
bool is_loaded(const std::filesystem::path& file);

/// How often this thread has waited of its own will; none where the system does not count it.
std::optional<std::uint64_t> voluntary_waits();

/// Where this process, and the module in it, find the temporary folder.
void set_temporary_folder(const std::filesystem::path& folder);

/// Ends the process without any more code of the module: for what was left alive on purpose.
[[noreturn]] void end_at_once(int exit_code);

/// A crash ends this process at once, with neither a file nor a question.
void end_quietly_on_crash();

/// Sends standard output and standard error of this process into files. Throws std::runtime_error.
void redirect_output(const std::filesystem::path& standard_output, const std::filesystem::path& standard_error);

}  // namespace standin::validate
