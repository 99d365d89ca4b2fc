#include "standin/host/dynamic_library.h"

#include <stdexcept>
#include <string>
#include <system_error>

#include "standin/host/module_file.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace standin {
namespace {

[[noreturn]] void refuse(const std::filesystem::path& file, const std::string& reason) {
  throw std::runtime_error("The module " + file.string() + " cannot be loaded: " + reason);
}

void require_file(const std::filesystem::path& file) {
  if (const std::string trouble = module_file_trouble(file); !trouble.empty()) refuse(file, trouble);
}

}  // namespace

#ifdef _WIN32

DynamicLibrary::DynamicLibrary(const std::filesystem::path& file) {
  require_file(file);
  handle_ = LoadLibraryW(std::filesystem::absolute(file).c_str());
  if (handle_ == nullptr) refuse(file, std::system_category().message(static_cast<int>(GetLastError())));
}

DynamicLibrary::~DynamicLibrary() { FreeLibrary(static_cast<HMODULE>(handle_)); }

void* DynamicLibrary::find(const char* symbol) const noexcept {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), symbol));
}

#else

DynamicLibrary::DynamicLibrary(const std::filesystem::path& file) {
  require_file(file);
  // The loader looks a path without a slash up in the system's folders.
  handle_ = dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) refuse(file, dlerror());
}

DynamicLibrary::~DynamicLibrary() { dlclose(handle_); }

void* DynamicLibrary::find(const char* symbol) const noexcept { return dlsym(handle_, symbol); }

#endif

}  // namespace standin
