#include "tool/pictures/stored_picture.h"

#include <dlfcn.h>
#include <stdexcept>

#include "standin/remote/program_file.h"

namespace tool {
namespace {

using ReadFunction = StoredPicture* (*)(const char*);

ReadFunction load_reader() {
  const auto library = standin::program_file("ovicam-pictures.so");
  // It is never unloaded: the libraries behind it leave threads and functions for the process's end.
  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* function = handle != nullptr ? dlsym(handle, "ovicam_read_picture") : nullptr;
  if (function == nullptr) {
    throw std::runtime_error("pictures cannot be read without " + library.string() +
                             ", which is built with this program: " + dlerror());
  }
  return reinterpret_cast<ReadFunction>(function);
}

}  // namespace

std::unique_ptr<StoredPicture> read_picture(const std::filesystem::path& file) {
  static const ReadFunction read = load_reader();
  if (!std::filesystem::is_regular_file(file)) throw std::runtime_error(file.string() + ": there is no such picture");
  return std::unique_ptr<StoredPicture>(read(file.c_str()));
}

}  // namespace tool
