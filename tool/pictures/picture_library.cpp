#include "tool/pictures/picture_library.h"

#include <dlfcn.h>
#include <stdexcept>

#include "standin/remote/program_file.h"

namespace tool {

void* picture_library_function(const char* name) {
  static const auto library = standin::program_file("ovicam-pictures.so");
  // It is never unloaded: the libraries behind it leave threads and functions for the process's end. Of what those 200 could
  // call little is called: looking all of it up beforehand would take a fifth of the time of a small picture's command.
  static void* const handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL);
  void* function = handle != nullptr ? dlsym(handle, name) : nullptr;
  if (function == nullptr) {
    const char* reason = dlerror();
    throw std::runtime_error("pictures cannot be read without " + library.string() +
                             ", which is built with this program: " + (reason != nullptr ? reason : "it was not loaded"));
  }
  return function;
}

}  // namespace tool
