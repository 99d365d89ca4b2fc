#include "tool/pictures/stored_picture.h"

#include <stdexcept>

#include "tool/pictures/picture_library.h"

namespace tool {

std::unique_ptr<StoredPicture> read_picture(const std::filesystem::path& file) {
  using ReadFunction = StoredPicture* (*)(const char*);
  static const auto read = reinterpret_cast<ReadFunction>(picture_library_function("ovicam_read_picture"));
  if (!std::filesystem::is_regular_file(file)) throw std::runtime_error(file.string() + ": there is no such picture");
  return std::unique_ptr<StoredPicture>(read(file.c_str()));
}

}  // namespace tool
