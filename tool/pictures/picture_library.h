#pragma once

#include <filesystem>
#include <memory>

namespace tool {

/// A function of the library that reads pictures, which is loaded on first use: it takes longer to start than everything else
/// together. Throws std::runtime_error where it is not there, or where there is no such file to read. Threads: one.
void* picture_library_function(const char* name, const std::filesystem::path& file);

/// What that function makes of a picture's file.
template <class Picture>
std::unique_ptr<Picture> picture_from_library(const char* function, const std::filesystem::path& file) {
  using Read = Picture* (*)(const char*);
  return std::unique_ptr<Picture>(reinterpret_cast<Read>(picture_library_function(function, file))(file.c_str()));
}

}  // namespace tool
