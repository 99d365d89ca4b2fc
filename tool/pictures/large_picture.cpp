#include "tool/pictures/large_picture.h"

#include <stdexcept>

#include "tool/pictures/picture_library.h"

namespace tool {

std::unique_ptr<LargePicture> open_picture(const std::filesystem::path& file) {
  using OpenFunction = LargePicture* (*)(const char*);
  static const auto open = reinterpret_cast<OpenFunction>(picture_library_function("ovicam_open_picture"));
  if (!std::filesystem::is_regular_file(file)) throw std::runtime_error(file.string() + ": there is no such picture");
  return std::unique_ptr<LargePicture>(open(file.c_str()));
}

}  // namespace tool
