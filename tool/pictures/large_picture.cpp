#include "tool/pictures/large_picture.h"

#include "tool/pictures/picture_library.h"

namespace tool {

std::unique_ptr<LargePicture> open_picture(const std::filesystem::path& file) {
  return picture_from_library<LargePicture>("ovicam_open_picture", file);
}

}  // namespace tool
