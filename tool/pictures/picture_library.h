#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>

namespace tool {

/// A function of the library that reads pictures, which is loaded on first use: it takes longer to start than everything else
/// together. Throws std::runtime_error where it is not there. Threads: one.
void* picture_library_function(const char* name);

/// What that function makes of a picture's file. Throws std::runtime_error, also where there is no such file.
template <class Picture>
std::unique_ptr<Picture> picture_from_library(const char* function, const std::filesystem::path& file) {
  using Read = Picture* (*)(const char*);
  const auto read = reinterpret_cast<Read>(picture_library_function(function));
  if (!std::filesystem::is_regular_file(file)) throw std::runtime_error(file.string() + ": there is no such picture");
  return std::unique_ptr<Picture>(read(file.c_str()));
}

}  // namespace tool
