#pragma once

#include <filesystem>

namespace standin {

/// A loaded module file, unloaded on destruction. Threads: one.
class DynamicLibrary {
 public:
  /// Throws std::runtime_error with file and reason when the system's loader refuses it.
  explicit DynamicLibrary(const std::filesystem::path& file);
  ~DynamicLibrary();
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;

  /// The address of an exported symbol; null when there is none with that name.
  void* find(const char* symbol) const noexcept;

  /// The same, read as a pointer to an object or to a function of type T.
  template <class T>
  T* find_as(const char* symbol) const noexcept {
    return reinterpret_cast<T*>(find(symbol));
  }

 private:
  void* handle_ = nullptr;
};

}  // namespace standin
