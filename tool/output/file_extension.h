#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>

namespace tool {

/// With its dot, in lower case: ".exr" of "Plaza.EXR". Threads: any.
inline std::string lower_case_extension(const std::filesystem::path& file) {
  std::string extension = file.extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

}  // namespace tool
